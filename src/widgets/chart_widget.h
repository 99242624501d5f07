#pragma once
// Shows a chart with axes and a legend, and lets the user look closer.
//
// The wheel zooms along the horizontal axis about the pointer, with Ctrl along the vertical one; dragging a
// rectangle zooms to it; a double click shows all again. By the keyboard: + and - (with Ctrl vertically), the
// arrows, Home.

#include <QWidget>
#include <optional>

#include "operations/chart.h"
#include "operations/chart_geometry.h"

namespace kymora {

class ChartWidget : public QWidget {
    Q_OBJECT

  public:
    explicit ChartWidget(QWidget* parent = nullptr);

    // What the user has zoomed to stays, unless the new chart has nothing there.
    void SetChart(Chart chart);
    const Chart& GetChart() const { return chart_; }
    void ShowAll();
    // What is seen now.
    const ChartBox& Shown() const { return box_; }
    // Where the curves are drawn, and where a point of the chart lies.
    QRect PlotRect() const { return plot_; }
    QPointF PixelOf(double x, double y) const;

    QSize sizeHint() const override { return {560, 260}; }
    QSize minimumSizeHint() const override { return {240, 150}; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void Arrange();
    void SetBox(ChartBox box);
    void Zoom(double factor, QPointF about, bool vertically);
    void Move(double across, double up);
    QPointF ValueAt(QPointF pixel) const;
    void ZoomTo(const QRect& dragged);

    Chart chart_;
    ChartBox whole_, box_;
    QRect plot_;
    bool showsAll_ = true;
    std::optional<QPoint> dragFrom_;
    QPoint dragTo_;
};

}  // namespace kymora
