#pragma once
// Draws with a QPainter.

#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>

#include "drawing/draw_device.h"
#include "drawing/line_mask.h"
#include "drawing/windows/text_sprites.h"

namespace kymora {

QColor ToQColor(uint32_t colour);

class PainterDevice : public DrawDevice {
  public:
    // The painter must be active as long as the device is used.
    explicit PainterDevice(QPainter& painter);

    // The font of axes, labels and edit boxes.
    static QFont TextFont(bool bold = false);
    // A font of the user's; Qt puts the nearest in the place of one that does not exist.
    static QFont UserFont(const FontSpec& spec);

    void SetPen(const Pen& pen) override;
    void MoveTo(int x, int y) override;
    void LineTo(int x, int y) override;
    void Polyline(std::span<const Point> points) override;
    void Curve(std::span<const Place> places) override;
    void FillPolygon(std::span<const Place> corners, uint32_t colour) override;
    void SetPixel(int x, int y, uint32_t colour) override;
    void FillEllipse(const PixelRect& bounds, uint32_t colour) override;
    void FillRect(const PixelRect& area, uint32_t colour) override;
    void SetClip(const PixelRect& area) override;
    void ClearClip() override;
    void Text(int x, int y, std::string_view text, const TextStyle& style) override;
    void RimmedText(int x, int y, std::string_view text, const TextStyle& style, uint32_t paper) override;
    Extent TextExtent(std::string_view text, bool bold = false) override;
    Extent FontExtent(std::string_view text, const FontSpec& font) override;

  private:
    void Stroke(std::span<const Point> points, bool smooth);
    QPen LinePen() const;
    // False where the painter turns or scales what is drawn.
    bool WritesPixels() const { return image_ && painter_.worldTransform().isIdentity(); }
    Canvas ToCanvas();
    void FillSegments();
    void FillDashes(std::span<const Point> points);
    void FillSpans();
    void FillRects();
    bool FillInImage(std::span<const QRect> rects, uint32_t fill);
    struct Lettering {
        QFont font;
        QFontMetrics metrics;
        std::string key;  // of what is kept in this font
    };
    Lettering Letters(const QFont& font) const {
        return {font, QFontMetrics(font, painter_.device()), font.key().toStdString() + '\0'};
    }
    const Lettering& Plain(bool bold);
    static void DrawText(QPainter& painter, std::string_view text, const TextStyle& style,
                         const Lettering& letters);
    static void DrawRimmed(QPainter& painter, std::string_view text, const TextStyle& style, uint32_t paper,
                           const Lettering& letters);
    TextSprite MakeSprite(std::string_view text, const TextStyle& style, std::optional<uint32_t> paper,
                          const Lettering& letters) const;
    bool DrawSprite(int x, int y, std::string_view text, const TextStyle& style,
                    std::optional<uint32_t> paper);
    // Held to the surroundings of what can be seen.
    int HeldX(int x) const { return std::clamp(x, clip_.left - pen_.width, clip_.right + pen_.width); }
    int HeldY(int y) const { return std::clamp(y, clip_.top - pen_.width, clip_.bottom + pen_.width); }
    // In pixels of the screen.
    int OnScreen(int pixel) const { return static_cast<int>(std::floor(pixel * ratio_)); }

    QPainter& painter_;
    QImage* image_ = nullptr;  // that is painted on, where its pixels can be written
    std::optional<Lettering> plain_, bold_;
    Pen pen_;
    Point position_;
    PixelRect clip_;
    double ratio_ = 1.0;     // pixels of the screen for one of the window
    bool isVector_ = false;  // a printer or a file of shapes, which has no pixels
    LineShape shape_;
    LineMask mask_;
    std::vector<QRect> rects_;
    std::vector<QPointF> points_;
};

}  // namespace kymora
