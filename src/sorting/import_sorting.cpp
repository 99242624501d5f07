#include "sorting/import_sorting.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "document/undo.h"
#include "host/user_numbers.h"
#include "numerics/rounding.h"
#include "sorting/find_shapes.h"

namespace kymora {

namespace {

constexpr uint32_t importSortingVersion = 1;
constexpr double longestDuration = 1e6;  // ms
constexpr double sameRate = 1e-6;
constexpr const char* noFolderText = "Name the folder of the sorting.";
constexpr const char* otherRateText =
    "The sorting is of a recording with {:g} samples a second, and this one has {:g}.";
constexpr const char* spikeOutsideText = "Spike {} lies at sample {}, and the recording has {}.";
constexpr const char* noClustersLeftText = "No cluster is left: all spikes of the sorting are noise.";
constexpr const char* noRoomText =
    "The {} channels of the clusters do not fit behind event channel {}. Choose an earlier destination.";

}  // namespace

CImportSorting::CImportSorting() : CEventBaseDlg(usesTrace | usesDestination) {}

void CImportSorting::Describe(ParamList& list) {
    list.Group("Sorting");
    list.Text("folder", "Folder", m_strFolder)
        .Tip("The folder with spike_times.npy, spike_clusters.npy and, where there are groups, "
             "cluster_group.tsv or cluster_info.tsv");
    list.Action("chooseFolder", "Choose...", [this] { ChooseFolder(); })
        .Tip("Chooses the spike_clusters.npy of a folder")
        .Linked({"folder"});
    list.Flag("withNoise", "Noise, too", m_bWithNoise)
        .Tip("Clusters of the group noise become channels, too");
    list.Number("duration", "Duration", m_dDuration)
        .Unit("ms")
        .Limits(0, longestDuration)
        .Step(0.1)
        .Tip("Of each event, at least one sample: the files tell onsets alone");
    DescribeSource(list);
    list.Find("trace")->Tip("The parent trace of the channels");
    DescribeDestination(list);
    list.Find("destination")->Tip("Event channel of the first cluster; those of the others follow");
}

void CImportSorting::ChooseFolder() {
    if (!Document()) return;
    const FileRequest request{
        "Open sorting", "clusters (spike_clusters.npy)|spike_clusters.npy||", "npy", {}};
    if (const auto paths = GetHost().ChooseOpenFiles(request); !paths.empty())
        m_strFolder = paths[0].parent_path().string();
}

void CImportSorting::Serialize(CArchive& archive) {
    CEventBaseDlg::Serialize(archive);
    ExchangeVersion(archive, importSortingVersion, ClassName());
    Exchange(archive, m_nTrace);
    Exchange(archive, m_strFolder);
    Exchange(archive, m_bWithNoise);
    Exchange(archive, m_dDuration);
}

void CImportSorting::GetParamText(std::string& text) {
    CEventBaseDlg::GetParamText(text);
    text += fmt::format("Folder: {}\r\n{}", m_strFolder, m_bWithNoise ? "Noise, too\r\n" : "");
}

std::string CImportSorting::CheckSettings() {
    if (std::string fault = CEventBaseDlg::CheckSettings(); !fault.empty()) return fault;
    return m_strFolder.empty() ? noFolderText : std::string();
}

std::vector<CImportSorting::Cluster> CImportSorting::ClustersOf(const CuratedSpikes& spikes) const {
    const CDataDoc& doc = *Document();
    const double rate = 1000.0 / doc.sampleInterval;
    if (spikes.sampleRate && std::abs(*spikes.sampleRate / rate - 1.0) > sameRate)
        throw ArchiveError(fmt::format(otherRateText, *spikes.sampleRate, rate));
    const int64_t length = doc.GetLength();
    const int64_t duration = std::max<int64_t>(1, RoundHalfAway64(m_dDuration / doc.sampleInterval));
    std::map<int64_t, Cluster> clusters;
    for (size_t i = 0; i < spikes.times.size(); ++i) {
        const int64_t on = spikes.times[i], id = spikes.clusters[i];
        if (on < 0 || on >= length) throw ArchiveError(fmt::format(spikeOutsideText, i + 1, on, length));
        Cluster& cluster = clusters[id];
        CEventKM& event = cluster.events.emplace_back();
        event.onPosition = static_cast<int32_t>(on);
        event.offPosition = static_cast<int32_t>(std::min(on + duration, length));
        event.eventValue = static_cast<float>(id);
    }
    std::vector<Cluster> kept;
    for (auto& [id, cluster] : clusters) {
        cluster.id = id;
        if (const auto group = spikes.groups.find(id); group != spikes.groups.end())
            cluster.group = group->second;
        if (cluster.group == "noise" && !m_bWithNoise) continue;
        std::ranges::stable_sort(cluster.events, {}, &CEventKM::onPosition);
        kept.push_back(std::move(cluster));
    }
    if (kept.empty()) throw ArchiveError(noClustersLeftText);
    return kept;
}

bool CImportSorting::MayWrite(const std::vector<Cluster>& clusters) {
    const CDataDoc& doc = *Document();
    if (m_nDestination + std::ssize(clusters) > maxEventChannels) {
        Refuse(fmt::format(noRoomText, clusters.size(), ChannelName(m_nDestination)));
        return false;
    }
    bool hasEvents = false;
    for (size_t i = 0; i < clusters.size(); ++i) {
        const CEventChan& chan = doc.eventChannels[static_cast<size_t>(m_nDestination) + i];
        if (chan.channelLocked) {
            Refuse(lockedChannelText);
            return false;
        }
        hasEvents = hasEvents || chan.GetNumEvents() > 0;
    }
    return !hasEvents || GetHost().Confirm(overwriteEventsText);
}

void CImportSorting::WriteCluster(int channel, const Cluster& cluster, UndoScope& undo) {
    undo.KeepChannel(channel);
    CEventChan& chan = Document()->eventChannels[static_cast<size_t>(channel)];
    chan.DeleteAll();
    for (const CEventKM& event : cluster.events) chan.AddEvent(event);
    BeginRecord(chan);
    chan.detectionMethod = methodManual;
    chan.parentTrace = m_nTrace;
    chan.channelLabel = fmt::format("cluster {}", cluster.id);
    if (!cluster.group.empty()) chan.channelLabel += " " + cluster.group;
    chan.channelComment.clear();
    chan.channelColour = GraphColour(static_cast<size_t>(channel - m_nDestination));
    chan.channelFlag = sortedChannelFlag;
    m_imported.push_back({cluster.id, cluster.group, std::ssize(cluster.events), channel});
}

bool CImportSorting::Analyse(UndoScope& undo) {
    std::vector<Cluster> clusters;
    try {
        clusters = ClustersOf(ReadCurationFolder(Document()->GetSession().files, m_strFolder));
    } catch (const ArchiveError& fault) {
        Refuse(fault.what());
        return false;
    } catch (const FileError& fault) {
        Refuse(fault.what());
        return false;
    }
    if (!MayWrite(clusters)) return false;
    for (size_t i = 0; i < clusters.size(); ++i)
        WriteCluster(m_nDestination + static_cast<int>(i), clusters[i], undo);
    std::string report;
    GetParamText(report);
    report += fmt::format("\t{} clusters\r\n", clusters.size());
    AppendHistory(report);
    return true;
}

std::string CImportSorting::RunSummary() const {
    return m_imported.empty() ? std::string() : fmt::format("{} clusters", m_imported.size());
}

std::vector<Result> CImportSorting::Results() {
    if (m_imported.empty()) return {};
    Result table{"clusters", {}, {{"cluster", {}}, {"group", {}}, {"events", {}}, {"channel", {}}}, {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const Imported& one : m_imported)
        rows.push_back({one.id, one.group, one.events, ChannelName(one.channel)});
    table.SetRows(std::move(rows));
    return {std::move(table)};
}

}  // namespace kymora
