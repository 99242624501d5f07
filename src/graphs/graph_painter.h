#pragma once
// Draws a graph on any device.

#include <span>
#include <vector>

#include "drawing/draw_device.h"
#include "graphs/graph.h"
#include "graphs/graph_layout.h"

namespace kymora {

struct GraphLook {
    uint32_t paper = 0xFFFFFF, ink = 0x000000;  // 0x00BBGGRR
    bool hasGrid = true;
};

// All but the lines across and along: what stays while a line is dragged.
void PaintPanes(DrawDevice& device, const Graph& graph, std::span<const PanePlace> places,
                const PixelRect& area, const GraphLook& look);

// A line of a pane; `isFocused` is the one that the keyboard moves.
void PaintLine(DrawDevice& device, const GraphLine& line, const PanePlace& place, const GraphLook& look,
               bool isFocused = false);

// The whole graph.
void PaintGraph(DrawDevice& device, const Graph& graph, std::span<const PanePlace> places,
                const PixelRect& area, const GraphLook& look);

// From dark to light in even steps, as they are seen; `share` from 0 to 1.
uint32_t MatrixColour(double share, ColourMap map = ColourMap::colours);

}  // namespace kymora
