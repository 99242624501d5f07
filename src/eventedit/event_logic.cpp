#include "eventedit/event_logic.h"

#include <algorithm>
#include <set>

namespace kymora {

namespace {

constexpr uint32_t logicVersion = 1;
constexpr const char* titles[eventLogicCount] = {"Event Logical AND",    "Event Logical OR",
                                                 "Event Logical XOR",    "Event Logical NOT",
                                                 "Event Logical EQUALS", "Event Logical AND NOT"};

}  // namespace

const char* CEventLogic::Title() const { return titles[std::clamp(m_nLogic, 0, eventLogicCount - 1)]; }

const char* CEventLogic::SourceWords() const {
    return Logic() == EventLogic::andNot ? "Source followed by NOT channel(s): " : "Source channel(s): ";
}

void CEventLogic::Serialize(CArchive& archive) {
    CEventCombineDlg::Serialize(archive);
    ExchangeVersion(archive, logicVersion, ClassName());
    Exchange(archive, m_nLogic);
}

void CEventLogic::Describe(ParamList& list) {
    list.Group("Logic");
    list.Choice("logic", "Logic", m_nLogic, {"AND", "OR", "XOR", "NOT", "EQUALS", "AND NOT"})
        .Buttons()
        .With(&Field::buttonColumns, 3)
        .Tip(
            "An event is made of each stretch that lies in all channels (AND), in any (OR), in an odd number "
            "(XOR), in none (NOT), or in all or none of them (EQUALS). AND NOT keeps the whole events of the "
            "first channel that lie within no event of the others");
    DescribeSource(list);
    const auto hasNoList = [this] { return m_channels.empty(); };
    list.Find("channel1")->EnabledIf(hasNoList);
    list.Find("channel2")
        ->Tip("Source event channel. Of AND NOT: ID of NOT channel (exclude source events within NOT events)")
        .EnabledIf([this] { return m_channels.empty() && Logic() != EventLogic::logicNot; });
    list.Find("channels")
        ->Ordered()
        .Tip("Source event channels (can be more than two), in place of channels 1 and 2; of AND NOT, the "
             "source first and the NOT channels after it");
    DescribeTarget(list);
}

std::vector<int> CEventLogic::Sources() const {
    if (!m_channels.empty()) return m_channels;
    if (Logic() == EventLogic::logicNot) return {m_nChannel1};
    return {m_nChannel1, m_nChannel2};
}

std::string CEventLogic::CheckSettings() {
    const std::vector<int> sources = Sources();
    if (std::set<int>(sources.begin(), sources.end()).size() < sources.size()) return sameSourcesText;
    if (sources.size() < 2 && Logic() != EventLogic::logicNot) return fewSourcesText;
    return CEventCombineDlg::CheckSettings();
}

bool CEventLogic::Edit(EventEditJob& job) {
    const std::vector<EventSpan> sources = TakeSources(job);
    std::vector<CEventKM>& events = job.found.front().events;
    if (Logic() != EventLogic::andNot) {
        const std::vector<SampleSpan> stretches = CombinedStretches(sources);
        events.resize(stretches.size());
        for (size_t i = 0; i < stretches.size(); ++i) {
            events[i].onPosition = stretches[i].first;
            events[i].offPosition = stretches[i].end;
        }
        return true;
    }
    const std::vector<uint8_t> keeps = LieInNone(sources.front(), std::span(sources).subspan(1));
    const CEventChan& channel = Channel(Sources().front());
    const EventsByOnset source(channel);
    for (int rank = 0; rank < source.Size(); ++rank) {
        const auto index = static_cast<size_t>(source.IndexOf(rank));
        if (!keeps[index]) continue;
        events.push_back(source[rank]);
        if (!channel.EventExtra().empty()) job.extra.push_back(channel.EventExtra()[index]);
    }
    // What the others have is only looked at.
    job.sourceEvents = source.Size();
    job.counts = {{"Dropped", job.sourceEvents - std::ssize(events)}};
    return true;
}

std::vector<SampleSpan> CEventLogic::CombinedStretches(std::span<const EventSpan> sources) const {
    const auto length = static_cast<int32_t>(Document()->GetLength());
    std::vector<std::vector<SampleSpan>> sets;
    for (const EventSpan& source : sources) sets.push_back(StretchesOf(source, length));
    std::vector<SampleSpan> combined = Combine(sets, Logic(), length);
    // The rest does not reach into gaps.
    const bool takesTheRest = Logic() == EventLogic::logicNot || Logic() == EventLogic::equals;
    return takesTheRest && HasGaps() ? Common(combined, RecordedStretches()) : combined;
}

// A recording of events alone has no record of gaps; all its time counts.
bool CEventLogic::HasGaps() const { return !Document()->noData && Document()->hasGaps; }

std::vector<SampleSpan> CEventLogic::RecordedStretches() const {
    const CDataDoc& doc = *Document();
    std::vector<SampleSpan> recorded;
    int64_t start = 0, end = 0;
    for (int run = 0; run < doc.GetNumRuns(0); ++run)
        if (doc.GetRunSpan(0, run, start, end) && start < end)
            recorded.push_back({static_cast<int32_t>(start), static_cast<int32_t>(end)});
    return recorded;
}

}  // namespace kymora
