#pragma once
// Pairs of units that may be one: how alike their templates are, what the merged unit would violate, and how
// their events lie to each other.

#include <cstdint>
#include <vector>

#include "host/progress.h"
#include "sorting/spike_sorting.h"
#include "statistics/binning.h"

namespace kymora {

// Lags of cross-correlograms, ms. A unit that was split leaves a trough at 0.
inline constexpr BinGrid mergeLags{100, -25.0, 25.0};

struct MergeProposal {
    int32_t cluster = 0, other = 0;  // from 1, the smaller one first
    double difference = 0.0;         // the smaller of the relative differences both ways
    // Of the merged unit, of whose events closer than the given time one is left.
    int64_t events = 0, violations = 0;
    double violationShare = 0.0;  // % of the intervals; not a number without any
    std::vector<double> lags;     // counts in mergeLags: positive where the other one follows
};

// All pairs of units with a relative difference, the most alike first. Throws Cancelled.
std::vector<MergeProposal> ProposeMerges(const SpikeSorting& sorting, double mergeWithinMs,
                                         double refractoryMs, ProgressSource& progress);

}  // namespace kymora
