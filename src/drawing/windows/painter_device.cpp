#include "drawing/windows/painter_device.h"

#include <QFontInfo>
#include <QFontMetrics>
#include <QPaintEngine>
#include <algorithm>

namespace kymora {

namespace {

// The margins around the plot do not grow with the platform's font, so texts follow it within limits.
constexpr int leastTextPixels = 9, mostPlainTextPixels = 13;
constexpr int mostTextPixels = 1000;
constexpr int dashLength = 3;     // pixels, and as much between two
constexpr int strokePiece = 8;    // segments
constexpr int veryManyRows = 16;  // for each column
constexpr PixelRect everywhere{-farthestPixel, -farthestPixel, farthestPixel, farthestPixel};

QString ToLine(std::string_view text) { return QString::fromStdString(OneLine(text)); }

QRect ToQRect(const PixelRect& rect) { return {rect.left, rect.top, rect.Width(), rect.Height()}; }

}  // namespace

QColor ToQColor(uint32_t colour) {
    return {static_cast<int>(colour & 0xFF), static_cast<int>(colour >> 8 & 0xFF),
            static_cast<int>(colour >> 16 & 0xFF)};
}

PainterDevice::PainterDevice(QPainter& painter) : painter_(painter), clip_(everywhere) {
    const QPaintEngine* engine = painter_.paintEngine();
    isVector_ = engine && engine->type() != QPaintEngine::Raster;
    ratio_ = isVector_ || !painter_.device() ? 1.0 : painter_.device()->devicePixelRatioF();
    if (painter_.device() && painter_.device()->devType() == QInternal::Image) {
        auto* image = static_cast<QImage*>(painter_.device());
        const bool isWritable = image->format() == QImage::Format_RGB32 ||
                                image->format() == QImage::Format_ARGB32 ||
                                image->format() == QImage::Format_ARGB32_Premultiplied;
        if (isWritable) image_ = image;
    }
    painter_.setFont(Plain(false).font);
}

const PainterDevice::Lettering& PainterDevice::Plain(bool bold) {
    std::optional<Lettering>& letters = bold ? bold_ : plain_;
    if (!letters) letters = Letters(TextFont(bold));
    return *letters;
}

QFont PainterDevice::TextFont(bool bold) {
    QFont font;
    font.setPixelSize(std::clamp(QFontInfo(font).pixelSize() - 1, leastTextPixels, mostPlainTextPixels));
    font.setBold(bold);
    return font;
}

QFont PainterDevice::UserFont(const FontSpec& spec) {
    QFont font(ToLine(spec.face));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(std::clamp(spec.pixelHeight, 1, mostTextPixels));
    font.setWeight(static_cast<QFont::Weight>(std::clamp(spec.weight, 1, 1000)));
    font.setItalic(spec.italic);
    font.setUnderline(spec.underline);
    font.setStrikeOut(spec.strikeOut);
    return font;
}

void PainterDevice::SetPen(const Pen& pen) { pen_ = pen; }

void PainterDevice::MoveTo(int x, int y) { position_ = {x, y}; }

void PainterDevice::LineTo(int x, int y) {
    const Point points[] = {position_, {x, y}};
    Polyline(points);
}

void PainterDevice::Polyline(std::span<const Point> points) {
    if (points.empty()) return;
    position_ = points.back();
    switch (shape_.Prepare(points, pen_, clip_)) {
    case LineShape::Kind::nothing:
        break;
    case LineShape::Kind::dashes:
        isVector_ || !IsAlongAxes(points) ? Stroke(points, false) : FillDashes(points);
        break;
    case LineShape::Kind::smooth:
        Stroke(shape_.Points(), true);
        break;
    case LineShape::Kind::straight:
        isVector_ ? Stroke(shape_.Points(), false) : FillSegments();
        break;
    case LineShape::Kind::envelope:
        isVector_ ? Stroke(shape_.Points(), false) : FillSpans();
        break;
    }
}

// A line has the same width wherever it lies, also where a pixel of the window is one and a half of the
// screen.
void PainterDevice::FillSegments() {
    const auto points = shape_.Points();
    const int before = (pen_.width - 1) / 2;
    const int thickness = std::max(1, static_cast<int>(pen_.width * ratio_));
    rects_.clear();
    for (size_t i = points.size() == 1 ? 0 : 1; i < points.size(); ++i) {
        const Point from = points[i == 0 ? 0 : i - 1], to = points[i];
        const auto [left, right] = std::minmax({HeldX(from.x), HeldX(to.x)});
        const auto [top, bottom] = std::minmax({HeldY(from.y), HeldY(to.y)});
        const int x = OnScreen(left - before), y = OnScreen(top - before);
        rects_.emplace_back(x, y, OnScreen(right - before) - x + thickness,
                            OnScreen(bottom - before) - y + thickness);
    }
    FillRects();
}

// Qt is slow at dashes, and a grid has hundreds of them in each line.
void PainterDevice::FillDashes(std::span<const Point> points) {
    const int thickness = std::max(1, static_cast<int>(pen_.width * ratio_));
    rects_.clear();
    for (size_t i = 1; i < points.size(); ++i) {
        const auto [left, right] = std::minmax({HeldX(points[i - 1].x), HeldX(points[i].x)});
        const auto [top, bottom] = std::minmax({HeldY(points[i - 1].y), HeldY(points[i].y)});
        const bool isUpright = left == right;
        const int length = isUpright ? bottom - top : right - left;
        for (int at = 0; at <= length; at += 2 * dashLength) {
            const int end = std::min(at + dashLength, length + 1);
            if (isUpright)
                rects_.emplace_back(OnScreen(left), OnScreen(top + at), thickness,
                                    OnScreen(top + end) - OnScreen(top + at));
            else
                rects_.emplace_back(OnScreen(left + at), OnScreen(top),
                                    OnScreen(left + end) - OnScreen(left + at), thickness);
        }
    }
    FillRects();
}

// Columns meet without a seam.
void PainterDevice::FillSpans() {
    const int before = (pen_.width - 1) / 2, behind = pen_.width / 2 + 1;
    rects_.clear();
    for (const ColumnSpan& span : shape_.Spans()) {
        const int top = OnScreen(HeldY(span.top) - before), bottom = OnScreen(HeldY(span.bottom) + behind);
        const int left = OnScreen(span.x - before), right = OnScreen(span.x + behind);
        rects_.emplace_back(left, top, right - left, bottom - top);
    }
    FillRects();
}

// Qt takes a hundred times as long for a column as its pixels do. False where the painter turns or scales
// what is drawn.
bool PainterDevice::FillRectsInImage() {
    if (!image_ || !painter_.worldTransform().isIdentity()) return false;
    const int left = std::max(0, OnScreen(clip_.left)),
              right = std::min(image_->width(), OnScreen(clip_.right));
    const int top = std::max(0, OnScreen(clip_.top)),
              bottom = std::min(image_->height(), OnScreen(clip_.bottom));
    const QRgb colour = ToQColor(pen_.colour).rgb();
    auto* const pixels = reinterpret_cast<QRgb*>(image_->bits());
    const qsizetype stride = image_->bytesPerLine() / static_cast<qsizetype>(sizeof(QRgb));
    for (const QRect& rect : rects_) {
        const int from = std::max(rect.left(), left), to = std::min(rect.left() + rect.width(), right);
        const int end = std::min(rect.top() + rect.height(), bottom);
        for (int y = std::max(rect.top(), top); y < end && from < to; ++y)
            std::fill(pixels + y * stride + from, pixels + y * stride + to, colour);
    }
    return true;
}

void PainterDevice::FillRects() {
    if (FillRectsInImage()) return;
    painter_.setRenderHint(QPainter::Antialiasing, false);
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(ToQColor(pen_.colour));
    const QTransform before = painter_.worldTransform();
    if (ratio_ != 1.0) painter_.scale(1.0 / ratio_, 1.0 / ratio_);
    painter_.drawRects(rects_.data(), static_cast<int>(rects_.size()));
    if (ratio_ != 1.0) painter_.setWorldTransform(before);
}

// Qt strokes lines of a pixel of the screen fast; wider ones cost a thousand times as much where they are
// steep. So two pixels are made of three thin lines, and steep lines that are wider yet are columns.
void PainterDevice::Stroke(std::span<const Point> points, bool smooth) {
    const int thickness = isVector_ ? pen_.width : std::max(1, static_cast<int>(pen_.width * ratio_));
    if (smooth && !isVector_ && thickness > 1 && IsSteep(points, thickness == 2 ? veryManyRows : 1)) {
        shape_.MakeSpans(clip_, pen_);
        return FillSpans();
    }
    points_.clear();
    for (const Point& point : points) points_.emplace_back(point.x + 0.5, point.y + 0.5);
    const bool inThree = smooth && !isVector_ && thickness == 2;
    QPen pen(ToQColor(pen_.colour), inThree ? 1 : thickness);
    pen.setCosmetic(!isVector_);
    pen.setJoinStyle(Qt::BevelJoin);
    pen.setCapStyle(Qt::SquareCap);
    if (pen_.style == Pen::Style::dashed) {
        pen.setCapStyle(Qt::FlatCap);
        pen.setDashPattern({3.0, 3.0});
    }
    painter_.setRenderHint(QPainter::Antialiasing, smooth);
    painter_.setPen(pen);
    DrawPoints(isVector_ || thickness <= 2);
    if (!inThree) return;
    const double step = 1.0 / ratio_;
    for (QPointF& point : points_) point.rx() += step;
    DrawPoints(true);
    for (QPointF& point : points_) point += QPointF(-step, step);
    DrawPoints(true);
}

// The cost of a wide stroke rises faster than its length, so it is drawn in pieces.
void PainterDevice::DrawPoints(bool inOnePiece) {
    const auto count = static_cast<int>(points_.size());
    const int longest = inOnePiece ? count : strokePiece;
    for (int from = 0; from + 1 < count; from += longest)
        painter_.drawPolyline(points_.data() + from, std::min(longest + 1, count - from));
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
    const QFontMetrics& metrics = Plain(bold).metrics;
    return {metrics.horizontalAdvance(ToLine(text)), metrics.height()};
}

Extent PainterDevice::FontExtent(std::string_view text, const FontSpec& font) {
    const QFontMetrics metrics(UserFont(font), painter_.device());
    return {metrics.horizontalAdvance(ToLine(text)), metrics.height()};
}

void PainterDevice::Text(int x, int y, std::string_view text, const TextStyle& style) {
    const Lettering letters = style.font ? Letters(UserFont(*style.font)) : Plain(style.bold);
    const QFontMetrics& metrics = letters.metrics;
    const QString line = ToLine(text);
    const int width = metrics.horizontalAdvance(line);
    // From the aligned point to the start of the baseline, before the text is turned.
    int along = 0, across = metrics.ascent();
    if (style.horizontal == TextStyle::Horizontal::centre) along = -width / 2;
    if (style.horizontal == TextStyle::Horizontal::right) along = -width;
    if (style.vertical == TextStyle::Vertical::centre) across -= metrics.height() / 2;
    if (style.vertical == TextStyle::Vertical::bottom) across -= metrics.height();

    painter_.save();
    painter_.setFont(letters.font);
    painter_.setPen(ToQColor(style.colour));
    painter_.translate(x, y);
    if (style.upward) painter_.rotate(-90.0);
    if (style.escapement != 0) painter_.rotate(-style.escapement / 10.0);
    painter_.drawText(along, across, line);
    painter_.restore();
}

}  // namespace kymora
