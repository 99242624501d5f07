#include "rhythms/interval_bursts.h"

#include <algorithm>
#include <cmath>

#include "statistics/kernel_density.h"

namespace kymora {

namespace {

constexpr double bandwidth = 0.1, leastVoid = 0.7;  // decades
constexpr int pointsPerDecade = 100;
constexpr size_t leastIntervalsOfCut = 10;

}  // namespace

std::vector<EventStretch> FindIntervalBursts(const EventTrain& train, const IntervalLimitsOfBursts& limits) {
    std::vector<EventStretch> bursts;
    bool isOpen = false;
    for (size_t i = 0; i < train.Intervals(); ++i) {
        const int64_t interval = train.Interval(i);
        const auto event = static_cast<int32_t>(i);
        if (isOpen && interval > limits.within)
            isOpen = false;
        else if (isOpen)
            bursts.back().last = event + 1;
        else if ((isOpen = interval < limits.start))
            bursts.push_back({event, event + 1});
    }
    return bursts;
}

std::optional<IntervalCut> FindIntervalCut(std::span<const double> intervals, double longestWithin) {
    std::vector<double> logs;
    for (const double interval : intervals)
        if (interval > 0.0) logs.push_back(std::log10(interval));
    if (logs.size() < leastIntervalsOfCut) return {};
    const auto [least, most] = std::ranges::minmax(logs);
    const double from = least - 3.0 * bandwidth, to = most + 3.0 * bandwidth;
    const int points = static_cast<int>(std::ceil((to - from) * pointsPerDecade)) + 1;
    const std::vector<double> density =
        KernelDensity(logs).Along(from, to, points, Kernel::gaussian, bandwidth);
    const std::vector<double> places = EvenPoints(from, to, points);
    const auto isPeak = [&](size_t i) { return density[i] > density[i - 1] && density[i] >= density[i + 1]; };
    size_t within = 0;
    for (size_t i = 1; i + 1 < density.size() && places[i] <= std::log10(longestWithin); ++i)
        if (isPeak(i) && (within == 0 || density[i] > density[within])) within = i;
    if (within == 0) return {};
    size_t trough = within;
    for (size_t i = within + 1; i + 1 < density.size(); ++i) {
        if (density[i] < density[trough]) trough = i;
        if (!isPeak(i)) continue;
        const double apart = 1.0 - density[trough] / std::sqrt(density[within] * density[i]);
        if (apart >= leastVoid) return IntervalCut{std::pow(10.0, places[trough]), apart};
    }
    return {};
}

}  // namespace kymora
