#include "display/axis_drawing.h"

#include <fmt/format.h>

#include <array>

#include "display/overlays/overlay_fonts.h"
#include "display/trace_drawing.h"
#include "display/view_times.h"
#include "drawing/number_labels.h"
#include "drawing/ticks.h"

namespace kymora {

namespace {

using Horizontal = TextStyle::Horizontal;
using Vertical = TextStyle::Vertical;

constexpr uint32_t bracketColour = Rgb(120, 120, 132);
// On light and on dark paper.
constexpr uint32_t selectedColour = Rgb(0, 84, 166), selectedOnDark = Rgb(110, 180, 255);

// Below the plot.
constexpr int bracketTop = 10, bracketBottom = 20, timeTextTop = 25;
constexpr int tickTop = 6, tickTextTop = 9, leastBetweenTicks = 12;
// From the left of the axis's room.
constexpr int bracketTickEnd = 50, bracketLine = 60, limitRight = 56, labelLeft = 2, labelRoom = 46;
constexpr int tickLeft = 57, tickTextRight = 54;
constexpr int pixelsPerTick = 36, leastTickLines = 5, pixelsPerTime = 76;
constexpr int leastLimitHeight = 12, limitHeight = 17;  // of the place where a limit is edited

TextStyle Style(uint32_t colour, Horizontal horizontal, Vertical vertical) {
    return {colour, horizontal, vertical};
}

class AxisPainter {
  public:
    AxisPainter(DrawDevice& device, const ValueAxis& axis)
        : device_(device), axis_(axis), band_(axis.band), textHeight_(device.TextExtent("0").height) {}

    void Paint() const {
        device_.SetPen(axis_.isSelected ? Pen{axis_.labelInk, 2} : Pen{bracketColour});
        const std::array<Point, 4> bracket{{{X(bracketTickEnd), band_.top},
                                            {X(bracketLine), band_.top},
                                            {X(bracketLine), band_.bottom},
                                            {X(bracketTickEnd), band_.bottom}}};
        device_.Polyline(bracket);
        const bool limitsFit = band_.Height() >= 2 * textHeight_;
        if (limitsFit || LimitsFitAcross()) PaintLimits(limitsFit);
        if (HasTicks()) PaintTicks();
        PaintLabel(limitsFit);
    }

  private:
    bool HasTicks() const { return axis_.hasTicks && band_.Height() >= leastTickLines * textHeight_; }
    int X(int inRoom) const { return axis_.left + inRoom; }

    // In the middle of the ends of a low band, which has a gap above and below.
    bool LimitsFitAcross() const { return band_.Height() >= textHeight_ && axis_.gap >= textHeight_ / 2; }

    void PaintLimits(bool inside) const {
        const int in = inside ? 2 : 0, right = X(inside ? limitRight : bracketTickEnd - 3);
        device_.Text(right, band_.top + in, LimitText(axis_.max),
                     Style(axis_.ink, Horizontal::right, inside ? Vertical::top : Vertical::centre));
        device_.Text(right, band_.bottom - in, LimitText(axis_.min),
                     Style(axis_.ink, Horizontal::right, inside ? Vertical::bottom : Vertical::centre));
    }

    // Their numbers stand where they touch neither the limits nor the label.
    void PaintTicks() const {
        const double step = TickStep(std::min(axis_.min, axis_.max), std::max(axis_.min, axis_.max),
                                     band_.Height() / pixelsPerTick);
        const AxisScale scale(axis_.max, axis_.min, band_.top, band_.bottom);
        device_.SetPen({bracketColour});
        for (const double tick :
             Ticks(std::min(axis_.min, axis_.max), std::max(axis_.min, axis_.max), step)) {
            const int y = scale.ToPixel(tick);
            device_.Line(X(tickLeft), y, X(bracketLine), y);
            const int away = textHeight_ + textHeight_ / 2 + 2;
            const std::string text = TickText(tick, step);
            if (y < band_.top + away || y > band_.bottom - away ||
                device_.TextExtent(text).width > tickTextRight - labelLeft - textHeight_)
                continue;
            device_.Text(X(tickTextRight), y, text,
                         Style(Blend(axis_.ink, bracketColour, 0.5), Horizontal::right, Vertical::centre));
        }
    }

    // A limit that finds no room loses figures at its end, never its front: half a number would be a wrong
    // one.
    std::string LimitText(double value) const {
        std::string text = AxisNumber(value, axis_.significantFigures);
        for (int figures = 6; figures > 0 && !Fits(text); --figures)
            text = fmt::format("{:.{}g}", value, figures);
        return text;
    }
    bool Fits(const std::string& text) const {
        const bool isAcross = band_.Height() < 2 * textHeight_;
        const int room = isAcross ? bracketTickEnd - 5 - labelLeft - textHeight_ : limitRight - 2;
        return device_.TextExtent(text).width <= room;
    }

    // Turned along the axis, or upright where the axis is low; without the units, and then cut, where room is
    // short.
    void PaintLabel(bool limitsFit) const {
        const int middle = (band_.top + band_.bottom) / 2;
        const int between = band_.Height() - (limitsFit ? 2 * textHeight_ + 6 : 0);
        const int limitWidth = std::max(device_.TextExtent(LimitText(axis_.max)).width,
                                        device_.TextExtent(LimitText(axis_.min)).width);
        const bool meetsLimits = limitsFit && limitRight - limitWidth <= labelLeft + textHeight_;
        const int along = meetsLimits ? between : band_.Height() + 2 * axis_.gap - textHeight_ / 2;
        const bool uprightFits = !HasTicks() && !LimitsFitAcross() && between >= textHeight_ - 3;
        const std::string full = axis_.units.empty() ? axis_.label : axis_.label + " (" + axis_.units + ")";
        const TextStyle style = Style(axis_.labelInk, Horizontal::left, Vertical::centre);
        for (const std::string& text : {full, axis_.label}) {
            const int width = device_.TextExtent(text).width;
            if (width <= labelRoom && uprightFits) return device_.Text(X(labelLeft), middle, text, style);
            if (width <= along) return PaintTurned(text, middle, style);
        }
        if (along >= 3 * textHeight_)
            PaintTurned(ElideText(device_, axis_.label, along), middle, style);
        else if (uprightFits)
            device_.Text(X(labelLeft), middle, ElideText(device_, axis_.label, labelRoom), style);
    }

    void PaintTurned(std::string_view text, int middle, TextStyle style) const {
        style.upward = true;
        style.horizontal = Horizontal::centre;
        device_.Text(X(labelLeft) + textHeight_ / 2, middle, text, style);
    }

    DrawDevice& device_;
    const ValueAxis& axis_;
    const PixelRect& band_;
    int textHeight_;
};

ValueAxis AxisOf(const PlotContext& context, int axis, bool showSelection) {
    const CVertAxis& shown = context.settings.m_axes[static_cast<size_t>(axis)];
    const uint32_t paper = context.settings.m_crBackground;
    ValueAxis drawn{context.BandOf(axis), shown.m_dMin, shown.m_dMax, shown.m_strLabel, shown.m_strUnits};
    drawn.left = context.layout.gutter;
    drawn.gap = context.layout.axisGap;
    drawn.significantFigures = context.settings.m_nSigFigs;
    drawn.ink = drawn.labelInk = InkOn(paper);
    drawn.isSelected = showSelection && shown.m_bSelected;
    if (drawn.isSelected) drawn.labelInk = IsDarkPaper(paper) ? selectedOnDark : selectedColour;
    return drawn;
}

std::string TimebaseCaption(const PlotContext& context) {
    if (!context.settings.m_bShowGrid)
        return std::string("time (") + TimeUnitName(context.settings.m_nTimeUnit) + ")";
    return "time (" + TimebaseText(context) + " " + TimebaseUnitText(context) + ")";
}

}  // namespace

void DrawValueAxis(DrawDevice& device, const ValueAxis& axis) { AxisPainter(device, axis).Paint(); }

void DrawTimeBracket(DrawDevice& device, const PixelRect& plot) {
    const int middle = (plot.left + plot.right) / 2;
    device.SetPen({bracketColour});
    const std::array<Point, 4> bracket{{{plot.left, plot.bottom + bracketBottom},
                                        {plot.left, plot.bottom + bracketTop},
                                        {plot.right, plot.bottom + bracketTop},
                                        {plot.right, plot.bottom + bracketBottom}}};
    device.Polyline(bracket);
    device.Line(middle, plot.bottom + bracketTop, middle, plot.bottom + bracketBottom);
}

void DrawTimeTicks(DrawDevice& device, const PixelRect& plot, const TimeTicks& ticks, uint32_t ink) {
    const TimeScale scale(ticks.viewport, plot.left, plot.Width());
    if (!scale.IsUsable()) return;
    const double origin = ticks.clock.value_or(0.0);
    const double unit = ticks.clock ? 1.0 : TimeUnitFactor(ticks.unit);
    const double from = (ticks.viewport.start + origin) / unit, to = (ticks.viewport.end + origin) / unit;
    const int most = std::max(1, plot.Width() / pixelsPerTime);
    const double step = ticks.clock ? ClockStep(from, to, most) : TickStep(from, to, most);
    const int middle = (plot.left + plot.right) / 2;
    int taken = plot.left + 2;
    for (const double tick : Ticks(from, to, step)) {
        const int x = scale.ToPixel(tick * unit - origin);
        device.SetPen({bracketColour});
        device.Line(x, plot.bottom + tickTop, x, plot.bottom + bracketTop);
        const std::string text = ticks.clock ? ClockText(tick, step) : TickText(tick, step);
        const int half = device.TextExtent(text).width / 2 + 2;
        if (x - half < taken || x + half > plot.right - 2) continue;
        // The mark of the middle gives way to a number that stands there.
        if (x - half < middle + 2 && x + half > middle - 2)
            device.FillRect(
                {middle - 1, plot.bottom + bracketTop + 1, middle + 2, plot.bottom + bracketBottom + 1},
                ticks.paper);
        device.Text(x, plot.bottom + tickTextTop, text,
                    Style(Blend(ink, bracketColour, 0.5), Horizontal::centre, Vertical::top));
        taken = x + half + leastBetweenTicks;
    }
}

void DrawTimeTexts(DrawDevice& device, const PixelRect& plot, const TimeTexts& texts, uint32_t ink) {
    const int y = plot.bottom + timeTextTop;
    device.Text(plot.left, y, texts.start, Style(ink, Horizontal::left, Vertical::top));
    device.Text(plot.right, y, texts.end, Style(ink, Horizontal::right, Vertical::top));
    const int ends = std::max(device.TextExtent(texts.start).width, device.TextExtent(texts.end).width);
    if (device.TextExtent(texts.caption).width + 2 * ends + 16 > plot.Width()) return;
    device.Text((plot.left + plot.right) / 2, y, texts.caption,
                Style(ink, Horizontal::centre, Vertical::top));
}

void DrawTimeAxis(const PlotContext& context, DrawDevice& device, bool withTexts) {
    const PixelRect& plot = context.layout.plot;
    if (!context.settings.m_bShowAxes || plot.Width() <= 0) return;
    DrawTimeBracket(device, plot);
    TimeTicks ticks{context.viewport, context.settings.m_nTimeUnit};
    ticks.paper = context.settings.m_crBackground;
    if (context.settings.m_bClockTime) ticks.clock = context.doc.GetStartClock();
    DrawTimeTicks(device, plot, ticks, InkOn(context.settings.m_crBackground));
    if (withTexts)
        DrawTimeTexts(device, plot, {StartText(context), TimebaseCaption(context), EndText(context)},
                      InkOn(context.settings.m_crBackground));
}

PixelRect LimitRect(const PlotContext& context, int axis, bool isMax) {
    const PixelRect band = context.BandOf(axis);
    const int gap = context.layout.axisGap;
    const bool inside = band.Height() >= 2 * leastLimitHeight;
    const int height = std::min(limitHeight, inside ? band.Height() / 2 : band.Height() / 2 + gap);
    if (!context.layout.axesShown || context.SlotOf(axis) < 0 || height < leastLimitHeight) return {};
    const int outside = inside ? 0 : std::min(gap, height / 2);
    const int top = isMax ? band.top - outside : band.bottom + outside - height;
    const int left = context.layout.gutter;
    return {left + labelLeft, top, left + limitRight + 2, top + height};
}

void DrawVerticalAxes(const PlotContext& context, DrawDevice& device, bool showSelection) {
    if (!context.layout.axesShown) return;
    for (const int axis : context.shownAxes)
        if (context.BandOf(axis).Height() > 0) DrawValueAxis(device, AxisOf(context, axis, showSelection));
}

}  // namespace kymora
