#pragma once
// Pulses that are the same at even intervals, and what a user does to the pulses of an output one by one.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recording/acquisition_settings_fields.h"

namespace kymora {

// In the time unit of its stimulus, and in volts.
struct PulseTrain {
    float delay = 0.0f;  // to the first pulse
    float duration = 0.0f;
    float amplitude = 0.0f;
    float interval = 0.0f;  // from the beginning of a pulse to that of the next
    uint32_t number = 0;    // up to mostPulses

    bool operator==(const PulseTrain&) const = default;
};

// Pulse i has the delay `delay` + i * `interval` in f32, no ramps, and `duration` as its plateau.
std::vector<COutputPulse> TrainPulses(const PulseTrain& train);
// The train that gives exactly these pulses, with the shortest interval in digits; nothing where none does.
std::optional<PulseTrain> TrainOf(std::span<const COutputPulse> pulses);

// Its values: number, delay, duration, amplitude and interval.
std::vector<SettingItem> TrainItems(PulseTrain& train, bool timeInSeconds);

// The trains of the outputs while they are being set, value by value: an interval counts also as long as
// there is a single pulse.
class TrainEditor {
  public:
    // The train of an output's pulses as they stand. Pulses that are none give that of the first of them.
    PulseTrain& Of(const AcquisitionSettings& settings, size_t output);
    // Replaces the pulses of the output by those of its train.
    void Apply(AcquisitionSettings& settings, size_t output);
    // Sets one by a key like "dac1.train.interval" and replaces the pulses. Answers why the text may not be
    // used, with nothing changed; empty when it was. Nothing where there is no such key or output in use.
    std::optional<std::string> Set(AcquisitionSettings& settings, std::string_view key,
                                   std::string_view text);

  private:
    struct Kept {
        PulseTrain train;
        std::vector<COutputPulse> pulses;  // that it stands for
    };
    std::array<std::optional<Kept>, outputChannels> kept_;
};

// Pulses count from 1 for the user.
inline constexpr const char* noPulseChosenText = "Please select a pulse (id > 0) to delete.";
inline constexpr const char* noPulsesText = "There are no pulses on this channel to delete.";
// Takes a pulse away, and answers why there is none to take; empty when it did.
std::string DeletePulse(std::vector<COutputPulse>& pulses, uint32_t id);
// Takes all away, likewise.
std::string DeleteAllPulses(std::vector<COutputPulse>& pulses);

// Takes the steps away from all pulses of all outputs.
void ClearSequences(AcquisitionSettings& settings);
// The pulses of the outputs in use have a sequence.
bool HasSequences(const AcquisitionSettings& settings);

}  // namespace kymora
