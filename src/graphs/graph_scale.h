#pragma once
// Where the values of a graph lie: the extent of its panes, and the way between values and pixels.

#include "drawing/viewport.h"
#include "graphs/graph.h"

namespace kymora {

// A stretch of both axes, in their units.
struct GraphBox {
    double left = 0.0, right = 1.0;
    double bottom = 0.0, top = 1.0;

    double Width() const { return right - left; }
    double Height() const { return top - bottom; }
    bool operator==(const GraphBox&) const = default;
};

// Values along one axis and pixels. A log scale must have limits above 0.
class GraphScale {
  public:
    GraphScale() = default;
    // `at` is the pixel of `from`, `to` lies `pixels` further, which may be negative.
    GraphScale(double from, double to, bool isLog, double at, double pixels);

    // Not-a-number for a value without a place.
    double ToPixel(double value) const { return at_ + (Level(value) - from_) * perLevel_; }
    double ToValue(double pixel) const;
    bool IsLog() const { return isLog_; }

  private:
    double Level(double value) const;

    bool isLog_ = false;
    double from_ = 0.0, at_ = 0.0, perLevel_ = 1.0;
};

// The box of a pane: its fixed limits, or where all of its layers lie, with some room above (and below where
// something lies there). Lines are taken in while they are not so far away that the layers would become flat.
// Never empty; the ends of a log axis are above 0.
GraphBox WholePane(const GraphPane& pane);

// Those of all panes; panes that share the x axis have the same stretch of it.
std::vector<GraphBox> WholeGraph(const Graph& graph);

// Zoomed by a factor about a place, or moved by shares of what is seen; along a log axis by its powers.
GraphBox Zoomed(const GraphPane& pane, GraphBox box, double factor, double x, double y, bool across, bool up);
GraphBox Moved(const GraphPane& pane, GraphBox box, double across, double up);

// A value as round as it can be without leaving its pixel, which is so wide.
double RoundedWithin(double value, double pixel);

// The points of a curve that fall into one pixel column: no sample is left out, whatever stands beside it.
struct GraphColumn {
    int column = 0;
    double first = 0.0, low = 0.0, high = 0.0, last = 0.0;
    bool joined = false;  // to the column before; false where a value that is not finite breaks the line
};
// Of a curve whose x ascend, for the points from pixel `left` on, `columns` of them.
std::vector<GraphColumn> CurveColumns(const GraphLayer& layer, const GraphScale& x, int left, int columns);

// The points within [left, right] and one more on each side, as indices from `first` up to, not including,
// `end`; of a layer whose x ascend.
struct PointRange {
    size_t first = 0, end = 0;
};
PointRange PointsWithin(const GraphLayer& layer, double left, double right);

// The part of a line from (x1, y1) to (x2, y2) within a box; false when there is none.
bool ClipToBox(const GraphBox& box, double& x1, double& y1, double& x2, double& y2);

}  // namespace kymora
