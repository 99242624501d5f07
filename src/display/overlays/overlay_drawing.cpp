#include "display/overlays/overlay_drawing.h"

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

void DrawMarkers(const CKymoraView& view, DrawDevice& device) {
    const uint32_t ink = InkOn(view.m_crBackground);
    const auto& markers = view.GetDocument().markers;
    const CMarker* pending = nullptr;  // the label of a pixel; of several the last one would cover the others
    const auto flush = [&] {
        if (!pending || pending->m_strLabel.empty()) return;
        const std::string_view label = SeenPart(pending->m_strLabel, view.GetLayout().width);
        view.GetTextSizes().Note(pending->m_strLabel, MarkerFont(), device.FontExtent(label, MarkerFont()));
        RimmedText(device, view.TimeToPixel(pending->m_dTime) + markerLabelGap, markerLabelRow, label,
                   StyleOf(ink, MarkerFont()), view.m_crBackground);
    };
    for (const CMarker& marker : markers) {
        if (!IsMarkerShown(view, marker)) continue;
        const int x = view.TimeToPixel(marker.m_dTime);
        const bool samePixel = pending && view.TimeToPixel(pending->m_dTime) == x;
        if (!samePixel) {
            flush();
            DrawMarkerCross(device, x);
        }
        if (!samePixel || !marker.m_strLabel.empty()) pending = &marker;
    }
    flush();
}

// --- annotations ---

void DrawAnnotation(const CKymoraView& view, DrawDevice& device, int trace, const CAnnotation& annotation) {
    TextStyle style =
        StyleOf(TextInk(annotation.m_crColour, view.m_crBackground), FontSpecOf(annotation.m_logFont));
    style.escapement = annotation.m_logFont.escapement % 3600;
    const Point place = AnnotationPlace(view, trace, annotation);
    const Layout& layout = view.GetLayout();
    const auto lines = LinesOf(annotation.m_strLabel);
    const int height = device.FontExtent(SeenPart(lines[0], layout.width), *style.font).height;
    view.GetTextSizes().Note(lines[0], *style.font, {0, height});
    for (size_t i = 0; i < lines.size(); ++i) {
        const Point shift = LineShift(static_cast<int>(i), height, style.escapement);
        const Point at{ClampPixel(int64_t{place.x} + shift.x), ClampPixel(int64_t{place.y} + shift.y)};
        const bool isBelow = style.escapement == 0 && at.y > layout.height;
        if (lines[i].empty() || isBelow) continue;
        const std::string_view line = SeenPart(lines[i], layout.width + layout.height);
        view.GetTextSizes().Note(lines[i], *style.font, device.FontExtent(line, *style.font));
        RimmedText(device, at.x, at.y, line, style, view.m_crBackground);
    }
}

void DrawAnnotations(const CKymoraView& view, DrawDevice& device) {
    for (int trace = 0; trace < view.GetDocument().traceCount; ++trace)
        for (const CAnnotation& annotation : view.GetDocument().traceAnnotations[static_cast<size_t>(trace)])
            if (IsAnnotationShown(view, trace, annotation)) DrawAnnotation(view, device, trace, annotation);
}

// --- scale bars ---

void DrawScaleBar(const CKymoraView& view, DrawDevice& device, ScaleBarId id) {
    const auto shape = ShapeOf(view, id);
    if (!shape) return;
    const ScaleBar& bar = *FindScaleBar(view.GetDocument(), id);
    if (shape->from != shape->to) {
        device.SetPen({InkOn(view.m_crBackground), shape->width});
        device.Line(shape->from.x, shape->from.y, shape->to.x, shape->to.y);
    }
    if (shape->text.empty()) return;
    const TextStyle style = StyleOf(TextInk(bar.m_crText, view.m_crBackground), FontSpecOf(bar.m_logFont));
    const std::string_view text = SeenPart(shape->text, view.GetLayout().width);
    Point at = shape->from;
    if (id.isHorizontal) {
        at.y -= device.FontExtent(text, *style.font).height;
    } else {
        at.x += 2 * shape->width;
        at.y = std::min(shape->from.y, shape->to.y);
    }
    RimmedText(device, at.x, at.y, text, style, view.m_crBackground);
}

// --- cursors ---

// On a plate as large as its characters: a trace between two digits would look like a sign or hide a point.
void NumberText(DrawDevice& device, Point at, std::string_view text, const TextStyle& style, uint32_t paper) {
    const Extent size = device.FontExtent(text, *style.font);
    device.FillRect({at.x - 1, at.y + 1, at.x + size.width + 1, at.y + size.height - 1}, paper);
    device.Text(at.x, at.y, text, style);
}

void DrawLabels(const CKymoraView& view, DrawDevice& device, const std::vector<DatumLabel>& labels) {
    const TextStyle style = StyleOf(CursorInk(view), DatumFont());
    for (const DatumLabel& label : labels)
        if (label.rect != PixelRect{})
            NumberText(device, {label.rect.left, label.rect.top}, label.text, style, view.m_crBackground);
}

}  // namespace

uint32_t CursorInk(const CKymoraView& view) { return InkOn(view.m_crBackground); }

void DrawMarkerCross(DrawDevice& device, int x) {
    device.SetPen({markerColour, markerWidth});
    device.Line(x - markerArm, markerRow, x + markerArm, markerRow);
    device.Line(x, markerRow - markerArm, x, markerRow + markerArm);
}

void DrawFocusRect(const CKymoraView& view, DrawDevice& device, const PixelRect& rect) {
    device.SetPen({CursorInk(view), 1, Pen::Style::dashed});
    const Point frame[] = {{rect.left, rect.top},
                           {rect.right, rect.top},
                           {rect.right, rect.bottom},
                           {rect.left, rect.bottom},
                           {rect.left, rect.top}};
    device.Polyline(frame);
}

void DrawDragText(const CKymoraView& view, DrawDevice& device, Point at, std::string_view text) {
    constexpr int gap = 3;
    const Extent size = device.FontExtent(text, DatumFont());
    const PixelRect& plot = view.GetLayout().plot;
    const int x = std::max(plot.left, std::min(at.x + gap, plot.right - size.width));
    const int y = std::max(plot.top, std::min(at.y + gap, plot.bottom - size.height));
    NumberText(device, {x, y}, text, StyleOf(CursorInk(view), DatumFont()), view.m_crBackground);
}

void DrawOverlays(const CKymoraView& view, DrawDevice& device) {
    const PixelRect& plot = view.GetLayout().plot;
    if (plot.Width() <= 0 || plot.Height() <= 0) return;
    if (view.m_bShowMarkers) DrawMarkers(view, device);
    if (view.m_bShowAnnotations) DrawAnnotations(view, device);
    if (view.m_bShowScaleBars)
        for (const ScaleBarId id : ScaleBarsOf(view.GetDocument())) DrawScaleBar(view, device, id);
}

void DrawCursors(const CKymoraView& view, DrawDevice& device) {
    CDatumLines& lines = view.DatumLines();
    const PixelRect& plot = view.GetLayout().plot;
    if (plot.Width() <= 0 || plot.Height() <= 0) return;
    lines.LayOutLabels(device);
    device.SetPen({CursorInk(view)});
    for (int line = 0; line < lines.VertCount(); ++line)
        if (lines.IsOnPlotX(lines.VertX(line)))
            device.Line(lines.VertX(line), plot.top, lines.VertX(line), plot.bottom);
    for (int line = 0; line < lines.HorzCount(); ++line)
        if (lines.IsOnPlotY(lines.HorzY(line)))
            device.Line(plot.left, lines.HorzY(line), plot.right, lines.HorzY(line));
    for (int line = 0; line < lines.VertCount(); ++line) DrawLabels(view, device, lines.VertLabels(line));
    for (int line = 0; line < lines.HorzCount(); ++line) DrawLabels(view, device, lines.HorzLabels(line));
}

}  // namespace kymora
