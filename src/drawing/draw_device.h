#pragma once
// What all drawing needs of a surface. The window, picture files and tests each implement it; the drawing
// code knows none of them. Coordinates are pixels (or points of a page) from the top left; colours are
// 0x00BBGGRR.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "drawing/viewport.h"
#include "host/font_spec.h"

namespace kymora {

struct Point {
    int x = 0, y = 0;
    bool operator==(const Point&) const = default;
};

// A place between pixels: pixel i reaches from i to i + 1.
struct Place {
    double x = 0.0, y = 0.0;
    bool operator==(const Place&) const = default;
};

struct Extent {
    int width = 0, height = 0;
};

constexpr uint32_t Rgb(uint32_t red, uint32_t green, uint32_t blue) { return red | green << 8 | blue << 16; }

bool IsDarkPaper(uint32_t paper);
// The first colour with a share of the second, 0 to 1.
uint32_t Blend(uint32_t colour, uint32_t other, double share);

// The colour as it can be told from its paper: on a dark one, lighter where it would be lost; on a light one
// as it is.
uint32_t SeenOn(uint32_t colour, uint32_t paper);

struct Pen {
    enum class Style { solid, dashed, null };  // null: lines move the position and leave no mark
    uint32_t colour = 0;
    int width = 1;
    Style style = Style::solid;
    bool operator==(const Pen&) const = default;
};

struct TextStyle {
    enum class Horizontal { left, centre, right };
    enum class Vertical { top, centre, bottom };
    uint32_t colour = 0;
    Horizontal horizontal = Horizontal::left;
    Vertical vertical = Vertical::top;
    bool bold = false;
    bool upward = false;  // turned a quarter, reading from bottom to top; the alignments turn with it
    // In place of the device's own font; `bold` does not count then.
    std::optional<FontSpec> font{};
    int escapement = 0;  // turned by tenths of a degree, against the clock about the aligned point
    bool operator==(const TextStyle&) const = default;
};

class DrawDevice {
  public:
    virtual ~DrawDevice() = default;

    virtual void SetPen(const Pen& pen) = 0;
    virtual void MoveTo(int x, int y) = 0;
    // Draws from the current position, both ends included, and moves there.
    virtual void LineTo(int x, int y) = 0;
    // The same as a MoveTo and LineTos; a device overrides it where it can draw many points faster.
    virtual void Polyline(std::span<const Point> points);
    // A smooth line through places that lie within reach of the surface: for curves of few points, which
    // whole pixels would make uneven.
    virtual void Curve(std::span<const Place> places);
    // What the closed way around the places holds; twice around is outside. The places lie within reach.
    virtual void FillPolygon(std::span<const Place> corners, uint32_t colour);
    // The outline of a rectangle; right and bottom are its last lines.
    void Frame(const PixelRect& rect);
    virtual void SetPixel(int x, int y, uint32_t colour) = 0;
    virtual void FillEllipse(const PixelRect& bounds, uint32_t colour) = 0;
    virtual void FillRect(const PixelRect& area, uint32_t colour) = 0;
    // Replaces the clip; drawing outside of `area` leaves no mark.
    virtual void SetClip(const PixelRect& area) = 0;
    virtual void ClearClip() = 0;
    virtual void Text(int x, int y, std::string_view text, const TextStyle& style) = 0;
    // Text with a rim in the colour of the paper, readable on lines and covering little of them.
    virtual void RimmedText(int x, int y, std::string_view text, const TextStyle& style, uint32_t paper);
    // Size of a line of text before it is turned.
    virtual Extent TextExtent(std::string_view text, bool bold = false) = 0;
    // The same in a font of the user's; a device without fonts scales that of its own.
    virtual Extent FontExtent(std::string_view text, const FontSpec& font);

    void Line(int x1, int y1, int x2, int y2) {
        MoveTo(x1, y1);
        LineTo(x2, y2);
    }
};

// Replaces the points of each pixel column by at most four that cover the same pixels (first, lowest,
// highest, last), so that an envelope of thousands of bins costs no more than the columns it covers.
void JoinColumns(std::span<const Point> points, std::vector<Point>& joined);

// True when the columns of a joined polyline hold more than a point each, as those of an envelope do: crisp
// columns then show it better than smoothed lines.
bool IsDense(std::span<const Point> joined);

// One column of a line that is a pixel wide: rows top to bottom, both included.
struct ColumnSpan {
    int x = 0, top = 0, bottom = 0;
    bool operator==(const ColumnSpan&) const = default;
};
// An envelope as columns: each holds the rows of its own points, joined to its neighbours where they do not
// touch. Columns outside of [left, right) are left out.
void EnvelopeSpans(std::span<const Point> points, int left, int right, std::vector<ColumnSpan>& spans);

// True when each segment keeps its row or its column.
bool IsAlongAxes(std::span<const Point> points);

// How a device of pixels draws a line: every one of them makes the same choice.
class LineShape {
  public:
    enum class Kind {
        nothing,   // the pen leaves no mark
        dashes,    // Points as they are, dashed
        straight,  // Points of a line along the axes
        envelope,  // Spans of a line that is dense: crisp columns show it best
        smooth,    // Points, one for each turn that can be seen, to be smoothed
    };
    // `clip` is what can be seen; no column beyond it is walked through.
    Kind Prepare(std::span<const Point> points, const Pen& pen, const PixelRect& clip);
    std::span<const Point> Points() const { return points_; }
    std::span<const ColumnSpan> Spans() const { return spans_; }

  private:
    std::span<const Point> points_;
    std::vector<Point> joined_;
    std::vector<ColumnSpan> spans_;
};

// Text for one line on a device: valid UTF-8 without control characters.
std::string OneLine(std::string_view text);

inline void RimmedText(DrawDevice& device, int x, int y, std::string_view text, const TextStyle& style,
                       uint32_t paper) {
    device.RimmedText(x, y, text, style, paper);
}

// The text, cut and ended by an ellipsis where it is wider than `width`; empty when not even that fits.
std::string ElideText(DrawDevice& device, std::string_view text, int width);

}  // namespace kymora
