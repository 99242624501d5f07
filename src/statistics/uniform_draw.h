#pragma once
// Uniform random numbers that are the same on every machine. The generator's bits are fixed by the language's
// standard, but what its distributions make of them is not.

#include <random>

namespace kymora {

// From 0 to below 1, with 53 random bits.
inline double UniformDraw(std::mt19937& random) {
    const double high = static_cast<double>(random() >> 5);
    const double low = static_cast<double>(random() >> 6);
    return (high * 67108864.0 + low) / 9007199254740992.0;
}

}  // namespace kymora
