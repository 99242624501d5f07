#include "graphs/graph_painter.h"

#include <algorithm>
#include <cmath>

#include "drawing/ticks.h"
#include "graphs/layer_painter.h"

namespace kymora {

namespace {

constexpr int titleEdge = 6;
constexpr int gripLength = 8, gripHalf = 5;

class PanePainter {
  public:
    PanePainter(DrawDevice& device, const GraphPane& pane, const PanePlace& place, const GraphLook& look)
        : device_(device), pane_(pane), place_(place), plot_(place.plot), look_(look) {}

    void Paint() {
        PaintTitle();
        PaintLegend();
        LayerPainter layers(device_, place_, look_);
        if (pane_.IsRose()) {
            layers.PaintRoseAxes();
        } else {
            PaintGrid();
            device_.SetClip(plot_);
        }
        for (const GraphLayer& layer : pane_.layers) layers.Paint(layer);
        if (pane_.IsRose()) {
            PaintRings();
            if (pane_.mean) layers.PaintMean(*pane_.mean);
            return PaintXTitle();
        }
        device_.ClearClip();
        PaintAxes();
        if (const GraphLayer* matrix = MatrixOf(pane_)) PaintColourBar(*matrix);
    }

  private:
    uint32_t GridColour() const { return Blend(look_.paper, look_.ink, 0.12); }
    uint32_t AxisColour() const { return Blend(look_.paper, look_.ink, 0.55); }
    int Column(double x) const { return ClampPixel(std::lround(place_.x.ToPixel(x))); }
    int Row(double y) const { return ClampPixel(std::lround(place_.y.ToPixel(y))); }
    int TextHeight() { return device_.TextExtent("0").height; }

    void PaintTitle() {
        if (pane_.title.empty()) return;
        TextStyle style{look_.ink, TextStyle::Horizontal::centre, TextStyle::Vertical::top, true};
        // Cut by the width of letters that are not bold, with some room.
        const int width = (place_.area.Width() - 2 * titleEdge) * 8 / 9;
        int top = place_.area.top + titleEdge;
        for (const std::string& line : TitleLines(pane_.title)) {
            device_.Text((place_.area.left + place_.area.right) / 2, top, ElideText(device_, line, width),
                         style);
            top += device_.TextExtent("0", true).height;
        }
    }
    void PaintLegend() {
        if (place_.legendHeight == 0) return;
        const int top = plot_.top - place_.legendHeight -
                        (pane_.IsRose() ? TextHeight() + 2 * graphTextGap : graphTextGap);
        const int left = pane_.IsRose() ? place_.area.left + titleEdge : plot_.left;
        const int right = pane_.IsRose() ? place_.area.right - titleEdge : plot_.right;
        for (const LegendEntry& entry : PlaceLegend(device_, pane_, left, right, top)) {
            const uint32_t colour = SeenOn(entry.colour, look_.paper);
            const Point at = entry.at;
            if (entry.kind == LayerKind::points) {
                device_.FillEllipse(
                    {at.x + legendMark / 2 - 2, at.y - 2, at.x + legendMark / 2 + 2, at.y + 2}, colour);
            } else if (entry.kind == LayerKind::curve) {
                device_.SetPen({colour, 2, entry.isDashed ? Pen::Style::dashed : Pen::Style::solid});
                device_.Line(at.x, at.y, at.x + legendMark - graphTextGap, at.y);
            } else if (entry.kind == LayerKind::marks || entry.kind == LayerKind::raster) {
                for (const int x : {4, 7, 9, 14})
                    device_.FillRect({at.x + x, at.y - 3, at.x + x + 1, at.y + 4}, colour);
            } else {
                const double share = entry.isPale ? 0.72 : 0.35;
                device_.FillRect({at.x + 2, at.y - 4, at.x + legendMark - 2, at.y + 4},
                                 Blend(colour, look_.paper, share));
            }
            device_.Text(at.x + legendMark + graphTextGap, at.y, entry.name,
                         {look_.ink, TextStyle::Horizontal::left, TextStyle::Vertical::centre});
        }
    }
    void PaintGrid() {
        if (!look_.hasGrid) return;
        device_.SetPen({GridColour()});
        for (const GraphTick& tick : place_.xTicks)
            device_.Line(Column(tick.at), plot_.top, Column(tick.at), plot_.bottom - 1);
        for (const GraphTick& tick : place_.yTicks)
            device_.Line(plot_.left, Row(tick.at), plot_.right - 1, Row(tick.at));
    }
    void PaintAxes() {
        device_.SetPen({AxisColour()});
        device_.Line(plot_.left, plot_.top, plot_.left, plot_.bottom);
        device_.Line(plot_.left, plot_.bottom, plot_.right, plot_.bottom);
        for (const GraphTick& tick : place_.xTicks)
            device_.Line(Column(tick.at), plot_.bottom, Column(tick.at), plot_.bottom + graphTickLength);
        for (const GraphTick& tick : place_.yTicks)
            device_.Line(plot_.left - graphTickLength, Row(tick.at), plot_.left, Row(tick.at));
        PaintXNumbers();
        const TextStyle side{look_.ink, TextStyle::Horizontal::right, TextStyle::Vertical::centre};
        // Numbers of a log axis come closer to each other; those that would touch are left out.
        int free = farthestPixel;
        for (const GraphTick& tick : place_.yTicks) {
            if (Row(tick.at) > free) continue;
            device_.Text(plot_.left - graphTickLength - graphTextGap, Row(tick.at), tick.text, side);
            free = Row(tick.at) - TextHeight();
        }
        PaintXTitle();
        if (!place_.showsYTitle) return;
        TextStyle upward{look_.ink, TextStyle::Horizontal::centre, TextStyle::Vertical::top};
        upward.upward = true;
        const int numbers = YNumbersWidth();
        device_.Text(plot_.left - graphTickLength - 2 * graphTextGap - numbers - TextHeight(),
                     (plot_.top + plot_.bottom) / 2,
                     ElideText(device_, pane_.y.Label(), plot_.Height() + 2 * TextHeight()), upward);
    }
    int YNumbersWidth() {
        int widest = 0;
        for (const GraphTick& tick : place_.yTicks)
            widest = std::max(widest, device_.TextExtent(tick.text).width);
        return widest;
    }
    void PaintXNumbers() {
        if (!place_.showsX) return;
        const TextStyle below{look_.ink, TextStyle::Horizontal::centre, TextStyle::Vertical::top};
        int free = -farthestPixel;
        for (const GraphTick& tick : place_.xTicks) {
            const int half = device_.TextExtent(tick.text).width / 2, at = Column(tick.at);
            if (at - half < free) continue;
            device_.Text(at, plot_.bottom + graphTickLength + graphTextGap, tick.text, below);
            free = at + half + graphTextGap;
        }
    }
    void PaintXTitle() {
        const std::string label = pane_.IsRose() ? pane_.x.title : pane_.x.Label();
        if (!place_.showsX || label.empty()) return;
        const int numbers = TextHeight() + graphTextGap + (pane_.IsRose() ? 0 : graphTickLength);
        device_.Text((plot_.left + plot_.right) / 2, plot_.bottom + numbers + graphTextGap,
                     ElideText(device_, label, place_.area.Width() - 2 * titleEdge),
                     {look_.ink, TextStyle::Horizontal::centre, TextStyle::Vertical::top});
    }
    // The values of a rose's rings, over its bars.
    void PaintRings() {
        const LayerPainter layers(device_, place_, look_);
        const double most = place_.box.right, step = TickStep(0.0, most, 4);
        for (const double radius : Ticks(0.0, most, step)) {
            if (!(radius > 0.0)) continue;
            const Place at = layers.RosePlace(1.0 / 16.0, radius);
            device_.RimmedText(static_cast<int>(at.x), static_cast<int>(at.y), TickText(radius, step),
                               {look_.ink, TextStyle::Horizontal::centre, TextStyle::Vertical::centre},
                               look_.paper);
        }
    }
    void PaintColourBar(const GraphLayer& matrix) {
        const PixelRect bar = ColourBarRect(place_);
        for (int y = bar.top; y < bar.bottom; ++y) {
            const double share = (bar.bottom - y - 0.5) / std::max(1, bar.Height());
            device_.FillRect({bar.left, y, bar.right, y + 1}, MatrixColour(share, matrix.map));
        }
        const auto [low, high] = MatrixRange(matrix);
        const GraphScale scale(low, high, false, bar.bottom, -bar.Height());
        int widest = 0;
        for (const GraphTick& tick : ColourBarTicks(matrix, bar.Height())) {
            const int y = ClampPixel(std::lround(scale.ToPixel(tick.at)));
            device_.SetPen({AxisColour()});
            device_.Line(bar.right, y, bar.right + graphTickLength, y);
            device_.Text(bar.right + graphTickLength + graphTextGap, y, tick.text,
                         {look_.ink, TextStyle::Horizontal::left, TextStyle::Vertical::centre});
            widest = std::max(widest, device_.TextExtent(tick.text).width);
        }
        TextStyle upward{look_.ink, TextStyle::Horizontal::centre, TextStyle::Vertical::top};
        upward.upward = true;
        int left = bar.right + graphTickLength + 2 * graphTextGap + widest;
        for (const std::string& line : TitleLines(matrix.name)) {
            device_.Text(left, (bar.top + bar.bottom) / 2, ElideText(device_, line, bar.Height()), upward);
            left += TextHeight();
        }
    }

    DrawDevice& device_;
    const GraphPane& pane_;
    const PanePlace& place_;
    const PixelRect& plot_;
    const GraphLook& look_;
};

// The linear parts of a colour from lightness and two axes of hue (B. Ottosson, "A perceptual color space for
// image processing", 2020), as the screen wants them.
uint32_t FromLightness(double lightness, double a, double b) {
    const auto cube = [](double x) { return x * x * x; };
    const double l = cube(lightness + 0.3963377774 * a + 0.2158037573 * b);
    const double m = cube(lightness - 0.1055613458 * a - 0.0638541728 * b);
    const double s = cube(lightness - 0.0894841775 * a - 1.2914855480 * b);
    const auto part = [](double linear) {
        const double held = std::clamp(linear, 0.0, 1.0);
        const double shown = held <= 0.0031308 ? 12.92 * held : 1.055 * std::pow(held, 1.0 / 2.4) - 0.055;
        return static_cast<uint32_t>(std::lround(255.0 * shown));
    };
    return Rgb(part(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s),
               part(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s),
               part(-0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s));
}

}  // namespace

uint32_t MatrixColour(double share, ColourMap map) {
    // From a dark violet over blue and green to a light yellow: lightness and hue go evenly.
    const double at = std::clamp(share, 0.0, 1.0);
    if (map == ColourMap::greys) return FromLightness(0.15 + 0.85 * at, 0.0, 0.0);
    const double hue = (300.0 - 195.0 * at) * M_PI / 180.0, strength = 0.12 + 0.05 * at;
    return FromLightness(0.28 + 0.65 * at, strength * std::cos(hue), strength * std::sin(hue));
}

void PaintPanes(DrawDevice& device, const Graph& graph, std::span<const PanePlace> places,
                const PixelRect& area, const GraphLook& look) {
    device.FillRect(area, look.paper);
    for (size_t i = 0; i < std::min(places.size(), graph.panes.size()); ++i)
        PanePainter(device, graph.panes[i], places[i], look).Paint();
}

void PaintLine(DrawDevice& device, const GraphLine& line, const PanePlace& place, const GraphLook& look,
               bool isFocused) {
    const PixelRect& plot = place.plot;
    const double pixel = line.isUpright ? place.x.ToPixel(line.at) : place.y.ToPixel(line.at);
    const int least = line.isUpright ? plot.left : plot.top, most = line.isUpright ? plot.right : plot.bottom;
    if (!(pixel >= least - 0.5 && pixel <= most + 0.5)) return;
    const int at = static_cast<int>(std::lround(pixel));
    const uint32_t colour = SeenOn(line.colour, look.paper);
    const bool isFixed = line.parameter.empty();
    device.SetPen({colour, isFocused ? 2 : 1, isFixed ? Pen::Style::dashed : Pen::Style::solid});
    if (line.isUpright)
        device.Line(at, plot.top, at, plot.bottom - 1);
    else
        device.Line(plot.left, at, plot.right - 1, at);
    if (isFixed) return;
    // The grip, by which one sees that it can be dragged.
    const double middle = at + 0.5;
    if (line.isUpright) {
        const Place grip[] = {{middle - gripHalf, plot.top - 1.0},
                              {middle + gripHalf, plot.top - 1.0},
                              {middle, plot.top + double{gripLength}}};
        device.FillPolygon(grip, colour);
    } else {
        const Place grip[] = {{plot.right + 1.0, middle - gripHalf},
                              {plot.right + 1.0, middle + gripHalf},
                              {plot.right - double{gripLength}, middle}};
        device.FillPolygon(grip, colour);
    }
}

void PaintGraph(DrawDevice& device, const Graph& graph, std::span<const PanePlace> places,
                const PixelRect& area, const GraphLook& look) {
    PaintPanes(device, graph, places, area, look);
    for (size_t i = 0; i < std::min(places.size(), graph.panes.size()); ++i)
        for (const GraphLine& line : graph.panes[i].lines) PaintLine(device, line, places[i], look);
}

}  // namespace kymora
