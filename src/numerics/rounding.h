#pragma once
// The one rounding rule of the system: add 0.5 (subtract 0.5 from a negative value) and truncate. It is used
// for every conversion of a time to a sample position and of a value to a pixel.

#include <cstdint>
#include <limits>

namespace kymora {

// Half away from zero, to a 64-bit integer. A not-a-number gives 0; values outside the range are held to its
// ends.
inline int64_t RoundHalfAway64(double value) {
    if (value != value) return 0;
    const double shifted = value < 0.0 ? value - 0.5 : value + 0.5;
    if (shifted >= 9223372036854775807.0) return std::numeric_limits<int64_t>::max();
    if (shifted <= -9223372036854775808.0) return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(shifted);
}

// The same, held to the range of a sample position or a pixel.
inline int32_t RoundHalfAway(double value) {
    const int64_t wide = RoundHalfAway64(value);
    if (wide > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (wide < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(wide);
}

}  // namespace kymora
