#include "acquisition/acquisition_sources.h"

#include <fmt/format.h>

#include <filesystem>
#include <span>

#include "acquisition/comedi_board.h"
#include "results/aligned_table.h"
#include "results/json_writer.h"

namespace kymora {

namespace {

constexpr std::string_view encodingWords[] = {"offset", "twos-complement"};
constexpr std::string_view directionWords[] = {"rising", "falling"};

// A setting as a field, which knows how a text becomes a value and how a fault is told.
template <typename T>
Field Bound(const char* key, FieldKind kind, double least, double greatest, T& value) {
    Field field;
    field.key = field.label = key;
    field.kind = kind;
    field.Limits(least, greatest);
    field.load = [&value](Field& to) { to.number = static_cast<double>(value); };
    field.store = [&value](const Field& from) { value = static_cast<T>(from.number); };
    field.load(field);
    return field;
}

template <typename T>
Field BoundChoice(const char* key, std::span<const std::string_view> words, T& value) {
    Field field = Bound(key, FieldKind::choice, 0, static_cast<double>(words.size() - 1), value);
    field.choices.assign(words.begin(), words.end());
    field.load = [&value](Field& to) { to.choice = static_cast<int>(value); };
    field.store = [&value](const Field& from) { value = static_cast<T>(from.choice); };
    field.load(field);
    return field;
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

std::vector<Field> SourceFields(SourceSettings& settings) {
    SimulatedBoardSettings& board = settings.simulated;
    InternalTriggerSettings& trigger = settings.trigger;
    return {BoundChoice("input", simulatedInputWords, board.input),
            Bound("bits", FieldKind::integer, 8, 24, board.bits),
            BoundChoice("encoding", encodingWords, board.encoding),
            Bound("triggerTrace", FieldKind::integer, 1, 16, trigger.trace),
            Bound("triggerLevel", FieldKind::number, -1e9, 1e9, trigger.level),
            BoundChoice("triggerDirection", directionWords, trigger.isFalling),
            Bound("preTrigger", FieldKind::number, 0, 1e9, trigger.preTriggerMs)};
}

std::optional<std::string> SetSourceSetting(SourceSettings& settings, std::string_view key,
                                            std::string_view text) {
    for (Field& field : SourceFields(settings)) {
        if (field.key != key) continue;
        std::string fault = field.Parse(text);
        if (fault.empty()) fault = field.Fault();
        if (fault.empty()) field.store(field);
        return fault;
    }
    return {};
}

std::vector<std::string> SourceSettingKeys() {
    SourceSettings settings;
    std::vector<std::string> keys;
    for (const Field& field : SourceFields(settings)) keys.push_back(field.key);
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
