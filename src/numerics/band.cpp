#include "numerics/band.h"

#include <algorithm>
#include <cstdint>

namespace kymora {

namespace {

bool IsOutside(float value, float low, float high) { return value > high || value < low; }

// Whether any of the values is outside, or is not, without a branch for each: the compiler uses wide
// registers.
template <bool wanted, size_t count>
bool Holds(const float* values, float low, float high) {
    uint32_t any = 0, all = 1;
    for (size_t i = 0; i < count; ++i) {
        const uint32_t outside =
            static_cast<uint32_t>(values[i] > high) | static_cast<uint32_t>(values[i] < low);
        any |= outside;
        all &= outside;
    }
    return wanted ? any != 0 : all == 0;
}

// Most calls look far; those that find something at once should not pay for it.
template <bool wanted>
size_t Find(std::span<const float> values, float low, float high) {
    constexpr size_t near = 2, large = 64, small = 4;
    const float* v = values.data();
    const size_t count = values.size();
    size_t i = 0;
    for (const size_t end = std::min(near, count); i < end; ++i)
        if (IsOutside(v[i], low, high) == wanted) return i;
    while (i + large <= count && !Holds<wanted, large>(v + i, low, high)) i += large;
    while (i + small <= count && !Holds<wanted, small>(v + i, low, high)) i += small;
    while (i < count && IsOutside(v[i], low, high) != wanted) ++i;
    return i;
}

}  // namespace

size_t FindOutside(std::span<const float> values, float low, float high) {
    return Find<true>(values, low, high);
}

size_t FindNotOutside(std::span<const float> values, float low, float high) {
    return Find<false>(values, low, high);
}

}  // namespace kymora
