#include "cli/configuration_info.h"

#include <fmt/format.h>

#include "catalogue/config_operation.h"
#include "operations/config_file.h"
#include "operations/settings_json.h"
#include "recording/adc_dac_configuration.h"
#include "results/number_text.h"
#include "sorting/sorting_set.h"

namespace kymora {
namespace {

// What the two forms have in common: kind and owner of a configuration.
void BeginJson(JsonWriter& json, const std::string& path, std::string_view operation) {
    json.BeginObject();
    json.Member("path", path);
    json.Member("kind", "dialog configuration");
    json.Member("operation", operation);
}

std::string HeadText(const std::string& path, std::string_view operation) {
    return fmt::format("{:<32}{}\n{:<32}dialog configuration\n{:<32}{}\n\n", "File", TerminalLine(path),
                       "Kind", "Operation", operation);
}

void TellOperation(SubcommandContext& context, const Operation& operation, const std::string& path,
                   bool asJson) {
    const auto block = operation.make();
    if (!LoadConfig(context.session, *block, path)) throw CommandError(exitCannotOpen, "");
    if (asJson) {
        JsonWriter json(context.output);
        BeginJson(json, path, operation.className);
        json.Key("settings");
        WriteSettings(json, *block);
        json.EndObject();
        return json.Finish();
    }
    std::string text = HeadText(path, operation.className);
    for (const Field& param : block->Params()) {
        if (!param.HasValue()) continue;
        text += fmt::format("{:<32}{}", param.key, TerminalLine(param.ValueText()));
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    context.output.Write(text);
}

void TellSorter(SubcommandContext& context, const std::string& path, bool asJson) {
    const SortingSet set = ReadSortingSet(context.session, path);
    if (asJson) {
        JsonWriter json(context.output);
        BeginJson(json, path, sortingSetName);
        json.Key("settings");
        json.BeginObject();
        json.Member("sampleInterval", set.sampleInterval);
        json.Member("traces", set.traces);
        json.Member("templates", set.clusters.size());
        json.EndObject();
        json.EndObject();
        return json.Finish();
    }
    context.output.Write(HeadText(path, sortingSetName) +
                         fmt::format("{:<32}{}\n{:<32}{}\n{:<32}{}\n", "sampleInterval", set.sampleInterval,
                                     "traces", set.traces, "templates", set.clusters.size()));
}

void Tell(SubcommandContext& context, const std::string& path, bool asJson) {
    if (ConfigurationHead(context.session, path) == adcDacHead) {
        const AdcDacConfiguration read = ReadConfiguration(context.session, path);
        context.output.Write(asJson ? ConfigurationJson(read, path) : ConfigurationText(read, path));
        return;
    }
    const std::string name = ConfigClassName(context.session, path);
    if (name == sortingSetName) return TellSorter(context, path, asJson);
    const Operation* operation = FindOperation(name);
    if (name.empty() || !operation)
        throw CommandError(exitCannotOpen, name.empty() ? path + " is no configuration file."
                                                        : fmt::format(unknownConfigText, path, name));
    TellOperation(context, *operation, path, asJson);
}

}  // namespace

void WriteConfigurationInfo(SubcommandContext& context, const std::string& path, bool asJson) {
    try {
        Tell(context, path, asJson);
    } catch (const ConfigurationError& error) {
        throw CommandError(exitCannotOpen, error.what());
    } catch (const ArchiveError& error) {
        throw CommandError(exitCannotOpen, error.what());
    } catch (const FileError& error) {
        throw CommandError(exitCannotOpen, error.what());
    }
}

}  // namespace kymora
