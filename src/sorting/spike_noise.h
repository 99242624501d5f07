#pragma once
// The noise beside the spikes of a trace.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "document/sample_reader.h"
#include "document/trace_stretches.h"

namespace kymora {

struct SpikeNoise {
    double mean = 0.0, variance = 0.0;  // units of the trace; the variance divides by count - 1
    int64_t count = 0;                  // of the samples; without any there is no measure

    double Sd() const;
};

// The line for the log.
std::string NoiseText(const SpikeNoise& noise);

inline constexpr int64_t mostNoiseSamples = 2000;

// From the samples between one spike's window and the next, in order, until there are enough. A window begins
// `start` samples from its onset, and is so many samples long; onsets ascend. What is no finite number, or
// lies outside the stretches, does not count. Throws FileError.
SpikeNoise EstimateNoise(SampleReader& samples, int trace, std::span<const TraceStretch> stretches,
                         std::span<const int32_t> onsets, int32_t start, int32_t length);

}  // namespace kymora
