// The language of pen plotters. Its y runs up; its pens are numbered, and what the pens hold is the user's.

#include <fmt/format.h>

#include <cmath>

#include "drawing/vector_writer.h"

namespace kymora {

namespace {

constexpr double plotterStepMm = 0.025;  // of the plotter itself
constexpr int divisionUnits = plotterUnits / 8;
constexpr double letterWidth = 0.5, letterHeight = 0.7;  // of a capital, in the size of the text
constexpr double letterPitch = 1.5 * letterWidth;        // from letter to letter
constexpr double hpglBarPoints = 8.0;
constexpr char endOfLabel = '\x03';

class CHpglPlot : public VectorWriter {
  public:
    using VectorWriter::VectorWriter;

    void Begin() override {
        Put(fmt::format("IN;SP1; IP; SC 0,{},0,{};PU;", plotterUnits, Page().height));
        // Where the page lies: the coordinates are stretched to it.
        Put(fmt::format("IP 0,0,{},{};", RoundHalfAway(Page().widthMm / plotterStepMm),
                        RoundHalfAway(Page().HeightMm() / plotterStepMm)));
        Put(fmt::format("SP 1; PA 0,0; PD; PA {},0; PU;", divisionUnits));
    }
    void AxisBar(int bottom, int top) override {
        Put(fmt::format("SP 1; PA 0,{}; PD; PA 0,{}; PU;", Up(bottom), Up(top)));
    }

    void BeginPart(VectorPart, int, const VectorPen& pen) override { SetPen(pen); }
    void EndPart() override { SetDashed(false); }
    void End() override {
        Put("PU; IN; SP;\n");
        Flush();
    }

    void SetPen(const VectorPen& pen) override {
        plotterPen_ = pen.plotterPen;
        SetDashed(pen.isDashed);
    }

    void Disc(int x, int y, int radius, uint32_t) override {
        Put(fmt::format("SP {}; PA {},{}; CI {};", plotterPen_, x, Up(y), std::max(1, radius)));
    }
    // A plotter has no shades: their outline.
    void FilledRect(const PixelRect& area, uint32_t) override {
        BeginLine();
        LineTo(area.left, area.top);
        LineTo(area.right, area.top);
        LineTo(area.right, area.bottom);
        LineTo(area.left, area.bottom);
        LineTo(area.left, area.top);
        EndLine();
    }

    void Text(int x, int y, const VectorText& text) override {
        const double cm = text.size * Page().widthMm / Page().width / 10.0;
        Label(x, y, text.text, cm, text.escapement);
    }
    void HorizontalBar(const Bar& bar) override { PutBar(bar); }
    void VerticalBar(const Bar& bar) override { PutBar(bar); }
    double BarTextSize() const override { return Page().OfPoints(hpglBarPoints); }

  protected:
    void Points(std::span<const Point> points, bool isFirst) override {
        constexpr size_t mostBytes = 40;
        if (isFirst) {
            Put(fmt::format("SP {}; PA {},{}; PD;", plotterPen_, points[0].x, Up(points[0].y)));
            points = points.subspan(1);
        }
        for (const Point& point : points) {
            char* to = Room(mostBytes);
            *to++ = 'P';
            *to++ = 'A';
            *to++ = ' ';
            to = PutInt(to, point.x);
            *to++ = ',';
            to = PutInt(to, Up(point.y));
            *to++ = ';';
            Used(to);
        }
    }
    void LineEnded() override { Put("PU;"); }

  private:
    int Up(int y) const { return Page().height - y; }

    void SetDashed(bool isDashed) {
        if (isDashed != isDashed_) Put(isDashed ? "LT 2,1;" : "LT;");
        isDashed_ = isDashed;
    }

    void PutBar(const Bar& bar) {
        Line(bar.x1, bar.y1, bar.x2, bar.y2);
        if (bar.text.empty()) return;
        const bool isLevel = bar.y1 == bar.y2;
        const int beside = RoundHalfAway(bar.width / 2.0 + 0.3 * BarTextSize());
        const double width = static_cast<double>(LettersOf(bar.text)) * letterPitch * BarTextSize();
        Text(OnPage(isLevel ? bar.x1 : bar.x1 + beside, width),
             isLevel ? bar.y1 - beside : std::min(bar.y1, bar.y2) + RoundHalfAway(BarTextSize()),
             {bar.text, BarTextSize()});
    }

    // Plotters know ASCII only.
    void Label(int x, int y, std::string_view text, double cm, int escapement) {
        std::string plain;
        for (const char c : OneLine(text)) {
            const auto byte = static_cast<unsigned char>(c);
            if (byte < 0x80)
                plain += c;
            else if ((byte == 0xB5 || byte == 0xBC) && plain.ends_with('?'))  // both signs of micro
                plain.back() = 'u';
            else if (byte >= 0xC0)
                plain += '?';
        }
        const double angle = escapement * M_PI / 1800.0;
        Put(fmt::format("SP {}; PA {},{}; SI {:.3f},{:.3f}; DI {:.4f},{:.4f}; LB{}{}", plotterPen_, x, Up(y),
                        letterWidth * cm, letterHeight * cm, std::cos(angle), std::sin(angle), plain,
                        endOfLabel));
    }

    int plotterPen_ = 1;
    bool isDashed_ = false;
};

}  // namespace

std::unique_ptr<VectorWriter> MakeHpglWriter(const VectorPage& page, VectorWriter::Sink sink) {
    return std::make_unique<CHpglPlot>(page, std::move(sink));
}

}  // namespace kymora
