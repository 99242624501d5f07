#pragma once
// A short stretch of samples at a multiple of its sample rate, by way of its spectrum.

#include <functional>
#include <span>
#include <vector>

namespace kymora {

// For the log.
inline constexpr const char* noPowerOfTwoText = "can only InterpolateFFT with a multiplier power of 2\n";

// `multiplier` values for each given one; every multiplier-th is the given one but for rounding. The stretch
// is taken as one period, filled up with zeros to a power of two, so that it rings where its ends do not
// meet. A multiplier of 1 answers a copy, and so does one that is no power of two, with a line for the log.
std::vector<float> InterpolateFFT(std::span<const float> values, int multiplier,
                                  const std::function<void(const char*)>& log = {});

// The same with wings of the stretch's length on both sides, which fall from its ends to about zero: the ends
// do not ring. A multiplier below 2, or that is no power of two, gives a copy of the values.
std::vector<float> InterpolateExtended(std::span<const float> values, int multiplier,
                                       const std::function<void(const char*)>& log = {});
// Into `to`, whatever that held.
void InterpolateExtended(std::span<const float> values, int multiplier, std::vector<float>& to,
                         const std::function<void(const char*)>& log = {});

}  // namespace kymora
