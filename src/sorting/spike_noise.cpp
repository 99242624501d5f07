#include "sorting/spike_noise.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "statistics/statistics.h"

namespace kymora {

namespace {

// Appends the finite samples of [from, end) that lie in the stretches, until there are enough.
void TakeNoise(SampleReader& samples, int trace, std::span<const TraceStretch> stretches, int64_t from,
               int64_t end, std::vector<float>& noise) {
    auto at = std::ranges::upper_bound(stretches, from, {}, &TraceStretch::end);
    std::vector<float> read;
    for (; at != stretches.end() && at->start < end; ++at) {
        int64_t first = std::max(from, at->start);
        const int64_t last = std::min(end, at->end);
        while (first < last && std::ssize(noise) < mostNoiseSamples) {
            read.resize(static_cast<size_t>(std::min(last - first, mostNoiseSamples - std::ssize(noise))));
            samples.ReadBlock(trace, first, read);
            AppendFinite(read, noise);
            first += std::ssize(read);
        }
    }
}

}  // namespace

double SpikeNoise::Sd() const { return std::sqrt(variance); }

std::string NoiseText(const SpikeNoise& noise) {
    return fmt::format("CFindShapes::CalcNoiseVariance: mean = {:f}, var = {:f}, s.d. = {:f}\n", noise.mean,
                       noise.variance, noise.Sd());
}

SpikeNoise EstimateNoise(SampleReader& samples, int trace, std::span<const TraceStretch> stretches,
                         std::span<const int32_t> onsets, int32_t start, int32_t length) {
    std::vector<float> noise;
    for (size_t i = 1; i < onsets.size() && std::ssize(noise) < mostNoiseSamples; ++i)
        TakeNoise(samples, trace, stretches, int64_t{onsets[i - 1]} + start + length,
                  int64_t{onsets[i]} + start, noise);
    const MeanSd found = GetMeanSd(noise);
    if (found.count == 0) return {};
    return {found.mean, found.sd * found.sd, found.count};
}

}  // namespace kymora
