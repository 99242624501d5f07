#pragma once
// Bursts by Poisson surprise (C. R. Legendy and M. Salcman, J. Neurophysiol. 53, 1985), found by a full
// search: of all stretches of events with short intervals, those that a Poisson train of the same mean rate
// is least likely to hold.

#include "numerics/poll.h"
#include "rhythms/event_train.h"

namespace kymora {

struct PoissonSettings {
    double surprise = 2.0;    // the least, -log10 of the probability
    int64_t maxInterval = 0;  // samples; intervals of a burst are shorter
    int32_t minEvents = 3;    // at least 2
};

inline constexpr size_t leastPoissonEvents = 5;  // a train with fewer has no bursts

// Stretches whose intervals are all shorter than the longest one allowed, each with at least `minEvents`,
// none of which share an event, the most surprising first where they would: ties go to the earliest, then to
// the shortest. The surprise is -log10 P(X >= intervals) of a Poisson X of the mean (time from first to last
// onset x intervals of the train / its time). A stretch whose onsets are all at one sample counts as half a
// sample long. Stretches may not begin before the end of the last event of another, either. A train of no
// length has none.
FoundStretches FindPoissonBursts(const EventTrain& train, const PoissonSettings& settings,
                                 const Poll& poll = {});

}  // namespace kymora
