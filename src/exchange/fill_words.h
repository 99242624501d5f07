#pragma once
// How the interpolators are called, wherever one is chosen: by number (InterpolatorKind).

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "curves/interpolator.h"

namespace kymora {

inline constexpr const char* fillWords[] = {
    "Mark gaps between data as inactive",
    "Fill gaps between data by linear interpolation",
    "Fill gaps between data using cubic spline interpolation",
    "Fill gaps between data using Catmull-Rom spline interpolation",
    "Fill gaps between data using modified Akima spline interpolation",
    "Fill gaps between data using 3rd order Bezier spline interpolation",
    "Fill gaps between data using piecewise cubic hermite interpolating polynomial (PCHIP) spline "
    "interpolation"};
inline constexpr const char* fillTip = "What lies between the points";
inline constexpr const char* extrapolateLabel = "Extrapolate OoR";
inline constexpr const char* extrapolateTip =
    "Extrapolate data outside source range using within-range terminal slopes";

inline std::vector<std::string> FillWords() { return {std::begin(fillWords), std::end(fillWords)}; }

// How the samples between given points are made.
struct FillSettings {
    int32_t kind = 0;           // InterpolatorKind
    bool extrapolates = false;  // also outside the points

    InterpolatorKind Kind() const { return static_cast<InterpolatorKind>(std::clamp(kind, 0, 6)); }
    bool IsCurve() const { return Kind() != InterpolatorKind::gaps; }
};

// The line of a report, with the second one behind so many tabs.
inline std::string FillReport(const FillSettings& fill, std::string_view tabs) {
    constexpr const char* names[] = {"Inactive gap",
                                     "Linear interpolation",
                                     "Cubic spline interpolation",
                                     "Catmull-Rom spline interpolation",
                                     "Modified Akima spline interpolation",
                                     "Bezier (3rd order) spline interpolation",
                                     "PCHIP spline interpolation"};
    std::string text = fmt::format("{}\r\n", names[static_cast<size_t>(fill.Kind())]);
    if (fill.IsCurve())
        text += fmt::format("{}Extrapolate OoR: {}\r\n", tabs, fill.extrapolates ? "yes" : "no");
    return text;
}

}  // namespace kymora
