#pragma once
// Numbers that describe a set of values or a train of intervals, and rules for the number of bins.
// Not-a-numbers and infinities do not count. Results are not-a-numbers where there are too few values for
// them.

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "statistics/statistics.h"

namespace kymora {

// Values from the minimum to below the maximum.
struct ValueRange {
    double minimum = -std::numeric_limits<double>::infinity();
    double maximum = std::numeric_limits<double>::infinity();

    bool Holds(double value) const { return value >= minimum && value < maximum; }
};

// The finite values within the range, in their order.
std::vector<double> ValuesWithin(std::span<const double> values, const ValueRange& range);

// Mean and s.d. (divisor n - 1) of the values within the range, from deviations, so that a large offset costs
// no digits.
MeanSd GetMeanSd(std::span<const double> values, const ValueRange& range = {});

// Smallest and largest finite value; none without one.
struct ValueExtent {
    double smallest = 0.0;
    double largest = 0.0;
    double Length() const { return largest - smallest; }
};
std::optional<ValueExtent> GetValueExtent(std::span<const double> values);

// The value at fraction p (0 to 1) of sorted finite values, linear between order statistics: at place
// p (n - 1) counted from 0 (rule 7 of Hyndman and Fan, Am. Stat. 50, 1996).
double SortedQuantile(std::span<const double> sorted, double p);

struct Quartiles {
    double q1 = noStatistic;
    double median = noStatistic;
    double q3 = noStatistic;
    double Range() const { return q3 - q1; }
};
// By the same rule, without sorting all.
Quartiles GetQuartiles(std::span<const double> values);

// The measures of samples (statistics.h), in double at every step.
MedianRobustSd GetMedianRobustSd(std::vector<double> values);

// How regular a train of intervals is.
struct IntervalStatistics {
    int64_t count = 0;        // of intervals
    double cv = noStatistic;  // s.d. / mean; needs 2 intervals
    double cv2 =
        noStatistic;  // mean of 2 |b - a| / (a + b) over neighbours a, b (Holt et al., J. Neurophysiol. 1996)
    double lv = noStatistic;  // mean of 3 ((b - a) / (a + b))^2 (Shinomoto et al., Neural Comput. 2003)
    double shareBelow = noStatistic;  // of the intervals, 0 to 1, that are shorter than the line
};
// Intervals in the order of the train. What is no finite number parts the train: its neighbours make no pair,
// and neither do two intervals of length 0.
IntervalStatistics GetIntervalStatistics(std::span<const double> intervals, double line);

// Numbers of bins for the extent of the values: its length divided by the rule's width, rounded up. None
// where the values have no extent or the rule no width, or the number is beyond the most bins there can be.
std::optional<int> FreedmanDiaconisBins(std::span<const double> values);  // 2 IQR n^(-1/3) (1981)
std::optional<int> ScottBins(std::span<const double> values);  // (24 sqrt(pi) / n)^(1/3) s.d. (1979)

}  // namespace kymora
