#include "rhythms/regular_stretches.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "statistics/descriptive.h"
#include "statistics/variance_tests.h"

namespace kymora {

namespace {

__extension__ using Wide = __int128;

constexpr double sdOfMad = 1.4826;
constexpr double leastFisherTail = 0.005, leastStudentTail = 0.005;

struct IntervalBand {
    double least = 0.0, most = 0.0;  // samples
    bool Holds(int64_t interval) const {
        const auto length = static_cast<double>(interval);
        return length >= least && length <= most;
    }
};

void AppendIntervals(const EventTrain& train, const EventStretch& stretch, std::vector<double>& to) {
    for (int32_t i = stretch.first; i < stretch.last; ++i)
        to.push_back(static_cast<double>(train.Interval(static_cast<size_t>(i))));
}

std::vector<double> IntervalsOf(const EventTrain& train, const EventStretch& stretch) {
    std::vector<double> intervals;
    AppendIntervals(train, stretch, intervals);
    return intervals;
}

// A stretch ends a sample behind its last onset; those that touch are one.
void JoinTouching(const EventTrain& train, std::vector<EventStretch>& stretches) {
    const auto onset = [&](int32_t event) { return int64_t{train.onsets[static_cast<size_t>(event)]}; };
    std::vector<EventStretch> joined;
    for (const EventStretch& stretch : stretches)
        if (joined.empty() || onset(stretch.first) > onset(joined.back().last) + 1)
            joined.push_back(stretch);
        else
            joined.back().last = std::max(joined.back().last, stretch.last);
    stretches = std::move(joined);
}

std::vector<EventStretch> StretchesBelow(const EventTrain& train, const RegularSettings& settings) {
    std::vector<EventStretch> stretches;
    const std::vector<double> cvs = RollingCv(train, settings.window);
    bool isOpen = false;
    for (size_t j = 0; j < cvs.size(); ++j) {
        const bool isRegular = cvs[j] < settings.maxCv;
        const auto event = static_cast<int32_t>(j);
        if (isRegular && !isOpen) stretches.push_back({event, 0});
        if (!isRegular && isOpen) stretches.back().last = event + settings.window - 1;
        isOpen = isRegular;
    }
    if (isOpen) stretches.back().last = static_cast<int32_t>(train.Intervals());
    JoinTouching(train, stretches);
    return stretches;
}

// --- short runs within limits ---

IntervalBand BandOf(std::vector<double> intervals, const RegularSettings& settings) {
    const double median = GetQuartiles(intervals).median;
    for (double& interval : intervals) interval = std::fabs(interval - median);
    const double reach = settings.sdMultiple * GetQuartiles(intervals).median * sdOfMad;
    return {std::max(median - reach, static_cast<double>(settings.minInterval)),
            std::min(median + reach + 1.0, static_cast<double>(settings.maxInterval))};
}

void AddRuns(const EventTrain& train, int32_t from, int32_t to, const IntervalBand& band, int32_t minCycles,
             std::vector<EventStretch>& runs) {
    for (int32_t first = from; first < to;) {
        int32_t last = first;
        while (last < to && band.Holds(train.Interval(static_cast<size_t>(last)))) ++last;
        if (last - first >= minCycles) runs.push_back({first, last});
        first = last + 1;
    }
}

void AddShortRuns(const EventTrain& train, const RegularSettings& settings,
                  std::vector<EventStretch>& stretches) {
    if (stretches.empty()) return;
    IntervalBand band;
    if (!settings.localLimits) {
        std::vector<double> all;
        for (const EventStretch& stretch : stretches) AppendIntervals(train, stretch, all);
        band = BandOf(std::move(all), settings);
    }
    std::vector<EventStretch> runs;
    for (size_t i = 0; i < stretches.size(); ++i) {
        if (settings.localLimits) band = BandOf(IntervalsOf(train, stretches[i]), settings);
        const bool isLast = i + 1 == stretches.size();
        const auto end = isLast ? static_cast<int32_t>(train.Intervals()) : stretches[i + 1].first;
        AddRuns(train, stretches[i].last, end, band, settings.minCycles, runs);
    }
    stretches.insert(stretches.end(), runs.begin(), runs.end());
    std::ranges::sort(stretches, {}, &EventStretch::first);
    JoinTouching(train, stretches);
}

// --- gaps ---

// Sums over the intervals of any stretch, exact and at the same cost for each.
class IntervalSums {
  public:
    explicit IntervalSums(const EventTrain& train) : train_(train), squares_(train.Size()) {
        for (size_t i = 1; i < squares_.size(); ++i) {
            const Wide interval = train.Interval(i - 1);
            squares_[i] = squares_[i - 1] + interval * interval;
        }
    }
    double Mean(const EventStretch& of) const { return static_cast<double>(Sum(of)) / Count(of); }
    double Variance(const EventStretch& of) const {
        const Wide squares = squares_[static_cast<size_t>(of.last)] - squares_[static_cast<size_t>(of.first)];
        const auto spread = static_cast<double>((of.last - of.first) * squares - Sum(of) * Sum(of));
        return spread / (Count(of) * (Count(of) - 1.0));
    }
    static double Count(const EventStretch& of) { return of.last - of.first; }

  private:
    Wide Sum(const EventStretch& of) const {
        return int64_t{train_.onsets[static_cast<size_t>(of.last)]} -
               train_.onsets[static_cast<size_t>(of.first)];
    }

    const EventTrain& train_;
    std::vector<Wide> squares_;  // of the intervals before each event
};

bool AreAlike(const IntervalSums& sums, const EventStretch& before, const EventStretch& behind,
              const RegularNotes& note) {
    const double count1 = IntervalSums::Count(before), count2 = IntervalSums::Count(behind);
    if (count1 < 2.0 || count2 < 2.0) return false;
    const double var1 = sums.Variance(before), var2 = sums.Variance(behind);
    const double difference = sums.Mean(before) - sums.Mean(behind);
    if (var1 == 0.0 && var2 == 0.0) return difference == 0.0;
    const double free1 = count1 - 1.0, free2 = count2 - 1.0;
    const double tail = var2 == 0.0 ? 1.0 : FisherLowerTail(var1 / var2, free1, free2);
    if (tail < leastFisherTail || tail > 1.0 - leastFisherTail) {
        if (note) note("variances differ, don't merge\n");
        return false;
    }
    const double pooled = (free1 * var1 + free2 * var2) / (free1 + free2);
    const double error = std::sqrt(pooled * (1.0 / count1 + 1.0 / count2));
    const double chance = StudentUpperTail(difference / error, free1 + free2);
    if (chance >= leastStudentTail) return true;
    if (note) note(fmt::format("Probability that difference is due to chance = {:f}\n", 2.0 * chance));
    return false;
}

void CloseGaps(const EventTrain& train, const RegularSettings& settings, const RegularNotes& note,
               std::vector<EventStretch>& stretches) {
    const IntervalSums sums(train);
    const auto onset = [&](int32_t event) { return int64_t{train.onsets[static_cast<size_t>(event)]}; };
    std::vector<EventStretch> kept;  // from the last to the first
    for (size_t i = stretches.size(); i-- > 0;) {
        const EventStretch& before = stretches[i];
        const bool closes = !kept.empty() &&
                            static_cast<double>(onset(kept.back().first) - onset(before.last) - 1) <=
                                settings.allowedGap * sums.Mean(before) &&
                            (!settings.requireTest || AreAlike(sums, before, kept.back(), note));
        if (closes)
            kept.back().first = before.first;
        else
            kept.push_back(before);
    }
    stretches.assign(kept.rbegin(), kept.rend());
}

}  // namespace

std::vector<double> RollingCv(const EventTrain& train, int32_t window) {
    std::vector<double> cvs;
    const size_t count = train.Intervals();
    const auto width = static_cast<size_t>(window);
    if (count <= width) return cvs;
    Wide sum = 0, squares = 0;
    const auto add = [&](size_t i, int sign) {
        const Wide interval = train.Interval(i);
        sum += sign * interval;
        squares += sign * interval * interval;
    };
    for (size_t i = 0; i < width; ++i) add(i, 1);
    const double factor = static_cast<double>(window) / (window - 1.0);
    for (size_t j = 0; j + width < count; ++j) {
        const auto spread = static_cast<double>(window * squares - sum * sum);
        cvs.push_back(sum == 0 ? std::numeric_limits<double>::infinity()
                               : std::sqrt(spread * factor) / static_cast<double>(sum));
        add(j + width, 1);
        add(j, -1);
    }
    return cvs;
}

std::vector<EventStretch> FindRegularStretches(const EventTrain& train, const RegularSettings& settings,
                                               const RegularNotes& note) {
    if (train.Intervals() < 2 * static_cast<size_t>(settings.window)) return {};
    std::vector<EventStretch> stretches = StretchesBelow(train, settings);
    if (settings.useLimits) AddShortRuns(train, settings, stretches);
    if (settings.mergeGaps) CloseGaps(train, settings, note, stretches);
    return stretches;
}

}  // namespace kymora
