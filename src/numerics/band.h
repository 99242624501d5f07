#pragma once
// Searches for the first sample that lies beyond a band, or back in it, at the speed of memory. A sample lies
// outside [low, high] when it is above high or below low, both strict. The natural comparisons hold: a
// not-a-number is never outside, and with low -infinity and high +infinity nothing is. The band may be
// crossed (low above high); a sample between the two is then outside.

#include <cstddef>
#include <cstdint>
#include <span>

namespace kymora {

// Index of the first value outside the band, or the number of values.
size_t FindOutside(std::span<const float> values, float low, float high);

// Index of the first value that is not outside the band, or the number of values.
size_t FindNotOutside(std::span<const float> values, float low, float high);

// Samples that OutsideMask looks at.
inline constexpr size_t maskSize = 64;

// Whether any of the 64 values is outside the band.
bool AnyOutside(const float* values, float low, float high);
// Bit i is set when value i of the 64 is outside the band.
uint64_t OutsideMask(const float* values, float low, float high);

}  // namespace kymora
