// Undo, redo, the selected stretch of time, and what the mouse points at.

#include <array>
#include <functional>

#include "display/commands/command_tables.h"
#include "display/events/event_channel_edits.h"
#include "display/events/event_editing.h"
#include "display/events/event_hits.h"
#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_markers.h"
#include "display/overlays/overlay_scale_bars.h"
#include "display/view_times.h"

namespace kymora {

using namespace commands;

namespace {

bool CanUndo(const CKymoraView& view) { return view.GetDocument().Undo().CanUndo(); }
bool CanRedo(const CKymoraView& view) { return view.GetDocument().Undo().CanRedo(); }
void Undo(const CommandContext& context) { context.view.GetDocument().Undo().Undo(); }
void Redo(const CommandContext& context) { context.view.GetDocument().Undo().Redo(); }

using Deletion = std::function<void(CKymoraView&)>;

// Of the object under a pixel, the topmost first; empty where there is none.
Deletion DeletionAt(const CKymoraView& view, Point at) {
    const PlotContext context = view.Plot();
    const CDatumLines& lines = view.DatumLines();
    if (const int line = lines.VertLineAt(at.x, at.y); line >= 0)
        return [line](CKymoraView& v) { v.DatumLines().DeleteVertLine(line); };
    if (const int line = lines.HorzLineAt(at.x, at.y); line >= 0)
        return [line](CKymoraView& v) { v.DatumLines().DeleteHorzLine(line); };
    if (const int marker = MarkerAt(context, at.x, at.y); marker >= 0)
        return [marker](CKymoraView& v) { DeleteMarker(v, marker); };
    if (const AnnotationId id = AnnotationAt(context, at.x, at.y))
        return [id](CKymoraView& v) { DeleteAnnotation(v, id); };
    if (const auto id = ScaleBarAt(context, at.x, at.y))
        return [id](CKymoraView& v) { DeleteScaleBar(v, *id); };
    if (const auto event = EventAt(context, at.x, at.y))
        return [event](CKymoraView& v) {
            DeleteEvents(v, event->channel, std::array{event->index}, "Delete event");
        };
    return {};
}

Deletion FindDeletion(const CKymoraView& view, std::optional<Point> at) {
    if (HasSelection(view) && view.GetDocument().GetNumEvents(view.m_nMouseEventChan) > 0)
        return [](CKymoraView& v) { DeleteEventsInSelection(v, v.m_nMouseEventChan); };
    return at ? DeletionAt(view, *at) : Deletion();
}

bool CanDelete(const CKymoraView& view) { return static_cast<bool>(FindDeletion(view, view.m_mouse)); }

void Delete(const CommandContext& context) {
    if (const Deletion remove = FindDeletion(context.view, context.at ? context.at : context.view.m_mouse))
        remove(context.view);
    context.view.Invalidate();
}

void CancelSelection(const CommandContext& context) { context.view.Select({}); }

}  // namespace

// clang-format off
CommandTable EditCommands() {
    return {
        {"undo", "E&dit", "&Undo\tCtrl+z", "Takes back the last change", CanUndo, nullptr, Undo},
        {"redo", "E&dit", "&Redo\tCtrl+y", "Makes the change again that was taken back", CanRedo, nullptr, Redo},
        {"delete", "E&dit", "&Delete\tDel", "Deletes the events of the selected channel in the selected stretch of time; where none is selected, the cursor, marker, annotation, scale bar or event under the mouse", CanDelete, nullptr, Delete, group},
        {"select-time", "E&dit", "&Select stretch of time", "Selects a stretch of time by its two ends", nullptr, nullptr, Do<AskSelection>, group | asks},
        {"select-with-mouse", "E&dit", "Select with &mouse", "Selects the stretch of time that the mouse is dragged over; a drag with Shift does the same", HasPlot, IsInMode<mouseSelectTime>, EnterMode<mouseSelectTime>},
        {"cancel-selection", "E&dit", "&Cancel selection", "Selects nothing", HasSelection, nullptr, CancelSelection},
    };
}
// clang-format on

}  // namespace kymora
