#include "spectra/radix2_fft.h"

#include <array>
#include <bit>
#include <cmath>
#include <numbers>
#include <utility>

namespace kymora {

namespace {

// Plans of up to 65,536 values take at most 2 MB of a thread, all together.
constexpr size_t keptLengths = 17;

}  // namespace

Radix2Fft::Radix2Fft(size_t length) : places_(length), cos_(length), sin_(length) {
    const int bits = std::countr_zero(length);
    for (size_t i = 1; i < length; ++i)
        places_[i] = (places_[i / 2] / 2) | (i % 2 == 0 ? 0u : 1u << (bits - 1));
    for (size_t half = 1; half < length; half *= 2)
        for (size_t k = 0; k < half; ++k) {
            const double angle = std::numbers::pi * static_cast<double>(k) / static_cast<double>(half);
            cos_[half + k] = std::cos(angle);
            sin_[half + k] = -std::sin(angle);
        }
}

std::shared_ptr<const Radix2Fft> Radix2Fft::Of(size_t length) {
    thread_local std::array<std::shared_ptr<const Radix2Fft>, keptLengths> kept;
    const auto bits = static_cast<size_t>(std::countr_zero(length));
    if (bits >= kept.size()) return std::make_shared<const Radix2Fft>(length);
    if (!kept[bits]) kept[bits] = std::make_shared<const Radix2Fft>(length);
    return kept[bits];
}

void Radix2Fft::Forward(std::span<double> re, std::span<double> im,
                        const std::function<void()>& between) const {
    const size_t length = Length();
    for (size_t i = 0; i < length; ++i)
        if (const size_t place = places_[i]; place > i) {
            std::swap(re[i], re[place]);
            std::swap(im[i], im[place]);
        }
    if (between) between();
    for (size_t half = 1; half < length; half *= 2) {
        const double* const wr = cos_.data() + half;
        const double* const wi = sin_.data() + half;
        for (size_t at = 0; at < length; at += 2 * half) {
            double* const re0 = re.data() + at;
            double* const im0 = im.data() + at;
            double* const re1 = re0 + half;
            double* const im1 = im0 + half;
            for (size_t k = 0; k < half; ++k) {
                const double real = re1[k] * wr[k] - im1[k] * wi[k];
                const double imaginary = re1[k] * wi[k] + im1[k] * wr[k];
                re1[k] = re0[k] - real;
                im1[k] = im0[k] - imaginary;
                re0[k] += real;
                im0[k] += imaginary;
            }
        }
        if (between) between();
    }
}

// Exchanging the parts before and after turns the sign of the exponent.
void Radix2Fft::Inverse(std::span<double> re, std::span<double> im,
                        const std::function<void()>& between) const {
    Forward(im, re, between);
    const auto divisor = static_cast<double>(Length());
    for (double& value : re) value /= divisor;
    for (double& value : im) value /= divisor;
}

}  // namespace kymora
