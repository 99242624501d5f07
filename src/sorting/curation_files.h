#pragma once
// The folder of text and NumPy files in which tools for manual curation keep a sorting: params.py,
// spike_times.npy, spike_clusters.npy, spike_templates.npy, amplitudes.npy, templates.npy,
// similar_templates.npy, channel_map.npy, channel_positions.npy, cluster_group.tsv, cluster_info.tsv.
//
// Clusters have the numbers of the tables, from 1; 0 is what belongs to no unit. Templates count along, so
// that the first one is empty. Times are samples from the start of the recording.

#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/file_system.h"
#include "sorting/unit_quality.h"

namespace kymora {

// Between neighbouring traces, which stand in a column: nothing tells where electrodes lie. um.
inline constexpr double traceSpacing = 20.0;

struct CuratedSorting {
    const SpikeSorting& sorting;
    std::span<const UnitQuality> units;
    bool hasUnassigned = false;  // as cluster 0
    std::vector<int> traces;     // that were sorted, from 0
    int traceCount = 0;          // of the recording
    double recordingMs = 0.0;
};

// Whether the folder holds clusters of spikes.
bool HoldsSorting(FileSystem& files, const std::filesystem::path& folder);

// Makes the folder where there is none; each file takes the place of an earlier one whole. The sorting has
// clusters. An amplitude is in parts of that of the template (0 where it is unknown); a similarity is 1 less
// the smaller of the two relative differences, and not below 0. Throws FileError.
void WriteCurationFolder(FileSystem& files, const std::filesystem::path& folder,
                         const CuratedSorting& curated);

struct CuratedSpikes {
    std::vector<int64_t> times;     // samples
    std::vector<int64_t> clusters;  // of each spike
    std::map<int64_t, std::string> groups;
    std::optional<double> sampleRate;  // Hz
};
// spike_times.npy and spike_clusters.npy, and, where they are there, cluster_group.tsv, else the groups of
// cluster_info.tsv, and params.py. Throws
// FileError, and ArchiveError in words for the user.
CuratedSpikes ReadCurationFolder(FileSystem& files, const std::filesystem::path& folder);

}  // namespace kymora
