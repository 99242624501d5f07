#include "display/view_objects.h"

#include <fmt/format.h>

#include <array>
#include <climits>
#include <cmath>

#include "display/events/event_rows.h"
#include "display/events/event_text.h"
#include "display/overlays/cursor_table.h"
#include "display/overlays/overlay_markers.h"

namespace kymora {

namespace {

using Kind = ViewObject::Kind;

constexpr int traceReach = 4;  // pixels from a curve

constexpr const char* kindNames[] = {"nothing",    "plot",     "event",      "eventRow",   "marker",
                                     "annotation", "scaleBar", "vertCursor", "horzCursor", "axis",
                                     "traceName",  "timeAxis", "slider"};

// --- of the parts of a view, from the top ---

ViewObject OverlayAt(const PlotContext& context, Point at) {
    const DatumHit cursor = context.cursors ? context.cursors->HitTest(at.x, at.y) : DatumHit();
    if (cursor) {
        const bool isVert = cursor.state == datumMovesVert || cursor.state == datumMovesVertLabel;
        return {isVert ? Kind::vertCursor : Kind::horzCursor, cursor.line};
    }
    if (const int marker = MarkerAt(context, at.x, at.y); marker >= 0) return {Kind::marker, marker};
    if (const AnnotationId id = AnnotationAt(context, at.x, at.y))
        return {.kind = Kind::annotation, .number = id.trace, .annotation = id};
    if (const auto bar = ScaleBarAt(context, at.x, at.y)) return {.kind = Kind::scaleBar, .bar = *bar};
    return {};
}

ViewObject EventPartAt(const PlotContext& context, Point at) {
    if (const int channel = EventNameAt(context, at.x, at.y); channel >= 0) return {Kind::eventRow, channel};
    if (const auto event = EventAt(context, at.x, at.y))
        return {.kind = Kind::event, .number = event->channel, .event = *event};
    if (!context.layout.plot.Contains(at.x, at.y)) return {};
    const int row = EventRowAt(context, at.y);
    return row >= 0 ? ViewObject{Kind::eventRow, row} : ViewObject();
}

ViewObject TraceNameAt(const PlotContext& context, Point at) {
    for (const auto& [trace, box] : context.drawn.traceNames)
        if (box.Contains(at.x, at.y) && context.IsTraceShown(trace)) return {Kind::traceName, trace};
    return {};
}

ViewObject FramePartAt(const PlotContext& context, Point at) {
    const Layout& layout = context.layout;
    if (context.settings.m_bShowSlider && context.GetSlider().strip.Contains(at.x, at.y))
        return {Kind::slider};
    if (layout.axesShown && at.x < layout.plot.left)
        if (const int axis = context.GetNearestAxis(at.y); axis >= 0) return {Kind::axis, axis};
    if (context.settings.m_bShowAxes && at.x >= layout.plot.left && at.y >= layout.plot.bottom)
        return {Kind::timeAxis};
    if (layout.plot.Contains(at.x, at.y)) return {Kind::plot};
    return {};
}

// --- traces ---

// The rows of pixels that a trace covers in one column, as it is drawn: its bins there, and the line between
// those where a column lies between two of them.
struct Rows {
    int top = INT_MAX, bottom = INT_MIN;
    void Add(int y) {
        top = std::min(top, y);
        bottom = std::max(bottom, y);
    }
    int DistanceTo(int y) const { return top > bottom ? INT_MAX : std::max({0, top - y, y - bottom}); }
};

Rows RowsAt(const PlotContext& context, int trace, int x) {
    const DisplayCache& cache = context.bins;
    const auto low = cache.Min(trace), high = cache.Max(trace);
    const auto active = cache.Active(trace);
    const AxisScale scale = context.GetValueScale(context.AxisOf(trace));
    Rows rows;
    if (low.empty() || !(cache.BinTime() > 0.0)) return rows;
    const auto place = [&](int pixel) {
        const double bin = (context.PixelToTime(pixel) - cache.m_DatStartTime) / cache.BinTime();
        return std::clamp(bin, -1.0, static_cast<double>(binCount));
    };
    const double here = place(x), first = std::floor(here);
    const auto last = static_cast<size_t>(std::clamp(std::floor(place(x + 1)), 0.0, binCount - 1.0));
    const auto isThere = [&](size_t bin) {
        return bin < low.size() && low[bin] <= high[bin] && (active.empty() || active[bin] != 0);
    };
    const auto from = static_cast<size_t>(std::max(first, 0.0));
    if (from == last && isThere(from) && isThere(from + 1)) {
        const double part = here - first;
        const auto between = [&](std::span<const float> values) {
            const auto value = [&](size_t bin) { return static_cast<double>(values[bin]); };
            return value(from) + part * (value(from + 1) - value(from));
        };
        rows.Add(scale.ToPixel(between(low)));
        rows.Add(scale.ToPixel(between(high)));
        return rows;
    }
    for (size_t bin = from; bin <= last; ++bin)
        if (isThere(bin))
            for (const float value : {low[bin], high[bin]})
                rows.Add(scale.ToPixel(static_cast<double>(value)));
    return rows;
}

std::string WithUnits(double value, const std::string& units) {
    return fmt::format("{:.7g}{}{}", value, units.empty() ? "" : " ", units);
}

// --- texts ---

std::string EventText(const PlotContext& context, const EventHit& hit) {
    const CEventChan& chan = context.doc.eventChannels[static_cast<size_t>(hit.channel)];
    const CEventKM& event = chan.Events()[static_cast<size_t>(hit.index)];
    std::string text =
        fmt::format("Event {} of {}, channel {}\nOnset: {}\nOffset: {}\nDuration: {}\n{}: {:.7g}",
                    hit.index + 1, chan.GetNumEvents(), EventChannelTitle(context, hit.channel),
                    PositionText(context, event.onPosition), PositionText(context, event.offPosition),
                    PositionText(context, int64_t{event.offPosition} - event.onPosition), chan.GetValueName(),
                    event.eventValue);
    if (event.eventTag != 0) text += fmt::format("\nTag: {}", event.eventTag);
    if (!event.eventLabel.View().empty()) text += fmt::format("\nLabel: {}", event.eventLabel.View());
    return text;
}

std::string CursorText(const CKymoraView& view, bool isVert, int line) {
    const CursorMeasures measures = MeasureCursors(view);
    const CDataDoc& doc = view.GetDocument();
    std::string text = CursorStatus(view, isVert, line);
    constexpr size_t most = 8;  // of many traces the first ones; the table has them all
    const auto& cursors = isVert ? measures.vertical : measures.horizontal;
    const auto own = std::ranges::find(cursors, line, &CursorReading::line);
    for (size_t i = 0; isVert && own != cursors.end() && i < std::min(most, own->values.size()); ++i)
        if (std::isfinite(own->values[i]))
            text += "\n" + TraceTitle(doc, measures.traces[i]) + ": " +
                    WithUnits(own->values[i], doc.traces[static_cast<size_t>(measures.traces[i])].traceUnits);
    return text;
}

std::string SampleText(const PlotContext& context, int trace, int x) {
    CDataDoc& doc = context.doc;
    const int64_t length = doc.GetLength();
    const int64_t position =
        std::clamp<int64_t>(doc.PositionOf(context.PixelToTime(x)), 0, std::max<int64_t>(0, length - 1));
    std::array<float, 1> value{};
    std::array<uint8_t, 1> valid{};
    try {
        if (length > 0) doc.ReadBlock(trace, position, value, valid);
    } catch (const FileError&) {
        return {};
    }
    if (valid[0] == 0 || !std::isfinite(value[0])) return {};
    const std::string& units = doc.traces[static_cast<size_t>(trace)].traceUnits;
    return fmt::format("{}\n{}\n{}", TraceTitle(doc, trace), PositionText(context, position),
                       WithUnits(static_cast<double>(value[0]), units));
}

}  // namespace

ViewObject ObjectAt(const PlotContext& context, Point at) {
    for (auto* find : {OverlayAt, EventPartAt, TraceNameAt, FramePartAt})
        if (const ViewObject found = find(context, at); found.kind != Kind::nothing) return found;
    return {};
}

std::string TraceTitle(const CDataDoc& doc, int trace) {
    const std::string& label = doc.traces[static_cast<size_t>(trace)].traceLabel;
    return fmt::format("Trace {}{}{}", trace + 1, label.empty() ? "" : ": ", label);
}

const char* KindName(Kind kind) { return kindNames[static_cast<size_t>(kind)]; }

int TraceAt(const PlotContext& context, Point at) {
    if (!context.layout.plot.Contains(at.x, at.y) || !context.GetTimeScale().IsUsable()) return -1;
    int nearest = -1, distance = traceReach + 1;
    for (int trace = 0; trace < context.doc.traceCount; ++trace) {
        if (!context.IsTraceShown(trace)) continue;
        const int away = RowsAt(context, trace, at.x).DistanceTo(at.y);
        if (away < distance) nearest = trace, distance = away;
    }
    return nearest;
}

std::string HoverText(CKymoraView& view, Point at) {
    const PlotContext context = view.Plot();
    const CDataDoc& doc = view.GetDocument();
    const ViewObject object = ObjectAt(context, at);
    switch (object.kind) {
    case Kind::event:
        return EventText(context, object.event);
    case Kind::eventRow:
        return fmt::format("Channel {}\n{}", EventChannelTitle(context, object.number),
                           CountText(doc.GetNumEvents(object.number)));
    case Kind::marker: {
        const CMarker& marker = doc.markers[static_cast<size_t>(object.number)];
        return fmt::format("Marker {} of {}\n{}{}{}", object.number + 1, doc.markers.size(),
                           TimeText(context, marker.m_dTime), marker.m_strLabel.empty() ? "" : "\n",
                           marker.m_strLabel);
    }
    case Kind::annotation: {
        const CAnnotation& annotation = *FindAnnotation(doc, object.annotation);
        const TraceSettings& trace = doc.traces[static_cast<size_t>(object.number)];
        return fmt::format("Annotation of trace {}\n{}\n{}", object.number + 1,
                           TimeText(context, annotation.m_dTime),
                           WithUnits(static_cast<double>(annotation.m_fValue), trace.traceUnits));
    }
    case Kind::vertCursor:
    case Kind::horzCursor:
        return CursorText(view, object.kind == Kind::vertCursor, object.number);
    case Kind::plot: {
        const int trace = TraceAt(context, at);
        return trace < 0 ? std::string() : SampleText(context, trace, at.x);
    }
    default:
        return {};
    }
}

}  // namespace kymora
