#pragma once
// A sorting from its first step to its last, or to one before, as its settings say.

#include <optional>
#include <string>
#include <vector>

#include "operations/operation_job.h"
#include "sorting/sorting_set.h"
#include "sorting/spike_sorting.h"

namespace kymora {

inline constexpr const char* noNoiseText = "No measure of noise variance possible. Abandoning";
// Takes the bytes that are expected.
inline constexpr const char* libraryBytesText = "The mixture library may take up to {}.";
inline constexpr const char* notReadText = "You have not yet read any spike data.";

enum class SortStep : int32_t { all = 0, read = 1, cluster = 2, templates = 3 };

struct SortSettings {
    ReadSettings reading;
    WaveSegment components;       // of the display window
    int32_t desiredClusters = 0;  // 0 searches
    WaveSegment analysis;
    float threshold = 0.0f;                    // of all clusters; 0 takes each cluster's own
    std::vector<float> thresholds;             // by cluster, before the others; 0 as above
    std::vector<int32_t> ignored, mixed;       // clusters from 1
    std::vector<std::vector<int32_t>> merged;  // groups of clusters; the first of each stays
    double minimumShare = 0.0;                 // percent of the spikes; smaller clusters are mixed
    std::optional<SortingSet> set;             // templates in place of clusters
    int32_t maxComponents = 2;
    AssignSettings assign;
    bool unassignOutliers = false;
    std::vector<int32_t> unassigned;  // spikes from 1
    SortStep stopAfter = SortStep::all;
};

struct SortCounts {
    int64_t spikes = 0, used = 0;                      // handed in; with a waveform
    int64_t pure = 0, decomposed = 0, unassigned = 0;  // of those handed in
};
SortCounts CountSpikes(const SpikeSorting& sorting);

struct SortRun {
    int64_t outliers = 0;            // events that were taken out again
    std::vector<std::string> notes;  // for the log
};
// Throws FileError, Cancelled, and JobRefused in words for the user.
SortRun RunSorting(SpikeSorting& sorting, SampleReader& samples, const SpikeSource& source,
                   const SortSettings& settings, JobContext& context);

}  // namespace kymora
