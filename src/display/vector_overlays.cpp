// What stands behind and over the traces in a vector file, as lines and texts: grid, frame, events, markers,
// annotations, scale bars and cursors. They stand at their times and values, not at pixels.

#include <fmt/format.h>

#include <cmath>

#include "display/events/event_rows.h"
#include "display/overlays/datum_lines.h"
#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_drawing.h"
#include "display/overlays/overlay_fonts.h"
#include "display/overlays/overlay_markers.h"
#include "display/overlays/overlay_scale_bars.h"
#include "display/trace_drawing.h"
#include "display/vector_picture.h"
#include "drawing/cairo_device.h"

namespace kymora {

namespace {

constexpr uint32_t vectorPaper = 0xFFFFFF;
constexpr uint32_t vectorMarkerColour = Rgb(255, 0, 255);
constexpr double gridWidth = 0.5, boxReach = 5.0, fullBar = 9.0, thinBar = 3.0;  // pixels
constexpr double dotOfEvent = 3.0, tagWide = 5.0, tagUp = 8.0;
constexpr double ascent = 0.9, lineStep = 1.2;  // of the size of a text
constexpr int vectorDivisions = 8, plainPixels = 11;
constexpr double shadeShare = 0.125, tickOfColour = 0.4;

int WidthOf(std::string_view text, double size) { return RoundHalfAway(TextWidthOf(text, size)); }

// --- grid ---

void WriteGrid(const VectorPlot& plot, VectorWriter& writer) {
    const PlotContext& context = plot.shown;
    if (!context.settings.m_bShowGrid) return;
    VectorPen pen = plot.PenOf(Rgb(191, 191, 191), gridWidth);  // a quarter of black on white
    pen.isDashed = true;
    writer.BeginPart(VectorPart::grid, 0, pen);
    const int width = plot.page.width, height = plot.page.height;
    if (context.settings.m_fDataArea > 0.0f)
        for (const int axis : context.shownAxes) {
            const PixelRect band = context.BandOf(axis);
            for (const int row : {plot.Row(band.top), plot.Row(band.bottom)})
                writer.GridLine(0, row, width, row);
        }
    for (int i = 1; i < vectorDivisions; ++i) {
        const int x = RoundHalfAway(static_cast<double>(width) * i / vectorDivisions);
        writer.GridLine(x, 0, x, height);
    }
    writer.EndPart();
}

void WriteFrame(const VectorPlot& plot, VectorWriter& writer) {
    if (!plot.shown.settings.m_bShowAxes) return;
    writer.Frame({0, 0, plot.page.width, plot.page.height},
                 plot.PenOf(FrameColourOn(plot.shown, vectorPaper), 1.0));
}

// --- events ---

class EventWriter {
  public:
    EventWriter(const VectorPlot& plot, VectorWriter& writer, int channel)
        : plot_(plot),
          writer_(writer),
          context_(plot.shown),
          channel_(channel),
          chan_(context_.doc.eventChannels[static_cast<size_t>(channel)]),
          row_(RoundHalfAway(plot.page.height * chan_.GetDisplayPosition())) {}

    void WriteShades() {
        if (chan_.channelDrawMode != shapeShades) return;
        writer_.BeginPart(VectorPart::shades, channel_, PenFor(Colour(), 1.0));
        ForEach([&](const CEventKM& event, int on, int off) {
            writer_.FilledRect({on, 0, std::max(off, on + 1), plot_.page.height},
                               Blend(vectorPaper, ColourOf(event), shadeShare));
        });
        writer_.EndPart();
    }

    void WriteTicks() {
        const int trace = chan_.parentTrace;
        if (trace < 0 || trace >= context_.doc.traceCount || !context_.IsTraceShown(trace)) return;
        const PixelRect band = context_.BandOf(context_.AxisOf(trace));
        const int top = plot_.Row(band.top), bottom = plot_.Row(band.bottom);
        writer_.BeginPart(VectorPart::ticks, channel_,
                          PenFor(Blend(vectorPaper, Colour(), tickOfColour), 1.0));
        UprightLines(top, bottom, tickOfColour);
        writer_.EndPart();
    }

    void WriteRow() {
        writer_.BeginPart(VectorPart::events, channel_, PenFor(Colour(), 1.0));
        const int reach = plot_.Pixels(boxReach);
        switch (chan_.channelDrawMode) {
        case shapeTicks:
            UprightLines(row_ - reach, row_ + reach);
            break;
        case shapeBars:
            Bars(fullBar);
            break;
        case shapeBoxes:
            Boxes(reach);
            break;
        case shapeDots:
            ForEach([&](const CEventKM& event, int on, int) {
                if (StartsInView(event)) writer_.Disc(on, row_, plot_.Pixels(dotOfEvent), ColourOf(event));
            });
            break;
        default:
            UprightLines(row_ - reach, row_ + reach);
            Bars(thinBar);
        }
        WriteTags();
        if (context_.settings.m_bShowEventLabels) WriteLabels(reach);
        writer_.EndPart();
    }

  private:
    uint32_t Colour() const { return chan_.channelColour & 0xFFFFFF; }
    uint32_t ColourOf(const CEventKM& event) const {
        if (event.eventColour != 0) return event.eventColour & 0xFFFFFF;
        return (event.eventTag != 0 ? chan_.channelColourAlt : chan_.channelColour) & 0xFFFFFF;
    }
    VectorPen PenFor(uint32_t colour, double pixels) const {
        return plot_.PenOf(colour, pixels, 1 + channel_ % 8);
    }
    bool StartsInView(const CEventKM& event) const {
        const double time = context_.doc.TimeOf(event.onPosition);
        return time >= context_.viewport.start && time <= context_.viewport.end;
    }

    // The events in view with their first and last unit, held to the plot.
    template <typename Use>
    void ForEach(Use use) const {
        const double interval = context_.doc.sampleInterval;
        const auto position = [&](double ms) {
            return static_cast<int64_t>(std::clamp(std::floor(ms / interval), -1e12, 1e12));
        };
        const int width = plot_.page.width;
        context_.drawn.eventRows.SummaryOf(chan_, channel_)
            .ForTouching(position(context_.viewport.start), position(context_.viewport.end) + 1,
                         [&](size_t i) {
                             const CEventKM& event = chan_.Events()[i];
                             use(event, std::clamp(plot_.X(context_.doc.TimeOf(event.onPosition)), 0, width),
                                 std::clamp(plot_.X(context_.doc.TimeOf(event.offPosition)), 0, width));
                         });
    }

    // At the onsets; those that lie on each other are one.
    void UprightLines(int top, int bottom, double share = 1.0) {
        int before = -1;
        ForEach([&](const CEventKM& event, int on, int) {
            if (!StartsInView(event)) return;
            const uint32_t colour = Blend(vectorPaper, ColourOf(event), share);
            if (on == before && colour == lastColour_) return;
            before = on;
            lastColour_ = colour;
            writer_.SetPen(PenFor(colour, 1.0));
            writer_.Line(on, top, on, bottom);
        });
    }
    void Bars(double pixels) {
        ForEach([&](const CEventKM& event, int on, int off) {
            if (off <= on && chan_.channelDrawMode != shapeBars) return;
            writer_.SetPen(PenFor(ColourOf(event), pixels));
            writer_.Line(on, row_, std::max(off, on + 1), row_);
        });
    }
    void Boxes(int reach) {
        ForEach([&](const CEventKM& event, int on, int off) {
            writer_.SetPen(PenFor(ColourOf(event), 1.0));
            writer_.BeginLine();
            for (const Point& corner : {Point{on, row_ - reach},
                                        {off, row_ - reach},
                                        {off, row_ + reach},
                                        {on, row_ + reach},
                                        {on, row_ - reach}})
                writer_.LineTo(corner.x, corner.y);
            writer_.EndLine();
        });
    }
    void WriteTags() {
        const int half = plot_.Pixels(tagWide / 2.0), up = row_ - plot_.Pixels(tagUp);
        ForEach([&](const CEventKM& event, int on, int) {
            if (event.eventTag == 0 || !StartsInView(event)) return;
            writer_.SetPen(PenFor(chan_.channelColourAlt & 0xFFFFFF, thinBar));
            writer_.Line(on - half, up, on + half, up);
        });
    }
    // Where they do not cover the one before.
    void WriteLabels(int reach) {
        const double size = plot_.TextSize(plainPixels);
        int64_t taken = INT64_MIN;
        ForEach([&](const CEventKM& event, int on, int) {
            const std::string_view text = event.eventLabel.View();
            if (text.empty() || on < taken || !StartsInView(event)) return;
            taken = int64_t{on} + WidthOf(text, size) + plot_.Pixels(6.0);
            writer_.Text(on + plot_.Pixels(event.eventTag != 0 ? 4.0 : 2.0), row_ - reach,
                         {std::string(text), size, ColourOf(event)});
        });
    }

    const VectorPlot& plot_;
    VectorWriter& writer_;
    const PlotContext& context_;
    int channel_;
    const CEventChan& chan_;
    int row_;
    uint32_t lastColour_ = 0;
};

template <typename Use>
void ForChannels(const VectorPlot& plot, VectorWriter& writer, Use use) {
    for (int channel = 0; channel < maxEventChannels; ++channel) {
        if (!HasEventRow(plot.shown, channel)) continue;
        EventWriter events(plot, writer, channel);
        use(events);
    }
}

// --- objects of the recording ---

void WriteMarkers(const VectorPlot& plot, VectorWriter& writer) {
    const PlotContext& context = plot.shown;
    const auto& markers = context.doc.markers;
    if (std::none_of(markers.begin(), markers.end(),
                     [&](const CMarker& marker) { return IsMarkerShown(context, marker); }))
        return;
    writer.BeginPart(VectorPart::markers, 0, plot.PenOf(vectorMarkerColour, 2.0));
    const int row = plot.Row(markerRow), arm = plot.Pixels(markerArm);
    const double size = plot.TextSize(MarkerFont().pixelHeight);
    for (const CMarker& marker : markers) {
        if (!IsMarkerShown(context, marker)) continue;
        const int x = plot.X(marker.m_dTime);
        writer.Line(x - arm, row, x + arm, row);
        writer.Line(x, row - arm, x, row + arm);
    }
    for (const CMarker& marker : markers) {
        if (!IsMarkerShown(context, marker) || marker.m_strLabel.empty()) continue;
        const int x = plot.X(marker.m_dTime), width = WidthOf(marker.m_strLabel, size);
        const int right = x + plot.Pixels(markerLabelGap);
        const bool leaves = right + width > plot.page.width && x - width > 0;
        writer.Text(leaves ? x - plot.Pixels(markerLabelGap) - width : right,
                    row + RoundHalfAway(size * ascent), {marker.m_strLabel, size, InkOn(vectorPaper)});
    }
    writer.EndPart();
}

void WriteAnnotation(const VectorPlot& plot, VectorWriter& writer, int trace, const CAnnotation& annotation) {
    const FontSpec font = FontSpecOf(annotation.m_logFont);
    const double size = plot.TextSize(font.pixelHeight);
    const int escapement = annotation.m_logFont.escapement % 3600;
    const int x = plot.X(annotation.m_dTime);
    const int y = plot.Values(plot.shown.AxisOf(trace)).ToPixel(annotation.m_fValue);
    const double angle = escapement * M_PI / 1800.0;
    double down = size * ascent;
    for (const std::string& line : LinesOf(annotation.m_strLabel)) {
        if (!line.empty())
            writer.Text(
                x + RoundHalfAway(down * std::sin(angle)), y + RoundHalfAway(down * std::cos(angle)),
                {line, size, annotation.m_crColour & 0xFFFFFF, font.weight >= 600, font.italic, escapement});
        down += size * lineStep;
    }
}

void WriteAnnotations(const VectorPlot& plot, VectorWriter& writer) {
    const PlotContext& context = plot.shown;
    bool isBegun = false;
    for (int trace = 0; trace < context.doc.traceCount; ++trace)
        for (const CAnnotation& annotation : context.doc.traceAnnotations[static_cast<size_t>(trace)]) {
            if (!IsAnnotationShown(context, trace, annotation)) continue;
            if (!std::exchange(isBegun, true))
                writer.BeginPart(VectorPart::annotations, 0, plot.PenOf(InkOn(vectorPaper), 1.0));
            WriteAnnotation(plot, writer, trace, annotation);
        }
    if (isBegun) writer.EndPart();
}

void WriteScaleBar(const VectorPlot& plot, VectorWriter& writer, ScaleBarId id) {
    const PlotContext& context = plot.shown;
    const ScaleBar& bar = *FindScaleBar(context.doc, id);
    VectorWriter::Bar shape;
    shape.x1 = shape.x2 = RoundHalfAway(plot.page.width * static_cast<double>(bar.m_fXFrac));
    shape.y1 = shape.y2 = RoundHalfAway(plot.page.height * static_cast<double>(bar.m_fYFrac));
    shape.width = ShapeOf(context, id)->width * plot.page.unitsPerPixel;
    shape.colour = 0;
    shape.textColour = bar.m_crText & 0xFFFFFF;
    if (id.isHorizontal) {
        const double start = context.viewport.start;
        shape.x2 = ClampPixel(int64_t{shape.x1} + plot.X(start + static_cast<double>(bar.m_fLength)) -
                              plot.X(start));
        if (bar.m_bShowText != 0) shape.text = fmt::format("{:.2f} ms", bar.m_fLength);
        return writer.HorizontalBar(shape);
    }
    const AxisScale values = plot.Values(context.AxisOf(bar.m_nTrace));
    shape.y2 = ClampPixel(int64_t{shape.y1} + values.ToPixel(bar.m_fLength) - values.ToPixel(0.0));
    const std::string& units = bar.m_strUnits.empty()
                                   ? context.doc.traces[static_cast<size_t>(bar.m_nTrace)].traceUnits
                                   : bar.m_strUnits;
    if (bar.m_bShowText != 0)
        shape.text = fmt::format("{:.2f}{}{}", bar.m_fLength, units.empty() ? "" : " ", units);
    writer.VerticalBar(shape);
}

void WriteScaleBars(const VectorPlot& plot, VectorWriter& writer) {
    bool isBegun = false;
    for (const ScaleBarId id : ScaleBarsOf(plot.shown.doc)) {
        if (!ShapeOf(plot.shown, id)) continue;
        if (!std::exchange(isBegun, true)) writer.BeginPart(VectorPart::scaleBars, 0, plot.PenOf(0, 1.0));
        WriteScaleBar(plot, writer, id);
    }
    if (isBegun) writer.EndPart();
}

// --- cursors ---

class CursorWriter {
  public:
    CursorWriter(const VectorPlot& plot, VectorWriter& writer)
        : plot_(plot),
          writer_(writer),
          lines_(*plot.shown.cursors),
          size_(plot.TextSize(DatumFont().pixelHeight)) {}

    void Write() {
        if (lines_.VertCount() + lines_.HorzCount() == 0) return;
        CairoDevice measure(1, 1, CairoDevice::Kind::page);
        lines_.LayOutLabels(measure);
        writer_.BeginPart(VectorPart::cursors, 0, plot_.PenOf(InkOn(vectorPaper), 1.0));
        for (int line = 0; line < lines_.VertCount(); ++line)
            if (lines_.IsOnPlotX(lines_.VertX(line))) WriteVertical(line);
        for (int line = 0; line < lines_.HorzCount(); ++line)
            if (lines_.IsOnPlotY(lines_.HorzY(line))) WriteHorizontal(line);
        writer_.EndPart();
    }

  private:
    void WriteVertical(int line) {
        const int x = plot_.X(lines_.GetVertLineTime(line));
        writer_.Line(x, 0, x, plot_.page.height);
        if (lines_.m_bShowValues) MarkSamples(x, lines_.VertLineSamples(line));
        double down = size_ * ascent;
        for (const DatumLabel& label : lines_.VertLabels(line)) {
            if (label.text.empty() || down > plot_.page.height) continue;
            const int width = WidthOf(label.text, size_), gap = plot_.Pixels(3.0);
            const bool leaves = x + gap + width > plot_.page.width && x > width;
            Put(leaves ? x - gap - width : x + gap, RoundHalfAway(down), label.text);
            down += size_ * lineStep;
        }
    }

    void MarkSamples(int x, const std::vector<float>& samples) {
        const PlotContext& context = plot_.shown;
        for (int trace = 0; trace < context.doc.traceCount; ++trace) {
            const float sample = samples[static_cast<size_t>(trace)];
            if (!context.IsTraceShown(trace) || !std::isfinite(sample)) continue;
            const int axis = context.AxisOf(trace);
            const int y = plot_.Values(axis).ToPixel(static_cast<double>(sample));
            int top = 0, bottom = plot_.page.height;
            if (context.settings.m_format[static_cast<size_t>(trace)].clipToAxis) {
                const PixelRect band = context.BandOf(axis);
                top = std::max(top, plot_.Row(band.top - context.layout.axisGap));
                bottom = std::min(bottom, plot_.Row(band.bottom + context.layout.axisGap));
            }
            if (y >= top && y <= bottom) writer_.MarkedPoint(x, y, plot_.Pixels(3.0));
        }
    }

    void WriteHorizontal(int line) {
        const int y = plot_.Row(lines_.HorzY(line));
        writer_.Line(0, y, plot_.page.width, y);
        int64_t taken = 0;
        const bool isBelow = y < RoundHalfAway(size_ * lineStep);
        const int baseline = isBelow ? y + RoundHalfAway(size_) : y - plot_.Pixels(2.0);
        for (const DatumLabel& label : lines_.HorzLabels(line)) {
            if (label.text.empty()) continue;
            const int usual = plot_.Pixels(label.moved.value_or(label.usual) - plot_.shown.layout.plot.left);
            const auto x = static_cast<int>(std::max<int64_t>(usual, taken));
            Put(x, baseline, label.text);
            taken = int64_t{x} + WidthOf(label.text, size_) + plot_.Pixels(6.0);
        }
    }

    void Put(int x, int y, const std::string& text) { writer_.Text(x, y, {text, size_, InkOn(vectorPaper)}); }

    const VectorPlot& plot_;
    VectorWriter& writer_;
    CDatumLines& lines_;
    double size_;
};

}  // namespace

void WriteBehindTraces(const VectorPlot& plot, VectorWriter& writer) {
    if (plot.shown.settings.m_bShowEvents)
        ForChannels(plot, writer, [](EventWriter& events) { events.WriteShades(); });
    WriteGrid(plot, writer);
    WriteFrame(plot, writer);
    if (plot.shown.settings.m_bShowEvents && plot.shown.settings.m_bEventTicks)
        ForChannels(plot, writer, [](EventWriter& events) { events.WriteTicks(); });
}

void WriteOverTraces(const VectorPlot& plot, VectorWriter& writer) {
    const ViewSettings& settings = plot.shown.settings;
    if (settings.m_bShowEvents) ForChannels(plot, writer, [](EventWriter& events) { events.WriteRow(); });
    if (settings.m_bShowMarkers) WriteMarkers(plot, writer);
    if (settings.m_bShowAnnotations) WriteAnnotations(plot, writer);
    if (settings.m_bShowScaleBars) WriteScaleBars(plot, writer);
    if (plot.shown.cursors) CursorWriter(plot, writer).Write();
}

}  // namespace kymora
