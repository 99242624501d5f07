#pragma once
// Draws on an image in memory, or on a page of shapes, and gives the bytes of a file of it.

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "drawing/draw_device.h"

namespace kymora {

enum class PictureFormat { png, svg, pdf };

class CairoDevice : public DrawDevice {
  public:
    // Throws std::runtime_error when there cannot be such an image.
    CairoDevice(int width, int height, PictureFormat format = PictureFormat::png);
    ~CairoDevice() override;

    // The bytes of the file. A page of shapes is finished by it: nothing can be drawn on it afterwards. Asks
    // `goOn` now and then; empty when it said no. Throws std::runtime_error.
    std::vector<std::byte> Encode(const std::function<bool()>& goOn = [] { return true; });
    // The colour of a pixel of an image, 0x00BBGGRR.
    uint32_t PixelAt(int x, int y) const;

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
    Extent FontExtent(std::string_view text, const FontSpec& font) override;

  private:
    struct Surface;

    bool IsVector() const { return format_ != PictureFormat::png; }
    void MakeSurface();
    std::vector<std::byte> EncodePng(const std::function<bool()>& goOn) const;
    void Stroke(std::span<const Point> points, bool smooth);
    void FillSegments();
    void FillSpans();
    void SelectFont(bool bold);
    void SelectFont(const FontSpec& font);
    Extent ExtentOf(const std::string& line);  // in the selected font
    void StrokeUnder(const FontSpec& font, double along, double baseline, int width);
    void SetColour(uint32_t colour);

    std::unique_ptr<Surface> surface_;
    int width_, height_;
    PictureFormat format_;
    PixelRect clip_;
    Pen pen_;
    Point position_;
    LineShape shape_;
};

}  // namespace kymora
