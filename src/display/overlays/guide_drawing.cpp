// The lines that open dialogs have the view draw: levels of a detector and ends of a stretch.

#include <cmath>

#include "display/overlays/overlay_drawing.h"
#include "display/overlays/overlay_fonts.h"

namespace kymora {

namespace {

constexpr int nameGap = 3;  // pixels between a line and its name

// The guides of one view on their way to the device.
class GuidePainter {
  public:
    GuidePainter(const CKymoraView& view, DrawDevice& device)
        : view_(view), device_(device), plot_(view.GetLayout().plot) {}

    void Draw(const ViewGuide& guide) {
        if (!std::isfinite(guide.at)) return;
        device_.SetPen({guide.colour, 1, Pen::Style::solid});
        if (guide.kind == ViewGuide::Kind::level)
            DrawLevel(guide);
        else
            DrawTime(guide);
    }

  private:
    void DrawLevel(const ViewGuide& guide) {
        const bool hasAxis = guide.trace >= 0 && guide.trace < view_.GetDocument().traceCount;
        if (!hasAxis || !view_.IsTraceShown(guide.trace)) return;
        const int y = view_.ValueToPixel(guide.at, view_.m_nAxisOfTrace[static_cast<size_t>(guide.trace)]);
        if (y < plot_.top || y >= plot_.bottom) return;
        device_.Line(plot_.left, y, plot_.right, y);
        const Extent size = device_.TextExtent(guide.name);
        Write(guide, {plot_.right - nameGap - size.width, y - nameGap - size.height, plot_.right - nameGap,
                      y - nameGap});
    }

    void DrawTime(const ViewGuide& guide) {
        const int x = view_.TimeToPixel(guide.at);
        if (x < plot_.left || x > plot_.right) return;
        device_.Line(x, plot_.top, x, plot_.bottom);
        const Extent size = device_.TextExtent(guide.name);
        const int left = x + nameGap, top = plot_.top + nameGap;
        Write(guide, {left, top, left + size.width, top + size.height});
    }

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
        style.colour = TextInk(guide.colour, view_.m_crBackground);
        device_.Text(place.left, place.top, guide.name, style);
    }

    const CKymoraView& view_;
    DrawDevice& device_;
    const PixelRect plot_;
    std::vector<PixelRect> taken_;  // by names
};

}  // namespace

void DrawGuides(const CKymoraView& view, DrawDevice& device) {
    if (view.GetLayout().plot.Width() <= 0) return;
    GuidePainter painter(view, device);
    for (const ViewGuide& guide : view.Guides()) painter.Draw(guide);
}

}  // namespace kymora
