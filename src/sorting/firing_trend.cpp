#include "sorting/firing_trend.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <queue>

#include "curves/local_fit.h"
#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr LocalFitSettings trendFit{1, 3, 6.0};

double FrequencyOf(int64_t before, int64_t position, double perSecond) {
    return position > before ? perSecond / static_cast<double>(position - before)
                             : std::numeric_limits<double>::infinity();
}

std::vector<double> TrendOf(std::span<const float> values) {
    const size_t count = values.size();
    const size_t half = std::min<size_t>(mostTrendHalfWindow, (count - 1) / 2);
    const size_t window = 2 * half + 1;
    std::map<size_t, LocalFit> fits;
    std::vector<double> trend(count);
    for (size_t i = 0; i < count; ++i) {
        const size_t first = std::min(i > half ? i - half : 0, count - window);
        auto& fit = fits.try_emplace(i - first, window, i - first, trendFit).first->second;
        trend[i] = fit.Value(values.subspan(first, window));
    }
    return trend;
}

}  // namespace

FiringTrend::FiringTrend(std::span<const int64_t> positions, double perSecond) : perSecond_(perSecond) {
    if (positions.size() < fewestTrendSpikes) return;
    std::vector<float> values;
    for (size_t i = 1; i < positions.size(); ++i) {
        if (positions[i] == positions[i - 1]) continue;
        ends_.push_back(positions[i]);
        frequencies_.push_back(FrequencyOf(positions[i - 1], positions[i], perSecond));
        values.push_back(static_cast<float>(frequencies_.back()));
    }
    if (values.empty()) return;
    trend_ = TrendOf(values);
    std::vector<float> away;
    for (size_t i = 0; i < trend_.size(); ++i)
        away.push_back(static_cast<float>(std::abs(frequencies_[i] - trend_[i])));
    mad_ = GetMedian(away);
}

double FiringTrend::TrendAt(int64_t position) const {
    const auto next = std::ranges::lower_bound(ends_, position);
    if (next == ends_.end()) return trend_.back();
    const auto at = static_cast<size_t>(next - ends_.begin());
    if (at == 0 || *next == position) return trend_[at];
    const double share =
        static_cast<double>(position - ends_[at - 1]) / static_cast<double>(ends_[at] - ends_[at - 1]);
    return trend_[at - 1] + share * (trend_[at] - trend_[at - 1]);
}

bool FiringTrend::IsTooFast(int64_t before, int64_t position, double limit) const {
    return IsThere() && FrequencyOf(before, position, perSecond_) > TrendAt(position) + limit * mad_;
}

std::vector<size_t> FindFastOutliers(std::span<const int64_t> positions, std::span<const double> errors,
                                     double perSecond, double limit) {
    const FiringTrend trend(positions, perSecond);
    const size_t count = positions.size();
    std::vector<size_t> outliers, before(count), after(count);
    for (size_t i = 0; i < count; ++i) {
        before[i] = i - 1;
        after[i] = i + 1;
    }
    std::vector<uint8_t> isOut(count);
    // The shortest interval first, then the earliest.
    using Pair = std::tuple<int64_t, size_t, size_t>;
    std::priority_queue<Pair, std::vector<Pair>, std::greater<>> fast;
    const auto look = [&](size_t first, size_t second) {
        if (first < count && second < count && trend.IsTooFast(positions[first], positions[second], limit))
            fast.push({positions[second] - positions[first], first, second});
    };
    for (size_t i = 1; i < count; ++i) look(i - 1, i);
    while (!fast.empty()) {
        const auto [interval, first, second] = fast.top();
        fast.pop();
        if (isOut[first] || isOut[second]) continue;
        const size_t worse = errors[first] > errors[second] ? first : second;
        isOut[worse] = 1;
        outliers.push_back(worse);
        if (before[worse] < count) after[before[worse]] = after[worse];
        if (after[worse] < count) before[after[worse]] = before[worse];
        look(before[worse], after[worse]);
    }
    std::ranges::sort(outliers);
    return outliers;
}

}  // namespace kymora
