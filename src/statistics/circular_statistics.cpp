#include "statistics/circular_statistics.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kymora {

namespace {

constexpr double fullTurn = 2.0 * std::numbers::pi;

// The angle of the direction (c, s) of length r, from 0 to 2 pi.
double AngleOf(double c, double s, double r) {
    const double angle = std::asin(std::clamp(s / r, -1.0, 1.0));
    if (c < 0.0) return std::numbers::pi - angle;
    return s < 0.0 ? angle + fullTurn : angle;
}

}  // namespace

CircularStatistics GetCircularStatistics(std::span<const double> values, const ValueRange& range) {
    constexpr double noLength = 1e-7;
    const double length = range.maximum - range.minimum;
    CircularStatistics result;
    if (!std::isfinite(length)) return result;
    double c = 0.0;
    double s = 0.0;
    for (const double value : values) {
        if (!range.Holds(value)) continue;
        const double angle = fullTurn * ((value - range.minimum) / length);
        c += std::cos(angle);
        s += std::sin(angle);
        ++result.count;
    }
    if (result.count < 2) return result;
    const double n = static_cast<double>(result.count);
    c /= n;
    s /= n;
    const double r = std::sqrt(c * c + s * s);
    if (r < noLength) {
        result.state = CircularStatistics::State::noMean;
        return result;
    }
    result.state = CircularStatistics::State::found;
    const double turns = AngleOf(c, s, r) / fullTurn;
    result.mean = turns * length + range.minimum;
    result.meanDegrees = turns * 360.0;
    result.sd = std::sqrt(2.0 * std::max(0.0, 1.0 - r)) / fullTurn * length;
    result.vectorStrength = r;
    const double spread = std::max(0.0, n * n - (n * r) * (n * r));
    result.p = std::exp(std::sqrt(1.0 + 4.0 * n + 4.0 * spread) - (1.0 + 2.0 * n));
    return result;
}

}  // namespace kymora
