#include "sorting/merge_proposals.h"

#include <algorithm>
#include <cmath>

#include "sorting/unit_quality.h"
#include "statistics/correlogram.h"
#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr double percentOfIntervals = 100.0;

double SmallerDifference(const SpikeSorting& sorting, size_t a, size_t b) {
    const WaveShape& shape = sorting.Waves().shape;
    const cCluster &first = sorting.Clusters()[a], &second = sorting.Clusters()[b];
    return std::fmin(RelativeDifference(first, second, shape), RelativeDifference(second, first, shape));
}

void CountMerged(MergeProposal& pair, std::vector<UnitEvent> merged, int64_t near, double limit) {
    LeaveBest(merged, near);
    std::vector<int64_t> places;
    for (const UnitEvent& event : merged) places.push_back(event.place);
    pair.events = std::ssize(places);
    pair.violations = CountShortIntervals(places, limit);
    pair.violationShare = pair.events > 1 ? percentOfIntervals * static_cast<double>(pair.violations) /
                                                static_cast<double>(pair.events - 1)
                                          : noStatistic;
}

}  // namespace

std::vector<MergeProposal> ProposeMerges(const SpikeSorting& sorting, double mergeWithinMs,
                                         double refractoryMs, ProgressSource& progress) {
    std::vector<MergeProposal> pairs;
    const std::vector<cCluster>& clusters = sorting.Clusters();
    for (size_t a = 0; a < clusters.size(); ++a)
        for (size_t b = a + 1; b < clusters.size(); ++b) {
            if (!clusters[a].IsUnit() || !clusters[b].IsUnit()) continue;
            const double difference = SmallerDifference(sorting, a, b);
            if (std::isfinite(difference))
                pairs.push_back({static_cast<int32_t>(a) + 1, static_cast<int32_t>(b) + 1, difference});
        }
    std::ranges::stable_sort(pairs, {}, &MergeProposal::difference);

    const auto events = EventsOfClusters(sorting, mergeWithinMs);
    const double valueMs = sorting.SampleInterval() / sorting.Waves().shape.multiplier;
    std::vector<std::vector<double>> times(events.size());
    for (size_t k = 0; k < events.size(); ++k)
        for (const UnitEvent& event : events[k])
            times[k].push_back(static_cast<double>(event.place) * valueMs);
    ProgressScope scope(progress, "Comparing units", pairs.size());
    for (size_t i = 0; i < pairs.size(); ++i) {
        scope.At(i);
        MergeProposal& pair = pairs[i];
        const auto a = static_cast<size_t>(pair.cluster) - 1, b = static_cast<size_t>(pair.other) - 1;
        const Histogram counts = GetCorrelogram(times[b], times[a], Trains::different, mergeLags);
        pair.lags.assign(counts.Counts().begin(), counts.Counts().end());
        std::vector<UnitEvent> merged = events[a];
        merged.insert(merged.end(), events[b].begin(), events[b].end());
        CountMerged(pair, std::move(merged), sorting.PlacesOf(mergeWithinMs),
                    RefractoryPlaces(sorting, refractoryMs));
    }
    return pairs;
}

}  // namespace kymora
