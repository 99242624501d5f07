#include "drawing/ticks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kymora {

namespace {
constexpr double mostTicks = 1000.0;
}

double TickStep(double low, double high, int most) {
    const double span = std::max(high - low, std::numeric_limits<double>::min());
    const double least = span / std::max(1, most);
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= least) return factor * power;
    return 10.0 * power;
}

double TurnStep(double low, double high, double turn, int most) {
    constexpr double parts[] = {24.0, 12.0, 8.0, 4.0, 2.0};
    if (!(high - low >= 2.0 * turn / parts[0])) return TickStep(low, high, most);
    for (const double part : parts)
        if (std::floor((high - low) * part / turn) <= most) return turn / part;
    return turn / 2.0;
}

std::vector<double> Ticks(double low, double high, double step) {
    std::vector<double> ticks;
    const double first = std::ceil(low / step), last = std::floor(high / step);
    // A step that the numbers can no longer resolve makes none.
    if (!std::isfinite(first) || !std::isfinite(last) || !(last - first < mostTicks)) return ticks;
    for (double k = first; k <= last; k += 1.0) {
        // Zero has no sign.
        ticks.push_back(k == 0.0 ? 0.0 : k * step);
        if (k + 1.0 == k) break;
    }
    return ticks;
}

std::vector<double> LogTicks(double low, double high, int most) {
    constexpr double fewPowers = 1.2;
    const double powers = std::log10(high) - std::log10(low);
    if (!(powers >= fewPowers)) return Ticks(low, high, TickStep(low, high, most));
    const int first = static_cast<int>(std::floor(std::log10(low)));
    const int last = static_cast<int>(std::ceil(std::log10(high)));
    const bool hasBetween = powers * 3.0 <= most;
    const int apart = std::max(1, static_cast<int>(std::ceil(powers / std::max(1, most))));
    std::vector<double> ticks;
    for (int power = first; power <= last; ++power) {
        if ((power % apart + apart) % apart != 0) continue;
        for (const double factor : {1.0, 2.0, 5.0}) {
            const double tick = factor * std::pow(10.0, power);
            // A power at an end, as pow makes it, is one within.
            const bool isWithin = tick >= low * (1.0 - 1e-9) && tick <= high * (1.0 + 1e-9);
            if (isWithin && (factor == 1.0 || hasBetween)) ticks.push_back(tick);
        }
    }
    return ticks;
}

std::string LogTickText(double value) {
    if (value >= 1e-4 && value < 1e6) return fmt::format("{:.9g}", value);
    return fmt::format("{:.3g}", value);
}

std::string TickText(double value, double step) {
    constexpr int mostWithExponent = 3, mostFigures = 17;
    const double size = std::max(std::abs(value), step);
    const double place = std::floor(std::log10(step) + 1e-9);
    // Far from zero the neighbours of a tick differ in late figures, which an exponent must not cut off.
    const auto figures = static_cast<int>(
        std::clamp(std::floor(std::log10(size) + 1e-9) - place + 1.0, 1.0, double{mostFigures}));
    if (step < 1e-6 || size >= 1e15 || (size >= 1e7 && figures <= mostWithExponent))
        return fmt::format("{:.{}g}", value, figures);
    return fmt::format("{:.{}f}", value, std::max(0, -static_cast<int>(place)));
}

double ClockStep(double lowMs, double highMs, int most) {
    constexpr double seconds[] = {1,   2,   5,    10,   15,   30,    60,    120,   300,
                                  600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400};
    const double least = (highMs - lowMs) / std::max(1, most);
    for (const double step : seconds)
        if (step * 1000.0 >= least && least > 500.0) return step * 1000.0;
    return TickStep(lowMs, highMs, most);
}

std::string ClockText(double msSinceMidnight, double stepMs) {
    constexpr double day = 86400e3;
    // Of what is cut off, no more than the noise of binary fractions.
    const int decimals =
        stepMs >= 1000.0 ? 0 : std::clamp(3 - static_cast<int>(std::floor(std::log10(stepMs) + 1e-9)), 1, 6);
    const double scale = std::pow(10.0, decimals);
    const double ticks = std::round(msSinceMidnight / 1000.0 * scale);
    const double seconds = ticks / scale - std::floor(ticks / scale / (day / 1000.0)) * (day / 1000.0);
    const auto minutes = static_cast<int>(std::floor(seconds / 60.0));
    const double left = seconds - minutes * 60.0;
    return fmt::format("{:02}:{:02}:{:0{}.{}f}", minutes / 60, minutes % 60, left,
                       decimals > 0 ? decimals + 3 : 2, decimals);
}

}  // namespace kymora
