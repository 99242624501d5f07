// The commands that look for the next event.

#include <algorithm>
#include <iterator>

#include "display/commands/command_tables.h"
#include "display/events/event_editing.h"
#include "display/events/event_forms.h"

namespace kymora {

using namespace commands;

namespace {

// What a found event brought to its place may be off by, in samples: it is not found again.
constexpr double placeTolerance = 1e-3;

bool IsNextOf(const CEventKM& event, double position) { return event.onPosition > position + placeTolerance; }
bool IsPrevOf(const CEventKM& event, double position) { return event.onPosition < position - placeTolerance; }

// The event of the kind that starts next behind a position; null for none. Channels out of order are searched
// whole.
const CEventKM* FindNext(const CEventChan& chan, EventKind kind, double position) {
    const auto& events = chan.Events();
    if (chan.IsInOrder()) {
        auto at = std::partition_point(events.begin(), events.end(),
                                       [&](const CEventKM& e) { return !IsNextOf(e, position); });
        at = std::find_if(at, events.end(), [kind](const CEventKM& e) { return IsOfKind(e, kind); });
        return at == events.end() ? nullptr : &*at;
    }
    const CEventKM* found = nullptr;
    for (const CEventKM& event : events)
        if (IsNextOf(event, position) && IsOfKind(event, kind) &&
            (!found || event.onPosition < found->onPosition))
            found = &event;
    return found;
}

// The last one that starts ahead of it.
const CEventKM* FindPrev(const CEventChan& chan, EventKind kind, double position) {
    const auto& events = chan.Events();
    if (chan.IsInOrder()) {
        const auto behind = std::partition_point(events.begin(), events.end(),
                                                 [&](const CEventKM& e) { return IsPrevOf(e, position); });
        const auto at = std::find_if(std::make_reverse_iterator(behind), events.rend(),
                                     [kind](const CEventKM& e) { return IsOfKind(e, kind); });
        return at == events.rend() ? nullptr : &*at;
    }
    const CEventKM* found = nullptr;
    for (const CEventKM& event : events)
        if (IsPrevOf(event, position) && IsOfKind(event, kind) &&
            (!found || event.onPosition > found->onPosition))
            found = &event;
    return found;
}

template <EventKind kind, const CEventKM* (*find)(const CEventChan&, EventKind, double)>
void Find(const CommandContext& context) {
    CKymoraView& view = context.view;
    const CDataDoc& doc = view.GetDocument();
    const bool leftEdge = view.GetSession().options.expandContractFocus != 0;
    const double place = leftEdge ? 0.0 : view.GetViewport().Duration() / 2.0;
    const double position = (view.m_StartTime + place) / doc.sampleInterval;
    const CEventKM* event = find(EventChannel(view.GetDocument(), view.m_nNavEventChan), kind, position);
    if (!event) return;
    const double start = doc.TimeOf(event->onPosition) - place;
    if (start >= 0.0) view.SetStartTime(start);
}

template <EventKind kind>
bool HasAny(const CKymoraView& view) {
    const CEventChan& chan = EventChannel(view.GetDocument(), view.m_nNavEventChan);
    const EventSummary& summary = view.Plot().drawn.eventRows.SummaryOf(chan, view.m_nNavEventChan);
    const auto count = static_cast<size_t>(chan.GetNumEvents());
    if (kind == EventKind::tagged) return summary.FirstTagged(0, count) != EventSummary::none;
    if (kind == EventKind::labelled) return summary.FirstLabelled(0, count) != EventSummary::none;
    return count > 0;
}

void ChooseChannel(const CommandContext& context) {
    CKymoraView& view = context.view;
    if (const auto channel =
            AskEventChannel(view, "Select event channel for navigation", view.m_nNavEventChan))
        view.m_nNavEventChan = *channel;
}

constexpr EventKind all = EventKind::all, tagged = EventKind::tagged, labelled = EventKind::labelled;

}  // namespace

// clang-format off
CommandTable FindEventCommands() {
    return {
        {"next-event", "F&ind", "Next event\tCtrl+e", "Scrolls to the next event of the channel for navigation", HasAny<all>, nullptr, Find<all, FindNext>, group},
        {"prev-event", "F&ind", "Prev event\tAlt+e", "Scrolls to the event before", HasAny<all>, nullptr, Find<all, FindPrev>},
        {"next-tagged-event", "F&ind", "Next tagged event\tCtrl+t", "Scrolls to the next tagged event of the channel for navigation", HasAny<tagged>, nullptr, Find<tagged, FindNext>},
        {"prev-tagged-event", "F&ind", "Prev tagged event\tAlt+t", "Scrolls to the tagged event before", HasAny<tagged>, nullptr, Find<tagged, FindPrev>},
        {"next-labelled-event", "F&ind", "Next labelled event\tCtrl+l", "Scrolls to the next labelled event of the channel for navigation", HasAny<labelled>, nullptr, Find<labelled, FindNext>},
        {"prev-labelled-event", "F&ind", "Prev labelled event\tAlt+l", "Scrolls to the labelled event before", HasAny<labelled>, nullptr, Find<labelled, FindPrev>},
        {"event-channel-navigation", "F&ind", "Select event channel for navigation", "Chooses the event channel that these commands go through", nullptr, nullptr, ChooseChannel, asks},
    };
}
// clang-format on

}  // namespace kymora
