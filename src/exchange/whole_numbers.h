#pragma once
// Values as the whole numbers of other systems' files.

#include <cstddef>
#include <cstdint>
#include <span>

namespace kymora {

// A value becomes (value - zero) x perUnit + offset in double precision, at least `low` and at most `high`,
// rounded half away from zero.
struct NumberScale {
    double zero = 0.0, perUnit = 1.0, offset = 0.0;
    double low = 0.0, high = 0.0;
};

// `to` has room for as many numbers as there are values, which are finite.
void ToWholeNumbers(std::span<const float> values, const NumberScale& scale, int16_t* to);
void ToWholeNumbers(std::span<const float> values, const NumberScale& scale, int32_t* to);

// Little-endian, three bytes each.
void PackInt24(std::span<const int32_t> numbers, std::byte* to);

}  // namespace kymora
