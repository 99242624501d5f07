#pragma once
// Draws into the text of an SVG file: lines as paths, and texts as texts, which editors can change.

#include <array>
#include <map>

#include "drawing/cairo_device.h"

namespace kymora {

// A line of text as XML takes it. The two code points that no XML file may hold become a mark for what is
// missing.
std::string XmlText(std::string_view line);

class SvgDevice : public PictureDevice {
  public:
    SvgDevice(int width, int height);

    using PictureDevice::Encode;
    std::vector<std::byte> Encode(const std::function<bool()>& goOn) override;

    void SetPen(const Pen& pen) override { pen_ = pen; }
    void MoveTo(int x, int y) override { position_ = {x, y}; }
    void LineTo(int x, int y) override;
    void Polyline(std::span<const Point> points) override;
    void Curve(std::span<const Place> places) override;
    void FillPolygon(std::span<const Place> corners, uint32_t colour) override;
    void SetPixel(int x, int y, uint32_t colour) override { FillRect({x, y, x + 1, y + 1}, colour); }
    void FillEllipse(const PixelRect& bounds, uint32_t colour) override;
    void FillRect(const PixelRect& area, uint32_t colour) override;
    void SetClip(const PixelRect& area) override;
    void ClearClip() override;
    void Text(int x, int y, std::string_view text, const TextStyle& style) override;
    void RimmedText(int x, int y, std::string_view text, const TextStyle& style, uint32_t paper) override;
    Extent TextExtent(std::string_view text, bool bold = false) override;
    Extent FontExtent(std::string_view text, const FontSpec& font) override;

  private:
    void Write(std::string_view element);
    std::string PenLook() const;
    void FlushRects();
    void WriteText(int x, int y, std::string_view text, const TextStyle& style, std::string_view look);

    CairoDevice measure_{1, 1, CairoDevice::Kind::page};  // texts are as large as in the other pictures
    int width_, height_;
    std::string body_, clips_;
    std::string rects_;  // of one colour, which follow each other
    uint32_t rectColour_ = 0;
    std::map<std::array<int, 4>, int> clipNumbers_;
    bool isClipped_ = false;
    PixelRect clip_;
    Pen pen_;
    Point position_;
    LineShape shape_;
};

}  // namespace kymora
