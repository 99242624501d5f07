#pragma once
// What is shown of the units of a sorting: tables and graphs of their quality and of the pairs that may be
// one.

#include <functional>
#include <optional>
#include <span>

#include "graphs/graph.h"
#include "results/result.h"
#include "sorting/merge_proposals.h"
#include "sorting/unit_quality.h"

namespace kymora {

// The time of a place that belongs to a spike, ms.
using TimeOfPlace = std::function<double(int64_t place, size_t spike)>;

// The rows of the tables are made when they are asked for: what is handed in must still be there then.
Result QualityTable(std::span<const UnitQuality> units, const std::string& traceUnits);
Result AmplitudeTable(std::span<const UnitQuality> units, TimeOfPlace timeOf, const std::string& traceUnits);
// Pairs that may be one unit, and the counts of their lags.
Result MergeTable(std::span<const MergeProposal> pairs);
Result CorrelogramTable(std::span<const MergeProposal> pairs);

// Amplitudes over time; a point is the spike in the source channel that its event comes from.
GraphPane AmplitudePane(std::span<const UnitQuality> units, const TimeOfPlace& timeOf,
                        const std::string& traceUnits, int sourceChannel);
// The cross-correlogram of a pair, with lines at the refractory time; the axes alone without one.
GraphPane MergePane(const MergeProposal* pair, double refractoryMs);

}  // namespace kymora
