#pragma once
// Draws a chart: what ChartWidget shows, without the mouse.

#include <QColor>
#include <QPalette>
#include <QRect>

#include "operations/chart.h"
#include "operations/chart_geometry.h"

class QFontMetrics;
class QPainter;

namespace kymora {

class ChartPainter {
  public:
    // `chart` and `painter` must outlive it. `area` is the whole place of the chart.
    ChartPainter(QPainter& painter, const Chart& chart, const ChartBox& box, const QPalette& palette);

    // Where the curves go, so that the texts of the axes and the legend fit around them.
    static QRect PlotWithin(const QRect& area, const Chart& chart, const ChartBox& box,
                            const QFontMetrics& metrics);
    void Paint(const QRect& area, const QRect& plot);

  private:
    void PaintAxes(const QRect& area);
    void PaintLegend(const QRect& area);
    void PaintLines();
    void PaintSeries(const ChartSeries& series);
    void PaintCurve(const ChartSeries& series);
    void PaintDense(const ChartSeries& series);
    void PaintPoints(const ChartSeries& series, PointRange range);
    void PaintBars(const ChartSeries& series, PointRange range);
    double X(double value) const { return plot_.left() + (value - box_.left) * xScale_; }
    double Y(double value) const { return plot_.top() + (box_.top - value) * yScale_; }

    QPainter& painter_;
    const Chart& chart_;
    ChartBox box_;
    QPalette palette_;
    QRect plot_;
    double xScale_ = 1.0, yScale_ = 1.0;
};

// A colour of the core that can be told from the paper: as it is, or lighter or darker as far as it needs.
QColor VisibleOn(uint32_t colour, const QColor& paper);

}  // namespace kymora
