#include "numerics/window_dots.h"

#include <cstring>

namespace kymora {

namespace {

// Vectors of the compiler: the lanes are separate sums, so no sum is reordered. Sixteen bytes is what every
// 64-bit processor has.
using FourFloats = float __attribute__((vector_size(16)));
using TwoFloats = float __attribute__((vector_size(8)));
using TwoDoubles = double __attribute__((vector_size(16)));

template <typename Vector>
Vector Load(const float* from) {
    Vector values;
    std::memcpy(&values, from, sizeof(values));
    return values;
}

constexpr size_t floatsAtOnce = 32;
constexpr size_t doublesAtOnce = 16;

void ManyDots(std::span<const float> coefficients, const float* samples, float* to) {
    constexpr size_t vectors = floatsAtOnce / 4;
    FourFloats sums[vectors] = {};
    for (size_t j = 0; j < coefficients.size(); ++j) {
        const float c = coefficients[j];
        const FourFloats factor = {c, c, c, c};
#pragma GCC unroll 8
        for (size_t v = 0; v < vectors; ++v) sums[v] += factor * Load<FourFloats>(samples + j + 4 * v);
    }
    std::memcpy(to, sums, sizeof(sums));
}

void ManyDots(std::span<const double> coefficients, const float* samples, double scale, float* to) {
    constexpr size_t vectors = doublesAtOnce / 2;
    TwoDoubles sums[vectors] = {};
    for (size_t j = 0; j < coefficients.size(); ++j) {
        const double c = coefficients[j];
        const TwoDoubles factor = {c, c};
#pragma GCC unroll 8
        for (size_t v = 0; v < vectors; ++v)
            sums[v] += factor * __builtin_convertvector(Load<TwoFloats>(samples + j + 2 * v), TwoDoubles);
    }
    for (size_t v = 0; v < vectors; ++v) {
        to[2 * v] = static_cast<float>(sums[v][0] * scale);
        to[2 * v + 1] = static_cast<float>(sums[v][1] * scale);
    }
}

}  // namespace

void WindowDots(std::span<const float> coefficients, std::span<const float> samples, std::span<float> to) {
    size_t i = 0;
    for (; i + floatsAtOnce <= to.size(); i += floatsAtOnce)
        ManyDots(coefficients, samples.data() + i, to.data() + i);
    for (; i < to.size(); ++i) {
        float sum = 0.0f;
        for (size_t j = 0; j < coefficients.size(); ++j) sum += coefficients[j] * samples[i + j];
        to[i] = sum;
    }
}

void WindowDots(std::span<const double> coefficients, std::span<const float> samples, double scale,
                std::span<float> to) {
    size_t i = 0;
    for (; i + doublesAtOnce <= to.size(); i += doublesAtOnce)
        ManyDots(coefficients, samples.data() + i, scale, to.data() + i);
    for (; i < to.size(); ++i) {
        double sum = 0.0;
        for (size_t j = 0; j < coefficients.size(); ++j) sum += coefficients[j] * samples[i + j];
        to[i] = static_cast<float>(sum * scale);
    }
}

}  // namespace kymora
