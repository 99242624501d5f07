#pragma once
// Draws the layers of a pane within its plot.

#include <span>
#include <vector>

#include "drawing/draw_device.h"
#include "graphs/graph.h"
#include "graphs/graph_layout.h"
#include "graphs/graph_painter.h"

namespace kymora {

class LayerPainter {
  public:
    // All of it outlives the painter.
    LayerPainter(DrawDevice& device, const PanePlace& place, const GraphLook& look);

    void Paint(const GraphLayer& layer);
    // The rings of a rose with their values, its degrees, and its mean.
    void PaintRoseAxes();
    void PaintMean(std::pair<double, double> mean);
    Place RosePlace(double turns, double radius) const;

  private:
    void PaintBars(const GraphLayer& layer);
    void PaintDenseBars(const GraphLayer& layer);
    void PaintCurve(const GraphLayer& layer);
    void PaintRimmedCurve(const GraphLayer& layer);
    void DrawCurve(const GraphLayer& layer);
    void PaintDenseCurve(const GraphLayer& layer);
    void PaintPoints(const GraphLayer& layer);
    void PaintMarks(const GraphLayer& layer);
    void PaintArea(const GraphLayer& layer);
    void PaintMatrix(const GraphLayer& layer);
    void PaintRaster(const GraphLayer& layer);
    void FillRuns(std::span<const uint32_t> cells);
    void PaintRose(const GraphLayer& layer);
    uint32_t FillOf(const GraphLayer& layer) const;
    double Base(const GraphLayer& layer) const;
    // Held to the surroundings of the plot.
    double HeldX(double pixel) const;
    double HeldY(double pixel) const;
    int Column(double x) const;
    int Row(double y) const;

    DrawDevice& device_;
    const PanePlace& place_;
    const PixelRect& plot_;
    const GraphLook& look_;
    uint32_t colour_ = 0;  // of the layer, as it is seen on the paper
};

}  // namespace kymora
