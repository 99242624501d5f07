#pragma once
// What the mouse takes hold of among cursors, markers, annotations and scale bars; overlay_mouse.cpp makes
// the tables from these.

#include "display/kymora_view.h"
#include "display/overlays/datum_lines.h"

namespace kymora {

// A drag of a cursor or one of its labels, as the hit says.
std::unique_ptr<MouseDrag> DragDatum(CKymoraView& view, const DatumHit& hit, const MouseEvent& event);

// Moves a vertical line, and with coupled cursors all others by the same way. The user is asked about each
// that would leave the plot; abandoning the move leaves all where they were.
void MoveVertCursor(CKymoraView& view, int line, int x);
void MoveHorzCursor(CKymoraView& view, int line, int y);

// Drags of what belongs to the recording. Null for a locked marker.
std::unique_ptr<MouseDrag> DragMarker(CKymoraView& view, const MouseEvent& event);
std::unique_ptr<MouseDrag> DragAnnotation(CKymoraView& view, const MouseEvent& event);
std::unique_ptr<MouseDrag> DragScaleBar(CKymoraView& view, const MouseEvent& event);

}  // namespace kymora
