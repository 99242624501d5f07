#include "display/events/event_editing.h"

#include <fmt/format.h>

#include "display/events/event_text.h"

namespace kymora {

namespace {

bool StartsEarlier(const CEventKM& a, const CEventKM& b) { return a.onPosition < b.onPosition; }

// The events [from, to) of a channel without some of them.
std::vector<CEventKM> Remaining(const CEventChan& chan, int from, int to, std::span<const int> out) {
    std::vector<CEventKM> rest;
    size_t next = 0;
    for (int i = from; i < to; ++i) {
        while (next < out.size() && out[next] < i) ++next;
        if (next < out.size() && out[next] == i) continue;
        rest.push_back(chan.Events()[static_cast<size_t>(i)]);
    }
    return rest;
}

// Puts events, in order, into others as CEventChan::AddEvent does one by one.
std::vector<CEventKM> SortedIn(std::vector<CEventKM> rest, std::vector<CEventKM> in, bool inOrder) {
    if (inOrder) {
        std::vector<CEventKM> all;
        all.reserve(rest.size() + in.size());
        std::merge(std::make_move_iterator(rest.begin()), std::make_move_iterator(rest.end()),
                   std::make_move_iterator(in.begin()), std::make_move_iterator(in.end()),
                   std::back_inserter(all), StartsEarlier);
        return all;
    }
    for (CEventKM& event : in) {
        const bool last = rest.empty() || event.onPosition >= rest.back().onPosition;
        const auto place =
            last ? rest.end() : std::find_if(rest.begin(), rest.end(), [&](const CEventKM& other) {
                return StartsEarlier(event, other);
            });
        rest.insert(place, std::move(event));
    }
    return rest;
}

// The channel has events of all these indices.
bool Holds(const CEventChan& chan, std::span<const int> indices) {
    return indices.empty() || (indices.front() >= 0 && indices.back() < chan.GetNumEvents());
}

int32_t ToPosition(int64_t sample) {
    return static_cast<int32_t>(std::clamp<int64_t>(sample, 0, longestRecording));
}

std::vector<CEventKM> EventsAt(const CEventChan& chan, std::span<const int> indices) {
    std::vector<CEventKM> events;
    events.reserve(indices.size());
    for (const int i : indices) events.push_back(chan.Events()[static_cast<size_t>(i)]);
    return events;
}

bool Splice(CDataDoc& doc, int channel, int at, int count, std::vector<CEventKM> with,
            std::string_view name) {
    const bool done = UndoScope(doc, std::string(name)).SpliceEvents(channel, at, count, std::move(with));
    doc.UpdateAllViews(UpdateHint::events);
    return done;
}

}  // namespace

CEventChan& EventChannel(CDataDoc& doc, int channel) {
    return doc.eventChannels[static_cast<size_t>(channel)];
}

void SelectEventChannel(CKymoraView& view, int channel) {
    if (!view.GetDocument().HasChannel(channel)) return;
    view.m_nMouseEventChan = channel;
    view.Invalidate();
}

bool ConfirmDeletion(const CKymoraView& view, int64_t count, std::string_view what) {
    return count <= 1 || view.GetSession().host.Confirm(fmt::format("Delete {}{}?", CountText(count), what));
}

bool ExchangeEvents(CDataDoc& doc, int channel, std::span<const int> out, std::vector<CEventKM> in,
                    std::string_view name) {
    const CEventChan& chan = doc.eventChannels[static_cast<size_t>(channel)];
    if (chan.IsLocked() || !Holds(chan, out)) return false;
    if (out.empty() && in.empty()) return true;
    std::stable_sort(in.begin(), in.end(), StartsEarlier);
    int from = 0, to = chan.GetNumEvents();
    if (chan.IsInOrder()) {
        // The stretch between the first and the last place where anything changes.
        if (!out.empty()) from = out.front(), to = out.back() + 1;
        if (!in.empty()) {
            const int first = chan.PlaceFor(in.front().onPosition),
                      last = chan.PlaceFor(in.back().onPosition);
            from = out.empty() ? first : std::min(from, first);
            to = out.empty() ? last : std::max(to, last);
        }
    }
    return Splice(doc, channel, from, to - from,
                  SortedIn(Remaining(chan, from, to, out), std::move(in), chan.IsInOrder()), name);
}

bool ChangeEvents(CDataDoc& doc, int channel, std::span<const int> indices,
                  const std::function<void(CEventKM&)>& change, std::string_view name) {
    const CEventChan& chan = doc.eventChannels[static_cast<size_t>(channel)];
    if (chan.IsLocked() || !Holds(chan, indices)) return false;
    if (indices.empty()) return true;
    const int from = indices.front(), to = indices.back() + 1;
    std::vector<CEventKM> changed = Remaining(chan, from, to, {});
    for (const int i : indices) change(changed[static_cast<size_t>(i - from)]);
    return Splice(doc, channel, from, to - from, std::move(changed), name);
}

bool DeleteEvents(CKymoraView& view, int channel, std::span<const int> indices, std::string_view name) {
    if (EventChannel(view.GetDocument(), channel).IsLocked()) return false;
    const std::string what = " of channel " + EventChannelText(view.GetSession(), channel);
    return ConfirmDeletion(view, static_cast<int64_t>(indices.size()), what) &&
           ExchangeEvents(view.GetDocument(), channel, indices, {}, name);
}

bool MergeEvents(CKymoraView& view, int channel, std::span<const int> indices, std::string_view name) {
    const CEventChan& chan = EventChannel(view.GetDocument(), channel);
    if (chan.IsLocked() || !Holds(chan, indices)) return false;
    if (indices.size() < 2) return true;
    const std::vector<CEventKM> events = EventsAt(chan, indices);
    CEventKM merged = events.front();
    for (const CEventKM& event : events) {
        merged.onPosition = std::min(merged.onPosition, event.onPosition);
        merged.offPosition = std::max(merged.offPosition, event.offPosition);
        if (merged.eventTag == 0) merged.eventTag = event.eventTag;
        if (merged.eventLabel.empty()) merged.eventLabel = event.eventLabel;
    }
    return ExchangeEvents(view.GetDocument(), channel, indices, {std::move(merged)}, name);
}

int64_t HeldShift(CDataDoc& doc, int channel, std::span<const int> indices, int64_t shift) {
    const auto& events = EventChannel(doc, channel).Events();
    int64_t least = 0, greatest = doc.GetLength();
    least = -greatest;
    for (const int i : indices) {
        const CEventKM& event = events[static_cast<size_t>(i)];
        least = std::max(least, std::min<int64_t>(0, -int64_t{event.onPosition}));
        const int64_t room = doc.GetLength() - ReachOf(event);
        greatest = std::min(greatest, std::max<int64_t>(0, room));
    }
    return std::clamp(shift, least, greatest);
}

bool MoveEvents(CKymoraView& view, int channel, std::span<const int> indices, int64_t shift,
                std::string_view name) {
    const CEventChan& chan = EventChannel(view.GetDocument(), channel);
    if (chan.IsLocked()) return false;
    shift = HeldShift(view.GetDocument(), channel, indices, shift);
    if (shift == 0) return true;
    std::vector<CEventKM> moved = EventsAt(chan, indices);
    for (CEventKM& event : moved) {
        event.onPosition = static_cast<int32_t>(event.onPosition + shift);
        event.offPosition = static_cast<int32_t>(event.offPosition + shift);
    }
    return ExchangeEvents(view.GetDocument(), channel, indices, std::move(moved), name);
}

CEventKM StretchedEvent(CDataDoc& doc, CEventKM event, EventPart part, int64_t sample) {
    const int64_t length = doc.GetLength();
    if (part == EventPart::onset) {
        const int64_t last = std::max<int64_t>(0, std::min(int64_t{event.offPosition}, length) - 1);
        event.onPosition = ToPosition(std::clamp<int64_t>(sample, 0, last));
        event.offPosition = std::max(event.offPosition, event.onPosition + 1);
    } else if (part == EventPart::offset) {
        const int64_t first = int64_t{event.onPosition} + 1;
        event.offPosition = ToPosition(std::clamp(sample, first, std::max(first, length)));
    }
    return event;
}

bool StretchEvent(CKymoraView& view, const EventHit& hit, int64_t sample, std::string_view name) {
    const CEventKM* event = view.GetDocument().GetEvent(hit.channel, hit.index);
    if (!event) return false;
    const CEventKM stretched = StretchedEvent(view.GetDocument(), *event, hit.part, sample);
    const int index[] = {hit.index};
    if (stretched.onPosition != event->onPosition)
        return ExchangeEvents(view.GetDocument(), hit.channel, index, {stretched}, name);
    return ChangeEvents(
        view.GetDocument(), hit.channel, index, [&](CEventKM& changed) { changed = stretched; }, name);
}

RowStretch FixedStretch(CDataDoc& doc, double timeMs) {
    const EventInsertion& insertion = doc.GetSession().eventInsertion;
    const int64_t duration = std::max(1, doc.PositionOf(insertion.durationMs));
    const int64_t start = doc.PositionOf(timeMs) - (insertion.centred ? duration / 2 : 0);
    const int64_t length = std::max<int64_t>(1, doc.GetLength());
    RowStretch stretch{std::clamp<int64_t>(start, 0, length - 1), start + duration};
    stretch.to = std::clamp(stretch.to, stretch.from + 1, length);
    return stretch;
}

bool InsertEvents(CKymoraView& view, int channel, std::span<const RowStretch> stretches,
                  std::string_view name) {
    CEventChan& chan = EventChannel(view.GetDocument(), channel);
    if (chan.IsLocked()) return false;
    const EventInsertion& insertion = view.GetSession().eventInsertion;
    std::vector<CEventKM> events;
    for (const RowStretch& stretch : stretches)
        events.push_back({ToPosition(stretch.from), ToPosition(stretch.to), insertion.value, insertion.tag,
                          insertion.ownColour ? insertion.colour : 0, EventLabel(insertion.label)});
    if (chan.channelVisible != 0)
        return ExchangeEvents(view.GetDocument(), channel, {}, std::move(events), name);
    {
        UndoScope scope(view.GetDocument(), std::string(name));
        scope.KeepChannelSettings(channel);
        chan.channelVisible = 1;
        ExchangeEvents(view.GetDocument(), channel, {}, std::move(events), name);
    }
    view.GetDocument().UpdateAllViews(UpdateHint::events);
    return true;
}

void ChangeChannel(CKymoraView& view, int channel, const std::function<void(CEventChan&)>& change,
                   std::string_view name) {
    CDataDoc& doc = view.GetDocument();
    {
        UndoScope scope(doc, std::string(name));
        scope.KeepChannelSettings(channel);
        change(EventChannel(view.GetDocument(), channel));
    }
    doc.UpdateAllViews(UpdateHint::events);
}

}  // namespace kymora
