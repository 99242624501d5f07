#include "eventanalysis/event_list.h"

#include <fmt/format.h>

#include <algorithm>

#include "eventanalysis/event_values.h"
#include "host/user_numbers.h"
#include "operations/save_text.h"
#include "results/archive_output.h"
#include "results/result_output.h"

namespace kymora {

namespace {

constexpr uint32_t listVersion = 1;
constexpr int fewEvents = 1000;           // as many need no progress
constexpr int eventsBetweenPolls = 1024;  // of the cancel button
constexpr const char* millisecondsTip = "Report time values in milliseconds";
constexpr const char* secondsTip = "Report time values in seconds";
constexpr const char* noColumnsText = "No parameters are chosen for the list.";
constexpr const char* noEventsInRegionText = "There are no events in the analysis region.";
constexpr const char* cancelledLine = "Cancelled: not all events are listed.\r\n";

using enum EventListColumn;

// Columns that stand together in the window, the last one included.
struct ColumnGroup {
    const char* name;
    EventListColumn first, last;
};
constexpr ColumnGroup ownColumns[] = {{"Event", id, variable}, {"Event", tagged, colour}};
constexpr ColumnGroup otherColumns[] = {
    {"Relative to event channel 2", phase, countFrom},
    {"Event channel 2 within 1", statsCount, statsDurationSd},
    {"Trace within event", peakToPeak, rhythmPeriod},
    {"Principal components", pcWeight1, pcWeight3},
};

// Asks now and then whether to go on; a few events are listed without it.
class ListProgress {
  public:
    ListProgress(Host& host, int total)
        : progress_(host, "Listing events", static_cast<uint64_t>(total), fewEvents) {}
    bool GoOn() { return ++lines_ % eventsBetweenPolls != 0 || progress_.GoesOn(lines_); }

  private:
    ProgressScope progress_;
    uint64_t lines_ = 0;
};

void DescribeColumns(ParamList& list, std::array<bool, eventListColumnCount>& columns,
                     std::span<const ColumnGroup> groups) {
    for (const ColumnGroup& group : groups) {
        list.Group(group.name);
        for (auto i = static_cast<size_t>(group.first); i <= static_cast<size_t>(group.last); ++i) {
            const EventListColumnInfo& info = EventListColumns()[i];
            list.Flag(info.key, info.caption, columns[i]).Tip(info.toolTip);
        }
    }
}

}  // namespace

CEventList::CEventList() : CEventAnalRgnBase(usesChannel1 | usesChannel2) {
    for (const EventListColumn column : {id, onTime, duration, interval})
        m_columns[static_cast<size_t>(column)] = true;
}

// --- configuration ---

void CEventList::Serialize(CArchive& archive) {
    CEventAnalRgnBase::Serialize(archive);
    ExchangeVersion(archive, listVersion, ClassName());
    for (bool& column : m_columns) Exchange(archive, column);
    Exchange(archive, m_nTimeUnit);
    Exchange(archive, m_traces);
}

void CEventList::GetParamText(std::string& text) {
    CEventAnalRgnBase::GetParamText(text);
    if (UsesSource(EventListSource::channel2))
        text += fmt::format("Event channel 2: {}\r\n", ChannelName(m_nChannel2));
    if (UsesSource(EventListSource::trace)) text += fmt::format("Traces: {}\r\n", TracesText());
    text += fmt::format("{}\r\n", m_nTimeUnit == 1 ? secondsTip : millisecondsTip);
    std::string names;
    for (size_t i = 0; i < m_columns.size(); ++i)
        if (m_columns[i]) names += (names.empty() ? "" : ", ") + std::string(EventListColumns()[i].heading);
    text += fmt::format("Parameters listed: {}\r\n", names);
}

// --- description ---

void CEventList::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channel2")->EnabledIf([this] { return UsesSource(EventListSource::channel2); });
    list.Traces("traces", "Traces", m_traces)
        .Tip("Traces whose values within the events are listed, one or several; empty = the parent trace of "
             "event channel 1")
        .EnabledIf([this] { return UsesSource(EventListSource::trace); });
    list.Note("parentTrace", "Parent trace", [this] { return ParentTraceText(); })
        .Tip("The trace from which event channel 1 was made");
    list.Choice("timeUnit", "Times", m_nTimeUnit, {"ms", "s"})
        .Buttons()
        .Tip(fmt::format("{}; {}", millisecondsTip, secondsTip));
    // In this order the window has three columns of nearly one height.
    DescribeColumns(list, m_columns, ownColumns);
    DescribeRegion(list);
    DescribeColumns(list, m_columns, otherColumns);
    list.Group("Results");
    list.Action("saveList", "Save list...", [this] { SaveList(); })
        .Tip("Saves the whole list as a text file or as a table of values (.csv), also where the window "
             "shows only a "
             "part of it");
}

std::string CEventList::ParentTraceText() const {
    const CDataDoc* doc = Document();
    const int parent = doc ? doc->GetParentTrace(m_nChannel1) : -1;
    return parent < 0 ? "none" : std::to_string(parent + 1);
}

std::string CEventList::TracesText() const {
    if (m_traces.empty()) return ParentTraceText();
    std::string text;
    for (const int trace : m_traces) text += (text.empty() ? "" : " ") + std::to_string(trace + 1);
    return text;
}

std::string CEventList::CheckSettings() {
    if (std::string fault = CEventAnalRgnBase::CheckSettings(); !fault.empty()) return fault;
    const CDataDoc* doc = Document();
    if (!doc) return {};
    if (std::none_of(m_columns.begin(), m_columns.end(), [](bool on) { return on; })) return noColumnsText;
    if (doc->GetNumEvents(m_nChannel1) == 0)
        return fmt::format("There are no events in channel {}.", ChannelName(m_nChannel1));
    if (!UsesSource(EventListSource::trace)) return {};
    const auto exists = [doc](int trace) { return trace >= 0 && trace < doc->traceCount; };
    if (!std::all_of(m_traces.begin(), m_traces.end(), exists)) return noSuchTraceText;
    if (m_traces.empty() && !exists(doc->GetParentTrace(m_nChannel1)))
        return fmt::format("Event channel {} has no parent trace. Choose the traces to list.",
                           ChannelName(m_nChannel1));
    return {};
}

// --- the list ---

void CEventList::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_listed.reset();
    CEventAnalRgnBase::CheckChangeDoc(doc);
}

bool CEventList::Analyse(UndoScope&) {
    if (!RetrieveData()) return false;
    if (Block().GetTotalEvents() == 0) {
        Refuse(noEventsInRegionText);
        return false;
    }
    m_listed = {Block(), Options()};
    return true;
}

CEventBlock CEventList::FilledBlock() const {
    CEventBlock block = m_listed->block;
    block.FillEvs();
    return block;
}

bool CEventList::Write(const TextSink& sink, bool& isCancelled) {
    const CEventBlock block = FilledBlock();
    ListProgress progress(GetHost(), block.GetTotalEvents());
    return WriteEventList(*Document(), block, m_listed->options, [&](std::string_view line) {
        isCancelled = !progress.GoOn();
        return !isCancelled && sink(line);
    });
}

bool CEventList::EachRow(const ResultRowSink& sink) {
    const CEventBlock block = FilledBlock();
    ListProgress progress(GetHost(), block.GetTotalEvents());
    return EachEventListRow(*Document(), block, m_listed->options,
                            [&](std::span<const ResultValue> row) { return progress.GoOn() && sink(row); });
}

std::vector<Result> CEventList::Results() {
    if (!m_listed) return {};
    Result result;
    result.name = "Event parameters";
    result.columns = EventListColumnNames(*Document(), FilledBlock(), m_listed->options);
    result.rows = [this](const ResultRowSink& sink) { return EachRow(sink); };
    return {std::move(result)};
}

void CEventList::WriteResult(const TextSink& sink) {
    if (!m_listed) return;
    bool isCancelled = false;
    Write(sink, isCancelled);
    if (isCancelled) sink(cancelledLine);
}

Findings CEventList::GetFindings() {
    Findings findings;
    if (!m_listed) return findings;
    const CEventBlock block = FilledBlock();
    findings.columns = EventListColumnNames(*Document(), block, m_listed->options);
    ForEachEvent(block, [&](const EventPlace& place) {
        findings.isCut = findings.rows.size() == mostFindings;
        if (!findings.isCut) findings.rows.push_back({place.on, place.off, {}});
        return !findings.isCut;
    });
    ListProgress progress(GetHost(), static_cast<int>(findings.rows.size()));
    size_t listed = 0;
    EachEventListRow(*Document(), block, m_listed->options, [&](std::span<const ResultValue> row) {
        if (listed == findings.rows.size() || !progress.GoOn()) return false;
        findings.rows[listed++].values.assign(row.begin(), row.end());
        return true;
    });
    findings.isCut |= listed < findings.rows.size();
    findings.rows.resize(listed);
    return findings;
}

std::string CEventList::RejectFindings(const Findings& findings) {
    return DeleteRejected(m_listed->block.channel1, findings);
}

void CEventList::SaveList() {
    if (!Document() || (!m_listed && !Run())) return;
    SaveTextFile(*this,
                 {saveEventListTitle, " events.txt", "The list", "text (*.txt)|*.txt|table (*.csv)|*.csv||"},
                 [this](const std::filesystem::path& path, CArchive& archive) { SaveTo(path, archive); });
}

void CEventList::SaveTo(const std::filesystem::path& path, CArchive& archive) {
    ArchiveOutput file(archive);
    bool isCancelled = false;
    const TextSink write = [&](std::string_view line) {
        file.Write(line);
        return true;
    };
    if (FoldedExtension(path) == ".csv")
        isCancelled = !WriteCsv(file, Results(), CsvPart(), [] { return true; });
    else
        Write(write, isCancelled);
    if (isCancelled) throw Cancelled();
}

}  // namespace kymora
