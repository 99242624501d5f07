#include "recording/pulse_train.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace kymora {

namespace {

constexpr int mostDigits = 9;  // that tell one float from the next

float DelayOf(const PulseTrain& train, size_t pulse) {
    return train.delay + static_cast<float>(pulse) * train.interval;
}

bool IsOfTrain(const PulseTrain& train, std::span<const COutputPulse> pulses) {
    for (size_t i = 0; i < pulses.size(); ++i)
        if (pulses[i].m_fDelay != DelayOf(train, i)) return false;
    return true;
}

PulseTrain FirstAsTrain(std::span<const COutputPulse> pulses) {
    PulseTrain train;
    if (pulses.empty()) return train;
    const COutputPulse& first = pulses.front();
    train.delay = first.m_fDelay;
    train.duration = first.m_fPlateau;
    train.amplitude = first.m_fAmplitude;
    train.number = static_cast<uint32_t>(pulses.size());
    if (pulses.size() > 1) train.interval = std::max(0.0f, pulses[1].m_fDelay - first.m_fDelay);
    return train;
}

SettingItem Positive(std::string_view name, std::string_view label, std::string_view unit, float& value) {
    return {name, label, unit, &value, 0.0};
}

}  // namespace

std::vector<COutputPulse> TrainPulses(const PulseTrain& train) {
    COutputPulse pulse;
    pulse.m_fPlateau = train.duration;
    pulse.m_fAmplitude = train.amplitude;
    std::vector<COutputPulse> pulses(train.number, pulse);
    for (size_t i = 0; i < pulses.size(); ++i) pulses[i].m_fDelay = DelayOf(train, i);
    return pulses;
}

std::optional<PulseTrain> TrainOf(std::span<const COutputPulse> pulses) {
    PulseTrain train = FirstAsTrain(pulses);
    COutputPulse plain;
    plain.m_fPlateau = train.duration;
    plain.m_fAmplitude = train.amplitude;
    for (const COutputPulse& pulse : pulses) {
        plain.m_fDelay = pulse.m_fDelay;
        if (pulse != plain) return {};
    }
    if (pulses.size() < 2) return train;
    // The interval was rounded away in the sums: it is looked for with more and more digits.
    const double mean =
        (double{pulses.back().m_fDelay} - pulses.front().m_fDelay) / static_cast<double>(pulses.size() - 1);
    if (!(mean >= 0.0)) return {};
    for (int digits = 1; digits <= mostDigits; ++digits) {
        train.interval = std::strtof(fmt::format("{:.{}g}", mean, digits).c_str(), nullptr);
        if (IsOfTrain(train, pulses)) return train;
    }
    return {};
}

std::vector<SettingItem> TrainItems(PulseTrain& train, bool timeInSeconds) {
    const std::string_view unit = timeInSeconds ? "s" : "ms";
    return {{"number", "Number of pulses", {}, &train.number, 0.0, mostPulses},
            Positive("delay", "Delay to first pulse", unit, train.delay),
            Positive("duration", "Duration", unit, train.duration),
            {"amplitude", "Amplitude", "V", &train.amplitude},
            Positive("interval", "Interval", unit, train.interval)};
}

// --- while it is being set ---

PulseTrain& TrainEditor::Of(const AcquisitionSettings& settings, size_t output) {
    const std::vector<COutputPulse>& pulses = settings.dac[output].pulses;
    std::optional<Kept>& kept = kept_[output];
    if (!kept || kept->pulses != pulses) kept = {TrainOf(pulses).value_or(FirstAsTrain(pulses)), pulses};
    return kept->train;
}

void TrainEditor::Apply(AcquisitionSettings& settings, size_t output) {
    Kept& kept = *kept_[output];
    settings.dac[output].pulses = kept.pulses = TrainPulses(kept.train);
}

std::optional<std::string> TrainEditor::Set(AcquisitionSettings& settings, std::string_view key,
                                            std::string_view text) {
    if (settings.m_eRecordingType != RecordingType::board || settings.boardDacChannels <= 0) return {};
    for (size_t output = 0; output < outputChannels && output < settings.m_nDacInUse; ++output) {
        const std::string prefix = fmt::format("dac{}.train.", output + 1);
        if (!key.starts_with(prefix)) continue;
        PulseTrain train = Of(settings, output);
        // The first that is told of a train that was not there makes it one.
        if (train.number == 0) train.number = 1;
        for (const SettingItem& item : TrainItems(train, settings.m_bTimeInSeconds)) {
            if (item.name != key.substr(prefix.size())) continue;
            Field field = SettingField(item);
            std::string fault = field.Parse(text);
            if (fault.empty()) fault = field.Fault();
            if (!fault.empty()) return fault;
            field.store(field);
            kept_[output]->train = train;
            Apply(settings, output);
            return std::string();
        }
    }
    return {};
}

// --- pulses one by one ---

std::string DeletePulse(std::vector<COutputPulse>& pulses, uint32_t id) {
    if (pulses.empty()) return noPulsesText;
    if (id == 0 || id > pulses.size()) return noPulseChosenText;
    pulses.erase(pulses.begin() + static_cast<std::ptrdiff_t>(id - 1));
    return {};
}

std::string DeleteAllPulses(std::vector<COutputPulse>& pulses) {
    if (pulses.empty()) return noPulsesText;
    pulses.clear();
    return {};
}

void ClearSequences(AcquisitionSettings& settings) {
    for (DacChannel& channel : settings.dac)
        for (COutputPulse& pulse : channel.pulses)
            pulse.m_fStepDelay = pulse.m_fStepOnRamp = pulse.m_fStepPlateau = pulse.m_fStepOffRamp =
                pulse.m_fStepAmplitude = 0.0f;
}

bool HasSequences(const AcquisitionSettings& settings) {
    for (size_t i = 0; i < settings.dac.size() && i < settings.m_nDacInUse; ++i)
        if (std::ranges::any_of(settings.dac[i].pulses, &COutputPulse::HasSequence)) return true;
    return false;
}

}  // namespace kymora
