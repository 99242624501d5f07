#include "spectra/interpolate_fft.h"

#include <algorithm>
#include <bit>

#include "spectra/radix2_fft.h"

namespace kymora {

namespace {

bool IsPowerOfTwo(int multiplier) {
    return multiplier > 0 && std::has_single_bit(static_cast<unsigned>(multiplier));
}

// Fills `to` with the raised values of the period that begins with `values`, from value `first` on.
void Raise(std::span<const float> values, size_t multiplier, size_t first, std::span<float> to) {
    size_t period = 2;
    while (period < values.size()) period *= 2;
    const size_t length = period * multiplier;
    // The spectrum has room for the raised period; the transform of the given one needs its beginning.
    std::vector<double> re(length), im(length);
    std::copy(values.begin(), values.end(), re.begin());
    Radix2Fft::Of(period)->Forward(std::span(re).first(period), std::span(im).first(period));
    std::fill(re.begin() + static_cast<std::ptrdiff_t>(period / 2 + 1), re.end(), 0.0);
    std::fill(im.begin() + static_cast<std::ptrdiff_t>(period / 2 + 1), im.end(), 0.0);
    for (size_t k = length / 2 + 1; k < length; ++k) {
        re[k] = re[length - k];
        im[k] = -im[length - k];
    }
    Radix2Fft::Of(length)->Inverse(re, im);
    const auto factor = static_cast<float>(multiplier);
    for (size_t i = 0; i < to.size(); ++i) to[i] = static_cast<float>(re[first + i]) * factor;
}

// The values with a wing on each side.
std::vector<float> WithWings(std::span<const float> values) {
    const size_t count = values.size();
    const auto divisor = static_cast<float>(count);
    std::vector<float> winged(3 * count);
    std::copy(values.begin(), values.end(), winged.begin() + static_cast<std::ptrdiff_t>(count));
    const float left = values.front() / divisor, right = values.back() / divisor;
    for (size_t i = count; i-- > 0;) winged[i] = winged[i + 1] - left;
    for (size_t i = 2 * count; i < winged.size(); ++i) winged[i] = winged[i - 1] - right;
    return winged;
}

}  // namespace

std::vector<float> InterpolateFFT(std::span<const float> values, int multiplier,
                                  const std::function<void(const char*)>& log) {
    if (!IsPowerOfTwo(multiplier) && log) log(noPowerOfTwoText);
    if (!IsPowerOfTwo(multiplier) || multiplier == 1 || values.empty()) return {values.begin(), values.end()};
    const auto factor = static_cast<size_t>(multiplier);
    std::vector<float> raised(values.size() * factor);
    Raise(values, factor, 0, raised);
    return raised;
}

void InterpolateExtended(std::span<const float> values, int multiplier, std::vector<float>& to,
                         const std::function<void(const char*)>& log) {
    if (!IsPowerOfTwo(multiplier) && log) log(noPowerOfTwoText);
    if (!IsPowerOfTwo(multiplier) || multiplier == 1 || values.empty()) {
        to.assign(values.begin(), values.end());
        return;
    }
    const auto factor = static_cast<size_t>(multiplier);
    const std::vector<float> winged = WithWings(values);
    to.resize(values.size() * factor);
    Raise(winged, factor, to.size(), to);
}

std::vector<float> InterpolateExtended(std::span<const float> values, int multiplier,
                                       const std::function<void(const char*)>& log) {
    std::vector<float> raised;
    InterpolateExtended(values, multiplier, raised, log);
    return raised;
}

}  // namespace kymora
