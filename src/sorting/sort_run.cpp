#include "sorting/sort_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "host/user_numbers.h"
#include "sorting/cluster_run.h"
#include "sorting/firing_trend.h"

namespace kymora {

namespace {

constexpr int64_t mostLines = 1000;  // of one kind in the log
constexpr double bytesToTell = 1e8;

std::string TooManyLines(const char* what) {
    return fmt::format("{}: no more than {} lines are kept\n", what, mostLines);
}

void CheckCluster(const SpikeSorting& sorting, int32_t id) {
    if (!sorting.HasCluster(id))
        throw JobRefused(fmt::format("There is no cluster {}: they are numbered from 1 to {}.", id,
                                     sorting.Clusters().size()));
}

bool HasNoise(const SpikeSorting& sorting) {
    return std::ranges::all_of(sorting.Waves().noise,
                               [](const SpikeNoise& noise) { return noise.variance > 0.0; });
}

// A cluster that a group before has merged stands for what it was merged into.
void MergeGroups(SpikeSorting& sorting, const std::vector<std::vector<int32_t>>& groups) {
    std::map<int32_t, int32_t> mergedInto;
    const auto standsFor = [&](int32_t id) {
        for (auto next = mergedInto.find(id); next != mergedInto.end(); next = mergedInto.find(id))
            id = next->second;
        return id;
    };
    for (const std::vector<int32_t>& group : groups)
        for (const int32_t id : group) {
            CheckCluster(sorting, id);
            const int32_t into = standsFor(group.front()), other = standsFor(id);
            if (into == other) continue;
            sorting.Merge(into, other);
            mergedInto[other] = into;
        }
}

// An outline that encloses none leaves a cluster without spikes, so that the later ones keep their numbers.
void EditClusters(SpikeSorting& sorting, const std::vector<ClusterEdit>& edits) {
    for (const ClusterEdit& edit : edits) {
        if (!edit.merged.empty()) {
            MergeGroups(sorting, {edit.merged});
            continue;
        }
        if (edit.cluster > 0) CheckCluster(sorting, edit.cluster);
        sorting.MoveToNew(sorting.Enclosed(edit.cluster, edit.across, edit.up, edit.outline));
    }
}

void SetWindows(SpikeSorting& sorting, const SortSettings& settings) {
    if (!settings.set)
        for (int32_t id = 1; sorting.HasCluster(id); ++id) sorting.SetWindow(id, settings.analysis);
    for (const ClusterWindow& own : settings.windows) {
        CheckCluster(sorting, own.cluster);
        sorting.SetWindow(own.cluster, own.window);
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

void NoteLines(SortRun& run, std::vector<std::string> lines, const char* what) {
    const bool isLong = std::ssize(lines) > mostLines;
    if (isLong) lines.resize(static_cast<size_t>(mostLines));
    run.notes.insert(run.notes.end(), lines.begin(), lines.end());
    if (isLong) run.notes.push_back(TooManyLines(what));
}

// The trends against which the frequencies of units are tested.
void NoteTrends(const SpikeSorting& sorting, const SortSettings& settings, SortRun& run) {
    const auto units = sorting.Events(settings.assign.mergeWithinMs);
    for (size_t k = 0; k < units.size(); ++k) {
        if (units[k].size() < fewestTrendSpikes) continue;
        run.notes.push_back(fmt::format("calculating trendline for cluster {}\n", k + 1));
        if (units[k].size() - 2 < 2 * mostTrendHalfWindow)
            run.notes.push_back(fmt::format("adjusting half-window for cluster {} trendline\n", k + 1));
    }
}

void AssignByLibrary(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run) {
    const std::vector<SortedSpike> before = sorting.Types();
    if (settings.assign.testsFrequency) NoteTrends(sorting, settings, run);
    sorting.AssignCompounds(settings.assign, context);
    std::vector<std::string> lines;
    int64_t found = 0, failed = 0;
    for (size_t i = 0; i < before.size(); ++i) {
        if (before[i].id != unassignedType) continue;
        const bool isFound = sorting.Types()[i].id != unassignedType;
        ++(isFound ? found : failed);
        if (isFound && settings.assign.testsFrequency)
            lines.push_back(fmt::format("FOUND a match to both shape and frequency for spike {}\n", i + 1));
        if (!isFound) lines.push_back(fmt::format("Did not find a match to shape for spike {}\n", i + 1));
    }
    NoteLines(run, std::move(lines), "matches");
    run.notes.push_back(fmt::format("found {} matches, failed to find {} matches\n", found, failed));
}

// Events that units had before, and have no more.
void NoteRemoved(const SpikeSorting& sorting, const std::vector<std::vector<UnitEvent>>& before,
                 const SortSettings& settings, SortRun& run) {
    const auto after = sorting.Events(settings.assign.mergeWithinMs);
    std::vector<std::string> lines;
    for (size_t k = 0; k < before.size(); ++k)
        for (size_t i = 0; i < before[k].size(); ++i)
            if (!std::ranges::binary_search(after[k], before[k][i].place, {}, &UnitEvent::place))
                lines.push_back(fmt::format("removing spk rel id {} abs id {} from cluster {}\n", i + 1,
                                            before[k][i].spike + 1, k + 1));
    NoteLines(run, std::move(lines), "removed");
}

void TakeOutliers(SpikeSorting& sorting, const SortSettings& settings, SortRun& run) {
    NoteTrends(sorting, settings, run);
    const auto units = sorting.Events(settings.assign.mergeWithinMs);
    const auto sampleOf = [&](const UnitEvent& event) { return sorting.SampleAt(event.place, event.spike); };
    for (size_t k = 0; k < units.size(); ++k) {
        if (units[k].empty()) continue;
        int64_t least = 0;
        for (size_t i = 1; i < units[k].size(); ++i) {
            const int64_t interval = sampleOf(units[k][i]) - sampleOf(units[k][i - 1]);
            least = i == 1 ? interval : std::min(least, interval);
        }
        run.notes.push_back(fmt::format("min sample interval = {}\n", least));
        run.notes.push_back(
            fmt::format("Checking cluster {} for outliers, size = {}\n", k + 1, units[k].size()));
    }
    run.outliers = sorting.UnassignOutliers(settings.assign.confidence, settings.assign.mergeWithinMs);
    NoteRemoved(sorting, units, settings, run);
    run.notes.push_back(fmt::format("Total outlier count = {}\n", run.outliers));
}

size_t CheckSpike(const SpikeSorting& sorting, int32_t spike) {
    if (spike < 1 || spike > std::ssize(sorting.Types()))
        throw JobRefused(fmt::format("There is no spike {}.", spike));
    return static_cast<size_t>(spike) - 1;
}

// A spike for which the library has nothing stays as it is. Events are taken back last, since a compound may
// lose one of them.
void AssignByHand(SpikeSorting& sorting, const SortSettings& settings, SortRun& run) {
    for (const GivenSpike& given : settings.assigned) {
        const size_t spike = CheckSpike(sorting, given.spike);
        for (const int32_t id : given.clusters) CheckCluster(sorting, id);
        if (!sorting.Waves().isUsed[spike]) continue;
        std::vector<int32_t> ids = given.clusters;
        std::ranges::sort(ids);
        std::optional<MixtureLibraries::Match> match;
        if (!ids.empty())
            match = sorting.MatchOf(spike, ids);
        else if (const auto matches = sorting.Matches(spike); !matches.empty())
            match = matches.front();
        if (match)
            sorting.Assign(spike, *match);
        else
            run.notes.push_back(fmt::format("spike {}: the library has no such entry\n", given.spike));
    }
    for (const TakenSpike& taken : settings.unassigned) {
        const size_t spike = CheckSpike(sorting, taken.spike);
        if (taken.cluster > 0)
            sorting.UnassignFrom(spike, taken.cluster, settings.assign.mergeWithinMs);
        else
            sorting.Unassign(spike, settings.assign.mergeWithinMs);
    }
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

void ReadSpikes(SpikeSorting& sorting, SampleReader& samples, const SpikeSource& source,
                const SortSettings& settings, JobContext& context, SortRun& run) {
    if (!sorting.Read(samples, source, settings.reading, context)) throw JobRefused(noNoiseText);
    for (const SpikeNoise& noise : sorting.Waves().noise) run.notes.push_back(NoiseText(noise));
    for (int64_t i = 0; i < std::min(sorting.Waves().withoutPeak, mostLines); ++i)
        run.notes.emplace_back("COULDN'T find peak in waveform\n");
    if (sorting.Waves().Used() == 0) throw JobRefused(HasNoise(sorting) ? notReadText : noNoiseText);
}

void ClusterSpikes(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run) {
    if (settings.set) return;
    run.notes.emplace_back("Calculating PCs\n");
    std::string log;
    sorting.FindComponents(settings.components, context, &log);
    const auto state = sorting.FindClusters(settings.desiredClusters, context, &log);
    context.Log(log);
    if (state != GaussianClusters::State::found)
        throw JobRefused(HasNoise(sorting) ? noClustersText : noNoiseText);
    if (const int started = sorting.StartedWithFewer(); started > 0)
        context.Warn(fmt::format(fewForStartText, ClusterOptions().initial, started));
}

void MakeTemplates(SpikeSorting& sorting, const SortSettings& settings, ProgressSource& progress) {
    if (!HasNoise(sorting)) throw JobRefused(noNoiseText);
    if (settings.set) {
        sorting.UseTemplates(settings.set->clusters);
    } else {
        MergeGroups(sorting, settings.merged);
        EditClusters(sorting, settings.edits);
    }
    SetWindows(sorting, settings);
    SetFlags(sorting, settings);
    SetThresholds(sorting, settings);
    sorting.FindFits(progress);
}

void BuildLibrary(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run) {
    const double bytes =
        MixtureLibraries::ExpectedBytes(sorting.Clusters(), sorting.Waves().shape, settings.maxComponents);
    if (bytes > bytesToTell) context.Warn(fmt::format(libraryBytesText, BytesText(bytes)));
    sorting.BuildLibrary(settings.maxComponents, context);
    const auto isPure = [](const MixtureLibrary& library) { return library.Components() == 1; };
    const auto& libraries = sorting.Library().Libraries();
    const auto pure = std::ranges::count_if(libraries, isPure);
    run.notes.push_back(fmt::format("Building {} + {} libraries\n", pure, std::ssize(libraries) - pure));
    run.notes.emplace_back("Allocating pure template matches\n");
    sorting.AssignPure();
}

void AssignSpikes(SpikeSorting& sorting, const SortSettings& settings, JobContext& context, SortRun& run) {
    if (settings.autoAssign) AssignByLibrary(sorting, settings, context, run);
    if (settings.unassignOutliers) TakeOutliers(sorting, settings, run);
    AssignByHand(sorting, settings, run);
}

SortRun RunSorting(SpikeSorting& sorting, SampleReader& samples, const SpikeSource& source,
                   const SortSettings& settings, JobContext& context) {
    SortRun run;
    ReadSpikes(sorting, samples, source, settings, context, run);
    if (settings.stopAfter == SortStep::read) return run;
    ClusterSpikes(sorting, settings, context, run);
    if (settings.stopAfter == SortStep::cluster) return run;
    MakeTemplates(sorting, settings, context);
    if (settings.stopAfter == SortStep::templates) return run;
    BuildLibrary(sorting, settings, context, run);
    AssignSpikes(sorting, settings, context, run);
    return run;
}

}  // namespace kymora
