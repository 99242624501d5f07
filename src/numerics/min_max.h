#pragma once
// Lowest and highest of many samples, without a branch for each.

#include <cstddef>
#include <span>

namespace kymora {

// Widens [low, high] by the values. A not-a-number never enters, since every comparison with it is false.
void WidenRange(std::span<const float> values, float& low, float& high);

// Index of the first not-a-number, or the number of values.
size_t FindNotANumber(std::span<const float> values);

}  // namespace kymora
