#pragma once
// What drawing a chart needs to compute: its extent, and curves in pixel columns.

#include <string>
#include <vector>

#include "operations/chart.h"

namespace kymora {

// A stretch of both axes.
struct ChartBox {
    double left = 0.0, right = 1.0;
    double bottom = 0.0, top = 1.0;

    double Width() const { return right - left; }
    double Height() const { return top - bottom; }
    bool operator==(const ChartBox&) const = default;
};

// The box in which all points lie, with some room above and below; lines across are taken in while they are
// not so far away that the curves would become flat. Never empty; values that are not finite do not count.
ChartBox WholeChart(const Chart& chart);

// The points of a curve that fall into one pixel column: no sample is left out, whatever stands beside it.
struct ChartColumn {
    int column = 0;
    float first = 0.0f, low = 0.0f, high = 0.0f, last = 0.0f;
    bool joined = false;  // to the column before; false where a value that is not finite breaks the line
};
// Of a series whose x ascend, for the points within [left, right].
std::vector<ChartColumn> ChartColumns(const ChartSeries& series, double left, double right, int columns);

// The points within [left, right] and one more on each side, as indices from `first` up to, not including,
// `end`; of a series whose x ascend.
struct PointRange {
    size_t first = 0, end = 0;
};
PointRange PointsWithin(const ChartSeries& series, double left, double right);

// The part of a line from (x1, y1) to (x2, y2) within a box; false when there is none.
bool ClipToBox(const ChartBox& box, double& x1, double& y1, double& x2, double& y2);

}  // namespace kymora
