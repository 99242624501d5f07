#pragma once
// Markers, annotations, scale bars and cursors over the traces.

#include "display/draw_device.h"
#include "display/kymora_view.h"

namespace kymora {

// The objects of the recording that lie in the viewport and whose switch is on.
void DrawOverlays(const CKymoraView& view, DrawDevice& device);
// The view's own cursors with their labels.
void DrawCursors(const CKymoraView& view, DrawDevice& device);

}  // namespace kymora
