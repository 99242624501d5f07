#include "sorting/sort_run.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/user_numbers.h"
#include "sorting/cluster_run.h"

namespace kymora {

namespace {

constexpr int64_t mostLines = 1000;  // of one kind in the log
constexpr double bytesToTell = 1e8;

void CheckCluster(const SpikeSorting& sorting, int32_t id) {
    if (!sorting.HasCluster(id))
        throw JobRefused(fmt::format("There is no cluster {}: they are numbered from 1 to {}.", id,
                                     sorting.Clusters().size()));
}

void MergeGroups(SpikeSorting& sorting, const std::vector<std::vector<int32_t>>& groups) {
    for (const std::vector<int32_t>& group : groups)
        for (size_t i = 0; i < group.size(); ++i) {
            CheckCluster(sorting, group[i]);
            if (i > 0 && group[i] != group[0]) sorting.Merge(group[0], group[i]);
        }
}

void SetFlags(SpikeSorting& sorting, const SortSettings& settings) {
    for (const auto* ids : {&settings.ignored, &settings.mixed})
        for (const int32_t id : *ids) CheckCluster(sorting, id);
    const auto used = static_cast<double>(sorting.Waves().Used());
    for (int32_t id = 1; sorting.HasCluster(id); ++id) {
        const cCluster& cluster = sorting.Clusters()[static_cast<size_t>(id) - 1];
        const bool isSmall = !settings.set && 100.0 * cluster.m_iCount < settings.minimumShare * used;
        const auto names = [id](const std::vector<int32_t>& ids) { return std::ranges::count(ids, id) > 0; };
        sorting.SetFlags(id, cluster.m_bMixedTmpl || isSmall || names(settings.mixed),
                         cluster.m_bIgnore || names(settings.ignored));
    }
}

void SetThresholds(SpikeSorting& sorting, const SortSettings& settings) {
    if (settings.thresholds.size() > sorting.Clusters().size())
        CheckCluster(sorting, static_cast<int32_t>(settings.thresholds.size()));
    if (!settings.set) sorting.SetAutomaticThresholds();
    for (int32_t id = 1; sorting.HasCluster(id); ++id) {
        const auto i = static_cast<size_t>(id) - 1;
        const bool isNamed = i < settings.thresholds.size() && settings.thresholds[i] > 0.0f;
        const float threshold = isNamed ? settings.thresholds[i] : settings.threshold;
        if (threshold > 0.0f) sorting.SetThreshold(id, threshold);
    }
}

void MakeTemplates(SpikeSorting& sorting, const SortSettings& settings, ProgressSource& progress) {
    for (const SpikeNoise& noise : sorting.Waves().noise)
        if (!(noise.variance > 0.0)) throw JobRefused(noNoiseText);
    if (settings.set) {
        sorting.UseTemplates(settings.set->clusters);
    } else {
        MergeGroups(sorting, settings.merged);
        for (int32_t id = 1; sorting.HasCluster(id); ++id) sorting.SetWindow(id, settings.analysis);
    }
    SetFlags(sorting, settings);
    SetThresholds(sorting, settings);
    sorting.FindFits(progress);
}

void FindClusters(SpikeSorting& sorting, const SortSettings& settings, JobContext& context) {
    std::string log;
    sorting.FindComponents(settings.components, context, &log);
    const auto state = sorting.FindClusters(settings.desiredClusters, context, &log);
    context.Log(log);
    if (state != GaussianClusters::State::found) throw JobRefused(noClustersText);
    if (const int started = sorting.StartedWithFewer(); started > 0)
        context.Warn(fmt::format(fewForStartText, ClusterOptions().initial, started));
}

void NoteReading(const SpikeSorting& sorting, SortRun& run) {
    for (const SpikeNoise& noise : sorting.Waves().noise) run.notes.push_back(NoiseText(noise));
    for (int64_t i = 0; i < std::min(sorting.Waves().withoutPeak, mostLines); ++i)
        run.notes.emplace_back("COULDN'T find peak in waveform\n");
}

void BuildLibrary(SpikeSorting& sorting, int limit, JobContext& context, SortRun& run) {
    const std::vector<cCluster>& clusters = sorting.Clusters();
    const double bytes = MixtureLibraries::ExpectedBytes(clusters, sorting.Waves().shape, limit);
    if (bytes > bytesToTell) context.Warn(fmt::format(libraryBytesText, BytesText(bytes)));
    sorting.BuildLibrary(limit, context);
    const auto isPure = [](const MixtureLibrary& library) { return library.Components() == 1; };
    const auto& libraries = sorting.Library().Libraries();
    const auto pure = std::ranges::count_if(libraries, isPure);
    run.notes.push_back(fmt::format("Building {} + {} libraries\n", pure, std::ssize(libraries) - pure));
}

void Assign(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run) {
    BuildLibrary(sorting, settings.maxComponents, context, run);
    sorting.AssignPure();
    const SortCounts pure = CountSpikes(sorting);
    sorting.AssignCompounds(settings.assign, context);
    const SortCounts all = CountSpikes(sorting);
    run.notes.push_back(fmt::format("found {} matches, failed to find {} matches\n",
                                    pure.unassigned - all.unassigned, all.unassigned));
    for (const int32_t spike : settings.unassigned) {
        if (spike < 1 || spike > std::ssize(sorting.Types()))
            throw JobRefused(fmt::format("There is no spike {}.", spike));
        sorting.Unassign(static_cast<size_t>(spike) - 1);
    }
    if (!settings.unassignOutliers) return;
    run.outliers = sorting.UnassignOutliers(settings.assign.confidence, settings.assign.mergeWithinMs);
    run.notes.push_back(fmt::format("Total outlier count = {}\n", run.outliers));
}

}  // namespace

SortCounts CountSpikes(const SpikeSorting& sorting) {
    SortCounts counts;
    if (!sorting.IsRead()) return counts;
    counts.spikes = static_cast<int64_t>(sorting.Waves().Count());
    counts.used = static_cast<int64_t>(sorting.Waves().Used());
    for (const SortedSpike& type : sorting.Types())
        ++(type.id == unassignedType   ? counts.unassigned
           : type.id == decomposedType ? counts.decomposed
                                       : counts.pure);
    return counts;
}

SortRun RunSorting(SpikeSorting& sorting, SampleReader& samples, const SpikeSource& source,
                   const SortSettings& settings, JobContext& context) {
    SortRun run;
    if (!sorting.Read(samples, source, settings.reading, context)) throw JobRefused(noNoiseText);
    NoteReading(sorting, run);
    if (sorting.Waves().Used() == 0) throw JobRefused(notReadText);
    if (settings.stopAfter == SortStep::read) return run;
    if (!settings.set) FindClusters(sorting, settings, context);
    if (settings.stopAfter == SortStep::cluster) return run;
    MakeTemplates(sorting, settings, context);
    if (settings.stopAfter == SortStep::all) Assign(sorting, settings, context, run);
    return run;
}

}  // namespace kymora
