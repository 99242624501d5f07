#pragma once
// Random numbers that are the same on every machine, from a few additions: the generator is fixed by the
// language. What the library makes of its bits is not.

#include <cstdint>
#include <random>

#include "numerics/portable_functions.h"

namespace kymora {

class PortableRandom {
  public:
    // `stream` keeps the draws of one purpose apart from those of another.
    PortableRandom(uint64_t seed, uint64_t stream) : generator_(seed * 0x9E3779B97F4A7C15u + stream) {}

    // In [0, 1), with 53 random bits.
    double Uniform() { return static_cast<double>(generator_() >> 11) * 0x1p-53; }
    double Uniform(double from, double to) { return from + (to - from) * Uniform(); }
    bool Chance(double probability) { return Uniform() < probability; }

    // Mean 0, s.d. 1: the sum of twelve uniform numbers of 16 bits, less its mean (Irwin-Hall; no tail beyond
    // 6).
    double Normal() {
        uint32_t sum = 0;
        for (int draw = 0; draw < 3; ++draw)
            for (uint64_t bits = generator_(), part = 0; part < 4; ++part, bits >>= 16) sum += bits & 0xFFFF;
        return (static_cast<double>(sum) - 12 * 32767.5) / 65536.0;
    }

  private:
    std::mt19937_64 generator_;
};

}  // namespace kymora
