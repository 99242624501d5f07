#pragma once
// What stands left of the axes, never on data: the names of the traces beside their bands.

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

// Pixels that the names of traces and event rows take, by their lengths; 0 where none are shown, or the
// window of that width has no room for them.
int GutterWidth(const PlotContext& context, int windowWidth);

// Number, label and units of each trace, in its colour. Names that find no room are left out.
void DrawTraceNames(const PlotContext& context, DrawDevice& device);

}  // namespace kymora
