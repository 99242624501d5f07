#pragma once
// The lists in which the settings of the spike sorter name clusters and spikes, and what they stand for.
// Readers throw JobRefused in words for the user where a text is no such list.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sorting/spike_sorting.h"

namespace kymora {

inline constexpr const char* noComparisonText = "You need a comparison template to merge with.";
inline constexpr const char* sameTemplatesText =
    "The primary and comparison templates must be different if you want to merge them.";
inline constexpr const char* flaggedMergeText = "You can't merge templates flagged as Ignore or Mixed.";

// What a user does to clusters by hand: joins several, the first of which stays, or takes out what an outline
// encloses. The spikes that are taken out are a new cluster behind the others.
struct ClusterEdit {
    std::vector<int32_t> merged;  // from 1; empty for an outline
    int32_t cluster = 0;          // whose spikes are taken out; 0 for those of all clusters
    size_t across = 0, up = 0;    // components from 0
    std::vector<WeightPoint> outline;
    bool operator==(const ClusterEdit&) const = default;
};

// The analysis window of one cluster, ms from the alignment point.
struct ClusterTimes {
    int32_t cluster = 0;
    double start = 0.0, end = 0.0;
    bool operator==(const ClusterTimes&) const = default;
};

// A spike, from 1, whose events in one cluster are taken back, or all of them (0).
struct TakenSpike {
    int32_t spike = 0, cluster = 0;
    bool operator==(const TakenSpike&) const = default;
};

// A spike, from 1, and the units of which it is a compound; none: what fits best.
struct GivenSpike {
    int32_t spike = 0;
    std::vector<int32_t> clusters;
    bool operator==(const GivenSpike&) const = default;
};

// "2 5", parted by blanks and commas. `what` names them in the refusal.
std::vector<int32_t> ReadNumbers(std::string_view text, const char* what);
std::string NumbersText(std::span<const int32_t> numbers);
// "2.5 0 3"
std::vector<float> ReadThresholds(std::string_view text);
std::string ThresholdsText(std::span<const float> thresholds);
// "1+3 2+4"
std::vector<std::vector<int32_t>> ReadGroups(std::string_view text);
// "1+3 2@1,2:0.5,1;2,1;1,3": clusters 1 and 3 are joined; of cluster 2 what lies in the outline of these
// corners among components 1 and 2 is taken out. "0@...": of all clusters.
std::vector<ClusterEdit> ReadEdits(std::string_view text);
std::string EditText(const ClusterEdit& edit);
// "2:-0.4:0.6"
std::vector<ClusterTimes> ReadTimes(std::string_view text);
std::string TimesText(std::span<const ClusterTimes> times);
// "12 17:2"
std::vector<TakenSpike> ReadTaken(std::string_view text);
std::string TakenText(std::span<const TakenSpike> spikes);
// "12:3 17:1+2 20:0", 0 for what fits best
std::vector<GivenSpike> ReadGiven(std::string_view text);
std::string GivenText(std::span<const GivenSpike> spikes);

}  // namespace kymora
