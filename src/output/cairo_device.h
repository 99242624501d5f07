#pragma once
// Draws on an image in memory and writes it as PNG.

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "display/draw_device.h"

namespace kymora {

class CairoDevice : public DrawDevice {
  public:
    // Throws std::runtime_error when there cannot be such an image.
    CairoDevice(int width, int height);
    ~CairoDevice() override;

    // The bytes of a PNG file. Throws std::runtime_error.
    // Asks `goOn` now and then; empty when it said no.
    std::vector<std::byte> EncodePng(const std::function<bool()>& goOn = [] { return true; }) const;
    // The colour of a pixel, 0x00BBGGRR.
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

  private:
    struct Surface;

    void Stroke(std::span<const Point> points, bool smooth);
    void FillSpans();
    void SelectFont(bool bold);
    void SetColour(uint32_t colour);

    std::unique_ptr<Surface> surface_;
    int width_, height_;
    PixelRect clip_;
    Pen pen_;
    Point position_;
    std::vector<Point> joined_;
    std::vector<ColumnSpan> spans_;
};

}  // namespace kymora
