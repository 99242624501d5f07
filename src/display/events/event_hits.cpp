#include "display/events/event_hits.h"

#include <cstdlib>
#include <tuple>

#include "display/events/event_rows.h"

namespace kymora {

namespace {

int Margin(const PlotContext& context) { return std::clamp(context.GetSession().options.hitMargin, 0, 20); }

const EventSummary& SummaryOf(const PlotContext& context, int channel) {
    return context.drawn.eventRows.SummaryOf(context.doc.eventChannels[static_cast<size_t>(channel)],
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
    PixelSpan(const PlotContext& context, const CEventKM& event)
        : on(context.TimeToPixel(context.doc.TimeOf(event.onPosition))),
          off(std::max(on, context.TimeToPixel(context.doc.TimeOf(event.offPosition)))) {}
    int on, off;
};

EventPart PartAt(const PixelSpan& span, int x, int margin) {
    const int toOn = std::abs(x - span.on), toOff = std::abs(x - span.off);
    if (toOff <= margin && (toOff < toOn || (toOff == toOn && x >= span.off))) return EventPart::offset;
    return toOn <= margin ? EventPart::onset : EventPart::body;
}

int64_t SampleNear(const PlotContext& context, int x) {
    const double sample = context.PixelToTime(x) / context.doc.sampleInterval;
    return static_cast<int64_t>(std::clamp(sample, -1e12, 1e12));
}

template <typename Accept>
std::optional<EventHit> BestEvent(const PlotContext& context, int x, int y, Accept accept) {
    if (!context.layout.plot.Contains(x, y) || !context.GetTimeScale().IsUsable()) return {};
    const int channel = EventRowAt(context, y);
    if (channel < 0) return {};
    const int margin = Margin(context);
    const auto& events = context.doc.eventChannels[static_cast<size_t>(channel)].Events();
    Candidate best;
    SummaryOf(context, channel)
        .ForTouching(SampleNear(context, x - margin) - 1, SampleNear(context, x + margin) + 2, [&](size_t i) {
            const PixelSpan span(context, events[i]);
            if (x < span.on - margin || x > span.off + margin || !accept(span)) return;
            const int nearest = std::min(std::abs(x - span.on), std::abs(x - span.off));
            const Rank rank{nearest, -static_cast<int>(i)};
            if (rank < best.rank) best = {{channel, static_cast<int>(i), PartAt(span, x, margin)}, rank};
        });
    if (best.hit.index < 0) return {};
    return best.hit;
}

}  // namespace

int EventRowAt(const PlotContext& context, int y) {
    const int selected = context.eventChannel;
    if (HasEventRow(context, selected) && std::abs(y - EventRowY(context, selected)) <= eventReach)
        return selected;
    int best = -1, distance = eventReach + Margin(context);
    for (int channel = 0; channel < maxEventChannels; ++channel) {
        if (!HasEventRow(context, channel)) continue;
        const int away = std::abs(y - EventRowY(context, channel));
        if (away > distance) continue;
        best = channel;
        distance = away;
    }
    return best;
}

std::optional<EventHit> EventAt(const PlotContext& context, int x, int y) {
    return BestEvent(context, x, y, [](const PixelSpan&) { return true; });
}

std::optional<EventHit> WideEventEdgeAt(const PlotContext& context, int x, int y) {
    const int narrow = 2 * Margin(context) + 2;
    const auto hit =
        BestEvent(context, x, y, [narrow](const PixelSpan& span) { return span.off - span.on > narrow; });
    if (!hit || hit->part == EventPart::body) return {};
    return hit;
}

int EventNameAt(const PlotContext& context, int x, int y) {
    for (const auto& [channel, box] : context.drawn.eventRows.names)
        if (box.Contains(x, y) && HasEventRow(context, channel)) return channel;
    return -1;
}

int64_t SampleAt(const PlotContext& context, int x) {
    const CDataDoc& doc = context.doc;
    return std::clamp<int64_t>(doc.PositionOf(context.PixelToTime(x)), 0, doc.GetLength());
}

RowStretch StretchBetween(const PlotContext& context, int x1, int x2) {
    RowStretch stretch{SampleAt(context, std::min(x1, x2)), SampleAt(context, std::max(x1, x2))};
    stretch.to = std::max(stretch.to, stretch.from + 1);
    return stretch;
}

std::vector<int> EventsTouching(const PlotContext& context, int channel, RowStretch stretch) {
    std::vector<int> found;
    SummaryOf(context, channel).ForTouching(stretch.from, stretch.to, [&](size_t i) {
        found.push_back(static_cast<int>(i));
    });
    return found;
}

std::vector<int> EventsStartingIn(const PlotContext& context, int channel, RowStretch stretch) {
    const auto& events = context.doc.eventChannels[static_cast<size_t>(channel)].Events();
    std::vector<int> found;
    for (const int i : EventsTouching(context, channel, stretch))
        if (events[static_cast<size_t>(i)].onPosition >= stretch.from) found.push_back(i);
    return found;
}

}  // namespace kymora
