// The lines that open dialogs have the view draw: levels of a detector and ends of a stretch.

#include <cmath>

#include "display/overlays/overlay_drawing.h"
#include "display/overlays/overlay_fonts.h"

namespace kymora {

namespace {

constexpr int nameGap = 3;  // pixels between a line and its name

void DrawName(const CKymoraView& view, DrawDevice& device, Point at, const ViewGuide& guide) {
    if (guide.name.empty()) return;
    TextStyle style;
    style.colour = TextInk(guide.colour, view.m_crBackground);
    const bool isLevel = guide.kind == ViewGuide::Kind::level;
    style.horizontal = isLevel ? TextStyle::Horizontal::right : TextStyle::Horizontal::left;
    style.vertical = isLevel ? TextStyle::Vertical::bottom : TextStyle::Vertical::top;
    device.Text(at.x, at.y, guide.name, style);
}

void DrawLevel(const CKymoraView& view, DrawDevice& device, const ViewGuide& guide) {
    if (guide.trace < 0 || guide.trace >= view.GetDocument().traceCount || !view.IsTraceShown(guide.trace))
        return;
    const PixelRect& plot = view.GetLayout().plot;
    const int y = view.ValueToPixel(guide.at, view.m_nAxisOfTrace[static_cast<size_t>(guide.trace)]);
    if (y < plot.top || y >= plot.bottom) return;
    device.Line(plot.left, y, plot.right, y);
    DrawName(view, device, {plot.right - nameGap, y - nameGap}, guide);
}

void DrawTime(const CKymoraView& view, DrawDevice& device, const ViewGuide& guide) {
    const PixelRect& plot = view.GetLayout().plot;
    const int x = view.TimeToPixel(guide.at);
    if (x < plot.left || x > plot.right) return;
    device.Line(x, plot.top, x, plot.bottom);
    DrawName(view, device, {x + nameGap, plot.top + nameGap}, guide);
}

}  // namespace

void DrawGuides(const CKymoraView& view, DrawDevice& device) {
    if (view.GetLayout().plot.Width() <= 0) return;
    for (const ViewGuide& guide : view.Guides()) {
        if (!std::isfinite(guide.at)) continue;
        device.SetPen({guide.colour, 1, Pen::Style::solid});
        if (guide.kind == ViewGuide::Kind::level)
            DrawLevel(view, device, guide);
        else
            DrawTime(view, device, guide);
    }
}

}  // namespace kymora
