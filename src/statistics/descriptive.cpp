#include "statistics/descriptive.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "statistics/binning.h"

namespace kymora {

namespace {

// The value at fraction p; the values before `from` are known to be smaller than those from there on. Answers
// the place up to which that now holds.
double PartlySortedQuantile(std::vector<double>& values, double p, size_t& from) {
    const double place = p * static_cast<double>(values.size() - 1);
    const auto index = static_cast<size_t>(place);
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(index);
    std::nth_element(values.begin() + static_cast<std::ptrdiff_t>(std::min(from, index)), at, values.end());
    from = index;
    const double rest = place - static_cast<double>(index);
    if (rest == 0.0) return *at;
    return std::lerp(*at, *std::min_element(at + 1, values.end()), rest);
}

std::optional<int> BinsOfWidth(const std::optional<ValueExtent>& extent, double width) {
    if (!extent || !(width > 0.0)) return {};
    const double count = std::ceil(extent->Length() / width);
    if (!(count >= 1.0) || count > mostBins) return {};
    return static_cast<int>(count);
}

}  // namespace

MedianRobustSd GetMedianRobustSd(std::vector<double> values) {
    std::erase_if(values, [](double value) { return !std::isfinite(value); });
    MedianRobustSd result;
    result.count = std::ssize(values);
    if (values.empty()) return result;
    result.median = GetQuartiles(values).median;
    double sum = 0.0;
    for (double& value : values) {
        value = std::fabs(value - result.median);
        sum += value;
    }
    result.mad = GetQuartiles(values).median;
    result.robustSd = result.mad / 0.6745;
    constexpr double least = std::numeric_limits<float>::min();
    if (result.robustSd < least) result.robustSd = sum / static_cast<double>(result.count) / 0.8;
    result.robustSd = std::max(result.robustSd, least);
    return result;
}

std::vector<double> ValuesWithin(std::span<const double> values, const ValueRange& range) {
    std::vector<double> within;
    within.reserve(values.size());
    for (const double value : values)
        if (range.Holds(value) && std::isfinite(value)) within.push_back(value);
    return within;
}

MeanSd GetMeanSd(std::span<const double> values, const ValueRange& range) {
    int64_t count = 0;
    double sum = 0.0;
    const auto counts = [&range](double value) { return range.Holds(value) && std::isfinite(value); };
    for (const double value : values)
        if (counts(value)) {
            ++count;
            sum += value;
        }
    if (count == 0) return {};
    const double n = static_cast<double>(count);
    const double about = sum / n;
    double deviations = 0.0;
    double squares = 0.0;
    for (const double value : values)
        if (counts(value)) {
            const double deviation = value - about;
            deviations += deviation;
            squares += deviation * deviation;
        }
    // The deviations from the rounded mean tell what it lacks.
    const double lacks = deviations / n;
    squares = std::max(0.0, squares - lacks * deviations);
    return {count, about + lacks, count == 1 ? 0.0 : std::sqrt(squares / (n - 1.0))};
}

std::optional<ValueExtent> GetValueExtent(std::span<const double> values) {
    std::optional<ValueExtent> extent;
    for (const double value : values) {
        if (!std::isfinite(value)) continue;
        if (!extent) extent = {value, value};
        extent->smallest = std::min(extent->smallest, value);
        extent->largest = std::max(extent->largest, value);
    }
    return extent;
}

double SortedQuantile(std::span<const double> sorted, double p) {
    if (sorted.empty()) return noStatistic;
    const double place = std::clamp(p, 0.0, 1.0) * static_cast<double>(sorted.size() - 1);
    const auto index = static_cast<size_t>(place);
    if (index + 1 >= sorted.size()) return sorted.back();
    return std::lerp(sorted[index], sorted[index + 1], place - static_cast<double>(index));
}

Quartiles GetQuartiles(std::span<const double> values) {
    std::vector<double> finite = ValuesWithin(values, {});
    if (finite.empty()) return {};
    size_t from = 0;
    Quartiles quartiles;
    quartiles.q1 = PartlySortedQuantile(finite, 0.25, from);
    quartiles.median = PartlySortedQuantile(finite, 0.5, from);
    quartiles.q3 = PartlySortedQuantile(finite, 0.75, from);
    return quartiles;
}

IntervalStatistics GetIntervalStatistics(std::span<const double> intervals, double line) {
    const MeanSd meanSd = GetMeanSd(intervals);
    IntervalStatistics result;
    result.count = meanSd.count;
    if (meanSd.count == 0) return result;
    if (meanSd.count > 1 && meanSd.mean != 0.0) result.cv = meanSd.sd / meanSd.mean;
    int64_t below = 0;
    int64_t pairs = 0;
    double differences = 0.0;
    double squares = 0.0;
    for (size_t i = 0; i < intervals.size(); ++i) {
        const double b = intervals[i];
        if (!std::isfinite(b)) continue;
        if (b < line) ++below;
        const double a = i == 0 ? noStatistic : intervals[i - 1];
        if (!std::isfinite(a) || !(a + b > 0.0)) continue;
        const double ratio = std::fabs(b - a) / (a + b);
        ++pairs;
        differences += ratio;
        squares += ratio * ratio;
    }
    result.shareBelow = static_cast<double>(below) / static_cast<double>(meanSd.count);
    if (pairs == 0) return result;
    result.cv2 = 2.0 * differences / static_cast<double>(pairs);
    result.lv = 3.0 * squares / static_cast<double>(pairs);
    return result;
}

std::optional<int> FreedmanDiaconisBins(std::span<const double> values) {
    const std::vector<double> finite = ValuesWithin(values, {});
    const double n = static_cast<double>(finite.size());
    return BinsOfWidth(GetValueExtent(finite), 2.0 * GetQuartiles(finite).Range() / std::cbrt(n));
}

std::optional<int> ScottBins(std::span<const double> values) {
    const MeanSd meanSd = GetMeanSd(values);
    const double n = static_cast<double>(meanSd.count);
    const double factor = std::cbrt(24.0 * std::sqrt(std::numbers::pi) / n);
    return BinsOfWidth(GetValueExtent(values), factor * meanSd.sd);
}

}  // namespace kymora
