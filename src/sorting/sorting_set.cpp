#include "sorting/sorting_set.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "archive/archive.h"
#include "document/native_writer.h"
#include "operations/batch_base_dlg.h"

namespace kymora {

namespace {

constexpr uint32_t setVersion = 1;
constexpr const char* wrongSetText = "Unrecognized configuration file format. Expected {} but read {}.";
constexpr const char* damagedSetText = "This configuration of SpikeSort is damaged. Nothing was loaded.";
constexpr int32_t mostRowValues = 1 << 24;

void ExchangeReading(CArchive& archive, SortingSet& set) {
    Exchange(archive, set.sampleInterval);
    Exchange(archive, set.traces);
    Exchange(archive, set.reading.start);
    Exchange(archive, set.reading.length);
    Exchange(archive, set.reading.multiplier);
    Exchange(archive, set.reading.alignPeaks);
    auto polarity = static_cast<int32_t>(set.reading.polarity);
    Exchange(archive, polarity);
    set.reading.polarity = static_cast<Polarity>(polarity);
}

void ExchangeCluster(CArchive& archive, cCluster& cluster, size_t length) {
    Exchange(archive, cluster.m_iTmplStartRelDisp);
    Exchange(archive, cluster.m_nTmplSamp);
    Exchange(archive, cluster.m_dHistMaxX);
    Exchange(archive, cluster.m_fErrThresh);
    Exchange(archive, cluster.m_iCount);
    Exchange(archive, cluster.m_bMixedTmpl);
    Exchange(archive, cluster.m_bIgnore);
    cluster.m_vfFullTmpl.resize(length);
    for (float& value : cluster.m_vfFullTmpl) Exchange(archive, value);
}

bool IsSound(const SortingSet& set) {
    const ReadSettings& read = set.reading;
    const auto polarity = static_cast<int32_t>(read.polarity);
    return std::isfinite(set.sampleInterval) && set.sampleInterval > 0.0 && set.traces >= 1 &&
           set.traces <= maxTraces && read.length >= 1 && read.multiplier >= 1 && read.multiplier <= 64 &&
           read.start <= 0 && read.start > -read.length && polarity >= 0 && polarity <= 2 &&
           int64_t{read.length} * read.multiplier * set.traces <= mostRowValues;
}

bool IsSound(const cCluster& cluster, int32_t count) {
    const bool isFinite = std::ranges::all_of(cluster.m_vfFullTmpl, [](float x) { return std::isfinite(x); });
    return isFinite && std::isfinite(cluster.m_fErrThresh) && cluster.m_iCount >= 0 &&
           cluster.m_iTmplStartRelDisp >= 0 && cluster.m_nTmplSamp >= 2 &&
           cluster.m_nTmplSamp <= count - cluster.m_iTmplStartRelDisp;
}

}  // namespace

void WriteSortingSet(Session& session, const SortingSet& set, const std::filesystem::path& path) {
    WriteFileAtomically(session.files, path, [&](CArchive& archive) {
        SortingSet stored = set;
        archive.WriteString(sortingSetName);
        ExchangeVersion(archive, setVersion, sortingSetName);
        ExchangeReading(archive, stored);
        archive.Write<int32_t>(static_cast<int32_t>(stored.clusters.size()));
        for (cCluster& cluster : stored.clusters)
            ExchangeCluster(archive, cluster, cluster.m_vfFullTmpl.size());
    });
}

SortingSet ReadSortingSet(Session& session, const std::filesystem::path& path) {
    const auto file = session.files.Open(path, OpenMode::readOnly);
    CArchive archive(*file, CArchive::Mode::load);
    const std::string name = ReadClassName(archive);
    if (name != sortingSetName)
        throw ArchiveError(fmt::format(wrongSetText, sortingSetName, name.empty() ? "no identifier" : name));
    ExchangeVersion(archive, setVersion, sortingSetName);
    SortingSet set;
    ExchangeReading(archive, set);
    if (!IsSound(set)) throw ArchiveError(damagedSetText);
    const int32_t count = set.reading.length * set.reading.multiplier;
    const auto length = static_cast<size_t>(count) * static_cast<size_t>(set.traces);
    set.clusters.resize(archive.ReadItemCount(length * sizeof(float), "templates"));
    for (cCluster& cluster : set.clusters) {
        ExchangeCluster(archive, cluster, length);
        if (!IsSound(cluster, count)) throw ArchiveError(damagedSetText);
    }
    return set;
}

void WriteLibraryText(const MixtureLibraries& libraries, OutputSink& sink, ProgressSource& progress) {
    ProgressScope scope(progress, "Saving mixture library", libraries.Entries());
    sink.Write("id 1\tid 2\tid 3\tdelay 1\tdelay 2\tdelay 3\tvalues\n");
    std::string line;
    for (const MixtureLibrary& library : libraries.Libraries())
        for (const MixtureEntry& entry : library.entries) {
            scope.Step(1);
            line = fmt::format("{}\t{}", fmt::join(entry.ids, "\t"), fmt::join(entry.delays, "\t"));
            for (const float value : libraries.RowOf(entry)) line += fmt::format("\t{}", value);
            sink.Write(line + "\n");
        }
}

}  // namespace kymora
