#pragma once
// Markers, annotations, scale bars and cursors over the traces.

#include "display/kymora_view.h"
#include "drawing/draw_device.h"

namespace kymora {

// The objects of the recording that lie in the viewport and whose switch is on.
void DrawOverlays(const CKymoraView& view, DrawDevice& device);
// The lines of open dialogs.
void DrawGuides(const CKymoraView& view, DrawDevice& device);
// The view's own cursors with their labels.
void DrawCursors(const CKymoraView& view, DrawDevice& device);

// --- what drags draw besides ---
uint32_t CursorInk(const CKymoraView& view);
void DrawMarkerCross(DrawDevice& device, int x);
// A dashed frame in place of what is dragged.
void DrawFocusRect(const CKymoraView& view, DrawDevice& device, const PixelRect& rect);
// Where a dragged object would go, to the right of its place.
void DrawDragText(const CKymoraView& view, DrawDevice& device, Point at, std::string_view text);

}  // namespace kymora
