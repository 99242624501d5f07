// The lines that open dialogs have the view draw: levels of a detector and ends of a stretch.

#include <algorithm>
#include <cmath>

#include "display/events/event_rows.h"
#include "display/overlays/overlay_drawing.h"
#include "display/overlays/overlay_fonts.h"

namespace kymora {

namespace {

constexpr int nameGap = 3;         // pixels between a line and its name
constexpr int proposedMargin = 2;  // pixels between a box and the event within it

// The guides of one view on their way to the device.
class GuidePainter {
  public:
    GuidePainter(const PlotContext& context, DrawDevice& device)
        : context_(context), device_(device), plot_(context.layout.plot) {}

    void Draw(const ViewGuide& guide) {
        const auto place = GuidePlace(context_, guide);
        if (!place) return;
        // A line on another one lets that one's colour be seen.
        const bool isOnOther =
            std::find(drawn_.begin(), drawn_.end(), std::pair(guide.kind, *place)) != drawn_.end();
        device_.SetPen({guide.colour, 1, isOnOther ? Pen::Style::dashed : Pen::Style::solid});
        drawn_.emplace_back(guide.kind, *place);
        const Extent size = device_.TextExtent(guide.name);
        if (guide.kind == ViewGuide::Kind::level) {
            device_.Line(plot_.left, *place, plot_.right, *place);
            const int right = plot_.right - nameGap, bottom = *place - nameGap;
            Write(guide, {right - size.width, bottom - size.height, right, bottom});
        } else {
            device_.Line(*place, plot_.top, *place, plot_.bottom);
            const int left = *place + nameGap, top = plot_.top + nameGap;
            Write(guide, {left, top, left + size.width, top + size.height});
        }
    }

  private:
    // Names of neighbouring lines stand beside each other.
    void Write(const ViewGuide& guide, PixelRect place) {
        if (guide.name.empty()) return;
        for (const PixelRect& other : taken_)
            if (place.top < other.bottom && other.top < place.bottom && place.left < other.right &&
                other.left < place.right) {
                const int width = place.Width();
                place.right = other.left - 2 * nameGap;
                place.left = place.right - width;
            }
        taken_.push_back(place);
        TextStyle style;
        style.colour = TextInk(guide.colour, context_.settings.m_crBackground);
        device_.Text(place.left, place.top, guide.name, style);
    }

    const PlotContext& context_;
    DrawDevice& device_;
    const PixelRect plot_;
    std::vector<PixelRect> taken_;  // by names
    std::vector<std::pair<ViewGuide::Kind, int>> drawn_;
};

}  // namespace

// On the band of another trace a level would be read on the wrong axis.
std::pair<int, int> GuideRows(const PlotContext& context, const ViewGuide& guide) {
    const PixelRect& plot = context.layout.plot;
    const PixelRect band = context.BandOf(context.AxisOf(guide.trace));
    const int gap = context.layout.axisGap;
    return {std::max(plot.top, band.top - gap), std::min(plot.bottom, band.bottom + gap) - 1};
}

std::optional<int> GuidePlace(const PlotContext& context, const ViewGuide& guide) {
    if (!std::isfinite(guide.at)) return {};
    const PixelRect& plot = context.layout.plot;
    if (guide.kind == ViewGuide::Kind::time) {
        const int x = context.TimeToPixel(guide.at);
        return x >= plot.left && x <= plot.right ? std::optional(x) : std::nullopt;
    }
    if (guide.trace < 0 || guide.trace >= context.doc.traceCount || !context.IsTraceShown(guide.trace))
        return {};
    const auto [first, last] = GuideRows(context, guide);
    const int y = context.ValueToPixel(guide.at, context.AxisOf(guide.trace));
    return y >= first && y <= last ? std::optional(y) : std::nullopt;
}

void DrawGuides(const PlotContext& context, DrawDevice& device) {
    if (context.layout.plot.Width() <= 0) return;
    GuidePainter painter(context, device);
    for (const ViewGuide& guide : context.guides) painter.Draw(guide);
}

namespace {

// In the row of the channel; while that has none, at the top of the trace. Nothing where neither is seen.
std::optional<int> ProposedRow(const PlotContext& context, const ProposedEvents& events) {
    if (HasEventRow(context, events.channel)) return EventRowY(context, events.channel);
    if (events.trace < 0 || events.trace >= context.doc.traceCount || !context.IsTraceShown(events.trace))
        return {};
    return context.BandOf(context.AxisOf(events.trace)).top + eventReach + proposedMargin;
}

}  // namespace

void DrawProposedEvents(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    if (plot.Width() <= 0) return;
    for (const ProposedEvents& events : context.proposed) {
        const CEventChan& chan = context.doc.eventChannels[static_cast<size_t>(events.channel)];
        const auto row = ProposedRow(context, events);
        if (!row) continue;
        const int y = *row, reach = eventReach + proposedMargin;
        device.SetPen({context.Seen(chan.channelColour), 1, Pen::Style::solid});
        int drawnTo = plot.left - 1;
        for (const auto& [on, off] : events.spans) {
            const int left = context.TimeToPixel(context.doc.TimeOf(on)) - proposedMargin;
            const int right = context.TimeToPixel(context.doc.TimeOf(off)) + proposedMargin;
            // What would lie on the one before, or outside, adds nothing to be seen.
            const PixelRect box{std::max(left, plot.left), y - reach, std::min(right, plot.right), y + reach};
            if (box.left >= box.right || box.right <= drawnTo) continue;
            device.Frame(box);
            drawnTo = box.right;
        }
    }
}

}  // namespace kymora
