#pragma once
// The events of the visible channels, each channel as a row: a tick at the start of an event and a bar to its
// end.

#include "display/draw_device.h"
#include "display/kymora_view.h"

namespace kymora {

// Costs pixels, not events: about one rectangle per pixel column and row, whatever the number of events.
void DrawEventRows(const CKymoraView& view, DrawDevice& device);

}  // namespace kymora
