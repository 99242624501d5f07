#include "display/overlays/overlay_drawing.h"

#include <cmath>

#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_fonts.h"
#include "display/overlays/overlay_markers.h"
#include "display/overlays/overlay_scale_bars.h"

namespace kymora {

namespace {

constexpr uint32_t markerColour = Rgb(255, 0, 255);
constexpr int markerWidth = 2;

TextStyle StyleOf(uint32_t colour, const FontSpec& font) {
    TextStyle style;
    style.colour = colour;
    style.font = font;
    return style;
}

// --- markers ---

void DrawMarkers(const PlotContext& context, DrawDevice& device) {
    const uint32_t ink = InkOn(context.settings.m_crBackground);
    const auto& markers = context.doc.markers;
    const CMarker* pending = nullptr;  // the label of a pixel; of several the last one would cover the others
    const auto flush = [&] {
        if (!pending || pending->m_strLabel.empty()) return;
        const std::string_view label = SeenPart(pending->m_strLabel, context.layout.width);
        context.drawn.textSizes.Note(pending->m_strLabel, MarkerFont(),
                                     device.FontExtent(label, MarkerFont()));
        RimmedText(device, MarkerLabelRect(context, *pending).left, markerLabelRow, label,
                   StyleOf(ink, MarkerFont()), context.settings.m_crBackground);
    };
    for (const CMarker& marker : markers) {
        if (!IsMarkerShown(context, marker)) continue;
        const int x = context.TimeToPixel(marker.m_dTime);
        const bool samePixel = pending && context.TimeToPixel(pending->m_dTime) == x;
        if (!samePixel) {
            flush();
            DrawMarkerCross(device, x);
        }
        if (!samePixel || !marker.m_strLabel.empty()) pending = &marker;
    }
    flush();
}

// --- annotations ---

void DrawAnnotation(const PlotContext& context, DrawDevice& device, int trace,
                    const CAnnotation& annotation) {
    TextStyle style = StyleOf(TextInk(annotation.m_crColour, context.settings.m_crBackground),
                              FontSpecOf(annotation.m_logFont));
    style.escapement = annotation.m_logFont.escapement % 3600;
    const Point place = AnnotationPlace(context, trace, annotation);
    const Layout& layout = context.layout;
    const auto lines = LinesOf(annotation.m_strLabel);
    const int height = device.FontExtent(SeenPart(lines[0], layout.width), *style.font).height;
    context.drawn.textSizes.Note(lines[0], *style.font, {0, height});
    for (size_t i = 0; i < lines.size(); ++i) {
        const Point shift = LineShift(static_cast<int>(i), height, style.escapement);
        const Point at{ClampPixel(int64_t{place.x} + shift.x), ClampPixel(int64_t{place.y} + shift.y)};
        const bool isBelow = style.escapement == 0 && at.y > layout.height;
        if (lines[i].empty() || isBelow) continue;
        const std::string_view line = SeenPart(lines[i], layout.width + layout.height);
        context.drawn.textSizes.Note(lines[i], *style.font, device.FontExtent(line, *style.font));
        RimmedText(device, at.x, at.y, line, style, context.settings.m_crBackground);
    }
}

void DrawAnnotations(const PlotContext& context, DrawDevice& device) {
    for (int trace = 0; trace < context.doc.traceCount; ++trace)
        for (const CAnnotation& annotation : context.doc.traceAnnotations[static_cast<size_t>(trace)])
            if (IsAnnotationShown(context, trace, annotation))
                DrawAnnotation(context, device, trace, annotation);
}

// --- scale bars ---

void DrawScaleBar(const PlotContext& context, DrawDevice& device, ScaleBarId id) {
    const auto shape = ShapeOf(context, id);
    if (!shape) return;
    const ScaleBar& bar = *FindScaleBar(context.doc, id);
    if (shape->from != shape->to) {
        device.SetPen({InkOn(context.settings.m_crBackground), shape->width});
        device.Line(shape->from.x, shape->from.y, shape->to.x, shape->to.y);
    }
    if (shape->text.empty()) return;
    const TextStyle style =
        StyleOf(TextInk(bar.m_crText, context.settings.m_crBackground), FontSpecOf(bar.m_logFont));
    const std::string_view text = SeenPart(shape->text, context.layout.width);
    Point at = shape->from;
    if (id.isHorizontal) {
        at.y -= device.FontExtent(text, *style.font).height;
    } else {
        at.x += 2 * shape->width;
        at.y = std::min(shape->from.y, shape->to.y);
    }
    RimmedText(device, at.x, at.y, text, style, context.settings.m_crBackground);
}

// --- cursors ---

void DrawLabels(const PlotContext& context, DrawDevice& device, const std::vector<DatumLabel>& labels) {
    const TextStyle style = StyleOf(CursorInk(context), DatumFont());
    for (const DatumLabel& label : labels)
        if (label.rect != PixelRect{})
            RimmedText(device, label.rect.left, label.rect.top, label.text, style,
                       context.settings.m_crBackground);
}

}  // namespace

uint32_t CursorInk(const PlotContext& context) { return InkOn(context.settings.m_crBackground); }

void DrawMarkerCross(DrawDevice& device, int x) {
    device.SetPen({markerColour, markerWidth});
    device.Line(x - markerArm, markerRow, x + markerArm, markerRow);
    device.Line(x, markerRow - markerArm, x, markerRow + markerArm);
}

void DrawFocusRect(const PlotContext& context, DrawDevice& device, const PixelRect& rect) {
    device.SetPen({CursorInk(context), 1, Pen::Style::dashed});
    device.Frame(rect);
}

void DrawCursorDots(const PlotContext& context, DrawDevice& device, int x,
                    const std::vector<float>& samples) {
    constexpr int radius = 3;
    const PixelRect& plot = context.layout.plot;
    for (int trace = 0; trace < context.doc.traceCount; ++trace) {
        const auto t = static_cast<size_t>(trace);
        if (!context.IsTraceShown(trace) || !std::isfinite(samples[t])) continue;
        const int axis = context.AxisOf(trace);
        const int y = context.ValueToPixel(static_cast<double>(samples[t]), axis);
        const PixelRect band = context.BandOf(axis);
        const int reach = context.settings.m_format[t].clipToAxis ? context.layout.axisGap : farthestPixel;
        if (y < std::max(plot.top, band.top - reach) || y > std::min(plot.bottom, band.bottom + reach))
            continue;
        const auto disc = [&](int r, uint32_t colour) {
            device.FillEllipse({x - r, y - r, x + r + 1, y + r + 1}, colour);
        };
        disc(radius + 1, context.settings.m_crBackground);
        disc(radius, context.Seen(context.doc.traces[t].traceColour));
    }
}

void DrawDragText(const PlotContext& context, DrawDevice& device, Point at, std::string_view text) {
    constexpr int gap = 3;
    const Extent size = device.FontExtent(text, DatumFont());
    const PixelRect& plot = context.layout.plot;
    const int x = std::max(plot.left, std::min(at.x + gap, plot.right - size.width));
    const int y = std::max(plot.top, std::min(at.y + gap, plot.bottom - size.height));
    RimmedText(device, x, y, text, StyleOf(CursorInk(context), DatumFont()), context.settings.m_crBackground);
}

void DrawOverlays(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    if (plot.Width() <= 0 || plot.Height() <= 0) return;
    if (context.settings.m_bShowMarkers) DrawMarkers(context, device);
    if (context.settings.m_bShowAnnotations) DrawAnnotations(context, device);
    if (context.settings.m_bShowScaleBars)
        for (const ScaleBarId id : ScaleBarsOf(context.doc)) DrawScaleBar(context, device, id);
}

void DrawCursors(const PlotContext& context, DrawDevice& device) {
    CDatumLines& lines = *context.cursors;
    const PixelRect& plot = context.layout.plot;
    if (plot.Width() <= 0 || plot.Height() <= 0) return;
    lines.LayOutLabels(device);
    device.SetPen({CursorInk(context)});
    for (int line = 0; line < lines.VertCount(); ++line)
        if (lines.IsOnPlotX(lines.VertX(line)))
            device.Line(lines.VertX(line), plot.top, lines.VertX(line), plot.bottom);
    for (int line = 0; line < lines.HorzCount(); ++line)
        if (lines.IsOnPlotY(lines.HorzY(line)))
            device.Line(plot.left, lines.HorzY(line), plot.right, lines.HorzY(line));
    for (int line = 0; lines.m_bShowValues && line < lines.VertCount(); ++line)
        if (lines.IsOnPlotX(lines.VertX(line)))
            DrawCursorDots(context, device, lines.VertX(line), lines.VertLineSamples(line));
    for (int line = 0; line < lines.VertCount(); ++line) DrawLabels(context, device, lines.VertLabels(line));
    for (int line = 0; line < lines.HorzCount(); ++line) DrawLabels(context, device, lines.HorzLabels(line));
}

}  // namespace kymora
