#include "spectra/spectrum_confidence.h"

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr double outside = 0.05;                      // of a band, on both sides together
constexpr double normalQuantile = 1.959963984540054;  // of 1 - outside / 2

}  // namespace

double IndependentSegments(std::span<const double> window, size_t step, int64_t segments) {
    double squares = 0.0;
    for (const double value : window) squares += value * value;
    double excess = 1.0;
    for (size_t lag = step, j = 1; lag < window.size() && static_cast<int64_t>(j) < segments;
         lag += step, ++j) {
        double product = 0.0;
        for (size_t i = lag; i < window.size(); ++i) product += window[i] * window[i - lag];
        const double share = 1.0 - static_cast<double>(j) / static_cast<double>(segments);
        excess += 2.0 * share * (product / squares) * (product / squares);
    }
    return static_cast<double>(segments) / excess;
}

std::pair<double, double> PowerBand(double segments) {
    const double degrees = 2.0 * segments;
    const boost::math::chi_squared_distribution<double> distribution(degrees);
    return {degrees / boost::math::quantile(distribution, 1.0 - outside / 2.0),
            degrees / boost::math::quantile(distribution, outside / 2.0)};
}

std::pair<double, double> CoherenceBand(double coherence, double segments) {
    const double root = std::sqrt(std::clamp(coherence, 0.0, 1.0));
    if (!(root < 1.0)) return {coherence, coherence};
    const double z = std::atanh(root), half = normalQuantile / std::sqrt(2.0 * segments);
    const double lower = std::tanh(std::max(0.0, z - half)), upper = std::tanh(z + half);
    return {lower * lower, upper * upper};
}

std::optional<double> CriticalCoherence(int64_t averages, double alpha) {
    if (averages < 3) return std::nullopt;
    const auto v = static_cast<double>(averages - 2);
    const double f = boost::math::quantile(boost::math::fisher_f_distribution<double>(2.0, v), 1.0 - alpha);
    return 2.0 * f / (v + 2.0 * f);
}

}  // namespace kymora
