#include "spectra/power_spectrum.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <numbers>

namespace kymora {

namespace {

using Complex = std::complex<double>;
using std::numbers::pi;

// The discrete Fourier transform, in place; the length is a power of two. `turns` holds exp(-2 pi i k / n).
void Transform(std::span<Complex> values, std::span<const Complex> turns) {
    const size_t n = values.size();
    for (size_t i = 1, j = 0; i < n; ++i) {
        size_t bit = n >> 1;
        for (; (j & bit) != 0; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(values[i], values[j]);
    }
    for (size_t half = 1; half < n; half *= 2)
        for (size_t from = 0; from < n; from += 2 * half)
            for (size_t k = 0; k < half; ++k) {
                const Complex far = values[from + half + k] * turns[k * (n / (2 * half))];
                values[from + half + k] = values[from + k] - far;
                values[from + k] += far;
            }
}

double MeanOfSamples(std::span<const float> samples) {
    double sum = 0.0;
    size_t count = 0;
    for (const float value : samples)
        if (std::isfinite(value)) {
            sum += value;
            ++count;
        }
    return count == 0 ? 0.0 : sum / static_cast<double>(count);
}

}  // namespace

std::vector<double> PowerSpectrum(std::span<const float> samples) {
    constexpr size_t fewest = 8;
    if (samples.size() < fewest) return {};
    const size_t n = std::bit_floor(std::min(samples.size(), longestSpectrumSegment));
    std::vector<Complex> turns(n), segment(n);
    std::vector<double> window(n), powers(n / 2 + 1, 0.0);
    for (size_t k = 0; k < n; ++k) {
        turns[k] = std::polar(1.0, -2.0 * pi * static_cast<double>(k) / static_cast<double>(n));
        window[k] = 0.5 - 0.5 * turns[k].real();
    }
    const double mean = MeanOfSamples(samples);
    for (size_t from = 0; from + n <= samples.size(); from += n / 2) {
        for (size_t k = 0; k < n; ++k) {
            const float value = samples[from + k];
            segment[k] = std::isfinite(value) ? (value - mean) * window[k] : 0.0;
        }
        Transform(segment, turns);
        for (size_t k = 0; k < powers.size(); ++k) powers[k] += std::norm(segment[k]);
    }
    return powers;
}

}  // namespace kymora
