#pragma once
// Draws with a QPainter.

#include <QFont>
#include <QPainter>

#include "display/draw_device.h"

namespace kymora {

QColor ToQColor(uint32_t colour);

class PainterDevice : public DrawDevice {
  public:
    // The painter must be active as long as the device is used.
    explicit PainterDevice(QPainter& painter);

    // The font of axes, labels and edit boxes.
    static QFont TextFont(bool bold = false);

    void SetPen(const Pen& pen) override;
    void MoveTo(int x, int y) override;
    void LineTo(int x, int y) override;
    void Polyline(std::span<const Point> points) override;
    void SetPixel(int x, int y, uint32_t colour) override;
    void FillEllipse(const PixelRect& bounds, uint32_t colour) override;
    void FillRect(const PixelRect& area, uint32_t colour) override;
    void SetClip(const PixelRect& area) override;
    void ClearClip() override;
    void Text(int x, int y, std::string_view text, const TextStyle& style) override;
    Extent TextExtent(std::string_view text, bool bold = false) override;

  private:
    void Stroke(std::span<const Point> points, bool smooth);
    void FillSpans();

    QPainter& painter_;
    Pen pen_;
    Point position_;
    PixelRect clip_;
    std::vector<Point> joined_;
    std::vector<ColumnSpan> spans_;
    std::vector<QRect> rects_;
    std::vector<QPointF> points_;
};

}  // namespace kymora
