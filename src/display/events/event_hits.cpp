#include "display/events/event_hits.h"

#include <cstdlib>
#include <tuple>

#include "display/events/event_rows.h"

namespace kymora {

namespace {

int Margin(const CKymoraView& view) { return std::clamp(view.GetSession().options.hitMargin, 0, 20); }

const EventSummary& SummaryOf(const CKymoraView& view, int channel) {
    return view.EventRows().SummaryOf(view.GetDocument().eventChannels[static_cast<size_t>(channel)],
                                      channel);
}

// How good a hit is; the lowest wins.
using Rank = std::tuple<int, int>;

struct Candidate {
    EventHit hit;
    Rank rank{INT_MAX, 0};
};

// An event's place in pixels; an event without a duration ends where it starts.
struct PixelSpan {
    PixelSpan(const CKymoraView& view, const CEventKM& event)
        : on(view.TimeToPixel(view.GetDocument().TimeOf(event.onPosition))),
          off(std::max(on, view.TimeToPixel(view.GetDocument().TimeOf(event.offPosition)))) {}
    int on, off;
};

EventPart PartAt(const PixelSpan& span, int x, int margin) {
    const int toOn = std::abs(x - span.on), toOff = std::abs(x - span.off);
    if (toOff <= margin && (toOff < toOn || (toOff == toOn && x >= span.off))) return EventPart::offset;
    return toOn <= margin ? EventPart::onset : EventPart::body;
}

int64_t SampleNear(const CKymoraView& view, int x) {
    const double sample = view.PixelToTime(x) / view.GetDocument().sampleInterval;
    return static_cast<int64_t>(std::clamp(sample, -1e12, 1e12));
}

template <typename Accept>
std::optional<EventHit> BestEvent(const CKymoraView& view, int x, int y, Accept accept) {
    if (!view.GetLayout().plot.Contains(x, y) || !view.GetTimeScale().IsUsable()) return {};
    const int channel = EventRowAt(view, y);
    if (channel < 0) return {};
    const int margin = Margin(view);
    const auto& events = view.GetDocument().eventChannels[static_cast<size_t>(channel)].Events();
    Candidate best;
    SummaryOf(view, channel)
        .ForTouching(SampleNear(view, x - margin) - 1, SampleNear(view, x + margin) + 2, [&](size_t i) {
            const PixelSpan span(view, events[i]);
            if (x < span.on - margin || x > span.off + margin || !accept(span)) return;
            const int nearest = std::min(std::abs(x - span.on), std::abs(x - span.off));
            const Rank rank{nearest, -static_cast<int>(i)};
            if (rank < best.rank) best = {{channel, static_cast<int>(i), PartAt(span, x, margin)}, rank};
        });
    if (best.hit.index < 0) return {};
    return best.hit;
}

}  // namespace

int EventRowAt(const CKymoraView& view, int y) {
    const int selected = view.m_nMouseEventChan;
    if (HasEventRow(view, selected) && std::abs(y - EventRowY(view, selected)) <= eventReach) return selected;
    int best = -1, distance = eventReach + Margin(view);
    for (int channel = 0; channel < maxEventChannels; ++channel) {
        if (!HasEventRow(view, channel)) continue;
        const int away = std::abs(y - EventRowY(view, channel));
        if (away > distance) continue;
        best = channel;
        distance = away;
    }
    return best;
}

std::optional<EventHit> EventAt(const CKymoraView& view, int x, int y) {
    return BestEvent(view, x, y, [](const PixelSpan&) { return true; });
}

std::optional<EventHit> WideEventEdgeAt(const CKymoraView& view, int x, int y) {
    const int narrow = 2 * Margin(view) + 2;
    const auto hit =
        BestEvent(view, x, y, [narrow](const PixelSpan& span) { return span.off - span.on > narrow; });
    if (!hit || hit->part == EventPart::body) return {};
    return hit;
}

int EventNameAt(const CKymoraView& view, int x, int y) {
    for (const auto& [channel, box] : view.EventRows().names)
        if (box.Contains(x, y) && HasEventRow(view, channel)) return channel;
    return -1;
}

int64_t SampleAt(const CKymoraView& view, int x) {
    const CDataDoc& doc = view.GetDocument();
    return std::clamp<int64_t>(doc.PositionOf(view.PixelToTime(x)), 0, doc.GetLength());
}

EventStretch StretchBetween(const CKymoraView& view, int x1, int x2) {
    EventStretch stretch{SampleAt(view, std::min(x1, x2)), SampleAt(view, std::max(x1, x2))};
    stretch.to = std::max(stretch.to, stretch.from + 1);
    return stretch;
}

std::vector<int> EventsTouching(const CKymoraView& view, int channel, EventStretch stretch) {
    std::vector<int> found;
    SummaryOf(view, channel).ForTouching(stretch.from, stretch.to, [&](size_t i) {
        found.push_back(static_cast<int>(i));
    });
    return found;
}

std::vector<int> EventsStartingIn(const CKymoraView& view, int channel, EventStretch stretch) {
    const auto& events = view.GetDocument().eventChannels[static_cast<size_t>(channel)].Events();
    std::vector<int> found;
    for (const int i : EventsTouching(view, channel, stretch))
        if (events[static_cast<size_t>(i)].onPosition >= stretch.from) found.push_back(i);
    return found;
}

}  // namespace kymora
