#include "cli/operation_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "cli/command.h"
#include "cli/near_names.h"

namespace kymora {
namespace {

Field& ParamOf(ParamList& params, const CBatchBaseDlg& block, const std::string& key) {
    Field* param = params.Find(key);
    const auto isSettable = [](const Field& any) { return any.HasValue() || any.isSettable; };
    if (param && isSettable(*param)) return *param;
    std::vector<std::string> known;
    for (const Field& candidate : params)
        if (isSettable(candidate)) {
            known.push_back(candidate.key);
            known.insert(known.end(), candidate.aliases.begin(), candidate.aliases.end());
        }
    throw CommandError(
        exitUsage, fmt::format("{} has no parameter \"{}\".{} \"kymora operations {}\" lists all.",
                               block.ClassName(), key, DidYouMean(NearNames(key, known)), block.ClassName()));
}

// Whether the value is the one that the setting alone would give.
bool IsStill(const Field& param, const std::string& value) {
    const std::string now = param.ValueText();
    Field alone = param;
    if (!alone.Parse(value).empty()) return true;
    // A button may have appended to a text.
    return param.kind == FieldKind::text ? now.starts_with(alone.ValueText()) : alone.ValueText() == now;
}

// A button is pressed by a truth value. Nothing is there to be pressed on before a recording is.
std::string Press(const CBatchBaseDlg& block, ParamList& params, const Field& param,
                  const std::string& value) {
    Field pressed = param;
    pressed.kind = FieldKind::flag;
    std::string fault = pressed.Parse(value);
    if (fault.empty() && pressed.flag && block.Document() && param.IsEnabled(params)) param.action(params);
    return fault;
}

// Whether one of the settings behind this one, by whatever name, is of the same parameter.
bool IsSetAgain(const Field& param, std::span<const Setting> later) {
    return std::any_of(later.begin(), later.end(),
                       [&](const Setting& setting) { return param.IsCalled(setting.key); });
}

}  // namespace

std::vector<Setting> ParseSettings(const std::vector<std::string>& texts) {
    std::vector<Setting> settings;
    for (const std::string& text : texts) {
        const size_t equals = text.find('=');
        if (equals == 0 || equals == std::string::npos)
            throw CommandError(exitUsage, "--set takes KEY=VALUE, not \"" + text + "\".");
        settings.push_back({text.substr(0, equals), text.substr(equals + 1)});
    }
    return settings;
}

void ApplySettings(CBatchBaseDlg& block, const std::vector<Setting>& settings) {
    for (const Setting& setting : settings) {
        // Described anew, since limits may follow from what was set before.
        ParamList params = block.Params();
        Field& param = ParamOf(params, block, setting.key);
        const std::string fault = param.kind == FieldKind::action ? Press(block, params, param, setting.value)
                                                                  : param.SetFromText(setting.value);
        if (!fault.empty())
            throw CommandError(exitUsage, fmt::format("--set {}={}: {}", setting.key, setting.value, fault));
    }
}

std::vector<std::string> SettingsWithoutEffect(CBatchBaseDlg& block, const std::vector<Setting>& settings) {
    std::vector<std::string> texts;
    ParamList params = block.Params();
    for (size_t i = 0; i < settings.size(); ++i) {
        const auto& [key, value] = settings[i];
        Field& param = ParamOf(params, block, key);
        if (IsSetAgain(param, std::span(settings).subspan(i + 1))) continue;
        if (!param.IsEnabled(params))
            texts.push_back(
                fmt::format("--set {}={} has no effect with the other settings as they are.", key, value));
        else if (param.HasValue() && !IsStill(param, value))
            texts.push_back(
                fmt::format("--set {}={}: other settings have made it {}.", key, value, param.ValueText()));
    }
    return texts;
}

}  // namespace kymora
