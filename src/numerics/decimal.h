#pragma once
// Decimal numbers that are kept as floats.

#include <charconv>
#include <iterator>

namespace kymora {

// What was meant by a decimal number that is kept as a float: the shortest one that is read as that float, so
// that 0.35 is no less than 3.5 tenths when it comes to rounding.
inline double DecimalOf(float value) {
    char text[32];
    const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
    double decimal = static_cast<double>(value);
    std::from_chars(std::begin(text), end, decimal);
    return decimal;
}

}  // namespace kymora
