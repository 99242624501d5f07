#pragma once
// How much of a stretch of samples lies at which frequency: the mean of the periodograms of overlapping
// segments under a Hann window (P. Welch, 1967).

#include <cstddef>
#include <span>
#include <vector>

namespace kymora {

inline constexpr size_t longestSpectrumSegment = 4096;

// Powers, in no unit, at 0, 1/n .. 1/2 of the sampling rate, where n is a segment: the largest power of two
// that the samples hold, and no more than longestSpectrumSegment. The mean of all samples is taken away
// before; those that are no finite numbers count as the mean. Empty for fewer than 8 samples.
std::vector<double> PowerSpectrum(std::span<const float> samples);

}  // namespace kymora
