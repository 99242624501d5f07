// Drags of markers, annotations and scale bars. The recording changes when the button is released; until then
// the object is shown where it would go.

#include <fmt/format.h>

#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_drags.h"
#include "display/overlays/overlay_drawing.h"
#include "display/overlays/overlay_markers.h"
#include "display/overlays/overlay_scale_bars.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

// How far the mouse has gone since the press, and whether the place that it drags is still on the plot.
class PlaceDrag : public MouseDrag {
  public:
    PlaceDrag(Point place, const MouseEvent& event) : place_(place), press_{event.x, event.y} {}
    void Move(CKymoraView&, const MouseEvent& event) override { Follow(event); }
    CursorShape Shape() const override { return CursorShape::grabbed; }

  protected:
    void Follow(const MouseEvent& event) { shift_ = {event.x - press_.x, event.y - press_.y}; }
    Point Place() const { return {place_.x + shift_.x, place_.y + shift_.y}; }
    bool HasMoved() const { return shift_ != Point{}; }
    bool IsOnPlot(const PlotContext& context, bool heightToo) const {
        const PixelRect& plot = context.layout.plot;
        const Point place = Place();
        return place.x >= plot.left && place.x <= plot.right &&
               (!heightToo || (place.y >= plot.top && place.y <= plot.bottom));
    }

    Point place_, press_, shift_{};
};

class MarkerDrag : public PlaceDrag {
  public:
    MarkerDrag(const PlotContext& context, int marker, const MouseEvent& event)
        : PlaceDrag({context.TimeToPixel(At(context, marker).m_dTime), markerRow}, event),
          marker_(marker),
          held_(At(context, marker)) {}
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Follow(event);
        const auto& markers = view.GetDocument().markers;
        const bool isThere = marker_ < static_cast<int>(markers.size()) && At(view.Plot(), marker_) == held_;
        if (isThere && shift_.x != 0 && IsOnPlot(view.Plot(), false))
            MoveMarker(view, marker_, view.Plot().PixelToTime(Place().x));
    }
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        if (shift_.x == 0 || !IsOnPlot(context, false)) return;
        DrawMarkerCross(device, Place().x);
        DrawDragText(context, device, {Place().x + markerLabelGap, markerLabelRow},
                     TimeInUnit(context.PixelToTime(Place().x), context.settings.m_nTimeUnit, 2));
    }
    CursorShape Shape() const override { return CursorShape::horizontal; }

  private:
    static const CMarker& At(const PlotContext& context, int marker) {
        return context.doc.markers[static_cast<size_t>(marker)];
    }
    int marker_;
    CMarker held_;
};

class AnnotationDrag : public PlaceDrag {
  public:
    AnnotationDrag(const PlotContext& context, AnnotationId id, const MouseEvent& event)
        : PlaceDrag(AnnotationPlace(context, id.trace, *FindAnnotation(context.doc, id)), event),
          id_(id),
          held_(*FindAnnotation(context.doc, id)) {}
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Follow(event);
        const CAnnotation* annotation = FindAnnotation(view.GetDocument(), id_);
        if (annotation && *annotation == held_ && HasMoved() && IsOnPlot(view.Plot(), true))
            MoveAnnotation(view, id_, shift_.x, shift_.y);
    }
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        if (!HasMoved() || !IsOnPlot(context, true)) return;
        PixelRect frame = AnnotationRect(context, id_.trace, held_);
        frame = {frame.left + shift_.x, frame.top + shift_.y, frame.right + shift_.x,
                 frame.bottom + shift_.y};
        DrawFocusRect(context, device, frame);
    }

  private:
    AnnotationId id_;
    CAnnotation held_;
};

class ScaleBarDrag : public PlaceDrag {
  public:
    ScaleBarDrag(const PlotContext& context, ScaleBarId id, const MouseEvent& event)
        : PlaceDrag(ShapeOf(context, id)->from, event), id_(id), held_(*FindScaleBar(context.doc, id)) {}
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Follow(event);
        const ScaleBar* bar = FindScaleBar(view.GetDocument(), id_);
        if (bar && *bar == held_) MoveScaleBar(view, id_, shift_.x, shift_.y);
    }
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        const auto shape = ShapeOf(context, id_, shift_.x, shift_.y);
        if (HasMoved() && shape) DrawFocusRect(context, device, shape->rect);
    }

  private:
    ScaleBarId id_;
    ScaleBar held_;
};

}  // namespace

std::unique_ptr<MouseDrag> DragMarker(CKymoraView& view, const MouseEvent& event) {
    const int marker = MarkerAt(view.Plot(), event.x, event.y);
    if (marker < 0 || view.GetDocument().markersLocked) return nullptr;
    return std::make_unique<MarkerDrag>(view.Plot(), marker, event);
}

std::unique_ptr<MouseDrag> DragAnnotation(CKymoraView& view, const MouseEvent& event) {
    const AnnotationId id = AnnotationAt(view.Plot(), event.x, event.y);
    return id ? std::make_unique<AnnotationDrag>(view.Plot(), id, event) : nullptr;
}

std::unique_ptr<MouseDrag> DragScaleBar(CKymoraView& view, const MouseEvent& event) {
    const auto id = ScaleBarAt(view.Plot(), event.x, event.y);
    return id ? std::make_unique<ScaleBarDrag>(view.Plot(), *id, event) : nullptr;
}

}  // namespace kymora
