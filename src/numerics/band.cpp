#include "numerics/band.h"

#include <algorithm>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

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

bool AnyOutside(const float* values, float low, float high) {
    return Holds<true, maskSize>(values, low, high);
}

uint64_t OutsideMask(const float* values, float low, float high) {
    uint64_t mask = 0;
#ifdef __SSE2__
    const __m128 lows = _mm_set1_ps(low), highs = _mm_set1_ps(high);
    for (size_t i = 0; i < maskSize; i += 4) {
        const __m128 four = _mm_loadu_ps(values + i);
        const __m128 outside = _mm_or_ps(_mm_cmpgt_ps(four, highs), _mm_cmplt_ps(four, lows));
        mask |= static_cast<uint64_t>(_mm_movemask_ps(outside)) << i;
    }
#else
    for (size_t i = 0; i < maskSize; ++i) mask |= static_cast<uint64_t>(IsOutside(values[i], low, high)) << i;
#endif
    return mask;
}

size_t FindOutside(std::span<const float> values, float low, float high) {
    return Find<true>(values, low, high);
}

size_t FindNotOutside(std::span<const float> values, float low, float high) {
    return Find<false>(values, low, high);
}

}  // namespace kymora
