#include "numerics/min_max.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kymora {

namespace {

// Independent lanes let the compiler use wide registers without changing a single comparison.
constexpr size_t lanes = 32;

bool HasNotANumber(const float* values, size_t count) {
    std::array<uint32_t, lanes> found{};
    size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        for (size_t k = 0; k < lanes; ++k) found[k] |= values[i + k] != values[i + k] ? 1u : 0u;
    uint32_t any = 0;
    for (const uint32_t lane : found) any |= lane;
    for (; i < count; ++i) any |= values[i] != values[i] ? 1u : 0u;
    return any != 0;
}

}  // namespace

void WidenRange(std::span<const float> values, float& low, float& high) {
    const float* v = values.data();
    const size_t count = values.size();
    size_t i = 0;
    if (count >= lanes) {
        std::array<float, lanes> lows, highs;
        lows.fill(low);
        highs.fill(high);
        for (; i + lanes <= count; i += lanes)
            for (size_t k = 0; k < lanes; ++k) {
                lows[k] = v[i + k] < lows[k] ? v[i + k] : lows[k];
                highs[k] = v[i + k] > highs[k] ? v[i + k] : highs[k];
            }
        for (size_t k = 0; k < lanes; ++k) {
            low = lows[k] < low ? lows[k] : low;
            high = highs[k] > high ? highs[k] : high;
        }
    }
    for (; i < count; ++i) {
        low = v[i] < low ? v[i] : low;
        high = v[i] > high ? v[i] : high;
    }
}

size_t FindNotANumber(std::span<const float> values) {
    constexpr size_t piece = 4096;
    for (size_t at = 0; at < values.size(); at += piece) {
        const size_t count = std::min(piece, values.size() - at);
        if (!HasNotANumber(values.data() + at, count)) continue;
        for (size_t i = at; i < at + count; ++i)
            if (values[i] != values[i]) return i;
    }
    return values.size();
}

}  // namespace kymora
