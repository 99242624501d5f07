#include "display/overlay_drawing.h"

namespace kymora {

void DrawOverlays(const CKymoraView&, DrawDevice&) {}

void DrawCursors(const CKymoraView&, DrawDevice&) {}

}  // namespace kymora
