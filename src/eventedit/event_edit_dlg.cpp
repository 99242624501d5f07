#include "eventedit/event_edit_dlg.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

namespace {

constexpr const char* eventCountName = "Events";
constexpr const char* sourceCountName = "Source events";

bool Contains(const std::vector<int>& channels, int channel) {
    return std::find(channels.begin(), channels.end(), channel) != channels.end();
}

}  // namespace

// --- sources and destination ---

void CEventEditDlg::CheckChangeDoc(CDataDoc* doc) {
    const bool isOther = doc != Document();
    CEventBaseDlg::CheckChangeDoc(doc);
    if (!isOther) return;
    m_done.reset();
    if (doc && IsAttended()) TakeFreeDestination();
}

void CEventEditDlg::SettingsWereChosen() {
    CEventBaseDlg::SettingsWereChosen();
    m_areSourcesChosen = true;
}

void CEventEditDlg::SuggestSettings() {
    const CDataDoc* doc = Document();
    if (!doc) return;
    if (!m_areSourcesChosen) TakeFilledSources();
    TakeFreeDestination();
}

void CEventEditDlg::TakeFilledSources() {
    const CDataDoc& doc = *Document();
    std::vector<int32_t*> sources{&m_nChannel1};
    if (Has(usesChannel2)) sources.push_back(&m_nChannel2);
    std::vector<int> taken;
    for (const int32_t* source : sources)
        if (doc.GetNumEvents(*source) > 0) taken.push_back(*source);
    for (int32_t* source : sources)
        for (int channel = 0; channel < maxEventChannels && doc.GetNumEvents(*source) == 0; ++channel)
            if (doc.GetNumEvents(channel) > 0 && !Contains(taken, channel)) {
                *source = channel;
                taken.push_back(channel);
            }
}

void CEventEditDlg::TakeFreeDestination() {
    const CDataDoc& doc = *Document();
    if (m_isDestinationChosen) return;
    const std::vector<int> sources = Sources();
    const auto isFit = [&](int channel) {
        return doc.HasChannel(channel) && doc.IsFreeChannel(channel) && !Contains(sources, channel);
    };
    if (isFit(m_nDestination)) return;
    const int offered = std::min<int>(doc.GetSession().options.eventChannelMode, maxEventChannels);
    for (int channel = 0; channel < offered; ++channel)
        if (isFit(channel)) {
            m_nDestination = channel;
            return;
        }
}

void CEventEditDlg::LeaveSources() {
    if (Document() && IsAttended() && Contains(Sources(), m_nDestination)) TakeFreeDestination();
}

void CEventEditDlg::OnEventChanChanged(int channel) {
    CEventBaseDlg::OnEventChanChanged(channel);
    if (channel == 0) return;
    m_areSourcesChosen = true;
    LeaveSources();
}

std::string CEventEditDlg::CheckSettings() {
    if (!Document()) return {};
    if (Channel(m_nDestination).channelLocked) return lockedChannelText;
    return Contains(Sources(), m_nDestination) ? DestinationIsSourceText() : std::string();
}

void CEventEditDlg::DescribeTarget(ParamList& list) {
    DescribeDestination(list);
    list.Find("destination")
        ->Tip(
            "Event channel that receives the result; its events are replaced. Until one is chosen, it is the "
            "first empty one");
}

std::string CEventEditDlg::NamesOf(const std::vector<int>& channels) {
    std::string names;
    for (const int channel : channels) names += (names.empty() ? "" : " ") + ChannelName(channel);
    return names;
}

// --- the run ---

std::unique_ptr<OperationJob> CEventEditDlg::MakeJob() {
    auto job = NewJob();
    job->title = Title();
    job->method = methodManual;
    job->settingsOf = SettingsOf();
    AddTarget(*job, m_nDestination, -1, m_strDescription);
    if (!Edit(*job)) return nullptr;
    if (job->settingsOf >= 0) {
        job->method = Channel(job->settingsOf).detectionMethod;
        job->found.front().parentTrace = Channel(job->settingsOf).parentTrace;
    }
    return job;
}

void CEventEditDlg::TakeFound(const EventJob& job) {
    const auto& done = static_cast<const EventEditJob&>(job);
    m_done = Done{done.sourceEvents, std::ssize(done.found.front().events), done.counts};
}

bool CEventEditDlg::FinishFound(CEventChan& chan, const EventJob& job, size_t) {
    const auto& done = static_cast<const EventEditJob&>(job);
    const bool keeps = done.settingsOf >= 0;
    chan.detection = keeps ? Channel(done.settingsOf).detection : DetectionParameters();
    chan.templateData = keeps ? Channel(done.settingsOf).templateData : std::vector<float>();
    if (!done.extra.empty()) chan.SetEventExtra(done.extra);
    return true;
}

std::vector<Result> CEventEditDlg::Results() {
    if (!m_done) return {};
    Result result;
    result.name = Title();
    result.values = {{sourceCountName, m_done->sourceEvents}, {eventCountName, m_done->events}};
    for (const auto& [name, count] : m_done->counts) result.values.emplace_back(name, count);
    return {std::move(result)};
}

std::string CEventEditDlg::RunSummary() const {
    if (!m_done) return {};
    std::string text = fmt::format("of {}", EventsText(m_done->sourceEvents));
    for (const auto& [name, count] : m_done->counts)
        if (count > 0) {
            std::string word = name;
            word[0] = static_cast<char>(word[0] - 'A' + 'a');
            text += fmt::format(", {} {}", count, word);
        }
    return text;
}

// --- CEventCombineDlg ---

void CEventCombineDlg::GetParamText(std::string& text) {
    text += SourceWords() + NamesOf(Sources()) + "\r\n";
    text += "Destination event channel: " + ChannelName(m_nDestination) + "\r\n";
}

void CEventCombineDlg::OnEventChanChanged(int channel) {
    const std::string description = m_strDescription, label = m_strLabel;
    CEventEditDlg::OnEventChanChanged(channel);
    m_strDescription = description;
    m_strLabel = label;
}

std::unique_ptr<OperationJob> CEventCombineDlg::MakeJob() {
    auto job = CEventEditDlg::MakeJob();
    if (!job) return nullptr;
    auto& edit = static_cast<EventEditJob&>(*job);
    const std::vector<int> sources = Sources();
    const int parent = Channel(sources.front()).parentTrace;
    const bool isCommon = std::all_of(sources.begin(), sources.end(),
                                      [&](int channel) { return Channel(channel).parentTrace == parent; });
    edit.found.front().parentTrace = isCommon ? parent : -1;
    return job;
}

std::vector<std::span<const CEventKM>> CEventCombineDlg::TakeSources(EventEditJob& job) const {
    std::vector<std::span<const CEventKM>> sources;
    for (const int channel : Sources()) {
        sources.emplace_back(Channel(channel).Events());
        job.sourceEvents += std::ssize(sources.back());
    }
    return sources;
}

// --- CEventFilterDlg ---

bool CEventFilterDlg::Edit(EventEditJob& job) {
    const CEventChan& source = Channel(m_nChannel1);
    const EventsByOnset events(source);
    const auto keeps = Keeps(events);
    if (!keeps) return false;
    const auto& rows = source.EventExtra();
    std::vector<CEventKM>& kept = job.found.front().events;
    kept.reserve(static_cast<size_t>(std::count(keeps->begin(), keeps->end(), 1)));
    for (int rank = 0; rank < events.Size(); ++rank) {
        if (!(*keeps)[static_cast<size_t>(rank)]) continue;
        kept.push_back(events[rank]);
        if (!rows.empty()) job.extra.push_back(rows[static_cast<size_t>(events.IndexOf(rank))]);
    }
    job.sourceEvents = events.Size();
    job.counts = {{"Dropped", job.sourceEvents - std::ssize(kept)}};
    return true;
}

}  // namespace kymora
