// The commands of markers, annotations and scale bars.

#include "display/commands/command_tables.h"
#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_markers.h"
#include "display/overlays/overlay_scale_bars.h"

namespace kymora {

using namespace commands;

namespace {

// --- markers ---

bool HasMarkers(const CKymoraView& view) { return !view.GetDocument().markers.empty(); }
bool ShowsMarkers(const CKymoraView& view) { return HasMarkers(view) && view.m_bShowMarkers; }
bool AreMarkersLocked(const CKymoraView& view) { return view.GetDocument().markersLocked; }

void LockMarkers(const CommandContext& context) {
    bool& locked = context.view.GetDocument().markersLocked;
    locked = !locked;
}

bool IsMouseOnPlot(const CommandContext& context) {
    return context.at && context.view.DatumLines().IsOnPlotX(context.at->x);
}

// From the context menu a marker is added at the mouse, with its dialog.
void AddMarkerHere(const CommandContext& context) {
    if (IsMouseOnPlot(context))
        AddMarkerByMouse(context.view, context.view.Plot().PixelToTime(context.at->x));
    else
        AddMarker(context.view);
}

// What lies at the mouse of the context menu; otherwise the user clicks it.
template <int mode, auto act>
void OnMarker(const CommandContext& context) {
    const int marker = context.at ? MarkerAt(context.view.Plot(), context.at->x, context.at->y) : -1;
    if (marker < 0) return EnterMode<mode>(context);
    act(context.view, marker);
}

// --- annotations ---

bool HasAnnotations(const CKymoraView& view) {
    const auto& lists = view.GetDocument().traceAnnotations;
    return std::any_of(lists.begin(), lists.end(), [](const auto& list) { return !list.empty(); });
}
bool ShowsAnnotations(const CKymoraView& view) { return HasAnnotations(view) && view.m_bShowAnnotations; }

void AddAnnotationHere(const CommandContext& context) {
    if (IsMouseOnPlot(context) && context.view.Plot().GetNearestAxis(context.at->y) >= 0)
        AddAnnotationByMouse(context.view, context.at->x, context.at->y);
    else
        AddAnnotationAtMiddle(context.view);
}

template <int mode, auto act>
void OnAnnotation(const CommandContext& context) {
    const AnnotationId id =
        context.at ? AnnotationAt(context.view.Plot(), context.at->x, context.at->y) : AnnotationId{};
    if (!id) return EnterMode<mode>(context);
    act(context.view, id);
}

// --- scale bars ---

bool HasHorzBar(const CKymoraView& view) { return HasHorzScaleBar(view.GetDocument()); }
bool HasVertBars(const CKymoraView& view) { return HasVertScaleBars(view.GetDocument()); }
// One of several is chosen by a click, which needs to see them.
bool CanDeleteVertBar(const CKymoraView& view) {
    return HasVertBars(view) && (view.m_bShowScaleBars || view.GetDocument().scaleBars[1].list.size() == 1);
}
bool HasBars(const CKymoraView& view) { return HasHorzBar(view) || HasVertBars(view); }

void DeleteHorzBar(const CommandContext& context) { DeleteScaleBar(context.view, {true, 0}); }

// The bar at the mouse, or the only one; otherwise the user clicks it.
void DeleteVertBar(const CommandContext& context) {
    const auto id = context.at ? ScaleBarAt(context.view.Plot(), context.at->x, context.at->y) : std::nullopt;
    if (id && !id->isHorizontal) return DeleteScaleBar(context.view, *id);
    if (context.view.GetDocument().scaleBars[1].list.size() == 1)
        return DeleteScaleBar(context.view, {false, 0});
    EnterMode<mouseDeleteScaleBar>(context);
}

}  // namespace

// clang-format off
CommandTable OverlayCommands() {
    return {
        {"marker-add", "Add-in&s/&Markers", "Add\tm", "Adds a marker, in the middle of the view or at the mouse", nullptr, nullptr, AddMarkerHere},
        {"marker-add-here", "Add-in&s/&Markers", "Add at mouse...\tShift+m", "Adds a marker where the mouse points, and asks for its label", HasPlot, nullptr, AtMouse<AddMarkerHere>},
        {"marker-add-by-mouse", "Add-in&s/&Markers", "Add with mouse", "Each click adds a marker and asks for its label, until ESC is pressed", HasPlot, IsInMode<mouseAddMarker>, EnterMode<mouseAddMarker>},
        {"marker-edit", "Add-in&s/&Markers", "Edit", "Changes the label and time of the marker that you click next; a double click on a marker does the same", ShowsMarkers, IsInMode<mouseEditMarker>, OnMarker<mouseEditMarker, EditMarker>},
        {"marker-lock", "Add-in&s/&Markers", "Lock", "Check to lock markers so that they cannot be dragged by the mouse.", nullptr, AreMarkersLocked, LockMarkers, group},
        {"marker-convert", "Add-in&s/&Markers", "Convert markers to events", "Adds an event of one sample to an event channel for each marker, with its label", HasMarkers, nullptr, Do<ConvertMarkersToEvents>, asks},
        {"marker-del", "Add-in&s/&Markers", "Del", "Deletes the marker that you click next", ShowsMarkers, IsInMode<mouseDeleteMarker>, OnMarker<mouseDeleteMarker, DeleteMarker>, group},
        {"marker-del-all", "Add-in&s/&Markers", "Del all", "Deletes all markers", HasMarkers, nullptr, Do<DeleteAllMarkers>},

        {"annotation-add", "Add-in&s/&Annotations", "Add\ta", "Adds an annotation of a trace, in the middle of the view or at the mouse", HasAxes, nullptr, AddAnnotationHere, asks},
        {"annotation-add-here", "Add-in&s/&Annotations", "Add at mouse\tShift+a", "Adds an annotation where the mouse points, to the trace there", HasAxes, nullptr, AtMouse<AddAnnotationHere>, asks},
        {"annotation-add-by-mouse", "Add-in&s/&Annotations", "Add with mouse", "Each click adds an annotation of the trace there, until ESC is pressed", HasAxes, IsInMode<mouseAddAnnotation>, EnterMode<mouseAddAnnotation>},
        {"annotation-edit", "Add-in&s/&Annotations", "Edit", "Changes the annotation that you click next; a double click on an annotation does the same", ShowsAnnotations, IsInMode<mouseEditAnnotation>, OnAnnotation<mouseEditAnnotation, EditAnnotation>},
        {"annotation-del", "Add-in&s/&Annotations", "Del", "Deletes the annotation that you click next", ShowsAnnotations, IsInMode<mouseDeleteAnnotation>, OnAnnotation<mouseDeleteAnnotation, DeleteAnnotation>, group},
        {"annotation-del-all", "Add-in&s/&Annotations", "Del all", "Deletes all annotations", HasAnnotations, nullptr, Do<DeleteAllAnnotations>},

        {"scale-bar-add-horz", "Add-in&s/&Scale bars/&Horizontal", "Add", "Adds a bar that shows a length of time, or changes the one that is there", nullptr, nullptr, Do<AddHorzScaleBar>, asks},
        {"scale-bar-del-horz", "Add-in&s/&Scale bars/&Horizontal", "Del", "Deletes the horizontal scale bar", HasHorzBar, nullptr, DeleteHorzBar},
        {"scale-bar-add-vert", "Add-in&s/&Scale bars/&Vertical", "Add", "Adds a bar that shows a difference of values of a trace", HasAxes, nullptr, Do<AddVertScaleBar>, asks},
        {"scale-bar-del-vert", "Add-in&s/&Scale bars/&Vertical", "Del", "Deletes the vertical scale bar, or of several the one that you click next", CanDeleteVertBar, IsInMode<mouseDeleteScaleBar>, DeleteVertBar},
        {"scale-bar-options", "Add-in&s/&Scale bars", "Options", "Sets how the texts of all scale bars look", HasBars, nullptr, Do<SetScaleBarOptions>, asks},
    };
}
// clang-format on

}  // namespace kymora
