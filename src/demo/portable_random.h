#pragma once
// Random numbers and elementary functions that give the same bits on every machine: the generator is fixed by
// the language, and everything else is made of additions, multiplications and square roots, which IEEE 754
// fixes. The library's distributions, sines and exponentials are not.

#include <cmath>
#include <cstdint>
#include <random>

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

// e^-x for x >= 0, to about 1e-13: the series at x / 1024, squared ten times.
inline double ExpOfMinus(double x) {
    if (x > 700.0) return 0.0;
    const double y = -x / 1024.0;
    double sum = 1.0;
    for (int k = 8; k >= 1; --k) sum = 1.0 + sum * y / k;
    for (int i = 0; i < 10; ++i) sum *= sum;
    return sum;
}

// The sine of an angle in turns: folded to a quarter, then the series, to about 1e-13.
inline double SineOfTurns(double turns) {
    double x = turns - std::floor(turns);
    const double sign = x >= 0.5 ? -1.0 : 1.0;
    if (x >= 0.5) x -= 0.5;
    if (x > 0.25) x = 0.5 - x;
    const double angle = x * 6.283185307179586;
    const double square = angle * angle;
    double sum = 1.0;
    for (int k = 16; k >= 2; k -= 2) sum = 1.0 - sum * square / (k * (k + 1));
    return sign * angle * sum;
}

}  // namespace kymora
