#pragma once
// Bursts by rank surprise (B. Gourevitch and J. J. Eggermont, J. Neurosci. Methods 160, 2007): stretches
// whose intervals have such small ranks among all intervals of the train as chance does not bring together.

#include "numerics/poll.h"
#include "rhythms/event_train.h"

namespace kymora {

struct RankSettings {
    double surprise = 2.0;    // a burst has more, -log10 of the probability
    int64_t maxInterval = 0;  // samples; intervals of a burst are no longer
};

// From 1, the shortest first; equal ones share their mean rank, which may be a half.
std::vector<double> RanksOf(const EventTrain& train);

// Of all stretches of at least 2 intervals, none above the longest one allowed, those of the greatest
// surprise that share no event: ties go to the earliest, then to the shortest.
FoundStretches FindRankBursts(const EventTrain& train, std::span<const double> ranks,
                              const RankSettings& settings, const Poll& poll = {});

}  // namespace kymora
