#pragma once
// What a sorting leaves for another recording, and the file of its library.

#include <filesystem>
#include <string>
#include <vector>

#include "host/progress.h"
#include "host/session.h"
#include "results/output_sink.h"
#include "sorting/mixture_library.h"
#include "sorting/unit_templates.h"

namespace kymora {

inline constexpr const char* sortingSetName = "SpikeSort";
inline constexpr const char* saveSortingSetTitle = "Save wizard configuration file";

// How waveforms were read, and the templates at the raised rate with their windows, thresholds and flags.
struct SortingSet {
    ReadSettings reading;         // but for its traces, which the reader chooses
    double sampleInterval = 1.0;  // ms
    int32_t traces = 1;
    std::vector<cCluster> clusters;
    bool operator==(const SortingSet&) const = default;
};

// The settings file of a set (.kymr-cfg), whose class name is sortingSetName. Both throw FileError, reading
// also ArchiveError in words for the user.
void WriteSortingSet(Session& session, const SortingSet& set, const std::filesystem::path& path);
SortingSet ReadSortingSet(Session& session, const std::filesystem::path& path);

// A line for each entry: the ids of its three components (-1 for none), their delays, and the values of its
// row less the mean of the noise; all separated by tabs, under a line of headings.
// Throws Cancelled.
void WriteLibraryText(const MixtureLibraries& libraries, OutputSink& sink, ProgressSource& progress);

}  // namespace kymora
