#include "host/time_left.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr double tellsAfter = 3.0, leastTold = 2.0;  // seconds
constexpr double leastShare = 0.01;
constexpr double minute = 60.0, hour = 3600.0, mostHours = 1000.0;

}  // namespace

std::string TimeLeftText(std::chrono::duration<double> passed, double share) {
    if (passed.count() < tellsAfter || !(share >= leastShare) || share >= 1.0) return {};
    const double left = passed.count() * (1.0 - share) / share;
    if (left < leastTold || left > mostHours * hour) return {};
    // Coarse enough not to run up and down with each step.
    if (left < 0.75 * minute) return fmt::format("about {:.0f} s left", std::ceil(left / 5.0) * 5.0);
    if (left < 1.5 * hour)
        return fmt::format("about {:.0f} min left", std::max(1.0, std::round(left / minute)));
    return fmt::format("about {:.0f} h left", std::round(left / hour));
}

}  // namespace kymora
