#pragma once
// Smooth lines on an image of pixels: how much of each pixel a line covers, collected over all its segments
// and then laid on at once, so that pixels where segments meet are not laid on twice. A segment is walked
// along its longer side, and covers on each step an interval across it, as wide as the line is there
// (after X. Wu, "An efficient antialiasing technique", 1991, for lines of any width).

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "drawing/draw_device.h"

namespace kymora {

// An image of opaque pixels (0xffRRGGBB), of which `stride` make a row, and what of it may be drawn on.
struct Canvas {
    uint32_t* pixels = nullptr;
    std::ptrdiff_t stride = 0;
    PixelRect seen;
};

class LineMask {
  public:
    // A line through the middles of the points' pixels, of the pen's colour and width; `scale` pixels of the
    // image for one of the points'. Both ends reach on by half the width.
    void Draw(std::span<const Point> points, const Pen& pen, double scale, const Canvas& canvas);
    // The same through places.
    void DrawThrough(std::span<const Place> places, const Pen& pen, double scale, const Canvas& canvas);

  private:
    void Begin(std::span<const Place> places, double scale, double width, const PixelRect& seen);
    void AddSegment(double x1, double y1, double x2, double y2, double width);
    void AddUpright(double x1, double y1, double x2, double y2, double width);
    // From pixel to pixel along the longer side. `across` is the middle of the line at `from`, `reach` half
    // of what it covers across.
    template <bool along>
    void Walk(double from, double to, double across, double slope, double reach);
    // One step: `place` is the pixel along, [from, to) what is covered across it, in parts of a pixel.
    template <bool along>
    void Cover(int place, int64_t from, int64_t to, int64_t share);
    void Blend(const Canvas& canvas, uint32_t colour) const;

    PixelRect area_;             // of the image
    std::vector<uint8_t> mask_;  // of area_, row by row
    std::vector<Place> middles_;
};

}  // namespace kymora
