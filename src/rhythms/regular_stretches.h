#pragma once
// Stretches of a train in which the intervals are regular, by a rolling coefficient of variation.

#include <functional>
#include <string>

#include "rhythms/event_train.h"

namespace kymora {

struct RegularSettings {
    int32_t window = 5;  // intervals, at least 2
    double maxCv = 0.3;  // s.d. / mean; a stretch is open while it is less

    bool useLimits = false;                    // short runs are looked for, too
    bool localLimits = true;                   // from the stretch before, or from all of them
    double sdMultiple = 3.0;                   // of the s.d. that the MAD tells
    int32_t minCycles = 3;                     // intervals of such a run
    int64_t minInterval = 0, maxInterval = 0;  // samples, which hold the limits

    bool mergeGaps = false;
    double allowedGap = 1.5;  // mean periods of the stretch before the gap
    bool requireTest = false;
};

// Takes what the test has found, for the log.
using RegularNotes = std::function<void(const std::string&)>;

// s.d. / mean of each `window` neighbouring intervals but the last such, s.d. by n - 1; infinite where all
// are 0. Empty where there are not more than `window` intervals. Exact sums: every place costs the same.
std::vector<double> RollingCv(const EventTrain& train, int32_t window);

// 1. A stretch opens at the first event of a window with a CV below the limit, and ends with the last event
// of the
//    last such window; one that is open at the end of the train ends there. Those that share an event are
//    one.
// 2. With limits: behind each stretch, up to the next one or to the end, runs of at least `minCycles`
// intervals
//    within median +- multiple x MAD x 1.4826 (and a sample more above), of the intervals of the stretch
//    before, or of all of them. The limits themselves lie within, and never reach beyond those typed.
// 3. With merging: from the last stretch to the first, a gap (to the onset, from the sample behind the last
// onset)
//    no longer than so many mean periods of the stretch before it is closed; with the test only where
//    variances (F, two-sided at 0.01) and means (pooled t, one-sided tail at least 0.005) of the intervals do
//    not differ. Fewer than 2 intervals on a side cannot be tested and stay apart; variances of 0 with equal
//    means merge.
// A stretch of the result has no surprise. Empty where there are fewer than 2 windows of intervals.
std::vector<EventStretch> FindRegularStretches(const EventTrain& train, const RegularSettings& settings,
                                               const RegularNotes& note = {});

}  // namespace kymora
