#pragma once
// Draws on an image in memory, or on a page of a PDF, and gives the bytes of a file of it.

#include <memory>

#include "drawing/line_mask.h"
#include "drawing/picture_device.h"

namespace kymora {

class CairoDevice : public PictureDevice {
  public:
    enum class Kind { image, page };

    // An image has `scale` pixels for each one that is drawn: on a finer one lines and texts are finer, not
    // smaller. Throws std::runtime_error when there cannot be such an image.
    CairoDevice(int width, int height, Kind kind = Kind::image, double scale = 1.0);
    ~CairoDevice() override;

    using PictureDevice::Encode;
    std::vector<std::byte> Encode(const std::function<bool()>& goOn) override;
    // Where the baseline of a line of text starts, seen from the point that it is aligned to and before it is
    // turned, and how large the line is.
    struct TextPlace {
        double along = 0.0, across = 0.0;
        Extent extent;
    };
    TextPlace PlaceText(std::string_view text, const TextStyle& style);
    // The colour of a pixel of an image, 0x00BBGGRR.
    uint32_t PixelAt(int x, int y) const;

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
    Extent TextExtent(std::string_view text, bool bold = false) override;
    Extent FontExtent(std::string_view text, const FontSpec& font) override;

  private:
    struct Surface;

    bool IsVector() const { return kind_ == Kind::page; }
    int Scaled(int position) const;
    void MakeSurface();
    std::vector<std::byte> EncodePng(const std::function<bool()>& goOn) const;
    Canvas ToCanvas() const;
    void Trace(std::span<const Place> places);  // a path
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
    Kind kind_;
    double scale_;
    PixelRect clip_;
    Pen pen_;
    Point position_;
    LineShape shape_;
    LineMask mask_;
};

}  // namespace kymora
