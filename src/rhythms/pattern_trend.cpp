#include "rhythms/pattern_trend.h"

#include <algorithm>
#include <cmath>

#include "numerics/rounding.h"
#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr int mostPasses = 20;
constexpr double roundingShare = 1e-6;  // of a trend's value; residuals below it are none

// The trend of the values that there are.
RobustPolynomial TrendOf(const std::vector<double>& times, const std::vector<double>& values, int degree,
                         std::vector<double>& fit, const std::function<void()>& between) {
    std::vector<double> x, y;
    for (size_t i = 0; i < values.size(); ++i)
        if (std::isfinite(values[i])) {
            x.push_back(times[i]);
            y.push_back(values[i]);
        }
    RobustPolynomial trend = FitRobustPolynomial(x, y, degree, between);
    fit.assign(values.size(), noStatistic);
    for (size_t i = 0, k = 0; i < values.size(); ++i)
        if (std::isfinite(values[i])) fit[i] = trend.fit[k++];
    return trend;
}

// What is proposed for the outliers of a pattern.
class Fixes {
  public:
    Fixes(const Pattern& pattern, const PatternTrends& trends, double limit)
        : pattern_(pattern), trends_(trends), limit_(limit) {}

    bool IsOutlier(double value, double fit, const RobustPolynomial& trend) const {
        return trend.TellsDistances() &&
               std::fabs(value - fit) > limit_ * trend.mad + roundingShare * std::fabs(fit);
    }

    PatternFix ForLowFrequency(size_t i) const {
        PatternFix fix{FixKind::none, i, {}};
        const CEventKM &before = pattern_.events[i], &behind = pattern_.events[i + 1];
        const double missing = std::round(pattern_.Interval(i) * trends_.frequencyFit[i] / 1000.0) - 1.0;
        const double room = static_cast<double>(behind.onPosition) - before.onPosition;
        if (!(missing >= 1.0) || missing >= room) return fix;
        int32_t free = before.offPosition;
        for (int k = 1; k <= static_cast<int>(missing); ++k) {
            const int32_t on = RoundHalfAway(before.onPosition + k * room / (missing + 1.0));
            const int32_t off = std::min(OffsetByTrend(on), behind.onPosition);
            if (on < free || off <= on) return {FixKind::none, i, {}};
            fix.spans.emplace_back(on, off);
            free = off;
        }
        fix.kind = FixKind::add;
        return fix;
    }

    PatternFix ForHighFrequency(size_t i) const {
        const auto& events = pattern_.events;
        const int32_t end = std::max(events[i].offPosition, events[i + 1].offPosition);
        const double joined = (int64_t{end} - events[i].onPosition) * pattern_.sampleInterval;
        const double skipped = i + 2 < events.size() ? pattern_.IntervalTo(i, i + 2) : noStatistic;
        const double before = i > 0 ? pattern_.IntervalTo(i - 1, i + 1) : noStatistic;
        const double costs[] = {Cost(i, skipped, pattern_.Duration(i)),
                                Cost(i, before, pattern_.Duration(i + 1)), Cost(i, skipped, joined)};
        const auto best = std::ranges::min_element(costs) - costs;
        // A cycle that is only a little short is better than none.
        const double interval = best == 1 ? before : skipped;
        if (FrequencyCost(i, interval) >= FrequencyCost(i, pattern_.Interval(i)))
            return {FixKind::none, i, {}};
        if (best == 2) return {FixKind::merge, i, {{events[i].onPosition, end}}};
        const size_t removed = best == 0 ? i + 1 : i;
        return {FixKind::remove, removed, {SpanOf(removed)}};
    }

    PatternFix ForWidth(size_t i) const {
        const int32_t on = pattern_.events[i].onPosition;
        int32_t off = OffsetByTrend(on);
        if (i + 1 < pattern_.events.size()) off = std::min(off, pattern_.events[i + 1].onPosition);
        if (off <= on || off == pattern_.events[i].offPosition) return {FixKind::none, i, {}};
        return {FixKind::adjust, i, {{on, off}}};
    }

  private:
    std::pair<int32_t, int32_t> SpanOf(size_t i) const {
        return {pattern_.events[i].onPosition, pattern_.events[i].offPosition};
    }
    int32_t OffsetByTrend(int32_t on) const {
        const double duration =
            trends_.durationTrend.At(on * pattern_.sampleInterval) / pattern_.sampleInterval;
        return RoundHalfAway(on + std::max(1.0, duration));
    }
    // How far interval and duration would lie from the trends at the event, in MADs; what does not exist does
    // not count.
    double Cost(size_t i, double interval, double duration) const {
        return FrequencyCost(i, interval) +
               InMads(duration, trends_.durationFit[i], trends_.durationTrend.mad);
    }
    double FrequencyCost(size_t i, double interval) const {
        return InMads(1000.0 / interval, trends_.frequencyFit[i], trends_.frequencyTrend.mad);
    }
    static double InMads(double value, double fit, double mad) {
        const double distance = std::fabs(value - fit) / std::max(mad, roundingShare * std::fabs(fit));
        return std::isfinite(distance) ? distance : 0.0;
    }

    const Pattern& pattern_;
    const PatternTrends& trends_;
    double limit_;
};

// The events that a fix changes, from the first to the last.
std::pair<size_t, size_t> Concerned(const PatternOutlier& outlier) {
    const PatternFix& fix = outlier.fix;
    const bool isOfTwo = outlier.kind != OutlierKind::width;
    return {std::min(outlier.event, fix.event), std::max(outlier.event + (isOfTwo ? 1 : 0), fix.event)};
}

bool IsBracketed(const CEventKM& event, int32_t from, int32_t to) {
    return event.onPosition >= from && event.offPosition <= to;
}

}  // namespace

const char* OutlierKindName(OutlierKind kind) {
    static constexpr const char* names[] = {"width", "low frequency", "high frequency"};
    return names[static_cast<size_t>(kind)];
}

const char* FixKindName(FixKind kind) {
    static constexpr const char* names[] = {"none", "add", "delete", "merge with following", "adjust"};
    return names[static_cast<size_t>(kind)];
}

// --- the pattern ---

double Pattern::IntervalTo(size_t event, size_t other) const {
    if (other >= events.size()) return noStatistic;
    const int32_t on = events[event].onPosition, next = events[other].onPosition;
    const auto stretch = std::ranges::upper_bound(stretches, on, {}, &TraceStretch::end);
    // What lies in a gap, or beyond the recording, belongs to no stretch.
    const bool isWithin = stretch != stretches.end() && on >= stretch->start && next < stretch->end;
    if (next <= on || (!stretches.empty() && !isWithin)) return noStatistic;
    return (int64_t{next} - on) * sampleInterval;
}

double Pattern::Duration(size_t event) const {
    return (int64_t{events[event].offPosition} - events[event].onPosition) * sampleInterval;
}

PatternTrends FitPattern(const Pattern& pattern, int degree, const std::function<void()>& between) {
    PatternTrends trends;
    for (size_t i = 0; i < pattern.events.size(); ++i) {
        trends.times.push_back(pattern.Time(i));
        trends.frequency.push_back(1000.0 / pattern.Interval(i));
        trends.duration.push_back(pattern.Duration(i));
    }
    trends.frequencyTrend = TrendOf(trends.times, trends.frequency, degree, trends.frequencyFit, between);
    trends.durationTrend = TrendOf(trends.times, trends.duration, degree, trends.durationFit, between);
    return trends;
}

std::vector<PatternOutlier> FindPatternOutliers(const Pattern& pattern, const PatternTrends& trends,
                                                double limit) {
    std::vector<PatternOutlier> outliers;
    const Fixes fixes(pattern, trends, limit);
    for (size_t i = 0; i < pattern.events.size(); ++i) {
        const double frequency = trends.frequency[i], fit = trends.frequencyFit[i];
        if (std::isfinite(frequency) && fixes.IsOutlier(frequency, fit, trends.frequencyTrend)) {
            const bool isLow = frequency < fit;
            outliers.push_back({isLow ? OutlierKind::lowFrequency : OutlierKind::highFrequency, i, frequency,
                                fit, isLow ? fixes.ForLowFrequency(i) : fixes.ForHighFrequency(i)});
        }
        if (fixes.IsOutlier(trends.duration[i], trends.durationFit[i], trends.durationTrend))
            outliers.push_back(
                {OutlierKind::width, i, trends.duration[i], trends.durationFit[i], fixes.ForWidth(i)});
    }
    return outliers;
}

// --- fixes ---

std::vector<DoneFix> ApplyFixes(Pattern& pattern, std::span<const PatternOutlier> outliers) {
    std::vector<DoneFix> done;
    std::vector<CEventKM> events;
    size_t next = 0, free = 0;  // the first that is not copied, and that no fix concerns
    for (const PatternOutlier& outlier : outliers) {
        const PatternFix& fix = outlier.fix;
        const auto [first, last] = Concerned(outlier);
        if (fix.kind == FixKind::none || first < free) continue;
        free = last + 1;
        const auto copyTo = [&](size_t end) {
            for (; next < end; ++next) events.push_back(pattern.events[next]);
        };
        copyTo(fix.kind == FixKind::add ? fix.event + 1 : fix.event);
        for (const auto& span : fix.spans) {
            done.push_back({outlier.kind, fix.kind, static_cast<int>(events.size()) + 1, span});
            if (fix.kind == FixKind::add) events.push_back({span.first, span.second});
        }
        if (fix.kind == FixKind::adjust || fix.kind == FixKind::merge) {
            events.push_back(pattern.events[fix.event]);
            events.back().offPosition = fix.spans.front().second;
        }
        if (fix.kind != FixKind::add) next = fix.event + (fix.kind == FixKind::merge ? 2 : 1);
    }
    events.insert(events.end(), pattern.events.begin() + static_cast<std::ptrdiff_t>(next),
                  pattern.events.end());
    pattern.events = std::move(events);
    return done;
}

std::vector<DoneFix> AutofixPattern(Pattern& pattern, int degree, double limit,
                                    const std::function<void()>& between) {
    std::vector<DoneFix> done;
    for (int pass = 0; pass < mostPasses; ++pass) {
        const auto fixes =
            ApplyFixes(pattern, FindPatternOutliers(pattern, FitPattern(pattern, degree, between), limit));
        if (fixes.empty()) break;
        done.insert(done.end(), fixes.begin(), fixes.end());
    }
    return done;
}

// --- by hand ---

PatternEdited EditPattern(const Pattern& pattern, std::span<const CEventKM> source, PatternEdit edit,
                          double from, double to) {
    PatternEdited edited{{}, pattern.events, {}};
    const auto refuse = [&](const char* text) {
        edited.refusal = text;
        return edited;
    };
    if (to < from)
        return refuse(
            "You have set the end-time cursor earlier than the start-time cursor; please swap them round");
    const int32_t first = RoundHalfAway(from / pattern.sampleInterval);
    const int32_t end = RoundHalfAway(to / pattern.sampleInterval);
    if (end <= first) return refuse("You did not include any sample points between the cursors. Ignoring.");
    auto& events = edited.events;
    const auto isBetween = [&](const CEventKM& event) { return IsBracketed(event, first, end); };
    if (edit == PatternEdit::add) {
        std::optional<CEventKM> made;
        for (const CEventKM& event : source) {
            if (!isBetween(event)) continue;
            if (!made) made = {event.onPosition, event.offPosition};
            made->onPosition = std::min(made->onPosition, event.onPosition);
            made->offPosition = std::max(made->offPosition, event.offPosition);
        }
        if (!made) return refuse("You have not bracketed events in the source channel. Restoring cursors.");
        const auto overlaps = [&](const CEventKM& event) {
            return event.onPosition < end && event.offPosition > first;
        };
        if (std::ranges::any_of(events, overlaps))
            return refuse("The cursors overlap preceding or following events. Ignoring.");
        const auto at = std::ranges::upper_bound(events, made->onPosition, {}, &CEventKM::onPosition);
        edited.fixes.push_back({{},
                                FixKind::add,
                                static_cast<int>(at - events.begin()) + 1,
                                {made->onPosition, made->offPosition}});
        events.insert(at, *made);
        return edited;
    }
    const auto begin = std::ranges::find_if(events, isBetween);
    const auto count = std::ranges::count_if(events, isBetween);
    if (edit == PatternEdit::merge) {
        if (events.empty() || events.back().offPosition <= first)
            return refuse(
                "You have placed the cursors after the last event in the pattern channel. Restoring previous "
                "cursors.");
        // A longer event may begin between the two.
        if (count != 2 || !isBetween(*(begin + 1)))
            return refuse(
                "You have not placed the cursors around 2 events in the pattern channel to merge. Restoring "
                "previous cursors.");
        begin->offPosition = std::max(begin->offPosition, (begin + 1)->offPosition);
        const int number = static_cast<int>(begin - events.begin()) + 1;
        edited.fixes.push_back({{}, FixKind::merge, number, {begin->onPosition, begin->offPosition}});
        events.erase(begin + 1);
        return edited;
    }
    if (count == 0)
        return refuse("You have not bracketed an event in the pattern channel. Restoring cursors.");
    std::vector<CEventKM> rest;
    for (const CEventKM& event : events)
        if (isBetween(event))
            edited.fixes.push_back({{},
                                    FixKind::remove,
                                    static_cast<int>(rest.size()) + 1,
                                    {event.onPosition, event.offPosition}});
        else
            rest.push_back(event);
    events = std::move(rest);
    return edited;
}

}  // namespace kymora
