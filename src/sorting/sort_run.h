#pragma once
// A sorting from its first step to its last, or to one before, as its settings say.

#include <optional>
#include <string>
#include <vector>

#include "operations/operation_job.h"
#include "sorting/sort_lists.h"
#include "sorting/sorting_set.h"
#include "sorting/spike_sorting.h"

namespace kymora {

inline constexpr const char* noNoiseText = "No measure of noise variance possible. Abandoning";
// Takes the bytes that are expected.
inline constexpr const char* libraryBytesText = "The mixture library may take up to {}.";
inline constexpr const char* notReadText = "You have not yet read any spike data.";

enum class SortStep : int32_t { all = 0, read = 1, cluster = 2, templates = 3 };

// The window of a cluster in place of `analysis`.
struct ClusterWindow {
    int32_t cluster = 0;
    WaveSegment window;
    bool operator==(const ClusterWindow&) const = default;
};

struct SortSettings {
    ReadSettings reading;
    WaveSegment components;                    // of the display window
    int32_t desiredClusters = 0;               // 0 searches
    std::optional<SortingSet> set;             // templates in place of clusters
    std::vector<std::vector<int32_t>> merged;  // groups of clusters; the first of each stays
    std::vector<ClusterEdit> edits;            // after that, in this order
    WaveSegment analysis;
    std::vector<ClusterWindow> windows;
    float threshold = 0.0f;               // of all clusters; 0 takes each cluster's own
    std::vector<float> thresholds;        // by cluster, before the others; 0 as above
    std::vector<int32_t> ignored, mixed;  // clusters from 1
    double minimumShare = 0.0;            // percent of the spikes; smaller clusters are mixed
    int32_t maxComponents = 2;
    AssignSettings assign;
    bool autoAssign = true;  // what meets no template alone is looked up in the library
    bool unassignOutliers = false;
    // By hand, which has the last word.
    std::vector<TakenSpike> unassigned;
    std::vector<GivenSpike> assigned;
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

// The steps. Each takes the sorting as the one before has left it. They throw FileError, Cancelled, and
// JobRefused in words for the user.
void ReadSpikes(SpikeSorting& sorting, SampleReader& samples, const SpikeSource& source,
                const SortSettings& settings, JobContext& context, SortRun& run);
// Of a set there are templates only.
void ClusterSpikes(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run);
void MakeTemplates(SpikeSorting& sorting, const SortSettings& settings, ProgressSource& progress);
// Builds the library, and allocates what meets a template alone.
void BuildLibrary(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run);
void AssignSpikes(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run);

// All of them. Throws as they do.
SortRun RunSorting(SpikeSorting& sorting, SampleReader& samples, const SpikeSource& source,
                   const SortSettings& settings, JobContext& context);

}  // namespace kymora
