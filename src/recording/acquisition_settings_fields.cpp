#include "recording/acquisition_settings_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/field.h"

namespace kymora {

namespace {

// --- what there is ---

constexpr double most = std::numeric_limits<double>::max();
constexpr double mostU32 = std::numeric_limits<uint32_t>::max();

constexpr const char* sweepModes[] = {"single", "restart", "scroll"};
constexpr const char* saveModes[] = {"manual", "append", "auto-append", "auto"};
constexpr const char* triggerModes[] = {"start", "repeat", "external", "internal"};
constexpr const char* stimulusModes[] = {"simple", "advanced", "file"};
constexpr const char* arduinoRates[] = {"1000 ms", "500 ms", "200 ms", "100 ms", "50 ms",  "20 ms",
                                        "10 ms",   "5 ms",   "2 ms",   "1 ms",   "0.5 ms", "0.2 ms"};
constexpr const char* sequenceModes[] = {"stay", "restart", "reverse", "reverse-repeat", "reset"};

using Text = std::string_view;

SettingItem Item(Text name, Text label, SettingItem::Value value) { return {name, label, {}, value}; }

SettingItem Number(Text name, Text label, Text unit, SettingItem::Value value) {
    return {name, label, unit, value};
}

SettingItem Positive(Text name, Text label, Text unit, SettingItem::Value value, double least = 0.0) {
    return {name, label, unit, value, least, most};
}

SettingItem Whole(Text name, Text label, Text unit, SettingItem::Value value, double least = 0.0,
                  double greatest = mostU32) {
    return {name, label, unit, value, least, greatest};
}

SettingItem Choice(Text name, Text label, SettingItem::Value value, std::span<const char* const> words) {
    return {name, label, {}, value, 0.0, static_cast<double>(words.size() - 1), words};
}

// The shortest interval is that of 1 GHz, the longest that of a sample in 11 days.
SettingItem Interval(double& value) { return {"sampleInterval", "Sample interval", "ms", &value, 1e-6, 1e9}; }

class Walk {
  public:
    Walk(AcquisitionSettings& settings, SettingVisitor& visitor) : s_(settings), to_(visitor) {}

    void All() {
        to_.Take(Item("notes", "Protocol notes", &s_.notes));
        if (s_.HasBoard()) Board();
        to_.Take(Positive("displaySpan", "Display span", "ms", &s_.displaySpan));
        switch (s_.m_eRecordingType) {
        case RecordingType::board:
            return General();
        case RecordingType::refractoryManual:
        case RecordingType::refractoryAutomatic:
            return Refractory();
        case RecordingType::microphone:
            return Microphone();
        case RecordingType::arduino:
            return Arduino();
        }
    }

    // Headings of a wide table: only the first of a kind has its unit.
    void Pulse(COutputPulse& pulse) {
        to_.Take(Positive("delay", "Delay", s_.m_bTimeInSeconds ? "s" : "ms", &pulse.m_fDelay));
        to_.Take(Positive("onRamp", "On ramp", {}, &pulse.m_fOnRamp));
        to_.Take(Positive("offRamp", "Off ramp", {}, &pulse.m_fOffRamp));
        to_.Take(Positive("plateau", "Plateau", {}, &pulse.m_fPlateau));
        to_.Take(Number("amplitude", "Amplitude", "V", &pulse.m_fAmplitude));
        to_.Take(Number("stepDelay", "Steps: delay", {}, &pulse.m_fStepDelay));
        to_.Take(Number("stepOnRamp", "on ramp", {}, &pulse.m_fStepOnRamp));
        to_.Take(Number("stepOffRamp", "off ramp", {}, &pulse.m_fStepOffRamp));
        to_.Take(Number("stepPlateau", "plateau", {}, &pulse.m_fStepPlateau));
        to_.Take(Number("stepAmplitude", "amplitude", {}, &pulse.m_fStepAmplitude));
        to_.Take(Whole("seqCount", "Cycle", {}, &pulse.m_nSeqCount, std::numeric_limits<int32_t>::min(),
                       std::numeric_limits<int32_t>::max()));
        to_.Take(Choice("seqMode", "At its end", &pulse.m_eSeqMode, sequenceModes));
    }

  private:
    void Board() {
        to_.Take(Item("boardName", "Board", &s_.m_strBoardName));
        to_.Take(Whole("boardValue", "Board value", {}, &s_.boardValue, std::numeric_limits<int32_t>::min(),
                       std::numeric_limits<int32_t>::max()));
    }

    void SweepAndLimit() {
        to_.Take(Choice("sweepMode", "Sweep mode", &s_.m_nSweepMode, sweepModes));
        to_.Take(Positive("timeLimit", "Time limit", "s", &s_.m_dTimeLimit));
    }

    void Axes(AcquisitionChannel& channel) {
        to_.Take(Number("axisA", "Axis A", {}, &channel.axisA));
        to_.Take(Number("axisB", "Axis B", {}, &channel.axisB));
    }

    void Channels() {
        for (size_t i = 0; i < s_.channels.size(); ++i) {
            AcquisitionChannel& channel = s_.channels[i];
            to_.Enter("channel" + std::to_string(i + 1));
            to_.Take(Item("chanOn", "On", &channel.m_nChanOn));
            SettingItem gain = Number("chanGain", "Gain", {}, &channel.m_dChanGain);
            gain.notZero = true;
            to_.Take(gain);
            Axes(channel);
            SettingItem colour = Item("colour", "Colour", &channel.colour);
            colour.isColour = true;
            to_.Take(colour);
            to_.Take(Item("label", "Label", &channel.label));
            to_.Take(Item("note", "Note", &channel.note));
            to_.Leave();
        }
    }

    void ChannelAxes() {
        for (size_t i = 0; i < s_.channels.size(); ++i) {
            to_.Enter("channel" + std::to_string(i + 1));
            Axes(s_.channels[i]);
            to_.Leave();
        }
    }

    void General() {
        SweepAndLimit();
        to_.Take(Choice("saveMode", "Save mode", &s_.m_nSaveMode, saveModes));
        to_.Take(Item("autoLoad", "Open what was saved", &s_.m_bAutoLoad));
        to_.Take(Item("presetName", "Preset name", &s_.m_bPresetName));
        to_.Take(Item("followLatest", "Follow the latest", &s_.m_bFollowLatest));
        to_.Take(Item("autoSaveBase", "Autosave base name", &s_.m_strAutoSaveBase));
        to_.Take(Interval(s_.m_dSampleInterval));
        to_.Take(Whole("inputMode", "Input mode", {}, &s_.m_nInputMode));
        to_.Take(Choice("trigMode", "Trigger mode", &s_.m_nTrigMode, triggerModes));
        to_.Take(Whole("repeatInterval", "Repeat interval", "s", &s_.m_nRepeatInterval));
        to_.Take(Whole("repeatCount", "Repeat count", {}, &s_.m_nRepeatCount));
        to_.Take(Item("digitalTrigOut", "Digital trigger out", &s_.m_bDigitalTrigOut));
        to_.Take(Item("rearm", "Re-arm", &s_.m_bRearm));
        Channels();
        to_.Take(Whole("boardDacChannels", "Output channels of the board", {}, &s_.boardDacChannels, 0,
                       std::numeric_limits<int32_t>::max()));
        if (s_.boardDacChannels > 0) Stimulus();
    }

    void Stimulus() {
        to_.Take(Choice("stimMode", "Stimulus mode", &s_.m_nStimMode, stimulusModes));
        to_.Take(Item("timeInSeconds", "Time in seconds", &s_.m_bTimeInSeconds));
        to_.Take(
            Positive("previewSpan", "Preview span", s_.m_bTimeInSeconds ? "s" : "ms", &s_.m_dPreviewSpan));
        to_.Take({"outputFreqKHz", "Output frequency", "kHz", &s_.m_dOutputFreqKHz, 1e-9, 1e6});
        to_.Take(Item("outputFile", "Output file", &s_.m_strOutputFile));
        to_.Take(Whole("outputTraceSource", "Output trace source", {}, &s_.outputTraceSource));
        to_.Take(Whole("outputSourceTrace", "Output source channel", {}, &s_.m_nOutputSourceTrace));
        to_.Take(Whole("dacInUse", "Output channels in use", {}, &s_.m_nDacInUse, 0, outputChannels));
        for (size_t i = 0; i < s_.m_nDacInUse && i < outputChannels; ++i) Output(i);
    }

    void Output(size_t index) {
        DacChannel& dac = s_.dac[index];
        to_.Enter("dac" + std::to_string(index + 1));
        to_.Take(Number("dcLevel", "DC level", "V", &dac.m_fDcLevel));
        auto count = static_cast<uint32_t>(dac.pulses.size());
        to_.Take(Whole("pulseCount", "Pulses", {}, &count, 0, mostPulses));
        if (count != dac.pulses.size()) dac.pulses.resize(count);
        for (size_t i = 0; i < dac.pulses.size(); ++i) {
            to_.Enter("pulse" + std::to_string(i + 1));
            Pulse(dac.pulses[i]);
            to_.Leave();
        }
        to_.Leave();
    }

    void Refractory() {
        RefractorySettings& r = s_.refractory;
        to_.Take(Interval(s_.m_dSampleInterval));
        to_.Take(Positive("preDur", "Pre-pulse duration", "ms", &r.m_fPreDur));
        to_.Take(Positive("trialDur", "Trial pulse duration", "ms", &r.m_fTrialDur));
        to_.Take(Positive("preDelay", "Pre-pulse delay", "ms", &r.m_fPreDelay));
        to_.Take(Number("preAmp", "Pre-pulse amplitude", "V", &r.m_fPreAmp));
        to_.Take(Number("trialAmp0", "Trial pulse initial amplitude", "V", &r.m_fTrialAmp0));
        to_.Take(Number("trialAmpMax", "Trial pulse maximum amplitude", "V", &r.m_fTrialAmpMax));
        to_.Take(Number("ampStep", "Amplitude step", "V", &r.m_fAmpStep));
        to_.Take(Positive("trialDelayMin", "Trial pulse minimum delay", "ms", &r.m_fTrialDelayMin));
        to_.Take(Positive("trialDelay0", "Trial pulse initial delay", "ms", &r.m_fTrialDelay0));
        to_.Take(Number("delayStep", "Delay step", "ms", &r.m_fDelayStep));
        to_.Take(Positive("searchRate", "Search rate", "Hz", &r.m_fSearchRate));
        to_.Take(Whole("checksPerDelay", "Checks at each delay", {}, &r.m_nChecksPerDelay));
        to_.Take(Positive("sweepDur", "Sweep duration", "ms", &r.m_fSweepDur));
        to_.Take(Item("digitalTrigOut", "Digital trigger out", &s_.m_bDigitalTrigOut));
        to_.Take(Item("stepOnAccept", "Step after Accept", &r.m_bStepOnAccept));
        if (s_.m_eRecordingType == RecordingType::refractoryAutomatic) {
            to_.Take(Whole("monitorTrace", "Monitored trace", {}, &r.m_nMonitorTrace));
            to_.Take(Number("winStart", "Monitored window from", "ms", &r.m_fWinStart));
            to_.Take(Number("winEnd", "Monitored window to", "ms", &r.m_fWinEnd));
            to_.Take(Number("spikeThreshold", "Spike threshold", {}, &r.m_fSpikeThreshold));
        }
        Channels();
    }

    void Microphone() {
        SweepAndLimit();
        to_.Take(Item("autoLoad", "Open what was saved", &s_.m_bAutoLoad));
        to_.Take(Interval(s_.m_dSampleInterval));
        to_.Take(Item("secondChannel", "Second channel", &s_.channels[1].m_nChanOn));
        to_.Take(Whole("resolutionBits", "Resolution", "bits", &s_.m_nResolutionBits, 8, 16));
        ChannelAxes();
    }

    void Arduino() {
        SweepAndLimit();
        to_.Take(Item("autoLoad", "Open what was saved", &s_.m_bAutoLoad));
        to_.Take(Choice("rateIndex", "Rate index", &s_.arduinoRate, arduinoRates));
        s_.SetArduinoRate(s_.arduinoRate);
        uint32_t count = s_.ChannelsOn();
        to_.Take(Whole("channelCount", "Active channels", {}, &count, 0, acquisitionChannels));
        if (count != s_.ChannelsOn()) s_.SetChannelsOn(count);
        ChannelAxes();
    }

    AcquisitionSettings& s_;
    SettingVisitor& to_;
};

// --- limits and texts of one ---

std::string FaultOf(const SettingItem& item, const Field& field) {
    if (item.notZero && field.number == 0.0) return fmt::format("\"{}\" must not be 0.", item.name);
    return field.Fault();
}

void Store(const Field& field, const SettingItem& item) {
    std::visit(
        [&](auto* value) {
            using T = std::remove_pointer_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::string>)
                *value = field.text;
            else if constexpr (std::is_same_v<T, bool>)
                *value = field.flag;
            else if (field.kind == FieldKind::colour)
                *value = static_cast<T>(field.colour);
            else
                *value = static_cast<T>(field.kind == FieldKind::choice ? field.choice : field.number);
        },
        item.value);
}

// A float in the digits that it needs, not in those of the double that holds it.
double InDigits(const SettingItem& item) {
    const auto* single = std::get_if<float*>(&item.value);
    if (!single) return item.Number();
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, **single).ptr;
    double wide = double{**single};
    std::from_chars(text, end, wide);
    return wide;
}

void Load(Field& field, const SettingItem& item) {
    if (item.IsText()) {
        field.text = *std::get<std::string*>(item.value);
        return;
    }
    field.number = InDigits(item);
    if (field.kind == FieldKind::flag) field.flag = *std::get<bool*>(item.value);
    if (field.kind == FieldKind::colour) field.colour = *std::get<uint32_t*>(item.value);
    if (field.kind == FieldKind::choice)
        field.choice = static_cast<int>(std::clamp(field.number, -1.0, item.greatest + 1.0));
}

FieldKind KindOf(const SettingItem& item) {
    if (item.IsText()) return FieldKind::text;
    if (std::holds_alternative<bool*>(item.value)) return FieldKind::flag;
    if (item.isColour) return FieldKind::colour;
    if (!item.choices.empty()) return FieldKind::choice;
    const bool isFraction =
        std::holds_alternative<float*>(item.value) || std::holds_alternative<double*>(item.value);
    return isFraction ? FieldKind::number : FieldKind::integer;
}

// --- visitors ---

class Setter : public KeyVisitor {
  public:
    Setter(std::string_view key, std::string_view text) : key_(key), text_(text) {}
    void Take(const SettingItem& item) override {
        if (fault || !IsCalled(item, key_)) return;
        Field field = SettingField(item);
        fault = field.Parse(text_);
        if (fault->empty()) fault = FaultOf(item, field);
        if (fault->empty()) field.store(field);
    }

    std::optional<std::string> fault;

  private:
    std::string_view key_, text_;
};

class KeyList : public KeyVisitor {
  public:
    void Take(const SettingItem& item) override { keys.push_back(KeyOf(item)); }
    std::vector<std::string> keys;
};

class FaultFinder : public KeyVisitor {
  public:
    void Take(const SettingItem& item) override {
        if (!fault.empty() || item.isColour || item.IsText() || item.IsWithin()) return;
        fault = FaultOf(item, SettingField(item));
        if (fault.empty()) fault = fmt::format("\"{}\" has a value that makes no sense.", item.name);
        fault = KeyOf(item) + ": " + fault;
    }
    std::string fault;
};

}  // namespace

bool SettingItem::IsText() const { return std::holds_alternative<std::string*>(value); }

double SettingItem::Number() const {
    return std::visit(
        [](const auto* held) -> double {
            if constexpr (std::is_same_v<decltype(held), const std::string*>)
                return 0.0;
            else
                return static_cast<double>(*held);
        },
        value);
}

bool SettingItem::IsWithin() const {
    const double number = Number();
    return std::isfinite(number) && number >= least && number <= greatest && !(notZero && number == 0.0);
}

void VisitSettings(AcquisitionSettings& settings, SettingVisitor& visitor) { Walk(settings, visitor).All(); }

void VisitPulse(AcquisitionSettings& settings, COutputPulse& pulse, SettingVisitor& visitor) {
    Walk(settings, visitor).Pulse(pulse);
}

Field SettingField(const SettingItem& item) {
    Field field;
    field.key = field.label = std::string(item.name);
    field.unit = std::string(item.unit);
    field.kind = KindOf(item);
    field.isSingle = std::holds_alternative<float*>(item.value);
    const double largest =
        field.isSingle ? double{std::numeric_limits<float>::max()} : std::numeric_limits<double>::max();
    field.Limits(std::max(item.least, -largest), std::min(item.greatest, largest));
    field.choices.assign(item.choices.begin(), item.choices.end());
    field.load = [item](Field& to) { Load(to, item); };
    field.store = [item](const Field& from) { Store(from, item); };
    field.load(field);
    return field;
}

std::optional<std::string> SetSetting(AcquisitionSettings& settings, std::string_view key,
                                      std::string_view text) {
    Setter setter(key, text);
    VisitSettings(settings, setter);
    return setter.fault;
}

std::vector<std::string> SettingKeys(const AcquisitionSettings& settings) {
    AcquisitionSettings copy = settings;
    KeyList list;
    VisitSettings(copy, list);
    return std::move(list.keys);
}

std::string SettingsFault(const AcquisitionSettings& settings) {
    AcquisitionSettings copy = settings;
    FaultFinder finder;
    VisitSettings(copy, finder);
    if (finder.fault.empty() && copy.m_nResolutionBits % 8 != 0)
        finder.fault = "resolution: A microphone has 8 or 16 bits.";
    return finder.fault;
}

}  // namespace kymora
