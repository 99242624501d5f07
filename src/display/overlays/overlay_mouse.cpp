// What the mouse does with cursors, markers, annotations and scale bars.

#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_drags.h"
#include "display/overlays/overlay_markers.h"
#include "display/overlays/overlay_scale_bars.h"

namespace kymora {

namespace {

// --- targets ---

template <int state>
bool HitsDatum(const PlotContext& context, int x, int y) {
    return context.cursors->HitTest(x, y).state == state;
}

std::unique_ptr<MouseDrag> GrabDatum(CKymoraView& view, const MouseEvent& event) {
    return DragDatum(view, view.DatumLines().HitTest(event.x, event.y), event);
}

template <bool locked>
bool HitsMarker(const PlotContext& context, int x, int y) {
    return context.doc.markersLocked == locked && MarkerAt(context, x, y) >= 0;
}

bool HitsAnnotation(const PlotContext& context, int x, int y) {
    return static_cast<bool>(AnnotationAt(context, x, y));
}

bool HitsScaleBar(const PlotContext& context, int x, int y) { return ScaleBarAt(context, x, y).has_value(); }

void EditMarkerAt(CKymoraView& view, const MouseEvent& event) {
    EditMarker(view, MarkerAt(view.Plot(), event.x, event.y));
}

void EditAnnotationAt(CKymoraView& view, const MouseEvent& event) {
    EditAnnotation(view, AnnotationAt(view.Plot(), event.x, event.y));
}

void EditScaleBarAt(CKymoraView& view, const MouseEvent& event) {
    if (const auto id = ScaleBarAt(view.Plot(), event.x, event.y)) EditScaleBar(view, *id);
}

// --- modes ---

using Drag = std::unique_ptr<MouseDrag>;

bool IsOnPlot(const PlotContext& context, const MouseEvent& event) {
    return context.cursors->IsOnPlotX(event.x) && context.cursors->IsOnPlotY(event.y);
}

Drag AddVertCursors(CKymoraView& view, const MouseEvent& event) {
    if (IsOnPlot(view.Plot(), event)) view.DatumLines().AddVertLine(event.x);
    return nullptr;
}

Drag AddHorzCursors(CKymoraView& view, const MouseEvent& event) {
    if (IsOnPlot(view.Plot(), event)) view.DatumLines().AddHorzLine(event.y);
    return nullptr;
}

Drag DeleteVertCursor(CKymoraView& view, const MouseEvent& event) {
    const int line = view.DatumLines().VertLineAt(event.x, event.y);
    if (line < 0) return nullptr;
    view.DatumLines().DeleteVertLine(line);
    view.SetMouseMode(mouseNormal);
    return nullptr;
}

Drag DeleteHorzCursor(CKymoraView& view, const MouseEvent& event) {
    const int line = view.DatumLines().HorzLineAt(event.x, event.y);
    if (line < 0) return nullptr;
    view.DatumLines().DeleteHorzLine(line);
    view.SetMouseMode(mouseNormal);
    return nullptr;
}

// A press beside an object leaves the mode in force.
template <void (*act)(CKymoraView&, int)>
Drag OnMarker(CKymoraView& view, const MouseEvent& event) {
    const int marker = MarkerAt(view.Plot(), event.x, event.y);
    if (marker < 0) return nullptr;
    view.SetMouseMode(mouseNormal);
    act(view, marker);
    return nullptr;
}

template <void (*act)(CKymoraView&, AnnotationId)>
Drag OnAnnotation(CKymoraView& view, const MouseEvent& event) {
    const AnnotationId id = AnnotationAt(view.Plot(), event.x, event.y);
    if (!id) return nullptr;
    view.SetMouseMode(mouseNormal);
    act(view, id);
    return nullptr;
}

void Edit(CKymoraView& view, int marker) { EditMarker(view, marker); }
void Edit(CKymoraView& view, AnnotationId id) { EditAnnotation(view, id); }

// Adding goes on until the user cancels.
Drag AddMarkers(CKymoraView& view, const MouseEvent& event) {
    if (IsOnPlot(view.Plot(), event) && !AddMarkerByMouse(view, view.Plot().PixelToTime(event.x)))
        view.SetMouseMode(mouseNormal);
    return nullptr;
}

Drag AddAnnotations(CKymoraView& view, const MouseEvent& event) {
    if (IsOnPlot(view.Plot(), event) && view.Plot().GetNearestAxis(event.y) >= 0 &&
        !AddAnnotationByMouse(view, event.x, event.y))
        view.SetMouseMode(mouseNormal);
    return nullptr;
}

Drag DeleteBar(CKymoraView& view, const MouseEvent& event) {
    const auto id = ScaleBarAt(view.Plot(), event.x, event.y);
    if (!id || id->isHorizontal) return nullptr;  // the horizontal one has a command of its own
    view.SetMouseMode(mouseNormal);
    DeleteScaleBar(view, *id);
    return nullptr;
}

}  // namespace

MouseTool OverlayTool() {
    return {
        {
            {HitsDatum<datumMovesVert>, CursorShape::horizontal, GrabDatum},
            {HitsDatum<datumMovesVertLabel>, CursorShape::hand, GrabDatum},
            {HitsDatum<datumMovesHorz>, CursorShape::vertical, GrabDatum},
            {HitsDatum<datumMovesHorzLabel>, CursorShape::hand, GrabDatum},
            {HitsMarker<false>, CursorShape::horizontal, DragMarker, EditMarkerAt},
            {HitsMarker<true>, CursorShape::arrow, DragMarker, EditMarkerAt},
            {HitsAnnotation, CursorShape::hand, DragAnnotation, EditAnnotationAt},
            {HitsScaleBar, CursorShape::hand, DragScaleBar, EditScaleBarAt},
        },
        {
            {mouseAddVertCursors, "Add vert cursors. ESC = cancel.", CursorShape::cross, AddVertCursors},
            {mouseAddHorzCursors, "Add horz cursors. ESC = cancel.", CursorShape::cross, AddHorzCursors},
            {mouseDeleteVertCursor, "Click the vert cursor to delete. ESC = cancel.", CursorShape::cross,
             DeleteVertCursor},
            {mouseDeleteHorzCursor, "Click the horz cursor to delete. ESC = cancel.", CursorShape::cross,
             DeleteHorzCursor},
            {mouseAddMarker, "Add markers. ESC = cancel.", CursorShape::cross, AddMarkers},
            {mouseDeleteMarker, "Click the marker to delete. ESC = cancel.", CursorShape::cross,
             OnMarker<DeleteMarker>},
            {mouseEditMarker, "Click the marker to edit. ESC = cancel.", CursorShape::cross, OnMarker<Edit>},
            {mouseAddAnnotation, "Add annotations. ESC = cancel.", CursorShape::cross, AddAnnotations},
            {mouseDeleteAnnotation, "Click the annotation to delete. ESC = cancel.", CursorShape::cross,
             OnAnnotation<DeleteAnnotation>},
            {mouseEditAnnotation, "Click the annotation to edit. ESC = cancel.", CursorShape::cross,
             OnAnnotation<Edit>},
            {mouseDeleteScaleBar, "Click the vertical scale bar to delete. ESC = cancel.", CursorShape::cross,
             DeleteBar},
        }};
}

}  // namespace kymora
