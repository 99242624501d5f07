#pragma once
// A drawing device that keeps what it is told to draw. Text is 6 pixels a character and 12 high.

#include <string>
#include <vector>

#include "drawing/draw_device.h"

namespace kymora::test {

struct DrawnLine {
    Pen pen;
    std::vector<Point> points;
};

struct DrawnText {
    int x = 0, y = 0;
    std::string text;
    TextStyle style;
};

struct DrawnPolygon {
    std::vector<Place> corners;
    uint32_t colour = 0;
};

struct DrawnShape {
    PixelRect rect;
    uint32_t colour = 0;
    bool operator==(const DrawnShape&) const = default;
};

class RecordingDevice : public DrawDevice {
  public:
    std::vector<DrawnLine> lines;  // every polyline, or chain of MoveTo and LineTo, with its pen
    std::vector<DrawnShape> rects, ellipses, pixels;
    std::vector<DrawnPolygon> polygons;
    std::vector<DrawnText> texts;
    std::vector<PixelRect> clips;

    void SetPen(const Pen& pen) override { pen_ = pen; }
    void MoveTo(int x, int y) override { lines.push_back({pen_, {{x, y}}}); }
    void LineTo(int x, int y) override { lines.back().points.push_back({x, y}); }
    void SetPixel(int x, int y, uint32_t colour) override {
        pixels.push_back({{x, y, x + 1, y + 1}, colour});
    }
    void FillEllipse(const PixelRect& bounds, uint32_t colour) override {
        ellipses.push_back({bounds, colour});
    }
    void FillPolygon(std::span<const Place> corners, uint32_t colour) override {
        polygons.push_back({{corners.begin(), corners.end()}, colour});
    }
    void FillRect(const PixelRect& area, uint32_t colour) override { rects.push_back({area, colour}); }
    void SetClip(const PixelRect& area) override { clips.push_back(area); }
    void ClearClip() override { clips.push_back({}); }
    void Text(int x, int y, std::string_view text, const TextStyle& style) override {
        texts.push_back({x, y, std::string(text), style});
    }
    Extent TextExtent(std::string_view text, bool) override {
        return {6 * static_cast<int>(text.size()), 12};
    }

    std::vector<DrawnLine> LinesOf(uint32_t colour) const {
        std::vector<DrawnLine> found;
        for (const DrawnLine& line : lines)
            if (line.pen.colour == colour) found.push_back(line);
        return found;
    }
    std::vector<DrawnShape> RectsOf(uint32_t colour) const {
        std::vector<DrawnShape> found;
        for (const DrawnShape& rect : rects)
            if (rect.colour == colour) found.push_back(rect);
        return found;
    }
    bool Wrote(std::string_view text) const {
        for (const DrawnText& drawn : texts)
            if (drawn.text == text) return true;
        return false;
    }

  private:
    Pen pen_;
};

}  // namespace kymora::test
