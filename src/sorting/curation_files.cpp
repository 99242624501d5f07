#include "sorting/curation_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "archive/npy.h"
#include "archive/text_reader.h"
#include "document/native_writer.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr const char* clustersFile = "spike_clusters.npy";
constexpr const char* timesFile = "spike_times.npy";
constexpr const char* groupsFile = "cluster_group.tsv";
constexpr const char* infoFile = "cluster_info.tsv";
constexpr const char* paramsFile = "params.py";
constexpr double msPerSecond = 1000.0;
constexpr std::string_view blanks = " \t\r";

// --- writing ---

class FolderWriter {
  public:
    FolderWriter(FileSystem& files, const std::filesystem::path& folder) : files_(files), folder_(folder) {
        files.MakeFolder(folder);
    }
    template <typename Value>
    void Array(const char* name, std::vector<size_t> shape, const std::vector<Value>& values) const {
        WriteFileAtomically(files_, folder_ / name,
                            [&](CArchive& archive) { WriteNpy<Value>(archive, shape, values); });
    }
    void Text(const char* name, const std::string& text) const {
        WriteFileAtomically(files_, folder_ / name,
                            [&](CArchive& archive) { archive.WriteRaw(std::as_bytes(std::span(text))); });
    }

  private:
    FileSystem& files_;
    std::filesystem::path folder_;
};

struct CuratedEvent {
    int64_t sample = 0;
    int32_t cluster = 0;
    double amplitude = 0.0;
};

std::vector<CuratedEvent> EventsOf(const CuratedSorting& curated) {
    std::vector<CuratedEvent> events;
    const SpikeSorting& sorting = curated.sorting;
    for (const UnitQuality& unit : curated.units)
        for (const SpikeAmplitude& one : unit.amplitudes) {
            const double part = one.value / unit.meanAmplitude;
            events.push_back(
                {sorting.SampleAt(one.place, one.spike), unit.id, std::isfinite(part) ? part : 0.0});
        }
    const auto& types = sorting.Types();
    for (size_t i = 0; curated.hasUnassigned && i < types.size(); ++i)
        if (types[i].id == unassignedType)
            events.push_back({sorting.SampleAt(sorting.Waves().places[i], i), 0, 0.0});
    std::ranges::stable_sort(events, {}, &CuratedEvent::sample);
    return events;
}

void WriteEvents(const FolderWriter& writer, const CuratedSorting& curated) {
    std::vector<int64_t> times;
    std::vector<int32_t> clusters;
    std::vector<uint32_t> templates;
    std::vector<double> amplitudes;
    for (const CuratedEvent& event : EventsOf(curated)) {
        times.push_back(event.sample);
        clusters.push_back(event.cluster);
        templates.push_back(static_cast<uint32_t>(event.cluster));
        amplitudes.push_back(event.amplitude);
    }
    writer.Array(timesFile, {times.size()}, times);
    writer.Array("spike_templates.npy", {templates.size()}, templates);
    writer.Array("amplitudes.npy", {amplitudes.size()}, amplitudes);
    writer.Array(clustersFile, {clusters.size()}, clusters);
}

// At the rate of the recording, less the mean of the noise.
void WriteTemplates(const FolderWriter& writer, const CuratedSorting& curated) {
    const SpikeWaves& waves = curated.sorting.Waves();
    const WaveShape& shape = waves.shape;
    const auto traces = static_cast<size_t>(shape.traces);
    const auto samples = static_cast<size_t>(shape.count / shape.multiplier);
    const std::vector<cCluster>& clusters = curated.sorting.Clusters();
    std::vector<float> values(samples * traces);  // of cluster 0
    for (const cCluster& cluster : clusters)
        for (size_t i = 0; i < samples; ++i)
            for (size_t t = 0; t < traces; ++t)
                values.push_back(
                    cluster.m_iCount == 0
                        ? 0.0f
                        : shape.OfTrace(cluster.m_vfFullTmpl,
                                        static_cast<int>(t))[i * static_cast<size_t>(shape.multiplier)] -
                              static_cast<float>(waves.noise[t].mean));
    writer.Array("templates.npy", {clusters.size() + 1, samples, traces}, values);

    const size_t count = clusters.size() + 1;
    std::vector<float> similar(count * count);
    for (size_t a = 0; a < count; ++a)
        for (size_t b = 0; b < count; ++b) {
            float& likeness = similar[a * count + b];
            if (a == b) likeness = 1.0f;
            if (a == b || a == 0 || b == 0) continue;
            const double difference = std::fmin(RelativeDifference(clusters[a - 1], clusters[b - 1], shape),
                                                RelativeDifference(clusters[b - 1], clusters[a - 1], shape));
            if (difference < 1.0) likeness = static_cast<float>(1.0 - difference);
        }
    writer.Array("similar_templates.npy", {count, count}, similar);
}

void WriteTraces(const FolderWriter& writer, const CuratedSorting& curated) {
    std::vector<int32_t> map(curated.traces.begin(), curated.traces.end());
    std::vector<double> positions;
    for (size_t i = 0; i < map.size(); ++i)
        positions.insert(positions.end(), {0.0, traceSpacing * static_cast<double>(i)});
    writer.Array("channel_map.npy", {map.size()}, map);
    writer.Array("channel_positions.npy", {map.size(), 2}, positions);
}

void WriteTables(const FolderWriter& writer, const CuratedSorting& curated) {
    std::string groups = "cluster_id\tgroup\n";
    std::string info =
        "cluster_id\tgroup\tn_spikes\tfr\tamp\tsnr\tviolations\tisolation_distance\tl_ratio\tsilhouette\n";
    const auto number = [](double value) { return std::isfinite(value) ? fmt::format("{:.6g}", value) : ""; };
    if (curated.hasUnassigned) groups += "0\tnoise\n";
    for (const UnitQuality& unit : curated.units) {
        groups += fmt::format("{}\tunsorted\n", unit.id);
        info += fmt::format("{}\tunsorted\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", unit.id, unit.events,
                            number(static_cast<double>(unit.events) / curated.recordingMs * msPerSecond),
                            number(unit.meanAmplitude), number(unit.snr), unit.violations,
                            number(unit.isolation.distance), number(unit.isolation.lRatio),
                            number(unit.silhouette));
    }
    writer.Text(groupsFile, groups);
    writer.Text(infoFile, info);
}

// --- reading ---

std::vector<int64_t> ReadArray(FileSystem& files, const std::filesystem::path& path) {
    const auto file = files.Open(path, OpenMode::readOnly);
    try {
        return ReadNpyIntegers(*file);
    } catch (const ArchiveError& fault) {
        throw ArchiveError(path.string() + ": " + fault.what());
    }
}

// Calls work(line, number) for each line of a file, if it is there.
template <typename Work>
void ForEachLine(FileSystem& files, const std::filesystem::path& path, Work work) {
    if (!files.Stamp(path)) return;
    const auto file = files.Open(path, OpenMode::readOnly);
    TextReader reader(*file);
    std::string line;
    for (int number = 1; reader.NextLine(line); ++number) work(std::string_view(line), number);
}

std::string_view Stripped(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> CellsOf(std::string_view line) {
    std::vector<std::string_view> cells;
    for (size_t at = 0; at <= line.size();) {
        const size_t tab = std::min(line.find('\t', at), line.size());
        cells.push_back(Stripped(line.substr(at, tab - at)));
        at = tab + 1;
    }
    return cells;
}

// Of a table whose heads name the columns: the cluster in the first, or the one called so.
std::map<int64_t, std::string> ReadGroups(FileSystem& files, const std::filesystem::path& path) {
    std::map<int64_t, std::string> groups;
    size_t idAt = 0, groupAt = 1;
    ForEachLine(files, path, [&](std::string_view line, int number) {
        if (Stripped(line).empty()) return;
        const std::vector<std::string_view> cells = CellsOf(line);
        if (number == 1) {
            if (cells.size() > 2) groupAt = std::string_view::npos;  // unless a head names it
            for (size_t i = 0; i < cells.size(); ++i) {
                if (cells[i] == "cluster_id" || cells[i] == "id") idAt = i;
                if (cells[i] == "group") groupAt = i;
            }
            return;
        }
        if (groupAt == std::string_view::npos) return;
        int64_t cluster = -1;
        const std::string_view id = idAt < cells.size() ? cells[idAt] : std::string_view();
        const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), cluster);
        if (groupAt >= cells.size() || error != std::errc() || end != id.data() + id.size())
            throw ArchiveError(
                fmt::format("{}: line {} is no cluster with its group.", path.string(), number));
        if (!cells[groupAt].empty()) groups[cluster] = cells[groupAt];
    });
    return groups;
}

std::optional<double> ReadSampleRate(FileSystem& files, const std::filesystem::path& path) {
    std::optional<double> rate;
    ForEachLine(files, path, [&](std::string_view line, int) {
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos || Stripped(line.substr(0, equals)) != "sample_rate") return;
        rate = ParseNumber(Stripped(line.substr(equals + 1)));
        if (!rate || !(*rate > 0.0))
            throw ArchiveError(fmt::format("{}: the sample rate is no number above 0.", path.string()));
    });
    return rate;
}

}  // namespace

bool HoldsSorting(FileSystem& files, const std::filesystem::path& folder) {
    return files.Stamp(folder / clustersFile).has_value();
}

void WriteCurationFolder(FileSystem& files, const std::filesystem::path& folder,
                         const CuratedSorting& curated) {
    const FolderWriter writer(files, folder);
    writer.Text(paramsFile,
                fmt::format("dat_path = []\nn_channels_dat = {}\ndtype = 'float32'\noffset = 0\n"
                            "sample_rate = {}\nhp_filtered = False\n",
                            curated.traceCount,
                            fmt::format("{:.12g}", msPerSecond / curated.sorting.SampleInterval())));
    WriteEvents(writer, curated);
    WriteTemplates(writer, curated);
    WriteTraces(writer, curated);
    WriteTables(writer, curated);
}

CuratedSpikes ReadCurationFolder(FileSystem& files, const std::filesystem::path& folder) {
    CuratedSpikes spikes;
    spikes.times = ReadArray(files, folder / timesFile);
    spikes.clusters = ReadArray(files, folder / clustersFile);
    if (spikes.times.size() != spikes.clusters.size())
        throw ArchiveError(fmt::format("{} has {} numbers and {} has {}: they are not of one sorting.",
                                       timesFile, spikes.times.size(), clustersFile, spikes.clusters.size()));
    spikes.groups = ReadGroups(files, folder / groupsFile);
    if (spikes.groups.empty()) spikes.groups = ReadGroups(files, folder / infoFile);
    spikes.sampleRate = ReadSampleRate(files, folder / paramsFile);
    return spikes;
}

}  // namespace kymora
