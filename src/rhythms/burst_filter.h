#pragma once
// What becomes of bursts after they were found.

#include "events/event.h"
#include "rhythms/event_train.h"

namespace kymora {

// Samples.
struct BurstFilter {
    bool times = true;  // the next two count; bursts with too few events are left out in any case
    int64_t minInterval = 0, minDuration = 0;
    int32_t minEvents = 2;
};

// From the onset of the first event to the offset of the last.
struct Burst {
    EventStretch events;
    int32_t onset = 0, offset = 0;
};

// The bursts of one train that pass: joined where less than the interval lies between them, by the rule of
// CEventChan::FilterByGap, a joined one keeping the larger surprise; then by duration; then by number of
// events.
std::vector<Burst> FilterBursts(const EventTrain& train, std::span<const EventStretch> found,
                                const BurstFilter& filter);

}  // namespace kymora
