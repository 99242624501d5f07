#pragma once
// Writes a picture of lines and texts as a vector file, piece by piece as it comes: nothing of it stays in
// memory, so that a line may have any number of points. Coordinates are units of the target device, y runs
// down from the top; text stays text.

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "drawing/draw_device.h"

namespace kymora {

enum class VectorFormat { eps, svg, hpgl };

// By the extension; nothing for one that no vector file has.
std::optional<VectorFormat> VectorFormatOf(const std::filesystem::path& path);

// Of the dialog for the name of a file of any of them.
inline constexpr const char* vectorFilter =
    "EPS Files (*.eps)|*.eps|SVG Files (*.svg)|*.svg|HPGL Files (*.plt)|*.plt||";

inline constexpr double mmPerInch = 25.4, pointsPerInch = 72.0;
inline constexpr int plotterUnits = 8000;  // across the page of a plotter, whatever its size

// The page: so many units across and down, and how wide it is in print.
struct VectorPage {
    int width = 0, height = 0;
    double widthMm = 0.0;
    double unitsPerPixel = 1.0;  // of the picture on the screen
    double HeightMm() const { return width > 0 ? widthMm * height / width : 0.0; }
    // Units of a length in print.
    double OfPoints(double points) const { return points / pointsPerInch * mmPerInch * width / widthMm; }
};

// The page for a plot of so many pixels at the width and resolution; a plotter has units of its own.
VectorPage PageOf(VectorFormat format, int plotWidth, int plotHeight, double widthMm, int resolution);

// The pen of lines.
struct VectorPen {
    uint32_t colour = 0;
    double width = 1.0;  // units
    bool isDashed = false;
    int plotterPen = 1;
    bool operator==(const VectorPen&) const = default;
};

struct VectorText {
    std::string text;
    double size = 10.0;  // units, of the letters
    uint32_t colour = 0;
    bool isBold = false, isItalic = false;
    int escapement = 0;  // tenths of a degree, against the clock
};

// Not their bytes.
inline int64_t LettersOf(std::string_view utf8) {
    return std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; });
}
// How wide a text is, about: what stands beside it keeps clear of it.
double TextWidthOf(std::string_view utf8, double size);

enum class VectorPart { grid, frame, shades, ticks, trace, events, markers, annotations, scaleBars, cursors };

class VectorWriter {
  public:
    using Sink = std::function<void(std::string_view)>;

    VectorWriter(const VectorPage& page, Sink sink);
    virtual ~VectorWriter() = default;
    VectorWriter(const VectorWriter&) = delete;
    VectorWriter& operator=(const VectorWriter&) = delete;

    const VectorPage& Page() const { return page_; }
    // The bytes so far.
    uint64_t Written() const { return flushed_ + at_; }

    // --- from the first to the last ---
    virtual void Begin() = 0;
    // A part of the picture; `number` tells traces (from 1) and event channels (from 0) apart. Its lines have
    // the pen.
    virtual void BeginPart(VectorPart part, int number, const VectorPen& pen) = 0;
    virtual void EndPart() = 0;
    // The end of the file.
    virtual void End() = 0;
    // Hands over what is still held back.
    void Flush();

    // --- within a part ---
    virtual void SetPen(const VectorPen& pen) = 0;
    // The pen goes down; points follow.
    void BeginLine() { held_ = 0, pointsInLine_ = 0; }
    // Points that follow each other in one place are one.
    void LineTo(int x, int y) {
        if (held_ > 0 && points_[held_ - 1] == Point{x, y}) return;
        if (held_ == points_.size()) HandOver();
        points_[held_++] = {x, y};
    }
    // The pen goes up. A line of a single point is written so that it leaves a dot.
    void EndLine();
    void Line(int x1, int y1, int x2, int y2);
    // The part that is the frame around a plot. It lies within the area, so that none of it is cut off at the
    // edge of the page.
    void Frame(const PixelRect& area, const VectorPen& pen);
    virtual void Disc(int x, int y, int radius, uint32_t colour) = 0;
    // A point that is marked in red.
    virtual void MarkedPoint(int x, int y, int radius) { Disc(x, y, radius, 0x0000FF); }
    virtual void FilledRect(const PixelRect& area, uint32_t colour) = 0;
    // (x, y) is where the baseline begins.
    virtual void Text(int x, int y, const VectorText& text) = 0;

    // --- scale bars and grid, which have forms of their own ---
    struct Bar {
        int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
        double width = 1.0;
        uint32_t colour = 0;
        std::string text;  // empty for none
        uint32_t textColour = 0;
    };
    virtual void HorizontalBar(const Bar& bar) = 0;
    virtual void VerticalBar(const Bar& bar) = 0;
    virtual void GridLine(int x1, int y1, int x2, int y2) { Line(x1, y1, x2, y2); }
    // The vertical bar of a plotter's own scale; others have none.
    virtual void AxisBar(int /*bottom*/, int /*top*/) {}
    // How large a text beside a bar is, units.
    virtual double BarTextSize() const = 0;

  protected:
    // The points of a line, which follow those that were written; never none.
    virtual void Points(std::span<const Point> points, bool isFirst) = 0;
    virtual void LineEnded() = 0;
    // Interpreters of PostScript hold a path in memory.
    virtual uint64_t MostPointsInLine() const { return 500'000; }

    // Where a text begins that is to be all on the page.
    int OnPage(int x, double textWidth) const;
    void Put(std::string_view text);
    void Put(char c) {
        if (at_ == buffer_.size()) Flush();
        buffer_[at_++] = c;
    }
    // Room for a number and what follows it; see PutInt.
    char* Room(size_t bytes) {
        if (buffer_.size() - at_ < bytes) Flush();
        return buffer_.data() + at_;
    }
    void Used(char* to) { at_ = static_cast<size_t>(to - buffer_.data()); }
    static char* PutInt(char* to, int value) { return std::to_chars(to, to + 12, value).ptr; }

  private:
    void HandOver();
    void WriteHeld();

    VectorPage page_;
    Sink sink_;
    std::string buffer_;
    size_t at_ = 0;
    uint64_t flushed_ = 0;
    std::array<Point, 1024> points_;
    size_t held_ = 0;
    uint64_t pointsInLine_ = 0;
};

std::unique_ptr<VectorWriter> MakeVectorWriter(VectorFormat format, const VectorPage& page,
                                               VectorWriter::Sink sink);
std::unique_ptr<VectorWriter> MakeEpsWriter(const VectorPage& page, VectorWriter::Sink sink);
std::unique_ptr<VectorWriter> MakeSvgWriter(const VectorPage& page, VectorWriter::Sink sink);
std::unique_ptr<VectorWriter> MakeHpglWriter(const VectorPage& page, VectorWriter::Sink sink);

}  // namespace kymora
