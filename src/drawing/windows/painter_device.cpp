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
constexpr int dashLength = 3;  // pixels, and as much between two
constexpr PixelRect everywhere{-farthestPixel, -farthestPixel, farthestPixel, farthestPixel};

QString ToLine(std::string_view text) { return QString::fromStdString(OneLine(text)); }

// The smallest part of a picture that holds all of its ink.
QRect InkedPart(const QImage& image) {
    int left = image.width(), right = -1, top = image.height(), bottom = -1;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(row[x]) == 0) continue;
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = y;
        }
    }
    return right < 0 ? QRect() : QRect(QPoint(left, top), QPoint(right, bottom));
}

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
bool PainterDevice::FillInImage(std::span<const QRect> rects, uint32_t fill) {
    if (!WritesPixels()) return false;
    const Canvas canvas = ToCanvas();
    const PixelRect& seen = canvas.seen;
    const QRgb colour = ToQColor(fill).rgb();
    for (const QRect& rect : rects) {
        const int from = std::max(rect.left(), seen.left),
                  to = std::min(rect.left() + rect.width(), seen.right);
        const int end = std::min(rect.top() + rect.height(), seen.bottom);
        for (int y = std::max(rect.top(), seen.top); y < end && from < to; ++y)
            std::fill(canvas.pixels + y * canvas.stride + from, canvas.pixels + y * canvas.stride + to,
                      colour);
    }
    return true;
}

void PainterDevice::FillRects() {
    if (FillInImage(rects_, pen_.colour)) return;
    painter_.setRenderHint(QPainter::Antialiasing, false);
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(ToQColor(pen_.colour));
    const QTransform before = painter_.worldTransform();
    if (ratio_ != 1.0) painter_.scale(1.0 / ratio_, 1.0 / ratio_);
    painter_.drawRects(rects_.data(), static_cast<int>(rects_.size()));
    if (ratio_ != 1.0) painter_.setWorldTransform(before);
}

Canvas PainterDevice::ToCanvas() {
    return {reinterpret_cast<QRgb*>(image_->bits()),
            image_->bytesPerLine() / static_cast<qsizetype>(sizeof(QRgb)),
            {std::max(0, OnScreen(clip_.left)), std::max(0, OnScreen(clip_.top)),
             std::min(image_->width(), OnScreen(clip_.right)),
             std::min(image_->height(), OnScreen(clip_.bottom))}};
}

void PainterDevice::Stroke(std::span<const Point> points, bool smooth) {
    // Qt takes ten times as long for a line of a pixel, and a thousand times for a wider one that is steep.
    if (smooth && WritesPixels()) return mask_.Draw(points, pen_, ratio_, ToCanvas());
    points_.clear();
    for (const Point& point : points) points_.emplace_back(point.x + 0.5, point.y + 0.5);
    painter_.setRenderHint(QPainter::Antialiasing, smooth);
    painter_.setPen(LinePen());
    painter_.drawPolyline(points_.data(), static_cast<int>(points_.size()));
}

QPen PainterDevice::LinePen() const {
    QPen pen(ToQColor(pen_.colour),
             isVector_ ? pen_.width : std::max(1, static_cast<int>(pen_.width * ratio_)));
    pen.setCosmetic(!isVector_);
    pen.setJoinStyle(Qt::BevelJoin);
    pen.setCapStyle(Qt::SquareCap);
    if (pen_.style == Pen::Style::dashed) {
        pen.setCapStyle(Qt::FlatCap);
        pen.setDashPattern({3.0, 3.0});
    }
    return pen;
}

void PainterDevice::Curve(std::span<const Place> places) {
    if (places.empty() || pen_.style == Pen::Style::null) return;
    if (pen_.style == Pen::Style::solid && WritesPixels())
        return mask_.DrawThrough(places, pen_, ratio_, ToCanvas());
    points_.clear();
    for (const Place& place : places) points_.emplace_back(place.x, place.y);
    painter_.setRenderHint(QPainter::Antialiasing, true);
    painter_.setPen(LinePen());
    painter_.drawPolyline(points_.data(), static_cast<int>(points_.size()));
}

void PainterDevice::FillPolygon(std::span<const Place> corners, uint32_t colour) {
    points_.clear();
    for (const Place& corner : corners) points_.emplace_back(corner.x, corner.y);
    painter_.setRenderHint(QPainter::Antialiasing, true);
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(ToQColor(colour));
    painter_.drawPolygon(points_.data(), static_cast<int>(points_.size()), Qt::OddEvenFill);
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
    const int left = OnScreen(area.left), top = OnScreen(area.top);
    const QRect onScreen(left, top, OnScreen(area.right) - left, OnScreen(area.bottom) - top);
    if (FillInImage({&onScreen, 1}, colour)) return;
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
    const Lettering& letters = Plain(bold);
    std::string key = letters.key;
    key.append(text);
    return TextSprites::Here().ExtentOf(key, [&] {
        return Extent{letters.metrics.horizontalAdvance(ToLine(text)), letters.metrics.height()};
    });
}

Extent PainterDevice::FontExtent(std::string_view text, const FontSpec& font) {
    const QFontMetrics metrics(UserFont(font), painter_.device());
    return {metrics.horizontalAdvance(ToLine(text)), metrics.height()};
}

// The aligned point is the origin.
void PainterDevice::DrawText(QPainter& painter, std::string_view text, const TextStyle& style,
                             const Lettering& letters) {
    const QFontMetrics& metrics = letters.metrics;
    const QString line = ToLine(text);
    const int width = metrics.horizontalAdvance(line);
    // From the aligned point to the start of the baseline, before the text is turned.
    int along = 0, across = metrics.ascent();
    if (style.horizontal == TextStyle::Horizontal::centre) along = -width / 2;
    if (style.horizontal == TextStyle::Horizontal::right) along = -width;
    if (style.vertical == TextStyle::Vertical::centre) across -= metrics.height() / 2;
    if (style.vertical == TextStyle::Vertical::bottom) across -= metrics.height();

    painter.setFont(letters.font);
    painter.setPen(ToQColor(style.colour));
    if (style.upward) painter.rotate(-90.0);
    if (style.escapement != 0) painter.rotate(-style.escapement / 10.0);
    painter.drawText(along, across, line);
}

void PainterDevice::DrawRimmed(QPainter& painter, std::string_view text, const TextStyle& style,
                               uint32_t paper, const Lettering& letters) {
    TextStyle rim = style;
    rim.colour = paper;
    for (int place = 0; place < 9; ++place) {
        if (place == 4) continue;
        painter.save();
        painter.translate(place % 3 - 1, place / 3 - 1);
        DrawText(painter, text, rim, letters);
        painter.restore();
    }
    DrawText(painter, text, style, letters);
}

TextSprite PainterDevice::MakeSprite(std::string_view text, const TextStyle& style,
                                     std::optional<uint32_t> paper, const Lettering& letters) const {
    // Wherever the text is aligned to, and letters that reach beyond their own width.
    const int reach = letters.metrics.horizontalAdvance(ToLine(text)) + letters.metrics.height();
    const int height = 2 * letters.metrics.height();
    const QRect all = style.upward ? QRect(-height, -reach, 2 * height, 2 * reach)
                                   : QRect(-reach, -height, 2 * reach, 2 * height);
    QImage image((QSizeF(all.size()) * ratio_).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(ratio_);
    QPainter painter(&image);
    painter.translate(-all.topLeft());
    paper ? DrawRimmed(painter, text, style, *paper, letters) : DrawText(painter, text, style, letters);
    painter.end();
    image.setDevicePixelRatio(1.0);
    const QRect inked = InkedPart(image);
    const QPoint origin = (QPointF(all.topLeft()) * ratio_).toPoint();
    return {image.copy(inked), origin + inked.topLeft()};
}

// False where the text has a look that a kept picture does not, or would not lie on the screen's pixels.
bool PainterDevice::DrawSprite(int x, int y, std::string_view text, const TextStyle& style,
                               std::optional<uint32_t> paper) {
    if (!WritesPixels() || style.font || style.escapement != 0) return false;
    const Lettering& letters = Plain(style.bold);
    const uint32_t look[] = {style.colour,
                             paper ? *paper : ~0U,
                             static_cast<uint32_t>(ratio_ * 1024),
                             static_cast<uint32_t>(style.horizontal),
                             static_cast<uint32_t>(style.vertical),
                             style.upward ? 1U : 0U};
    std::string key = letters.key;
    key.append(reinterpret_cast<const char*>(look), sizeof look).append(text);
    const TextSprite& sprite =
        TextSprites::Here().Sprite(key, [&] { return MakeSprite(text, style, paper, letters); });
    if (sprite.image.isNull()) return true;
    const QPoint corner = QPoint(OnScreen(x), OnScreen(y)) + sprite.corner;
    if (ratio_ == 1.0) {
        painter_.drawImage(corner, sprite.image);
        return true;
    }
    painter_.scale(1.0 / ratio_, 1.0 / ratio_);
    painter_.drawImage(corner, sprite.image);
    painter_.resetTransform();
    return true;
}

void PainterDevice::Text(int x, int y, std::string_view text, const TextStyle& style) {
    if (DrawSprite(x, y, text, style, std::nullopt)) return;
    painter_.save();
    painter_.translate(x, y);
    DrawText(painter_, text, style, style.font ? Letters(UserFont(*style.font)) : Plain(style.bold));
    painter_.restore();
}

void PainterDevice::RimmedText(int x, int y, std::string_view text, const TextStyle& style, uint32_t paper) {
    if (DrawSprite(x, y, text, style, paper)) return;
    painter_.save();
    painter_.translate(x, y);
    DrawRimmed(painter_, text, style, paper, style.font ? Letters(UserFont(*style.font)) : Plain(style.bold));
    painter_.restore();
}

}  // namespace kymora
