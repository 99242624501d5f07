#include "operations/event_base_dlg.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/undo.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t eventBaseVersion = 3;
constexpr uint32_t regionVersion = 1;
constexpr double leastRegionSamples = 100.0;
constexpr double noDocumentRegionEnd = 0.0;

std::string Grouped(int64_t number) {
    std::string text = std::to_string(number);
    for (int at = static_cast<int>(text.size()) - 3; at > 0; at -= 3)
        text.insert(static_cast<size_t>(at), ",");
    return text;
}

// The multi-source list as version 2 stored it: the text of a list.
std::vector<int> ChannelsOfText(const std::string& text) {
    if (text.empty()) return {};
    try {
        return ParseChannelList(text);
    } catch (const ListError& error) {
        throw ArchiveError(error.what());
    }
}

// Events that ascend and do not begin before `first`, from which on to the last of them the channel holds
// none.
void AddFound(CEventChan& chan, int32_t first, std::vector<CEventKM> events) {
    // All of them have one place, unless a damaged file left the channel out of order.
    if (chan.IsInOrder())
        chan.Splice(chan.PlaceFor(first), 0, std::move(events));
    else
        for (CEventKM& event : events) chan.AddEvent(std::move(event));
}

}  // namespace

TimeSpan VisibleTimes(const CDataDoc& doc, const DocumentView* view) {
    const StoredView shown = view ? view->GetDisplaySettings().view : doc.view;
    // A file that was never shown opens with its first samples.
    if (!(shown.viewEnd > 0.0) || !(shown.viewStart < shown.viewEnd)) return {0.0, doc.UsualViewEnd()};
    return {shown.viewStart, shown.viewEnd};
}

SampleSpan VisibleSpan(const CDataDoc& doc, const DocumentView* view) {
    const TimeSpan times = VisibleTimes(doc, view);
    return {doc.PositionOf(times.start), doc.PositionOf(times.end)};
}

std::string EventsText(int64_t count) { return Grouped(count) + (count == 1 ? " event" : " events"); }

std::string EventCountText(const CDataDoc* doc, int32_t channel) {
    if (!doc || !doc->HasChannel(channel)) return {};
    return EventsText(doc->GetNumEvents(channel));
}

std::string HeldEventsText(const CDataDoc* doc, int32_t channel) {
    const std::string count = EventCountText(doc, channel);
    if (count.empty()) return {};
    return doc->GetNumEvents(channel) == 0 ? "is empty" : "holds " + count;
}

double LeastRegionEnd(const CDataDoc* doc) {
    return doc ? leastRegionSamples * doc->sampleInterval : noDocumentRegionEnd;
}

SampleSpan HeldTo(const CDataDoc& doc, SampleSpan span) {
    const auto length = static_cast<int32_t>(doc.GetLength());
    const int32_t first = std::clamp(span.first, 0, length);
    return {first, std::clamp(span.end, first, length)};
}

std::vector<SampleSpan> RegionSpans(const CDataDoc& doc, const DocumentView* view,
                                    const AnalysisRegion& region) {
    std::vector<SampleSpan> spans;
    switch (region.mode) {
    case regionWholeFile:
        return {{0, static_cast<int32_t>(doc.GetLength())}};
    case regionVisible:
        return {HeldTo(doc, VisibleSpan(doc, view))};
    case regionUserSet:
        return {HeldTo(doc, {doc.PositionOf(region.start), doc.PositionOf(region.end)})};
    case regionGate:
        for (const CEventKM& event : doc.eventChannels[static_cast<size_t>(region.gateChannel)].Events())
            spans.push_back(HeldTo(doc, {event.onPosition, event.offPosition}));
        break;
    }
    return spans;
}

// --- CEventBaseDlg ---

void CEventBaseDlg::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, eventBaseVersion, ClassName());
    for (int32_t* channel : {&m_nChannel1, &m_nChannel2, &m_nChannel3, &m_nDestination})
        Exchange(archive, *channel);
    Exchange(archive, m_strDescription);
    Exchange(archive, m_strLabel);
    Exchange(archive, m_bAppendParams);
    if (version > 2)
        KeepsListOrder() ? ExchangeInOrder(archive, m_channels) : Exchange(archive, m_channels);
    else
        m_channels = version == 2 ? ChannelsOfText(archive.ReadString()) : std::vector<int>();
}

void CEventBaseDlg::GetParamText(std::string& text) {
    if (Has(usesMulti) && !m_channels.empty()) {
        text += "Source event channels (multi-source): ";
        for (size_t i = 0; i < m_channels.size(); ++i)
            text += (i == 0 ? "" : " ") + ChannelName(m_channels[i]);
        text += "\r\n";
    } else if (Has(usesChannel1)) {
        text += "Source event channel: " + ChannelName(m_nChannel1) + "\r\n";
    }
    if (Has(usesDestination)) text += "Destination event channel: " + ChannelName(m_nDestination) + "\r\n";
}

void CEventBaseDlg::CheckChangeDoc(CDataDoc* doc) {
    CBatchBaseDlg::CheckChangeDoc(doc);
    if (doc && IsAttended() && Has(usesTrace))
        m_nTrace = std::clamp(m_nTrace, 0, std::max(0, doc->traceCount - 1));
    if (doc && IsAttended() && ReadsParentTrace() && !m_isTraceChosen) (void)TakeParentTrace();
}

std::string CEventBaseDlg::TakeParentTrace() {
    const CDataDoc& doc = *Document();
    const int parent = doc.GetParentTrace(m_nChannel1);
    if (parent < 0 || parent >= doc.traceCount) return fmt::format(unsetTraceText, ChannelName(m_nChannel1));
    m_nTrace = parent;
    return {};
}

void CEventBaseDlg::ExchangeTrace(CArchive& archive) {
    int32_t trace = ReadsParentTrace() && !m_isTraceChosen ? -1 - m_nTrace : m_nTrace;
    Exchange(archive, trace);
    if (archive.IsStoring()) return;
    m_isTraceChosen = trace >= 0;
    m_nTrace = ReadsParentTrace() && trace < 0 ? -1 - trace : trace;
}

void CEventBaseDlg::SuggestSettings() {
    const CDataDoc* doc = Document();
    if (!doc || !Has(usesDestination) || m_isDestinationChosen) return;
    if (doc->IsFreeChannel(m_nDestination)) return;
    const int free = doc->FirstFreeChannel();
    if (free >= 0 && free < doc->GetSession().options.eventChannelMode) m_nDestination = free;
}

std::vector<int> CEventBaseDlg::SourceChannels() const {
    return Has(usesMulti) && !m_channels.empty() ? m_channels : std::vector<int>{m_nChannel1};
}

void CEventBaseDlg::DescribeSource(ParamList& list) {
    list.Group("Source");
    const auto channel = [&](const char* key, const char* label, int32_t& value, int which) {
        list.Channel(key, label, value)
            .Tip("Source event channel")
            .Shows([this, &value] { return EventCountText(Document(), value); })
            .OnChange([this, which] { OnEventChanChanged(which); });
    };
    if (Has(usesChannel1)) channel("channel1", "Event channel 1", m_nChannel1, 1);
    if (Has(usesChannel2)) channel("channel2", "Event channel 2", m_nChannel2, 2);
    if (Has(usesChannel3)) channel("channel3", "Event channel 3", m_nChannel3, 3);
    if (Has(usesMulti))
        list.Channels("channels", "Multi channel", m_channels)
            .Tip("Source event channels (can be more than two)")
            .OnChange([this] { OnEventChanListChanged(); });
    if (Has(usesTrace))
        list.Trace("trace", Has(usesChannel1) ? "Parent trace" : "Trace", m_nTrace)
            .Tip("Trace whose data are analysed")
            .Shows([this] {
                const CDataDoc* doc = Document();
                return doc && m_nTrace < doc->traceCount
                           ? doc->traces[static_cast<size_t>(m_nTrace)].traceLabel
                           : std::string();
            })
            .OnChange([this] {
                m_isTraceChosen = true;
                OnParentTraceChanged();
            });
}

void CEventBaseDlg::DescribeUserTimes(ParamList& list, const int32_t& mode, double& start, double& end) {
    const auto isUserSet = [&mode] { return mode == regionUserSet; };
    list.Number("regionStart", "Start", start)
        .Unit("ms")
        .Tip(regionStartTip)
        .Limits(0.0, std::numeric_limits<double>::max())
        .EnabledIf(isUserSet);
    list.Number("regionEnd", "End", end)
        .Unit("ms")
        .Tip(regionEndTip)
        .Limits(LeastRegionEnd(Document()), std::numeric_limits<double>::max())
        .EnabledIf(isUserSet);
}

void CEventBaseDlg::DescribeDestination(ParamList& list) {
    list.Group("Destination");
    if (Has(usesDestination))
        list.Channel("destination", "Destination channel", m_nDestination)
            .Tip("Event channel that receives the result; its events are replaced")
            .Shows([this] { return HeldEventsText(Document(), m_nDestination); })
            .OnChange([this] { OnEventChanChanged(0); });
    if (!Has(usesText)) return;
    list.Text("label", "Label", m_strLabel).Tip("Event channel label");
    list.Text("description", "Description", m_strDescription).Tip("Event channel description");
    list.Flag("appendParams", "Append parameters", m_bAppendParams)
        .Tip("Append operation parameters to event channel description");
}

std::string CEventBaseDlg::CheckSettings() {
    const CDataDoc* doc = Document();
    if (!doc) return {};
    if (ReadsParentTrace() && ReadsTrace() && !IsAttended() && !m_isTraceChosen)
        if (std::string fault = TakeParentTrace(); !fault.empty()) return fault;
    if (Has(usesTrace) && m_nTrace >= doc->traceCount) return noSuchTraceText;
    if (!Has(usesDestination)) return {};
    if (doc->eventChannels[static_cast<size_t>(m_nDestination)].channelLocked) return lockedChannelText;
    if (m_nDestination == 0 && doc->episodic && doc->GetNumEvents(0) > 0) return destinationMarksEpisodesText;
    if (!Has(usesChannel1) || MayWriteSource()) return {};
    const std::vector<int> sources = SourceChannels();
    const bool isSource = std::find(sources.begin(), sources.end(), m_nDestination) != sources.end() ||
                          (Has(usesChannel2) && m_nChannel2 == m_nDestination) ||
                          (Has(usesChannel3) && m_nChannel3 == m_nDestination);
    return isSource ? channelIsSourceText : std::string();
}

void CEventBaseDlg::OnEventChanChanged(int channel) {
    if (channel == 0) m_isDestinationChosen = true;
    const CDataDoc* doc = Document();
    if (!doc || channel != 1 || !doc->HasChannel(m_nChannel1) || !IsAttended()) return;
    const CEventChan& chan = doc->eventChannels[static_cast<size_t>(m_nChannel1)];
    m_strDescription = chan.channelComment;
    m_strLabel = chan.channelLabel;
    if (!FollowsParentTrace()) return;
    m_isTraceChosen = false;
    const int32_t before = m_nTrace;
    m_nTrace = std::clamp(chan.parentTrace, 0, std::max(0, doc->traceCount - 1));
    if (m_nTrace != before) OnParentTraceChanged();
}

// --- what a run has found ---

TimeSpan CEventBaseDlg::SeenTimes() const { return m_seen ? *m_seen : VisibleTimes(*Document(), View()); }

void CEventBaseDlg::AddTarget(EventJob& job, int channel, int trace, std::string description) const {
    job.found.push_back({channel, trace, {}, std::move(description)});
    job.writes.push_back(channel);
}

bool CEventBaseDlg::Write(OperationJob& job, UndoScope& undo) {
    auto* found = dynamic_cast<EventJob*>(&job);
    return found ? WriteFound(*found, undo) : CBatchBaseDlg::Write(job, undo);
}

bool CEventBaseDlg::PutFound(CEventChan& chan, EventJob& job, size_t which) {
    job.keepsOutside ? chan.DeleteRange(job.region.first, job.region.end) : chan.DeleteAll();
    AddFound(chan, job.region.first, std::move(job.found[which].events));
    return ShapeFound(chan, job);
}

void CEventBaseDlg::BeginRecord(CEventChan& chan) {
    chan.detection = {};
    chan.templateData.clear();
    const auto region = Region();
    if (!region) return;
    chan.detection.analysisRegion = region->mode;
    chan.detection.analysisStart = static_cast<float>(region->start);
    chan.detection.analysisEnd = static_cast<float>(region->end);
}

bool CEventBaseDlg::WriteFound(EventJob& job, UndoScope& undo) {
    auto& channels = Document()->eventChannels;
    TakeFound(job);
    for (size_t i = 0; i < job.found.size(); ++i) {
        EventJob::Found& found = job.found[i];
        undo.KeepChannel(found.channel);
        CEventChan& chan = channels[static_cast<size_t>(found.channel)];
        if (!PutFound(chan, job, i) || !FinishFound(chan, job, i)) return false;
    }
    std::string report;
    m_seen = job.seen;
    AppendReport(report, job);
    m_seen.reset();
    for (const EventJob::Found& found : job.found) {
        CEventChan& chan = channels[static_cast<size_t>(found.channel)];
        chan.detectionMethod = job.method;
        chan.parentTrace = found.parentTrace;
        chan.channelLabel = m_strLabel;
        chan.channelComment = found.description;
        if (!m_bAppendParams || (!ReportsOnEach() && &found != &job.found.back())) continue;
        if (!chan.channelComment.empty()) chan.channelComment += "\r\n";
        chan.channelComment += report;
    }
    AppendHistory(report);
    return true;
}

// What was seen becomes the times that it had, unless they end before a region of the user can.
std::vector<std::byte> CEventBaseDlg::RerunSettings(const OperationJob& job) {
    const auto region = Region();
    if (!region || region->mode != regionVisible) return Settings();
    const auto* events = dynamic_cast<const EventJob*>(&job);
    const bool isKnown = events && events->seen.end > events->seen.start;
    const TimeSpan seen = isKnown ? events->seen : VisibleTimes(*Document(), View());
    if (seen.end < LeastRegionEnd(Document())) return {};
    const auto mode = std::exchange(region->mode, regionUserSet);
    const double start = std::exchange(region->start, std::max(0.0, seen.start));
    const double end = std::exchange(region->end, seen.end);
    std::vector<std::byte> record = Settings();
    region->mode = mode;
    region->start = start;
    region->end = end;
    return record;
}

// --- a look ahead ---

std::unique_ptr<EventJob> CEventBaseDlg::PrepareLook() {
    if (!Document() || !IsAttended() || WouldStumble() || !Validate().empty()) return nullptr;
    // As in a run that nobody attends, so that nothing is asked or shown.
    RunMessages unheard;
    SendMessagesTo(&unheard);
    const auto region = LooksAtRegion() ? std::nullopt : Region();
    const int32_t mode = region ? std::exchange(region->mode, regionVisible) : 0;
    const int32_t destination = m_nDestination;
    std::unique_ptr<OperationJob> job;
    m_isLookingAhead = true;
    try {
        job = MakeJob();
    } catch (const std::exception&) {
        // A run will tell it.
    }
    m_isLookingAhead = false;
    if (region) region->mode = mode;
    m_nDestination = destination;
    SendMessagesTo(nullptr);
    auto* found = dynamic_cast<EventJob*>(job.get());
    if (found) (void)job.release();
    return std::unique_ptr<EventJob>(found);
}

std::vector<EventJob::Found> CEventBaseDlg::FoundAhead(EventJob& job) {
    TakeLook(job);
    const SampleSpan seen = LooksAtRegion() ? VisibleSpan(*Document(), View()) : job.region;
    std::vector<EventJob::Found> ahead;
    for (size_t i = 0; i < job.found.size(); ++i) {
        const EventJob::Found& found = job.found[i];
        const CEventChan& now = Document()->eventChannels[static_cast<size_t>(found.channel)];
        CEventChan chan = job.keepsOutside ? now : now.WithoutEvents();
        const bool isDone = PutFound(chan, job, i);
        EventJob::Found& shown =
            ahead.emplace_back(EventJob::Found{found.channel, found.parentTrace, {}, {}});
        for (const CEventKM& event : chan.Events())
            if (isDone && event.onPosition < seen.end && event.offPosition > seen.first)
                shown.events.push_back(event);
    }
    return ahead;
}

// --- CEventWndBaseDlg ---

void CEventWndBaseDlg::Serialize(CArchive& archive) {
    CEventBaseDlg::Serialize(archive);
    ExchangeVersion(archive, regionVersion, ClassName());
    Exchange(archive, m_nTrace);
    Exchange(archive, m_nRegionMode);
    Exchange(archive, m_dRegionStart);
    Exchange(archive, m_dRegionEnd);
}

void CEventWndBaseDlg::GetParamText(std::string& text) {
    AppendRegionText(text);
    CEventBaseDlg::GetParamText(text);
}

void CEventWndBaseDlg::AppendRegionText(std::string& text) const {
    text += "Analysis region: ";
    if (m_nRegionMode == regionWholeFile) {
        text += "whole file\r\n";
    } else {
        const bool isVisible = m_nRegionMode == regionVisible;
        const TimeSpan times = isVisible ? SeenTimes() : TimeSpan{m_dRegionStart, m_dRegionEnd};
        text += isVisible ? "visible screen:\r\n\t" : "user set:\r\n\t";
        text += fmt::format("Start = {:f}, End = {:f}\r\n", times.start, times.end);
    }
}

void CEventWndBaseDlg::CheckChangeDoc(CDataDoc* doc) {
    const bool isOther = doc != Document();
    CEventBaseDlg::CheckChangeDoc(doc);
    RetrieveData(isOther ? 0 : doNothing);
}

void CEventWndBaseDlg::RetrieveData(int how) {
    if (how == doNothing || !Document()) return;
    m_dRegionEnd = std::max(m_dRegionEnd, LeastRegionEnd(Document()));
}

SampleSpan CEventWndBaseDlg::GetRegion() {
    const CDataDoc* doc = Document();
    if (!doc) return {};
    if (m_nRegionMode == regionUserSet && !(m_dRegionEnd > m_dRegionStart)) {
        Refuse(regionOrderText);
        m_dRegionEnd = m_dRegionStart + resetRegionMs;
    }
    return RegionSpans(*doc, View(), {m_nRegionMode, m_dRegionStart, m_dRegionEnd}).front();
}

std::optional<SampleSpan> CEventWndBaseDlg::TakeRegion() {
    const bool isReversed = m_nRegionMode == regionUserSet && !(m_dRegionEnd > m_dRegionStart);
    const SampleSpan region = GetRegion();
    if (isReversed) return std::nullopt;
    if (region.first < region.end) return region;
    Refuse(emptyRegionText);
    return std::nullopt;
}

bool CEventWndBaseDlg::TakeRegion(EventJob& job) {
    const auto region = TakeRegion();
    if (!region) return false;
    job.region = *region;
    job.seen = SeenTimes();
    job.title = Title();
    return true;
}

void CEventWndBaseDlg::DescribeRegion(ParamList& list) {
    list.Group("Analysis region");
    list.Choice("region", "Region", m_nRegionMode, {"whole file", "visible screen", "user set"})
        .Buttons()
        .Tip(std::string(wholeFileTip) + "; " + visibleTip + "; " + userSetTip);
    DescribeUserTimes(list, m_nRegionMode, m_dRegionStart, m_dRegionEnd);
}

}  // namespace kymora
