#include "rhythms/event_group_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "document/trace_stretches.h"
#include "numerics/rounding.h"

namespace kymora {

std::vector<EventTrain> TrainsOf(const CDataDoc& doc, const CEventBlock& block) {
    const int parent = block.parentTrace >= 0 && block.parentTrace < doc.traceCount ? block.parentTrace : 0;
    std::vector<TraceStretch> stretches{{0, doc.GetLength()}};
    if (!doc.HasNoData() && doc.traceCount > 0) stretches = UnbrokenStretches(doc, parent);
    std::vector<EventTrain> trains;
    for (int b = 0; b < block.GetNumBlocks(); ++b) {
        auto stretch = std::ranges::upper_bound(stretches, block.GetBlockStart(b), {}, &TraceStretch::end);
        bool isNew = true;
        for (int k = 0; k < block.GetNumEvents(b); ++k) {
            const int32_t onset = block.GetOn(b, k);
            while (stretch != stretches.end() && stretch->end <= onset) {
                ++stretch;
                isNew = true;
            }
            if (stretch == stretches.end()) break;
            if (onset < stretch->start) continue;
            if (std::exchange(isNew, false)) trains.emplace_back();
            trains.back().onsets.push_back(onset);
            trains.back().offsets.push_back(block.GetOff(b, k));
        }
    }
    return trains;
}

// --- EventGroupJob ---

int64_t EventGroupJob::Events() const {
    int64_t events = 0;
    for (const EventTrain& train : trains) events += std::ssize(train.onsets);
    return events;
}

void EventGroupJob::Take(size_t train, const std::vector<Burst>& bursts) {
    for (const Burst& burst : bursts) groups.push_back({burst, static_cast<int>(train)});
}

void EventGroupJob::Finish() {
    std::ranges::stable_sort(groups, {}, [](const EventGroup& group) { return group.burst.onset; });
    for (const EventGroup& group : groups)
        found.front().events.push_back(
            {group.burst.onset, group.burst.offset, static_cast<float>(group.burst.events.surprise)});
}

// --- what it follows ---

CEventGroupDlg::CEventGroupDlg(unsigned uses)
    : CEventAnalRgnBase(usesChannel1 | usesDestination | usesText | uses) {
    m_nDestination = 1;
}

void CEventGroupDlg::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) ForgetFound();
    m_trains.reset();
    CEventAnalRgnBase::CheckChangeDoc(doc);
}

void CEventGroupDlg::OnUpdate(UpdateHint) { m_trains.reset(); }

void CEventGroupDlg::ViewChangedHorzDisp() {
    if (m_nRegionMode == regionVisible) m_trains.reset();
}

// A source with events, and another channel without.
void CEventGroupDlg::SuggestSettings() {
    const CDataDoc* doc = Document();
    if (!doc) return;
    for (int channel = 0; channel < maxEventChannels && doc->GetNumEvents(m_nChannel1) == 0; ++channel)
        if (doc->GetNumEvents(channel) > 0) m_nChannel1 = channel;
    CEventAnalRgnBase::SuggestSettings();
}

// Label and description are those of the result, and not of the source.
void CEventGroupDlg::OnEventChanChanged(int channel) {
    const std::string description = m_strDescription, label = m_strLabel;
    CEventAnalRgnBase::OnEventChanChanged(channel);
    m_strDescription = description;
    m_strLabel = label;
    const CDataDoc* doc = Document();
    if (channel == 1 && doc && IsAttended() && m_nDestination == m_nChannel1 && doc->FirstFreeChannel() >= 0)
        m_nDestination = doc->FirstFreeChannel();
}

const std::vector<EventTrain>& CEventGroupDlg::Trains() {
    const std::vector<double> settings{static_cast<double>(m_nChannel1), static_cast<double>(m_nRegionMode),
                                       m_dRegionStart, m_dRegionEnd, static_cast<double>(m_nGateChannel)};
    if (m_trains && m_trainsOf == settings) return *m_trains;
    m_trainsOf = settings;
    m_trains.emplace();
    if (!Document() || IsReversed() || !RetrieveData()) return *m_trains;
    m_trains = TrainsOf(*Document(), Block());
    return *m_trains;
}

std::vector<double> CEventGroupDlg::IntervalsMs() {
    std::vector<double> intervals;
    for (const EventTrain& train : Trains())
        for (size_t i = 0; i < train.Intervals(); ++i)
            intervals.push_back(TimeOfSamples(static_cast<double>(train.Interval(i))));
    return intervals;
}

std::string CEventGroupDlg::OfFile(std::string_view words) const {
    if (!IsAttended()) return std::string(words);
    return fmt::format("{}\r\n\t{}: {}", Document()->filePath.string(), Title(), words);
}

int64_t CEventGroupDlg::SamplesOf(double ms) const {
    return RoundHalfAway64(ms / Document()->sampleInterval);
}

const char* CEventGroupDlg::TooMuchToLookAt(int64_t samples) const {
    return samples > samplesAtOnce ? tooLongToLookText : nullptr;
}

// --- the run ---

bool CEventGroupDlg::TakeSource(EventGroupJob& job) {
    const CDataDoc& doc = *Document();
    if (doc.GetNumEvents(m_nChannel1) == 0) {
        Refuse(OfFile(noSourceEventsText));
        return false;
    }
    if (!RetrieveData()) return false;
    if (const std::string fault = EmptyGateFault(); !fault.empty()) {
        Refuse(OfFile(fault));
        return false;
    }
    job.trains = TrainsOf(doc, Block());
    job.title = Title();
    job.seen = SeenTimes();
    job.region = {0, static_cast<int32_t>(doc.GetLength())};
    job.reads.push_back(m_nChannel1);
    if (m_nRegionMode == regionGate) job.reads.push_back(m_nGateChannel);
    AddTarget(job, m_nDestination, doc.GetParentTrace(m_nChannel1), m_strDescription);
    return true;
}

bool CEventGroupDlg::Write(OperationJob& job, UndoScope& undo) {
    const auto& done = static_cast<EventGroupJob&>(job);
    for (const std::string& note : done.notes) GetHost().Log(note);
    m_summary = "of " + EventsText(done.Events());
    for (const EventGroup& group : done.groups)
        m_found.push_back({group.burst.onset, group.burst.offset,
                           GroupValues(done.trains[static_cast<size_t>(group.train)], group.burst.events)});
    m_hasRun = CEventAnalRgnBase::Write(job, undo);
    return m_hasRun;
}

// --- what was found ---

std::string CEventGroupDlg::RunSummary() const { return m_summary; }

std::vector<ResultColumn> CEventGroupDlg::Columns() const {
    std::vector<ResultColumn> columns{{"Onset", "ms"}, {"Duration", "ms"}};
    for (ResultColumn& column : GroupColumns()) columns.push_back(std::move(column));
    return columns;
}

std::vector<ResultValue> CEventGroupDlg::ValuesOf(const Row& row) const {
    std::vector<ResultValue> values{
        Document()->TimeOf(row.onset),
        TimeOfSamples(static_cast<double>(int64_t{row.offset} - row.onset)),
    };
    values.insert(values.end(), row.values.begin(), row.values.end());
    return values;
}

Findings CEventGroupDlg::GetFindings() {
    Findings findings;
    findings.columns = Columns();
    for (const Row& row : m_found) {
        findings.isCut = findings.rows.size() == mostFindings;
        if (findings.isCut) break;
        Finding& finding = findings.rows.emplace_back(Finding{row.onset, row.offset, {}});
        finding.values = ValuesOf(row);
    }
    return findings;
}

std::string CEventGroupDlg::RejectFindings(const Findings& findings) {
    const std::string done = DeleteRejected(m_nDestination, findings);
    if (done.empty()) return done;
    std::set<std::pair<int32_t, int32_t>> rejected;
    for (const Finding& finding : findings.rows)
        if (finding.verdict == Verdict::rejected) rejected.emplace(finding.onset, finding.offset);
    std::erase_if(m_found, [&](const Row& row) { return rejected.contains({row.onset, row.offset}); });
    return done;
}

std::vector<Result> CEventGroupDlg::Results() {
    if (!m_hasRun) return {};
    Result result{ResultName(), {{"Events", static_cast<int64_t>(m_found.size())}}, Columns(), {}};
    result.rows = [this](const ResultRowSink& sink) {
        return std::ranges::all_of(m_found, [&](const Row& row) { return sink(ValuesOf(row)); });
    };
    return {std::move(result)};
}

void CEventGroupDlg::WriteResult(const TextSink& sink) {
    if (!m_hasRun) return;
    std::string line;
    for (const ResultColumn& column : Columns())
        line +=
            (line.empty() ? "" : "\t") + column.name + (column.unit.empty() ? "" : " (" + column.unit + ")");
    if (!sink(line + "\r\n")) return;
    for (const Row& row : m_found) {
        line.clear();
        for (const ResultValue& value : ValuesOf(row)) {
            if (!line.empty()) line += '\t';
            if (const auto* number = std::get_if<double>(&value)) line += fmt::format("{:.4f}", *number);
            if (const auto* count = std::get_if<int64_t>(&value)) line += fmt::format("{}", *count);
        }
        if (!sink(line + "\r\n")) return;
    }
}

}  // namespace kymora
