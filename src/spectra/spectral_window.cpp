#include "spectra/spectral_window.h"

#include <bit>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace kymora {

namespace {

using std::numbers::pi;

constexpr int tapersOfOne = 5;
constexpr double tukeyShare = 0.5;  // of the window that rises and falls

double TukeyValue(size_t i, size_t n) {
    const double slopes = static_cast<double>(n) * tukeyShare;
    const auto side = static_cast<size_t>(slopes / 2.0);
    const double angle = 2.0 * pi * static_cast<double>(i) / slopes;
    if (i < side) return (std::cos(angle - pi) + 1.0) / 2.0;
    if (i >= n - side) return (std::cos(angle - 2.0 * pi / tukeyShare + pi) + 1.0) / 2.0;
    return 1.0;
}

double WindowValue(int index, size_t i, size_t n) {
    const double share = static_cast<double>(i) / static_cast<double>(n - 1);
    const double t = 2.0 * pi * share;
    const double offset = 2.0 * share - 1.0;  // from the middle, -1 to 1
    switch (index) {
    case 1:
        return 0.54 - 0.46 * std::cos(t);
    case 2:
        return 1.0 - std::fabs(offset);
    case 3:
        return 0.42 - 0.5 * std::cos(t) + 0.08 * std::cos(2.0 * t);
    case 4:
        return 0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2.0 * t) - 0.01168 * std::cos(3.0 * t);
    case 5:
        return 1.0 - offset * offset;
    case 6:
        return (1.0 - std::cos(t)) / 2.0;
    case 7:
        return TukeyValue(i, n);
    default:
        return 1.0;
    }
}

}  // namespace

const std::vector<std::string>& SpectralWindowNames() {
    static const std::vector<std::string> names = {"Rectangle", "Hamming",         "Bartlett",
                                                   "Blackman",  "Blackman-Harris", "Welch",
                                                   "Hann",      "Tukey 0.5",       "Multitaper"};
    return names;
}

std::vector<double> SpectralWindow(int index, size_t n) {
    if (!std::has_single_bit(n)) throw std::invalid_argument(noWindowLengthText);
    std::vector<double> window(n, 1.0);
    for (size_t i = 0; n > 1 && i < n; ++i) window[i] = WindowValue(index, i, n);
    return window;
}

std::vector<std::vector<double>> SpectralTapers(int index, size_t n) {
    if (index != windowMultitaper) return {SpectralWindow(index, n)};
    if (!std::has_single_bit(n)) throw std::invalid_argument(noWindowLengthText);
    std::vector<std::vector<double>> tapers;
    const double period = static_cast<double>(n + 1);
    for (int k = 1; k <= tapersOfOne; ++k) {
        std::vector<double>& taper = tapers.emplace_back(n);
        for (size_t i = 0; i < n; ++i)
            taper[i] = std::sqrt(2.0 / period) * std::sin(pi * k * static_cast<double>(i + 1) / period);
    }
    return tapers;
}

}  // namespace kymora
