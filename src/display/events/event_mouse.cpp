// What the mouse does with events and their rows, in the normal mode and in those of events.

#include <cstdlib>

#include <fmt/format.h>

#include "display/events/event_band_drag.h"
#include "display/events/event_drags.h"
#include "display/events/event_editing.h"
#include "display/events/event_forms.h"
#include "display/events/event_rows.h"
#include "display/events/event_text.h"

namespace kymora {

namespace {

// --- the normal mode ---

bool HitsName(const PlotContext& context, int x, int y) { return EventNameAt(context, x, y) >= 0; }
bool HitsEdge(const PlotContext& context, int x, int y) { return WideEventEdgeAt(context, x, y).has_value(); }
bool HitsEvent(const PlotContext& context, int x, int y) { return EventAt(context, x, y).has_value(); }

std::unique_ptr<MouseDrag> GrabName(CKymoraView& view, const MouseEvent& event) {
    const int channel = EventNameAt(view.Plot(), event.x, event.y);
    SelectEventChannel(view, channel);
    return DragEventRow(view.Plot(), channel, event);
}

void OpenChannel(CKymoraView& view, const MouseEvent& event) {
    AskChannelProperties(view, EventNameAt(view.Plot(), event.x, event.y));
}

std::unique_ptr<MouseDrag> GrabEdge(CKymoraView& view, const MouseEvent& event) {
    const auto edge = WideEventEdgeAt(view.Plot(), event.x, event.y);
    SelectEventChannel(view, edge->channel);
    if (EventChannel(view.GetDocument(), edge->channel).IsLocked()) return nullptr;
    return DragEventEdge(*edge, event, "Stretch event");
}

// A body is not moved: the press selects its channel, and goes on to what lies below, so that the view can be
// dragged also where events cover it.
std::unique_ptr<MouseDrag> GrabEvent(CKymoraView& view, const MouseEvent& event) {
    SelectEventChannel(view, EventAt(view.Plot(), event.x, event.y)->channel);
    return nullptr;
}

void OpenEvent(CKymoraView& view, const MouseEvent& event) {
    const auto hit = EventAt(view.Plot(), event.x, event.y);
    AskEventProperties(view, hit->channel, hit->index);
}

// --- the modes ---

// The channel whose row was pressed, which becomes the selected one; -1 where there is none, or when it is
// locked, which the user is told.
int PressedChannel(CKymoraView& view, const MouseEvent& event) {
    if (!view.Plot().layout.plot.Contains(event.x, event.y)) return -1;
    const int channel = EventRowAt(view.Plot(), event.y);
    if (channel < 0) return -1;
    SelectEventChannel(view, channel);
    return EventChannel(view.GetDocument(), channel).IsLocked() ? -1 : channel;
}

// The same for the event that was pressed.
std::optional<EventHit> PressedEvent(CKymoraView& view, const MouseEvent& event) {
    const auto hit = EventAt(view.Plot(), event.x, event.y);
    if (!hit) return {};
    SelectEventChannel(view, hit->channel);
    if (EventChannel(view.GetDocument(), hit->channel).IsLocked()) return {};
    return hit;
}

template <EventAction act>
std::unique_ptr<MouseDrag> PressOver(CKymoraView& view, const MouseEvent& event) {
    const int channel = PressedChannel(view, event);
    return channel < 0 ? nullptr : DragOverEvents(channel, event, act);
}

void Merge(CKymoraView& view, int channel, std::span<const int> indices) {
    MergeEvents(view, channel, indices, "Merge events in channel");
}

void Delete(CKymoraView& view, int channel, std::span<const int> indices) {
    DeleteEvents(view, channel, indices, "Delete events");
}

void AddTag(CKymoraView& view, int channel, std::span<const int> indices) {
    const int32_t tag = view.GetSession().eventInsertion.tag;
    ChangeEvents(
        view.GetDocument(), channel, indices,
        [tag](CEventKM& event) {
            if (event.eventTag == 0) event.eventTag = tag != 0 ? tag : 1;
        },
        "Add event tag");
}

void DeleteTag(CKymoraView& view, int channel, std::span<const int> indices) {
    ChangeEvents(
        view.GetDocument(), channel, indices, [](CEventKM& event) { event.eventTag = 0; }, "Del event tag");
}

void ClearLabel(CKymoraView& view, int channel, std::span<const int> indices) {
    ChangeEvents(
        view.GetDocument(), channel, indices, [](CEventKM& event) { event.eventLabel.clear(); },
        "Clear event label");
}

void Colour(CKymoraView& view, int channel, std::span<const int> indices) {
    const uint32_t paint = view.GetSession().eventPaint;
    ChangeEvents(
        view.GetDocument(), channel, indices, [paint](CEventKM& event) { event.eventColour = paint; },
        "Set event colour");
}

std::unique_ptr<MouseDrag> PressToClearChannel(CKymoraView& view, const MouseEvent& event) {
    const int channel = PressedChannel(view, event);
    if (channel < 0) return nullptr;
    CEventChan& chan = EventChannel(view.GetDocument(), channel);
    const std::string what = fmt::format(" of channel {}, and its label and description",
                                         EventChannelText(view.GetSession(), channel));
    if (!ConfirmDeletion(view, chan.GetNumEvents(), what)) return nullptr;
    {
        UndoScope scope(view.GetDocument(), "Delete event channel");
        scope.KeepChannel(channel);
        chan.Clear();
    }
    view.GetDocument().UpdateAllViews(UpdateHint::events);
    return nullptr;
}

std::unique_ptr<MouseDrag> PressToInsert(CKymoraView& view, const MouseEvent& event) {
    const int channel = view.m_nMouseEventChan;
    const int64_t length = view.GetDocument().GetLength();
    if (length <= 0 || !view.Plot().layout.plot.Contains(event.x, event.y) ||
        EventChannel(view.GetDocument(), channel).IsLocked())
        return nullptr;
    constexpr std::string_view name = "Insert event";
    const int kind = view.m_nMouseMode - mouseInsertFirst;
    if (kind == 1) return DragNewEvent(channel, event, name);
    RowStretch stretch = FixedStretch(view.GetDocument(), view.Plot().PixelToTime(event.x));
    if (kind == 2) {
        stretch.from = std::min(SampleAt(view.Plot(), event.x), length - 1);
        stretch.to = stretch.from + 1;
    }
    InsertEvents(view, channel, std::span(&stretch, 1), name);
    return nullptr;
}

std::unique_ptr<MouseDrag> PressToLabel(CKymoraView& view, const MouseEvent& event) {
    if (const auto hit = PressedEvent(view, event)) AskEventLabel(view, hit->channel, hit->index);
    return nullptr;
}

// Also takes hold of a body, by the edge that is nearer.
std::unique_ptr<MouseDrag> PressToStretch(CKymoraView& view, const MouseEvent& event) {
    auto hit = PressedEvent(view, event);
    if (!hit) return nullptr;
    const CDataDoc& doc = view.GetDocument();
    const int on = view.Plot().TimeToPixel(doc.TimeOf(doc.GetOn(hit->channel, hit->index)));
    const int off = view.Plot().TimeToPixel(doc.TimeOf(doc.GetOff(hit->channel, hit->index)));
    if (hit->part == EventPart::body)
        hit->part = std::abs(event.x - on) < std::abs(event.x - off) ? EventPart::onset : EventPart::offset;
    return DragEventEdge(*hit, event, "Stretch event");
}

std::unique_ptr<MouseDrag> PressToMove(CKymoraView& view, const MouseEvent& event) {
    const auto hit = PressedEvent(view, event);
    return hit ? DragEvents(hit->channel, {hit->index}, event, false, "Move event") : nullptr;
}

// The first drag selects a stretch of time; a press within it takes hold of the events that start there.
std::unique_ptr<MouseDrag> PressToMoveGroup(CKymoraView& view, const MouseEvent& event) {
    const int channel = PressedChannel(view, event);
    if (channel < 0) return nullptr;
    const double time = view.Plot().PixelToTime(event.x);
    if (view.m_selection && time >= view.m_selection->start && time < view.m_selection->end) {
        const CDataDoc& doc = view.GetDocument();
        auto group = EventsStartingIn(
            view.Plot(), channel,
            {doc.PositionOf(view.m_selection->start), doc.PositionOf(view.m_selection->end)});
        if (!group.empty())
            return DragEvents(channel, std::move(group), event, true, "Event group within channel");
    }
    return DragEventSelection(view.Plot(), channel, event);
}

}  // namespace

// clang-format off
MouseTool EventTool() {
    return {
        {
            {HitsName, CursorShape::vertical, GrabName, OpenChannel},
            {HitsEdge, CursorShape::horizontal, GrabEdge, OpenEvent},
            {HitsEvent, CursorShape::arrow, GrabEvent, OpenEvent, true},
            {HitsEventBandEdge, CursorShape::vertical, GrabEventBandEdge},
        },
        {
            {mouseMergeEvents, "Drag over events in their row to merge them into one; ESC ends", CursorShape::horizontal, PressOver<Merge>},
            {mouseDeleteChannel, "Click on the row of the channel to be deleted; ESC ends", CursorShape::forbidden, PressToClearChannel},
            {mouseDeleteEvents, "Click on an event, or drag over several in their row, to delete; ESC ends", CursorShape::forbidden, PressOver<Delete>},
            {mouseInsertFirst, "Click where an event of the fixed duration shall be; a letter chooses the channel; ESC ends", CursorShape::cross, PressToInsert},
            {mouseInsertFirst + 1, "Drag from the onset of a new event to its end; a letter chooses the channel; ESC ends", CursorShape::cross, PressToInsert},
            {mouseInsertLast, "Click where an event of one sample shall be; a letter chooses the channel; ESC ends", CursorShape::cross, PressToInsert},
            {mouseAddTag, "Click on an event, or drag over several in their row, to tag; ESC ends", CursorShape::cross, PressOver<AddTag>},
            {mouseDeleteTag, "Click on an event, or drag over several in their row, to take tags away; ESC ends", CursorShape::cross, PressOver<DeleteTag>},
            {mouseEditLabel, "Click on an event to edit its label; ESC ends", CursorShape::cross, PressToLabel},
            {mouseClearLabel, "Click on an event, or drag over several in their row, to take labels away; ESC ends", CursorShape::cross, PressOver<ClearLabel>},
            {mouseColourEvents, "Click on an event, or drag over several in their row, to colour; ESC ends", CursorShape::cross, PressOver<Colour>},
            {mouseStretch, "Drag the onset or the end of an event; ESC ends", CursorShape::horizontal, PressToStretch},
            {mouseEventGroup, "Drag over events in their row to select them, then drag them; ESC ends", CursorShape::hand, PressToMoveGroup},
            {mouseMoveEvents, "Drag an event; ESC ends", CursorShape::hand, PressToMove},
        },
    };
}
// clang-format on

}  // namespace kymora
