#pragma once
// Random numbers of the usual distributions, the same on every machine. The bits come from the Mersenne
// Twister MT19937 (Matsumoto and Nishimura, ACM Transactions on Modeling and Computer Simulation 8, 1998),
// which the language's standard fixes; what is made of them is made here.

#include <cstdint>
#include <utility>

#include "numerics/portable_functions.h"
#include "statistics/uniform_draw.h"

namespace kymora {

// From 0 to count - 1, all equally likely. `count` is at least 1.
inline uint32_t IndexDraw(std::mt19937& random, uint32_t count) {
    const uint64_t all = uint64_t{1} << 32;
    const uint64_t limit = all - all % count;
    uint64_t draw = random();
    while (draw >= limit) draw = random();
    return static_cast<uint32_t>(draw % count);
}

// By inversion.
inline double ExponentialDraw(std::mt19937& random, double mean) {
    return -mean * LogOf(1.0 - UniformDraw(random));
}

// Draws that are made of normal ones, which come in pairs: the second of a pair waits here for the next draw.
class NormalDraws {
  public:
    explicit NormalDraws(std::mt19937& random) : random_(random) {}

    // Mean 0, s.d. 1: the polar method (Marsaglia and Bray, SIAM Review 6, 1964).
    double Normal() {
        if (hasSpare_) {
            hasSpare_ = false;
            return spare_;
        }
        for (;;) {
            const double x = 2.0 * UniformDraw(random_) - 1.0;
            const double y = 2.0 * UniformDraw(random_) - 1.0;
            const double square = x * x + y * y;
            if (!(square > 0.0 && square < 1.0)) continue;
            const double scale = std::sqrt(-2.0 * LogOf(square) / square);
            spare_ = y * scale;
            hasSpare_ = true;
            return x * scale;
        }
    }

    // By the squeeze of Marsaglia and Tsang (ACM Transactions on Mathematical Software 26, 2000); a shape
    // below 1 is drawn from the next one, as they say.
    double Gamma(double shape, double mean) {
        if (shape < 1.0) {
            const double larger = Gamma(shape + 1.0, mean * (shape + 1.0) / shape);
            return larger * ExpOfMinus(-LogOf(1.0 - UniformDraw(random_)) / shape);
        }
        const double d = shape - 1.0 / 3.0, c = 1.0 / std::sqrt(9.0 * d);
        for (;;) {
            const double x = Normal(), root = 1.0 + c * x;
            if (root <= 0.0) continue;
            const double v = root * root * root, u = 1.0 - UniformDraw(random_), square = x * x;
            if (u < 1.0 - 0.0331 * square * square || LogOf(u) < 0.5 * square + d * (1.0 - v + LogOf(v)))
                return d * v * (mean / shape);
        }
    }

  private:
    std::mt19937& random_;
    double spare_ = 0.0;
    bool hasSpare_ = false;
};

// Any order of the items, all equally likely (Fisher and Yates; Durstenfeld, Communications of the ACM 7,
// 1964).
template <typename Items>
void Shuffle(std::mt19937& random, Items& items) {
    for (size_t left = items.size(); left > 1; --left) {
        using std::swap;
        swap(items[left - 1], items[IndexDraw(random, static_cast<uint32_t>(left))]);
    }
}

}  // namespace kymora
