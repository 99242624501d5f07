// Encapsulated PostScript. The header turns the page over, so that y runs down as on the screen.

#include <fmt/format.h>

#include "archive/text_encoding.h"
#include "drawing/vector_writer.h"

namespace kymora {

namespace {

constexpr double epsBarPoints = 8.0;
constexpr double besideBar = 0.01;  // of the page, to the text of a scale bar
constexpr int mostLinesInPath = 1000;

std::string RgbText(uint32_t colour) {
    return fmt::format("{:f} {:f} {:f} setrgbcolor", (colour & 0xFF) / 255.0, (colour >> 8 & 0xFF) / 255.0,
                       (colour >> 16 & 0xFF) / 255.0);
}

const char* EpsFont(bool isBold, bool isItalic) {
    if (isBold) return isItalic ? "Arial-BoldItalicMT" : "Arial-BoldMT";
    return isItalic ? "Arial-ItalicMT" : "Arial";
}

// The characters of the fonts of PostScript; what they do not have becomes a question mark.
std::string ToLatin1(std::string_view utf8) {
    std::string latin;
    for (size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        const size_t bytes = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        uint32_t code = bytes == 1 ? lead : lead & (0xFFu >> (bytes + 1));
        for (size_t k = 1; k < bytes && i + k < utf8.size(); ++k)
            code = code << 6 | (static_cast<unsigned char>(utf8[i + k]) & 0x3Fu);
        if (code == 0x3BC) code = 0xB5;  // a micro that was written as the Greek letter
        latin += static_cast<char>(code < 0x100 ? code : '?');
        i += bytes;
    }
    return latin;
}

std::string EpsString(std::string_view latin) {
    std::string text = "(";
    for (const char c : latin) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '(' || c == ')' || c == '\\')
            text += std::string("\\") + c;
        else if (byte < 0x20 || byte > 0x7E)
            text += fmt::format("\\{:03o}", byte);
        else
            text += c;
    }
    return text + ")";
}

class EpsWriter : public VectorWriter {
  public:
    EpsWriter(const VectorPage& page, Sink sink)
        : VectorWriter(page, std::move(sink)),
          widthPoints_(page.widthMm / mmPerInch * pointsPerInch),
          heightPoints_(page.HeightMm() / mmPerInch * pointsPerInch),
          scaleX_(widthPoints_ / page.width),
          scaleY_(heightPoints_ / page.height) {}

    void Begin() override {
        width_ = Page().unitsPerPixel;
        Put(fmt::format("%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 {0:f} {1:f}\n/m {{moveto}} bind def \n"
                        "/l {{lineto}} bind def\n0 {1:f} translate\n{2:f} {3:f} scale\n{4:f} "
                        "setlinewidth\n\n",
                        widthPoints_, heightPoints_, scaleX_, -scaleY_, width_));
        Put(fmt::format("1 setlinejoin\n0 0 {} {} rectclip\n", Page().width, Page().height));
    }

    void BeginPart(VectorPart part, int number, const VectorPen& pen) override {
        SetWidth(pen);
        SetRound(part == VectorPart::trace);
        part_ = part;
        Put(Heading(part, number));
        if (part == VectorPart::scaleBars) return;
        NewPath(pen);
    }

    void EndPart() override {
        if (part_ == VectorPart::trace && !hasLines_) Put("stroke\n");
        Stroke();
    }

    void End() override {
        // Interpreters that crop the page set its scale anew where they read this, so it comes last.
        Put(fmt::format("\nshowpage\n%%Trailer\n%%HiResBoundingBox: 0 0 {:f} {:f}\n%%EOF\n", widthPoints_,
                        heightPoints_));
        Flush();
    }

    void SetPen(const VectorPen& pen) override {
        if (pen == pen_ && (isFresh_ || hasPath_)) return;
        Stroke();
        SetWidth(pen);
        NewPath(pen);
    }

    void Disc(int x, int y, int radius, uint32_t colour) override {
        Stroke();
        if (!fill_ || *fill_ != colour) Put(RgbText(colour) + "\n");
        fill_ = colour;
        Put(fmt::format("newpath {} {} {} 0 360 arc fill\n", x, y, radius));
        isFresh_ = false;
        hasLines_ = true;
    }

    void FilledRect(const PixelRect& area, uint32_t colour) override {
        Stroke();
        if (!fill_ || *fill_ != colour) Put(RgbText(colour) + "\n");
        fill_ = colour;
        Put(fmt::format("{} {} {} {} rectfill\n", area.left, area.top, area.Width(), area.Height()));
        isFresh_ = false;
    }

    void Text(int x, int y, const VectorText& text) override {
        Stroke();
        Show(x, y, text, text.size * scaleX_);
    }

    void HorizontalBar(const Bar& bar) override {
        PutBar(bar, fmt::format("\n%horizontal scale bar\nnewpath 0 0 0 setrgbcolor {:f} setlinewidth\n",
                                bar.width));
    }
    void VerticalBar(const Bar& bar) override {
        PutBar(bar, fmt::format("\n%vertical scale bar\nnewpath {} {:f} setlinewidth\n", RgbText(bar.colour),
                                bar.width));
    }
    double BarTextSize() const override { return epsBarPoints / scaleX_; }

  protected:
    void Points(std::span<const Point> points, bool isFirst) override {
        constexpr size_t mostBytes = 32;
        if (isFirst && !isFresh_ && !hasPath_) Put("newpath\n" + RgbText(pen_.colour) + "\n");
        for (const Point& point : points) {
            char* to = Room(mostBytes);
            to = PutInt(to, point.x);
            *to++ = ' ';
            to = PutInt(to, point.y);
            *to++ = ' ';
            *to++ = isFirst ? 'm' : 'l';
            *to++ = isFirst ? '\n' : ' ';
            Used(to);
            isFirst = false;
        }
        isFresh_ = false;
        hasPath_ = hasLines_ = true;
        fill_.reset();
    }

    void LineEnded() override {
        if (part_ == VectorPart::trace || ++linesInPath_ >= mostLinesInPath) Stroke();
    }

  private:
    static std::string Heading(VectorPart part, int number) {
        switch (part) {
        case VectorPart::trace:
            return fmt::format("\n\n%Trace {}\n", number);
        case VectorPart::events:
            return fmt::format("\n\n%Event chan {}\n", number);
        case VectorPart::shades:
            return fmt::format("\n\n%Event shades {}\n", number);
        case VectorPart::ticks:
            return fmt::format("\n\n%Event ticks {}\n", number);
        case VectorPart::markers:
            return "%markers\n";
        case VectorPart::annotations:
            return "\n\n%annotations\n";
        case VectorPart::cursors:
            return "\n\n%cursors\n";
        case VectorPart::frame:
            return "\n\n%frame\n";
        case VectorPart::grid:
            return "\n\n%grid\n";
        default:
            return "";
        }
    }

    void SetWidth(const VectorPen& pen) {
        if (pen.width != width_) Put(fmt::format("{:f} setlinewidth\n", pen.width));
        width_ = pen.width;
        if (pen.isDashed != isDashed_) {
            const double dash = 3.0 * Page().unitsPerPixel;
            Put(pen.isDashed ? fmt::format("[{:f}] 0 setdash\n", dash) : "[] 0 setdash\n");
        }
        isDashed_ = pen.isDashed;
    }
    // A single point leaves a dot only where lines have round ends; bars of events end where the events do.
    void SetRound(bool isRound) {
        if (isRound != isRound_) Put(isRound ? "1 setlinecap\n" : "0 setlinecap\n");
        isRound_ = isRound;
    }

    void NewPath(const VectorPen& pen) {
        Put("newpath\n" + RgbText(pen.colour) + "\n");
        pen_ = pen;
        isFresh_ = true;
        hasPath_ = hasLines_ = false;
        fill_.reset();
    }

    void Stroke() {
        if (hasPath_) Put("stroke\n");
        hasPath_ = false;
        linesInPath_ = 0;
    }

    void PutBar(const Bar& bar, const std::string& look) {
        Put(look);
        width_ = bar.width;
        Put(fmt::format("{} {} m {} {} l stroke\n", bar.x1, bar.y1, bar.x2, bar.y2));
        if (bar.text.empty()) return;
        const bool isLevel = bar.y1 == bar.y2;
        const int x = isLevel ? bar.x1 : bar.x1 + RoundHalfAway(besideBar * Page().width);
        const int y = isLevel ? bar.y1 - RoundHalfAway(besideBar * Page().height)
                              : std::min(bar.y1, bar.y2) + RoundHalfAway(BarTextSize());
        Show(OnPage(x, TextWidthOf(bar.text, BarTextSize())), y, {bar.text, 0.0, bar.textColour},
             epsBarPoints);
    }

    // The scale is inverted around the text, so that its letters stand upright and are as large as they say.
    void Show(int x, int y, const VectorText& text, double points) {
        const std::string latin = ToLatin1(OneLine(text.text));
        const bool isPlain =
            std::all_of(latin.begin(), latin.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
        const std::string font = EpsFont(text.isBold, text.isItalic);
        const std::string coded = isPlain ? font : Latin1Font(font);
        Put(fmt::format("gsave\n{}\n{} {} m\n{:f} {:f} scale\n", RgbText(text.colour), x, y, 1.0 / scaleX_,
                        -1.0 / scaleY_));
        if (text.escapement != 0) Put(fmt::format("{:f} rotate\n", text.escapement / 10.0));
        Put(fmt::format("/{} findfont {:g} scalefont setfont\n{} show\ngrestore\n", coded, points,
                        EpsString(latin)));
        isFresh_ = false;
    }

    // The font with the accents and signs of western Europe, which is made when it is first needed.
    std::string Latin1Font(const std::string& font) {
        const std::string coded = font + "-Latin1";
        if (latinFonts_.find(coded + "/") == std::string::npos)
            Put(fmt::format("/{} findfont dup length dict begin {{1 index /FID ne {{def}} {{pop pop}} "
                            "ifelse}} forall /Encoding ISOLatin1Encoding def currentdict end /{} exch "
                            "definefont pop\n",
                            font, coded));
        latinFonts_ += coded + "/";
        return coded;
    }

    double widthPoints_, heightPoints_, scaleX_, scaleY_;
    double width_ = 1.0;
    bool isDashed_ = false, isRound_ = false;
    VectorPart part_ = VectorPart::trace;
    VectorPen pen_;
    bool isFresh_ = false;   // a path was begun, in the colour of the pen
    bool hasPath_ = false;   // there are lines that are not stroked
    bool hasLines_ = false;  // of this part
    int linesInPath_ = 0;
    std::optional<uint32_t> fill_;  // the colour, where it is not that of the pen
    std::string latinFonts_;
};

}  // namespace

std::unique_ptr<VectorWriter> MakeEpsWriter(const VectorPage& page, VectorWriter::Sink sink) {
    return std::make_unique<EpsWriter>(page, std::move(sink));
}

}  // namespace kymora
