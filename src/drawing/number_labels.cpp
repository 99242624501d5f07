#include "drawing/number_labels.h"

#include <cmath>

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

double TimeUnitFactor(int unit) { return unit == 1 ? 1000.0 : unit == 2 ? 60000.0 : 1.0; }

const char* TimeUnitName(int unit) { return unit == 1 ? "s" : unit == 2 ? "min" : "ms"; }

}  // namespace kymora
