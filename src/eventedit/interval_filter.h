#pragma once
// Events chosen by how often, and how regularly, others begin within them.

#include <cstdint>
#include <vector>

#include "eventanalysis/events_by_onset.h"

namespace kymora {

// All limits are inclusive.
struct IntervalLimits {
    int32_t minimumCount = 1;
    float minimumAverage = 0.0f, maximumAverage = 0.0f;  // ms
    float maximumCv = 0.0f;                              // s.d. / mean, %
};

// For each enclosing event, in the order of onset, 1 when the intervals between the onsets of those events of
// the other channel that begin within it meet the limits. The s.d. divides by n - 1; that of one interval is
// 0. Without an interval there is nothing that could meet them.
std::vector<uint8_t> ChooseByIntervals(const EventsByOnset& enclosing, const EventsByOnset& others,
                                       const IntervalLimits& limits, double sampleInterval);

}  // namespace kymora
