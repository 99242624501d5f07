#pragma once
// The time axis below the plot, the vertical axes left of it and the labels of the traces in it.

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

// The bracket below the plot. The texts are drawn in files; in a window, edit boxes stand in their place.
void DrawTimeAxis(const PlotContext& context, DrawDevice& device, bool withTexts);

// Bracket, limits and label of each shown axis. What does not fit into a low band is left out.
// `showSelection` marks the axes that commands act on.
void DrawVerticalAxes(const PlotContext& context, DrawDevice& device, bool showSelection);

// Where the text of a limit stands, and where a click on it is taken; empty where the band has no room for
// it.
PixelRect LimitRect(const PlotContext& context, int axis, bool isMax);

// Number and label of each trace, at the top left of its band and in its colour.
void DrawTraceLabels(const PlotContext& context, DrawDevice& device);

}  // namespace kymora
