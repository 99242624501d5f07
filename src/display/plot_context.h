#pragma once
// What drawing and the mouse read of a view: where everything stands, what is shown and how it looks. Every
// kind of view makes one of its own parts, which must outlive it, and has all of it drawn by the same pieces.
// Times are in ms, pixels count from the window's corner, axes and traces from 0.

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "display/display_cache.h"
#include "display/events/event_summary.h"
#include "display/layout.h"
#include "display/view_settings.h"
#include "document/data_doc.h"
#include "document/view_guide.h"
#include "drawing/draw_device.h"
#include "drawing/text_sizes.h"

namespace kymora {

class CDatumLines;
class MouseDrag;

// What drawing leaves for the next picture and for the mouse.
struct DrawnParts {
    TextSizes textSizes;  // of the texts of markers and annotations
    EventRowCache eventRows;
    std::vector<std::pair<int, PixelRect>> traceNames;  // where the labels of traces stand
};

struct PlotContext {
    CDataDoc& doc;
    const ViewSettings& settings;  // axes, formats, colours and what is shown
    Layout layout;
    Viewport viewport;
    const std::vector<int>& shownAxes;  // from the top
    const DisplayCache& bins;
    DrawnParts& drawn;

    // --- over the traces; a view need not have them ---
    CDatumLines* cursors = nullptr;
    std::span<const ViewGuide> guides{};
    std::span<const ProposedEvents> proposed{};
    std::optional<Viewport> selection{};
    int eventChannel = 0;             // that the mouse works on
    bool insertsEvents = false;       // the mouse puts events into that channel
    const MouseDrag* drag = nullptr;  // under way

    Session& GetSession() const { return doc.GetSession(); }

    // --- coordinates ---
    TimeScale GetTimeScale() const { return {viewport, layout.plot.left, layout.plot.Width()}; }
    AxisScale GetValueScale(int axis) const;
    int TimeToPixel(double timeMs) const { return GetTimeScale().ToPixel(timeMs); }
    double PixelToTime(int x) const { return GetTimeScale().ToTime(x); }
    int ValueToPixel(double value, int axis) const { return GetValueScale(axis).ToPixel(value); }
    Slider GetSlider() const { return CalcSlider(layout, viewport, FileEnd()); }
    double FileEnd() const { return std::max(doc.GetEndTime(), 0.0); }

    // --- axes and traces ---
    int SlotOf(int axis) const;
    // The band of a shown axis, inset by the gap.
    PixelRect BandOf(int axis) const { return layout.BandLimits(SlotOf(axis)); }
    // The axis whose band holds y, or -1.
    int GetNearestAxis(int y) const;
    // A colour of the recording as it can be seen on this paper.
    uint32_t Seen(uint32_t colour) const { return SeenOn(colour, settings.m_crBackground); }

    int AxisOf(int trace) const { return settings.m_nAxisOfTrace[static_cast<size_t>(trace)]; }
    // True when the trace is drawn: its axis is shown.
    bool IsTraceShown(int trace) const;
    // The traces drawn on an axis, in ascending order.
    std::vector<int> TracesOn(int axis) const;
};

// "t = 1.250, Ax 1 = 0.310" for the mouse at a pixel; empty outside of the plot. The time is in the view's
// unit.
std::string StatusText(const PlotContext& context, int x, int y);
// What those numbers are in: "(ms, mV)"; empty outside of the plot.
std::string StatusUnits(const PlotContext& context, int x, int y);

}  // namespace kymora
