#pragma once
// Other starts and ends for events: moved, stretched, or set where a peak rises and falls.

#include <cstdint>
#include <optional>

#include "eventedit/event_trace.h"
#include "eventedit/retimed_events.h"
#include "statistics/random_draws.h"

namespace kymora {

// The numbers of configuration files.
enum class TimeAdjustment : int32_t {
    offset = 0,       // both ends by one time
    ends = 1,         // each end by a time of its own
    relative = 2,     // both ends by parts of the duration from the old start
    bracketPeak = 3,  // where the peak crosses parts of its slopes
};

// In samples, or parts of the duration.
struct AdjustedBy {
    TimeAdjustment kind = TimeAdjustment::offset;
    double start = 0.0, end = 0.0;
    double sd = 0.0;  // of a random time that is added: one for both ends, or one for each
};

// Of all kinds but the last. Halves are rounded away from zero.
EventEnds AdjustedEnds(const CEventKM& event, const AdjustedBy& by, NormalDraws& normals);

// The first of the event's largest samples; on each side of it, within the event, the smallest one. The start
// is the first sample, from the left one on, that lies above `rising` of the way up to the peak; the end is
// one past the last that lies above `falling` of it, as far as the right one. The peak itself always lies
// inside. Of equally small ones, the one next to the peak counts. Nothing where the event has no sample that
// counts.
std::optional<EventEnds> BracketPeak(const CEventKM& event, EventTrace& trace, double rising, double falling);

// Held to [0, length]; an event whose end is then not after its start does not stay.
EventEnds HeldEnds(EventEnds ends, int64_t length);

}  // namespace kymora
