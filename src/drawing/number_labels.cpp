#include "drawing/number_labels.h"

#include <charconv>
#include <cmath>
#include <limits>

#include <fmt/format.h>

namespace kymora {

namespace {

std::string WithoutTrailingZeros(std::string text) {
    if (text.find('.') != std::string::npos) {
        while (text.back() == '0') text.pop_back();
        if (text.back() == '.') text.pop_back();
    }
    return text == "-0" ? "0" : text;
}

// What came from a sample: a float, or its neighbour in double, which a range that ends behind it has.
bool IsOfFloat(double value, float single) {
    return std::fabs(value - single) <= std::fabs(value) * 2.0 * std::numeric_limits<double>::epsilon();
}

// With an exponent only where there would be many zeros.
std::string WithoutSmallExponent(const std::string& number) {
    const double value = std::strtod(number.c_str(), nullptr), size = std::fabs(value);
    if (number.find('e') == std::string::npos || !(size >= 1e-5 && size < 1e12)) return number;
    char plain[64];
    return {plain, std::to_chars(plain, plain + sizeof plain, value, std::chars_format::fixed).ptr};
}

}  // namespace

std::string ShortNumber(double value) {
    if (!std::isfinite(value)) return fmt::format("{}", value);
    if (std::fabs(value) >= 1e15) return fmt::format("{:g}", value);
    return WithoutTrailingZeros(fmt::format("{:.6f}", value));
}

std::string AxisNumber(double value, int significantFigures) {
    if (significantFigures <= 0 || !std::isfinite(value)) return ShortNumber(value);
    if (value == 0.0) return "0";
    // The exponent after rounding: 9.996 to three figures is 10.0.
    const std::string scientific = fmt::format("{:.{}e}", value, significantFigures - 1);
    const int exponent = std::atoi(scientific.c_str() + scientific.find('e') + 1);
    if (exponent < -4 || exponent > 6) return fmt::format("{:.{}g}", value, significantFigures);
    const double rounded = std::strtod(scientific.c_str(), nullptr);
    const int decimals = std::max(0, significantFigures - 1 - exponent);
    return WithoutTrailingZeros(fmt::format("{:.{}f}", rounded, decimals));
}

std::string PreciseNumber(double value) {
    const std::string shown = fmt::format("{:.12g}", value);
    if (std::strtod(shown.c_str(), nullptr) != value && IsOfFloat(value, static_cast<float>(value)))
        return SingleNumber(value);
    return WithoutSmallExponent(shown);
}

std::string SingleNumber(double value) {
    const auto single = static_cast<float>(value);
    if (!std::isfinite(single) || (single == 0.0f) != (value == 0.0))  // beyond what a float holds
        return WithoutSmallExponent(fmt::format("{:.12g}", value));
    return WithoutSmallExponent(
        fmt::format("{:.12g}", std::strtod(fmt::format("{}", single).c_str(), nullptr)));
}

namespace {

struct TimeUnit {
    const char* name;
    double ms;
    double from;  // ms of a stretch for which it is the best
};
constexpr TimeUnit timeUnits[] = {
    {"ms", 1.0, 0.0}, {"s", 1e3, 20e3}, {"min", 60e3, 20.0 * 60e3}, {"h", 3600e3, 10.0 * 3600e3}};
constexpr int timeUnitCount = 4;

const TimeUnit& UnitOf(int unit) { return timeUnits[unit > 0 && unit < timeUnitCount ? unit : 0]; }

}  // namespace

double TimeUnitFactor(int unit) { return UnitOf(unit).ms; }

int TimeUnitFor(double durationMs) {
    int unit = timeUnitCount - 1;
    while (unit > 0 && !(durationMs >= timeUnits[unit].from)) --unit;
    return unit;
}

std::string TimeInUnit(double timeMs, int unit, int decimals) {
    constexpr int moreOfLongerUnits = 3;
    return fmt::format("{:.{}f} {}", timeMs / TimeUnitFactor(unit),
                       decimals + (unit == 0 ? 0 : moreOfLongerUnits), TimeUnitName(unit));
}

const char* TimeUnitName(int unit) { return UnitOf(unit).name; }

}  // namespace kymora
