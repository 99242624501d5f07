#pragma once
// The neurons of the demonstration recording: their shapes on two electrodes, and when they fire.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "demo/portable_random.h"

namespace kymora {

inline constexpr int demoElectrodes = 2;
inline constexpr int demoUnits = 3;

// A shape as a sum of bell curves; times in ms from the peak.
struct Bell {
    double height;
    double centre;
    double width;
};

struct SpikeUnit {
    std::array<Bell, 3> bells;                // of unit height; the spike itself comes first
    std::array<double, demoElectrodes> peak;  // uV at the extremum, with its sign
    double rate;                              // spikes per second
    double refractoryMs;
    double stimulusRate;  // spikes per second while the stimulus lasts

    // The shape at a time from the peak, 1 at the extremum.
    double Shape(double ms) const;
    // Beyond this time from the peak the shape is nothing, ms.
    static constexpr double reachMs = 2.0;
};

const std::array<SpikeUnit, demoUnits>& DemoSpikeUnits();

struct Spike {
    int unit = 0;
    double time = 0.0;   // of the peak, in samples, between samples too
    double scale = 1.0;  // spikes of one unit vary a little in size
    int64_t Position() const { return static_cast<int64_t>(time + 0.5); }
};

struct StimulusTimes {
    int64_t start = 0;  // samples
    int64_t end = 0;    // exclusive
};

// All spikes of a recording in ascending order, some of them made to overlap on purpose.
std::vector<Spike> DrawSpikes(uint64_t seed, int64_t length, double interval,
                              std::span<const StimulusTimes> stimuli);

// Adds the spikes to the samples of an electrode.
void AddSpikes(std::span<double> samples, int electrode, double interval, std::span<const Spike> spikes);

}  // namespace kymora
