// Scalable Vector Graphics: a group for each part of the picture, by whose id an editor finds it.

#include <fmt/format.h>

#include "drawing/svg_device.h"
#include "drawing/vector_writer.h"

namespace kymora {

namespace {

// Readers of XML hold what they have read until the end of an element, and refuse to hold much.
constexpr uint64_t mostPointsInElement = 5'000;
constexpr double svgBarText = 48.0, svgBarResolution = 600.0;  // units, at that resolution

std::string SvgColour(uint32_t colour) {
    return fmt::format("#{:02x}{:02x}{:02x}", colour & 0xFF, colour >> 8 & 0xFF, colour >> 16 & 0xFF);
}

std::string SvgId(VectorPart part, int number) {
    switch (part) {
    case VectorPart::trace:
        return fmt::format("trace{}", number);
    case VectorPart::events:
        return fmt::format("events{}", number);
    case VectorPart::shades:
        return fmt::format("shades{}", number);
    case VectorPart::ticks:
        return fmt::format("ticks{}", number);
    case VectorPart::markers:
        return "markers";
    case VectorPart::annotations:
        return "annotations";
    case VectorPart::scaleBars:
        return "scalebars";
    case VectorPart::cursors:
        return "cursors";
    case VectorPart::frame:
        return "frame";
    default:
        return "grid";
    }
}

class SvgWriter : public VectorWriter {
  public:
    using VectorWriter::VectorWriter;

    void Begin() override {
        Put(fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n"
                        "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\" "
                        "\"http://www.w3.org/Graphics/SVG/1.1/DTD/svg11.dtd\">\n"
                        "<svg version=\"1.1\" xmlns=\"http://www.w3.org/2000/svg\" width=\"{:g}mm\" "
                        "height=\"{:g}mm\" viewBox=\"0 0 {} {}\" "
                        "stroke-linejoin=\"round\" xml:space=\"preserve\">\n",
                        Page().widthMm, Page().HeightMm(), Page().width, Page().height));
    }

    void BeginPart(VectorPart part, int number, const VectorPen& pen) override {
        part_ = part;
        pen_ = pen;
        hasLines_ = false;
        // Editors that take no size without a unit from a style take that of the group.
        const std::string size =
            part == VectorPart::scaleBars ? fmt::format(" font-size=\"{:g}\"", BarTextSize()) : "";
        // A single point leaves a dot only where lines have round ends.
        const char* const ends = part == VectorPart::trace ? " stroke-linecap=\"round\"" : "";
        Put(fmt::format("<g id=\"{}\"{}{}>\n", SvgId(part, number), ends, size));
    }

    void EndPart() override {
        EndPath();
        if (part_ == VectorPart::trace && !hasLines_) {
            BeginPolyline();
            LineEnded();
        }
        Put("</g>\n");
    }

    void End() override {
        Put("</svg>\n");
        Flush();
    }

    void SetPen(const VectorPen& pen) override {
        EndPath();
        pen_ = pen;
    }

    void Disc(int x, int y, int radius, uint32_t colour) override {
        PutCircle(x, y, radius, SvgColour(colour));
    }
    void MarkedPoint(int x, int y, int radius) override { PutCircle(x, y, radius, "red"); }

    void FilledRect(const PixelRect& area, uint32_t colour) override {
        EndPath();
        Put(fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" style=\"fill:{}\" />\n",
                        area.left, area.top, area.Width(), area.Height(), SvgColour(colour)));
    }

    void Text(int x, int y, const VectorText& text) override {
        EndPath();
        const std::string turned = text.escapement == 0 ? ""
                                                        : fmt::format(" transform=\"rotate({:g} {} {})\"",
                                                                      -text.escapement / 10.0, x, y);
        Put(fmt::format("<text x=\"{}\" y=\"{}\" style=\"font-family: Arial; font-size: {:g}px;{}{} fill: "
                        "{};\"{}>{}</text>\n",
                        x, y, text.size, text.isBold ? " font-weight: bold;" : "",
                        text.isItalic ? " font-style: italic;" : "", SvgColour(text.colour), turned,
                        XmlText(OneLine(text.text))));
    }

    void HorizontalBar(const Bar& bar) override { PutBar(bar, bar.x1, bar.y1 - Beside(bar)); }
    void VerticalBar(const Bar& bar) override {
        PutBar(bar, bar.x1 + RoundHalfAway(bar.width / 2.0) + Beside(bar),
               std::min(bar.y1, bar.y2) + RoundHalfAway(BarTextSize()));
    }

    void GridLine(int x1, int y1, int x2, int y2) override {
        Put(fmt::format("<line style=\"fill:white;stroke:#000000;stroke-width:{:f}\" stroke-opacity=\"0.25\" "
                        "stroke-dasharray=\"{:g}\" x1=\"{}\" y1=\"{}\" x2=\"{}\" "
                        "y2=\"{}\"/>\n",
                        pen_.width, 3.0 * Page().unitsPerPixel, x1, y1, x2, y2));
    }
    double BarTextSize() const override {
        const double resolution = Page().width * mmPerInch / Page().widthMm;
        return std::max(1, RoundHalfAway(svgBarText * resolution / svgBarResolution));
    }

  protected:
    void Points(std::span<const Point> points, bool isFirst) override {
        if (part_ == VectorPart::trace)
            PutPolyline(points, isFirst);
        else
            PutPath(points, isFirst);
    }

    void LineEnded() override {
        if (part_ == VectorPart::trace)
            Put("\"/>\n");
        else if (pointsInPath_ >= mostPointsInElement)
            EndPath();
    }
    uint64_t MostPointsInLine() const override { return mostPointsInElement; }

  private:
    std::string Style() const {
        return fmt::format("style=\"fill:none;stroke:{};stroke-width:{:f}\"", SvgColour(pen_.colour),
                           pen_.width);
    }

    void BeginPolyline() {
        hasLines_ = true;
        Put("<polyline " + Style() + "\n\t\tpoints=\"");
    }

    void PutPolyline(std::span<const Point> points, bool isFirst) {
        if (isFirst) BeginPolyline();
        PutPairs(points, ' ');
    }

    // Many short lines of a part are one element.
    void PutPath(std::span<const Point> points, bool isFirst) {
        if (!isInPath_) Put("<path " + Style() + " d=\"");
        isInPath_ = true;
        pointsInPath_ += points.size();
        if (isFirst) Put('M');
        PutPairs(points, ' ');
    }

    void PutPairs(std::span<const Point> points, char behind) {
        constexpr size_t mostBytes = 32;
        for (const Point& point : points) {
            char* to = Room(mostBytes);
            to = PutInt(to, point.x);
            *to++ = ',';
            to = PutInt(to, point.y);
            *to++ = behind;
            Used(to);
        }
    }

    void EndPath() {
        if (isInPath_) Put("\"/>\n");
        isInPath_ = false;
        pointsInPath_ = 0;
    }

    void PutCircle(int x, int y, int radius, const std::string& colour) {
        EndPath();
        hasLines_ = true;
        Put(fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"{}\" style=\"fill:{}\" />\n", x, y, radius, colour));
    }

    int Beside(const Bar& bar) const { return RoundHalfAway(bar.width / 2.0 + 0.3 * BarTextSize()); }

    void PutBar(const Bar& bar, int textX, int textY) {
        pen_ = {bar.colour, bar.width};
        Put(fmt::format("<polyline {}\n\t\tpoints=\"{},{} {},{} \"/>\n", Style(), bar.x1, bar.y1, bar.x2,
                        bar.y2));
        if (bar.text.empty()) return;
        const std::string colour =
            bar.textColour == 0 ? "" : fmt::format(" fill: {};", SvgColour(bar.textColour));
        Put(fmt::format("<text x=\"{}\" y=\"{}\" style=\"font-family: Arial; font-size : "
                        "{:g};{}\">{}</text>\n",
                        OnPage(textX, TextWidthOf(bar.text, BarTextSize())), textY, BarTextSize(), colour,
                        XmlText(OneLine(bar.text))));
    }

    VectorPart part_ = VectorPart::trace;
    VectorPen pen_;
    bool hasLines_ = false;  // of this part
    bool isInPath_ = false;
    uint64_t pointsInPath_ = 0;
};

}  // namespace

std::unique_ptr<VectorWriter> MakeSvgWriter(const VectorPage& page, VectorWriter::Sink sink) {
    return std::make_unique<SvgWriter>(page, std::move(sink));
}

}  // namespace kymora
