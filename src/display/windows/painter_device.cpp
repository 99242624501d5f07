#include "display/windows/painter_device.h"

#include <QFontMetrics>

namespace kymora {

namespace {

constexpr int textPixels = 11;
constexpr PixelRect everywhere{-farthestPixel, -farthestPixel, farthestPixel, farthestPixel};

QString ToLine(std::string_view text) { return QString::fromStdString(OneLine(text)); }

QRect ToQRect(const PixelRect& rect) { return {rect.left, rect.top, rect.Width(), rect.Height()}; }

}  // namespace

QColor ToQColor(uint32_t colour) {
    return {static_cast<int>(colour & 0xFF), static_cast<int>(colour >> 8 & 0xFF),
            static_cast<int>(colour >> 16 & 0xFF)};
}

PainterDevice::PainterDevice(QPainter& painter) : painter_(painter), clip_(everywhere) {
    painter_.setFont(TextFont());
}

QFont PainterDevice::TextFont(bool bold) {
    QFont font;
    font.setPixelSize(textPixels);
    font.setBold(bold);
    return font;
}

void PainterDevice::SetPen(const Pen& pen) { pen_ = pen; }

void PainterDevice::MoveTo(int x, int y) { position_ = {x, y}; }

void PainterDevice::LineTo(int x, int y) {
    const Point points[] = {position_, {x, y}};
    Polyline(points);
}

// A solid line along an axis, and an envelope, are crisp columns of pixels; any other line is smoothed.
void PainterDevice::Polyline(std::span<const Point> points) {
    if (points.empty()) return;
    position_ = points.back();
    if (pen_.style == Pen::Style::null) return;
    if (pen_.style == Pen::Style::dashed) return Stroke(points, false);

    bool straight = true;
    for (size_t i = 1; i < points.size(); ++i)
        straight = straight && (points[i].x == points[i - 1].x || points[i].y == points[i - 1].y);
    JoinColumns(points, joined_);
    if (straight || IsDense(joined_)) {
        SpansOf(joined_, spans_);
        FillSpans();
    } else {
        Stroke(joined_, true);
    }
}

void PainterDevice::FillSpans() {
    const int before = (pen_.width - 1) / 2, behind = pen_.width / 2;
    rects_.clear();
    for (const ColumnSpan& span : spans_) {
        const int top = std::max(span.top - before, clip_.top);
        const int bottom = std::min(span.bottom + behind + 1, clip_.bottom);
        if (top < bottom) rects_.emplace_back(span.x - before, top, pen_.width, bottom - top);
    }
    painter_.setRenderHint(QPainter::Antialiasing, false);
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(ToQColor(pen_.colour));
    painter_.drawRects(rects_.data(), static_cast<int>(rects_.size()));
}

void PainterDevice::Stroke(std::span<const Point> points, bool smooth) {
    points_.clear();
    for (const Point& point : points) points_.emplace_back(point.x + 0.5, point.y + 0.5);
    QPen pen(ToQColor(pen_.colour), pen_.width);
    pen.setJoinStyle(Qt::BevelJoin);
    pen.setCapStyle(Qt::SquareCap);
    if (pen_.style == Pen::Style::dashed) {
        pen.setCapStyle(Qt::FlatCap);
        pen.setDashPattern({3.0, 3.0});
    }
    painter_.setRenderHint(QPainter::Antialiasing, smooth);
    painter_.setPen(pen);
    painter_.drawPolyline(points_.data(), static_cast<int>(points_.size()));
}

void PainterDevice::SetPixel(int x, int y, uint32_t colour) {
    painter_.fillRect(x, y, 1, 1, ToQColor(colour));
}

void PainterDevice::FillEllipse(const PixelRect& bounds, uint32_t colour) {
    painter_.setRenderHint(QPainter::Antialiasing, true);
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(ToQColor(colour));
    painter_.drawEllipse(ToQRect(bounds).adjusted(0, 0, 1, 1));
}

void PainterDevice::FillRect(const PixelRect& area, uint32_t colour) {
    painter_.fillRect(ToQRect(area), ToQColor(colour));
}

void PainterDevice::SetClip(const PixelRect& area) {
    clip_ = area;
    painter_.setClipRect(ToQRect(area));
}

void PainterDevice::ClearClip() {
    clip_ = everywhere;
    painter_.setClipping(false);
}

Extent PainterDevice::TextExtent(std::string_view text, bool bold) {
    const QFontMetrics metrics(TextFont(bold), painter_.device());
    return {metrics.horizontalAdvance(ToLine(text)), metrics.height()};
}

void PainterDevice::Text(int x, int y, std::string_view text, const TextStyle& style) {
    const QFont font = TextFont(style.bold);
    const QFontMetrics metrics(font, painter_.device());
    const QString line = ToLine(text);
    const int width = metrics.horizontalAdvance(line);
    // From the aligned point to the start of the baseline, before the text is turned.
    int along = 0, across = metrics.ascent();
    if (style.horizontal == TextStyle::Horizontal::centre) along = -width / 2;
    if (style.horizontal == TextStyle::Horizontal::right) along = -width;
    if (style.vertical == TextStyle::Vertical::centre) across -= metrics.height() / 2;
    if (style.vertical == TextStyle::Vertical::bottom) across -= metrics.height();

    painter_.save();
    painter_.setFont(font);
    painter_.setPen(ToQColor(style.colour));
    painter_.translate(x, y);
    if (style.upward) painter_.rotate(-90.0);
    painter_.drawText(along, across, line);
    painter_.restore();
}

}  // namespace kymora
