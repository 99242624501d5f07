#include "acquisition/acquisition_sources.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <span>

#include "acquisition/com_port_id.h"
#include "acquisition/comedi_board.h"
#include "acquisition/port_audio.h"
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

Field BoundText(const char* key, std::string& value) {
    Field field;
    field.key = field.label = key;
    field.kind = FieldKind::text;
    field.load = [&value](Field& to) { to.text = value; };
    field.store = [&value](const Field& from) { value = from.text; };
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

AcquisitionSource PlainSource(std::string_view kind, const std::string& shown, int channels, int bits) {
    AcquisitionSource source;
    source.name = source.kind = kind;
    source.board = shown;
    source.inputs.channels = channels;
    source.inputs.resolutionBits = bits;
    return source;
}

void WriteSource(JsonWriter& json, const AcquisitionSource& source) {
    json.BeginObject();
    json.Member("name", source.name);
    if (!source.setting.empty()) json.Member("setting", source.setting);
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

InputDevices ListInputDevices() {
    InputDevices found;
    const CComPortID ports;
    for (const ComPort& port : ports.Ports()) {
        AcquisitionSource source = PlainSource(serialSource, port.Shown(), CArdAcqView::mostChannels, 10);
        source.inputs.voltLow = 0.0f;
        source.inputs.voltHigh = 5.0f;
        source.rates = {1000.0 / arduinoIntervals.front(), 1000.0 / arduinoIntervals.back()};
        source.setting = "port=" + port.path;
        found.sources.push_back(std::move(source));
    }
    if (found.sources.empty()) found.missing.push_back("There is no serial port.");
    const auto sound = MakeSoundSystem();
    const size_t before = found.sources.size();
    for (const SoundDevice& device : sound ? sound->Devices() : std::vector<SoundDevice>()) {
        if (device.inputs < 1) continue;
        AcquisitionSource source = PlainSource(soundSource, device.name, std::min(device.inputs, 2), 16);
        source.inputs.voltLow = source.inputs.voltHigh = std::numeric_limits<float>::quiet_NaN();
        source.rates = {device.usualRate, device.usualRate};
        source.setting = "device=" + device.name;
        found.sources.push_back(std::move(source));
    }
    if (!sound)
        found.missing.push_back(noSoundLibraryText);
    else if (found.sources.size() == before)
        found.missing.push_back("There is no sound input.");
    return found;
}

RecordingType TypeOfSource(std::string_view name) {
    if (name == serialSource) return RecordingType::arduino;
    return name == soundSource ? RecordingType::microphone : RecordingType::board;
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
            Bound("preTrigger", FieldKind::number, 0, 1e9, trigger.preTriggerMs),
            BoundText("port", settings.serial.port),
            Bound("boardBits", FieldKind::integer, 1, 16, settings.serial.bits),
            Bound("boardVolts", FieldKind::number, 1e-3, 1e3, settings.serial.volts),
            BoundText("device", settings.soundDevice)};
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

std::string_view SourceOfSetting(std::string_view key) {
    if (key == "input" || key == "bits" || key == "encoding") return simulatedSource;
    if (key == "port" || key == "boardBits" || key == "boardVolts") return serialSource;
    return key == "device" ? soundSource : std::string_view();
}

std::string SourceSettingsFault(const SourceSettings& settings) {
    return settings.simulated.bits > 16 && settings.simulated.encoding == 1
               ? "Two's complement has up to 16 bits; above them the encoding is offset binary."
               : "";
}

std::string SourcesText(const std::vector<AcquisitionSource>& sources,
                        const std::vector<std::string>& missing) {
    AlignedTable table("lllrrrll");
    table.Add({"name", "board", "kind", "inputs", "outputs", "bits", "rates (Hz)", "setting"});
    for (const AcquisitionSource& source : sources) {
        const FrequencyRange& rates = source.rates;
        table.Add({source.name, source.board, source.kind, std::to_string(source.inputs.channels),
                   std::to_string(source.outputChannels), std::to_string(source.inputs.resolutionBits),
                   rates.least == rates.greatest ? fmt::format("{:g}", rates.least)
                                                 : fmt::format("{:g} to {:g}", rates.least, rates.greatest),
                   source.setting});
    }
    std::string text = table.Text();
    for (const std::string& one : missing) text += one + "\n";
    return text;
}

void WriteSourcesJson(OutputSink& sink, const std::vector<AcquisitionSource>& sources,
                      const std::vector<std::string>& missing) {
    JsonWriter json(sink);
    json.BeginObject();
    json.Key("sources");
    json.BeginArray();
    for (const AcquisitionSource& source : sources) WriteSource(json, source);
    json.EndArray();
    json.Key("missing");
    json.BeginArray();
    for (const std::string& one : missing) json.Value(one);
    json.EndArray();
    json.EndObject();
    json.Finish();
}

}  // namespace kymora
