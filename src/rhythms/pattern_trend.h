#pragma once
// A rhythm as a row of pattern events: its frequency and the duration of its events against time, the trends
// of both, the events that do not follow them, and what would mend those.

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "curves/robust_polynomial.h"
#include "document/trace_stretches.h"
#include "events/event.h"

namespace kymora {

struct Pattern {
    std::vector<CEventKM> events;         // ascending
    std::vector<TraceStretch> stretches;  // of the recording; no interval reaches from one to another
    double sampleInterval = 1.0;          // ms

    // From the onset to that of the next event, ms; not-a-number where there is none in the stretch, or none
    // that begins later.
    double Interval(size_t event) const { return IntervalTo(event, event + 1); }
    double IntervalTo(size_t event, size_t other) const;
    double Duration(size_t event) const;
    double Time(size_t event) const { return events[event].onPosition * sampleInterval; }
};

enum class OutlierKind { width, lowFrequency, highFrequency };
enum class FixKind { none, add, remove, merge, adjust };

struct PatternFix {
    FixKind kind = FixKind::none;
    size_t event = 0;  // that is removed, adjusted, merged with the next, or added behind
    std::vector<std::pair<int32_t, int32_t>>
        spans;  // of what is added, or of the event as it will be; samples
};

struct PatternOutlier {
    OutlierKind kind = OutlierKind::width;
    size_t event = 0;
    double value = 0.0, trend = 0.0;  // ms, or Hz
    PatternFix fix;
};
const char* OutlierKindName(OutlierKind kind);
const char* FixKindName(FixKind kind);

struct PatternTrends {
    std::vector<double> times, frequency,
        duration;  // of each event: ms, Hz, ms; not-a-numbers where there is none
    std::vector<double> frequencyFit, durationFit;   // the same of the trends
    RobustPolynomial frequencyTrend, durationTrend;  // of the time in ms
};

// `between` is called every now and then, and may throw to end it.
PatternTrends FitPattern(const Pattern& pattern, int degree, const std::function<void()>& between = {});

// What lies further from a trend than `limit` times the MAD of its residuals (rounding errors apart; of a
// trend that tells no distances there is nothing), by event, its frequency before its width. A long interval
// gets an event for each missing cycle, of the trend's duration. A short one loses one of its events, or both
// become one, whichever leaves the smallest residuals of frequency and duration, each relative to its MAD,
// unless its own is smaller still. A wrong width becomes that of the trend, as far as the next event leaves
// room.
std::vector<PatternOutlier> FindPatternOutliers(const Pattern& pattern, const PatternTrends& trends,
                                                double limit);

// A fix as it was done: of the event with a number from 1, as the channel stood when its turn came.
struct DoneFix {
    OutlierKind reason = OutlierKind::width;
    FixKind kind = FixKind::none;
    int number = 0;
    std::pair<int32_t, int32_t> span;
};

// Does the fixes of the outliers, ascending by event, as far as no two of them meet in one event.
std::vector<DoneFix> ApplyFixes(Pattern& pattern, std::span<const PatternOutlier> outliers);

// Fits, fixes, and fits again, until nothing can be fixed.
std::vector<DoneFix> AutofixPattern(Pattern& pattern, int degree, double limit,
                                    const std::function<void()>& between = {});

// --- by hand ---

enum class PatternEdit { merge = 0, add = 1, remove = 2 };

struct PatternEdited {
    std::string refusal;  // why not; empty where it is done
    std::vector<CEventKM> events;
    std::vector<DoneFix> fixes;
};

// With two cursors, ms: the two pattern events between them become one; source events between them become one
// pattern event; or the pattern events between them go.
PatternEdited EditPattern(const Pattern& pattern, std::span<const CEventKM> source, PatternEdit edit,
                          double from, double to);

}  // namespace kymora
