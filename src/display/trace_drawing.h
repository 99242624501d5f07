#pragma once
// Paints traces from the display cache: an envelope of minimum and maximum where bins are narrower than a
// pixel, the plain line where a bin is one sample. Nothing here reads a file.

#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

inline constexpr uint32_t frameColour = Rgb(255, 192, 192);
inline constexpr uint32_t gridColour = Rgb(192, 192, 224);
inline constexpr uint32_t inactiveColour = Rgb(192, 192, 192);

// The frame around the plot (with axes on) and the grid.
void DrawFrameAndGrid(const PlotContext& context, DrawDevice& device);

// All traces that are shown, in the order of their axes, clipped to the plot.
void DrawTraces(const PlotContext& context, DrawDevice& device);

}  // namespace kymora
