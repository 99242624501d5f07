#pragma once
// Where the parts of a graph lie on a device, and what lies under a pixel of it.

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "drawing/draw_device.h"
#include "graphs/graph.h"
#include "graphs/graph_scale.h"

namespace kymora {

struct GraphTick {
    double at = 0.0;
    std::string text;
};

// A pane on the device.
struct PanePlace {
    PixelRect area;  // with its title, legend and axes
    PixelRect plot;  // of its layers
    GraphBox box;    // what is seen
    GraphScale x, y;
    std::vector<GraphTick> xTicks, yTicks;
    bool showsX = true;       // the texts of the x axis: of panes on one, the lowest has them
    bool showsYTitle = true;  // beside a pane on the left with the same one it need not be said again
    int legendHeight = 0;
};

// Panes side by side and one above the other, whose plots begin at one column and have one size. `boxes` are
// what is seen of each.
std::vector<PanePlace> PlaceGraph(DrawDevice& device, const Graph& graph, std::span<const GraphBox> boxes,
                                  const PixelRect& area);

struct LegendEntry {
    std::string name;
    uint32_t colour = 0;
    LayerKind kind = LayerKind::curve;
    bool isDashed = false, isPale = false;
    Point at;  // its left middle
};
// In rows from `left`, the first below `top`. `height`, if wanted, is what they take.
std::vector<LegendEntry> PlaceLegend(DrawDevice& device, const GraphPane& pane, int left, int right, int top,
                                     int* height = nullptr);
inline constexpr int legendMark = 18, graphTextGap = 3, graphTickLength = 4;

// The range of a matrix's colours, which is that of its finite values where none is fixed; never empty.
std::pair<double, double> MatrixRange(const GraphLayer& layer);
// The bar beside a plot that tells the colours of its matrix.
PixelRect ColourBarRect(const PanePlace& place);
const GraphLayer* MatrixOf(const GraphPane& pane);
std::vector<GraphTick> ColourBarTicks(const GraphLayer& layer, int height);

// What the mouse can take hold of.
struct GraphHit {
    enum class What { nothing, plot, line, xAxis, yAxis };
    What what = What::nothing;
    size_t pane = 0;
    size_t line = 0;

    bool operator==(const GraphHit&) const = default;
};
inline constexpr int graphGrasp = 6;  // pixels
// Of lines, only those that can be dragged.
GraphHit HitGraph(const Graph& graph, std::span<const PanePlace> places, int x, int y);

// What a pane says of a pixel of its plot.
struct GraphReading {
    double x = 0.0, y = 0.0;         // the nearest value of a layer, or the pixel's own
    bool isValue = false;            // it is a layer's
    size_t layer = 0, point = 0;     // which one; a point, a bar, or a cell of a matrix
    std::vector<std::string> lines;  // in words
};
std::optional<GraphReading> ReadGraph(const GraphPane& pane, const PanePlace& place, int x, int y);
// What a readout tells of a pixel; empty outside of the plot, and where there is no row.
std::string ReadPlace(const GraphPane& pane, const PanePlace& place, const GraphReadout& readout, int x,
                      int y);
// The first of the lines, `most` with the one that tells how many more there are.
std::vector<std::string> FirstLines(std::vector<std::string> lines, size_t most);

}  // namespace kymora
