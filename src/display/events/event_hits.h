#pragma once
// What of the events lies under the mouse. Positions are samples, stretches of them have an exclusive end.

#include <optional>
#include <vector>

#include "display/plot_context.h"

namespace kymora {

enum class EventPart { body, onset, offset };

struct EventHit {
    int channel = -1;
    int index = -1;
    EventPart part = EventPart::body;
    bool operator==(const EventHit&) const = default;
};

struct RowStretch {
    int64_t from = 0, to = 0;
    bool operator==(const RowStretch&) const = default;
};

// The row under a pixel, within the margin of hits, or -1. A row of the selected channel comes first, so that
// rows in one place can each be reached; then the nearest, then the one on top.
int EventRowAt(const PlotContext& context, int y);

// The event under a pixel: the row of its channel and, within the margin, its stretch of time. Of several it
// is the one whose onset or offset is nearest, then the one that starts last. The edge nearer than the margin
// is the part; the offset where both are one pixel and the mouse is not left of it.
std::optional<EventHit> EventAt(const PlotContext& context, int x, int y);

// An edge that a press in the normal mode takes hold of: of an event so wide that its body can be told from
// its edges. So a row of points is never stretched by accident.
std::optional<EventHit> WideEventEdgeAt(const PlotContext& context, int x, int y);

// The channel whose name stands under a pixel in the last picture, or -1.
int EventNameAt(const PlotContext& context, int x, int y);

// The sample of a pixel, held to the recording: from 0 to its length, inclusive.
int64_t SampleAt(const PlotContext& context, int x);
// From one pixel to another, in any order; at least one sample.
RowStretch StretchBetween(const PlotContext& context, int x1, int x2);

// The events of a channel that touch a stretch, ascending.
std::vector<int> EventsTouching(const PlotContext& context, int channel, RowStretch stretch);
// Those that start in it.
std::vector<int> EventsStartingIn(const PlotContext& context, int channel, RowStretch stretch);

}  // namespace kymora
