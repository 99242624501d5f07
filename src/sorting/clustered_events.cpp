#include "sorting/clustered_events.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/undo.h"
#include "eventanalysis/event_values.h"

namespace kymora {

namespace {

constexpr int greatestColumn = 64;

}  // namespace

CClusteredEventsDlg::CClusteredEventsDlg(unsigned uses)
    : CEventAnalRgnBase(uses | usesChannel1 | usesDestination | usesText) {
    m_nDestination = 2;
    m_strDescription = "Clusters";
    m_strLabel = "clusters";
}

void CClusteredEventsDlg::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CEventAnalRgnBase::CheckChangeDoc(doc);
}

// The description is that of the clusters, and not of their source.
void CClusteredEventsDlg::OnEventChanChanged(int channel) {
    const std::string description = m_strDescription, label = m_strLabel;
    CEventAnalRgnBase::OnEventChanChanged(channel);
    m_strDescription = description;
    m_strLabel = label;
}

// --- the run ---

void CClusteredEventsDlg::TakeEvents(ClusterJob& job) {
    const CDataDoc& doc = *Document();
    const CEventChan& source = doc.eventChannels[static_cast<size_t>(m_nChannel1)];
    job.title = Title();
    job.seen = SeenTimes();
    job.region = {0, static_cast<int32_t>(doc.GetLength())};
    job.method = methodManual;
    job.settings = m_clusters;
    job.reads.push_back(m_nChannel1);
    AddTarget(job, m_nDestination, source.parentTrace, m_strDescription);
    ForEachEvent(Block(), [&](const EventPlace& place) {
        const auto index = static_cast<size_t>(place.index);
        job.indices.push_back(place.index);
        job.onsets.push_back(doc.TimeOf(place.on));
        job.found.front().events.push_back(source.Events()[index]);
        if (!source.EventExtra().empty()) job.extra.push_back(source.EventExtra()[index]);
        return true;
    });
}

bool CClusteredEventsDlg::Write(OperationJob& written, UndoScope& undo) {
    auto& job = static_cast<ClusterJob&>(written);
    CheckClusters(job.clusters, job.settings, GetHost());
    std::vector<int> ids = IdsOf(job.clusters);
    std::vector<CEventKM>& events = job.found.front().events;
    for (size_t i = 0; i < events.size(); ++i) {
        events[i].eventValue = static_cast<float>(ids[i] + 1);
        events[i].eventColour = ids[i] < 0 ? noClusterColour : ClusterColour(ids[i]);
    }
    if (!CEventAnalRgnBase::Write(job, undo)) return false;
    for (const std::string& words : job.words) Tell(words);
    m_found = Found{Columns(),
                    std::move(job.rows),
                    std::move(ids),
                    std::move(job.indices),
                    std::move(job.onsets),
                    std::move(job.clusters.classes)};
    return true;
}

bool CClusteredEventsDlg::FinishFound(CEventChan& chan, const EventJob& job, size_t) {
    chan.detection = {};
    chan.templateData.clear();
    const auto& extra = static_cast<const ClusterJob&>(job).extra;
    if (!extra.empty()) chan.SetEventExtra(extra);
    return true;
}

void CClusteredEventsDlg::AppendReport(std::string& text, const EventJob& job) {
    GetParamText(text);
    const auto& done = static_cast<const ClusterJob&>(job);
    text += fmt::format("\t{} clusters of {} events\r\n", done.clusters.classes.size(), done.indices.size());
}

// --- what it shows ---

std::string CClusteredEventsDlg::RunSummary() const {
    return m_found ? fmt::format("{} clusters", m_found->classes.size()) : std::string();
}

void CClusteredEventsDlg::WriteResult(const TextSink& sink) {
    if (m_found) sink(ClassReport(m_found->classes));
}

std::vector<Result> CClusteredEventsDlg::Results() {
    if (!m_found) return {};
    std::vector<std::string> names;
    for (const GraphAxis& axis : m_found->columns) names.push_back(axis.title);
    return {ClassTable(m_found->classes, m_found->ids, names), EventTable()};
}

Result CClusteredEventsDlg::EventTable() const {
    Result events{"events", {}, {{"#ID", {}}, {"time", "ms"}}, {}};
    for (const GraphAxis& axis : m_found->columns) events.columns.push_back({axis.title, axis.unit});
    events.columns.push_back({"#clust", {}});
    events.rows = [this](const ResultRowSink& sink) {
        const size_t columns = m_found->columns.size();
        for (size_t i = 0; i < m_found->ids.size(); ++i) {
            std::vector<ResultValue> row{int64_t{m_found->indices[i]} + 1, m_found->onsets[i]};
            for (size_t c = 0; c < columns; ++c) row.emplace_back(m_found->rows[i * columns + c]);
            row.emplace_back(int64_t{m_found->ids[i]} + 1);
            if (!sink(row)) return false;
        }
        return true;
    };
    return events;
}

std::optional<Graph> CClusteredEventsDlg::GetGraph() {
    CloudData cloud;
    cloud.columns = Columns();
    if (m_found) cloud = {m_found->rows, m_found->columns, m_found->ids, m_found->indices, m_nChannel1};
    return Graph{{CloudPane(cloud, static_cast<size_t>(m_nGraphX - 1), static_cast<size_t>(m_nGraphY - 1))}};
}

void CClusteredEventsDlg::DescribeClusters(ParamList& list) {
    m_clusters.Describe(list);
    list.Note("eventsToCluster", "Events", [this] { return EventCountText(Document(), m_nChannel1); })
        .Tip("Shows the number of events to be clustered");
}

void CClusteredEventsDlg::DescribeGraph(ParamList& list) {
    list.Group("Graph");
    const auto axis = [&](const char* key, const char* label, int32_t& value) {
        list.Integer(key, label, value)
            .Limits(1, greatestColumn)
            .Spin()
            .Tip("Which of the parameters the graph shows, from 1; the last one where there are fewer");
    };
    axis("graphX", "Across", m_nGraphX);
    axis("graphY", "Up", m_nGraphY);
}

}  // namespace kymora
