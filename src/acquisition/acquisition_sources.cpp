#include "acquisition/acquisition_sources.h"

#include <fmt/format.h>

#include <filesystem>
#include <functional>

#include "acquisition/comedi_board.h"
#include "host/field.h"
#include "results/aligned_table.h"
#include "results/json_writer.h"

namespace kymora {

namespace {

// A setting as a field, which knows how a text becomes a value and how a fault is told.
struct SourceField {
    Field field;
    std::function<void(SourceSettings&, const Field&)> store;
};

Field NumberField(const char* key, FieldKind kind, double least, double greatest) {
    Field field;
    field.key = field.label = key;
    field.kind = kind;
    field.Limits(least, greatest);
    return field;
}

Field ChoiceField(const char* key, std::span<const std::string_view> words) {
    Field field = NumberField(key, FieldKind::choice, 0, static_cast<double>(words.size() - 1));
    field.choices.assign(words.begin(), words.end());
    return field;
}

std::vector<SourceField> SourceFields() {
    constexpr std::string_view encodings[] = {"offset", "twos-complement"};
    constexpr std::string_view directions[] = {"rising", "falling"};
    return {
        {ChoiceField("input", simulatedInputWords),
         [](SourceSettings& to, const Field& f) {
             to.simulated.input = static_cast<SimulatedInput>(f.choice);
         }},
        {NumberField("bits", FieldKind::integer, 8, 24),
         [](SourceSettings& to, const Field& f) { to.simulated.bits = static_cast<int>(f.number); }},
        {ChoiceField("encoding", encodings),
         [](SourceSettings& to, const Field& f) { to.simulated.encoding = f.choice; }},
        {NumberField("triggerTrace", FieldKind::integer, 1, 16),
         [](SourceSettings& to, const Field& f) { to.trigger.trace = static_cast<uint32_t>(f.number); }},
        {NumberField("triggerLevel", FieldKind::number, -1e9, 1e9),
         [](SourceSettings& to, const Field& f) { to.trigger.level = f.number; }},
        {ChoiceField("triggerDirection", directions),
         [](SourceSettings& to, const Field& f) { to.trigger.isFalling = f.choice == 1; }},
        {NumberField("preTrigger", FieldKind::number, 0, 1e9),
         [](SourceSettings& to, const Field& f) { to.trigger.preTriggerMs = f.number; }},
    };
}

constexpr const char* comediWord = "comedi";
constexpr int comediDevices = 16;

// "comedi0" is /dev/comedi0. Null where there is no such device with inputs that stream.
std::unique_ptr<Board> OpenComedi(const std::string& name) {
    std::error_code error;
    const std::string file = "/dev/" + name;
    if (!name.starts_with(comediWord) || name.find('/') != std::string::npos ||
        !std::filesystem::exists(file, error))
        return nullptr;
    const ComediLibrary* const library = FindComedi();
    if (!library) return nullptr;
    auto board = std::make_unique<ComediBoard>(*library, file);
    if (!board->Has(Subsystem::adc)) return nullptr;
    return board;
}

AcquisitionSource Described(const std::string& name, const std::string& kind, Board& board) {
    AcquisitionSource source{name, kind, board.Name(), {}, {}, 0, false, {}};
    board.Open(Subsystem::adc);
    board.GetCapabilities(Subsystem::adc, source.inputs);
    board.GetFrequencyRange(Subsystem::adc, 1, source.rates);
    if (board.Has(Subsystem::dac) && board.Open(Subsystem::dac) == boardGood &&
        board.GetCapabilities(Subsystem::dac, source.outputs) == boardGood)
        source.outputChannels = source.outputs.channels;
    source.hasDigitalOutput = board.Has(Subsystem::digitalOut);
    return source;
}

void WriteSource(JsonWriter& json, const AcquisitionSource& source) {
    json.BeginObject();
    json.Member("name", source.name);
    json.Member("kind", source.kind);
    json.Member("board", source.board);
    json.Member("inputs", source.inputs.channels);
    json.Member("outputs", source.outputChannels);
    json.Member("digitalOutput", source.hasDigitalOutput);
    json.Member("resolutionBits", source.inputs.resolutionBits);
    json.Member("voltLow", source.inputs.voltLow);
    json.Member("voltHigh", source.inputs.voltHigh);
    json.Member("lowestRateHz", source.rates.least);
    json.Member("highestRateHz", source.rates.greatest);
    json.EndObject();
}

}  // namespace

std::vector<AcquisitionSource> ListSources() {
    SimulatedBoard simulated{SimulatedBoardSettings()};
    std::vector<AcquisitionSource> sources = {
        Described(std::string(simulatedSource), "simulated", simulated)};
    for (int i = 0; i < comediDevices; ++i)
        if (const auto board = OpenComedi(comediWord + std::to_string(i)))
            sources.push_back(Described(comediWord + std::to_string(i), comediWord, *board));
    return sources;
}

std::unique_ptr<Board> OpenSource(std::string_view name, const SourceSettings& settings) {
    if (name == simulatedSource) return std::make_unique<SimulatedBoard>(settings.simulated);
    return OpenComedi(std::string(name));
}

std::optional<std::string> SetSourceSetting(SourceSettings& settings, std::string_view key,
                                            std::string_view text) {
    for (auto& [field, store] : SourceFields()) {
        if (field.key != key) continue;
        Field set = field;
        std::string fault = set.Parse(text);
        if (fault.empty()) fault = set.Fault();
        if (fault.empty()) store(settings, set);
        return fault;
    }
    return {};
}

std::vector<std::string> SourceSettingKeys() {
    std::vector<std::string> keys;
    for (const SourceField& one : SourceFields()) keys.push_back(one.field.key);
    return keys;
}

bool IsOfSimulatedBoard(std::string_view key) { return key == "input" || key == "bits" || key == "encoding"; }

std::string SourceSettingsFault(const SourceSettings& settings) {
    return settings.simulated.bits > 16 && settings.simulated.encoding == 1
               ? "Two's complement has up to 16 bits; above them the encoding is offset binary."
               : "";
}

std::string SourcesText(const std::vector<AcquisitionSource>& sources) {
    AlignedTable table("lllrrrl");
    table.Add({"name", "board", "kind", "inputs", "outputs", "bits", "rates (Hz)"});
    for (const AcquisitionSource& source : sources)
        table.Add({source.name, source.board, source.kind, std::to_string(source.inputs.channels),
                   std::to_string(source.outputChannels), std::to_string(source.inputs.resolutionBits),
                   fmt::format("{:g} to {:g}", source.rates.least, source.rates.greatest)});
    return table.Text();
}

void WriteSourcesJson(OutputSink& sink, const std::vector<AcquisitionSource>& sources) {
    JsonWriter json(sink);
    json.BeginObject();
    json.Key("sources");
    json.BeginArray();
    for (const AcquisitionSource& source : sources) WriteSource(json, source);
    json.EndArray();
    json.EndObject();
    json.Finish();
}

}  // namespace kymora
