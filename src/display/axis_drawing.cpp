#include "display/axis_drawing.h"

#include <fmt/format.h>

#include <array>

#include "display/overlays/overlay_fonts.h"
#include "display/trace_drawing.h"
#include "display/view_times.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

using Horizontal = TextStyle::Horizontal;
using Vertical = TextStyle::Vertical;

constexpr uint32_t bracketColour = Rgb(120, 120, 132);
// On light and on dark paper.
constexpr uint32_t selectedColour = Rgb(0, 84, 166), selectedOnDark = Rgb(110, 180, 255);

// Below the plot.
constexpr int bracketTop = 10, bracketBottom = 20, timeTextTop = 25;
// From the window's left.
constexpr int bracketTickEnd = 50, bracketLine = 60, limitRight = 56, labelLeft = 2, labelRoom = 46;
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
        const std::array<Point, 4> bracket{{{bracketTickEnd, band_.top},
                                            {bracketLine, band_.top},
                                            {bracketLine, band_.bottom},
                                            {bracketTickEnd, band_.bottom}}};
        device_.Polyline(bracket);
        const bool limitsFit = band_.Height() >= 2 * textHeight_;
        if (limitsFit) PaintLimits();
        PaintLabel(limitsFit);
    }

  private:
    void PaintLimits() const {
        device_.Text(limitRight, band_.top + 2, LimitText(axis_.max),
                     Style(axis_.ink, Horizontal::right, Vertical::top));
        device_.Text(limitRight, band_.bottom - 2, LimitText(axis_.min),
                     Style(axis_.ink, Horizontal::right, Vertical::bottom));
    }

    // A limit that finds no room loses figures at its end, never its front: half a number would be a wrong
    // one.
    std::string LimitText(double value) const {
        std::string text = AxisNumber(value, axis_.significantFigures);
        for (int figures = 6; figures > 0 && !Fits(text); --figures)
            text = fmt::format("{:.{}g}", value, figures);
        return text;
    }
    bool Fits(const std::string& text) const { return device_.TextExtent(text).width <= limitRight - 2; }

    // Upright while it fits so, else turned along the axis; without the units, and then cut, where room is
    // short.
    void PaintLabel(bool limitsFit) const {
        const int middle = (band_.top + band_.bottom) / 2;
        const int between = band_.Height() - (limitsFit ? 2 * textHeight_ + 6 : 0);
        const int limitWidth = std::max(device_.TextExtent(LimitText(axis_.max)).width,
                                        device_.TextExtent(LimitText(axis_.min)).width);
        const bool meetsLimits = limitsFit && limitRight - limitWidth <= labelLeft + textHeight_;
        const int along = meetsLimits ? between : band_.Height() + axis_.gap;
        const bool uprightFits = between >= textHeight_ - 3;
        const std::string full = axis_.units.empty() ? axis_.label : axis_.label + " (" + axis_.units + ")";
        TextStyle style = Style(axis_.labelInk, Horizontal::left, Vertical::centre);
        for (const std::string& text : {full, axis_.label}) {
            const int width = device_.TextExtent(text).width;
            if (width <= labelRoom && uprightFits) return device_.Text(labelLeft, middle, text, style);
            if (width <= along) return PaintTurned(text, middle, style);
        }
        if (along >= 3 * textHeight_)
            PaintTurned(ElideText(device_, axis_.label, along), middle, style);
        else if (uprightFits)
            device_.Text(labelLeft, middle, ElideText(device_, axis_.label, labelRoom), style);
    }

    void PaintTurned(std::string_view text, int middle, TextStyle style) const {
        style.upward = true;
        style.horizontal = Horizontal::centre;
        device_.Text(labelLeft + textHeight_ / 2, middle, text, style);
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
    if (withTexts)
        DrawTimeTexts(device, plot, {StartText(context), TimebaseCaption(context), EndText(context)},
                      InkOn(context.settings.m_crBackground));
}

PixelRect LimitRect(const PlotContext& context, int axis, bool isMax) {
    const PixelRect band = context.BandOf(axis);
    const int height = std::min(limitHeight, band.Height() / 2);
    if (!context.layout.axesShown || context.SlotOf(axis) < 0 || height < leastLimitHeight) return {};
    const int top = isMax ? band.top : band.bottom - height;
    return {labelLeft, top, limitRight + 2, top + height};
}

void DrawVerticalAxes(const PlotContext& context, DrawDevice& device, bool showSelection) {
    if (!context.layout.axesShown) return;
    for (const int axis : context.shownAxes)
        if (context.BandOf(axis).Height() > 0) DrawValueAxis(device, AxisOf(context, axis, showSelection));
}

void DrawTraceLabels(const PlotContext& context, DrawDevice& device) {
    if (!(context.settings.m_fDataArea > 0.0f) ||
        !(context.settings.m_bShowTraceLabels || context.settings.m_bShowTraceIDs))
        return;
    const PixelRect& plot = context.layout.plot;
    const CDataDoc& doc = context.doc;
    for (const int axis : context.shownAxes) {
        int x = plot.left + 5;
        for (int trace = 0; trace < doc.traceCount; ++trace) {
            if (context.AxisOf(trace) != axis) continue;
            const TraceSettings& settings = doc.traces[static_cast<size_t>(trace)];
            std::string text = context.settings.m_bShowTraceIDs ? std::to_string(trace + 1) : std::string();
            if (context.settings.m_bShowTraceLabels && !settings.traceLabel.empty())
                text += (text.empty() ? "" : ": ") + settings.traceLabel;
            text = ElideText(device, text, plot.right - 5 - x);
            if (text.empty()) continue;
            const int top = context.BandOf(axis).top - std::min(context.layout.axisGap, 8);
            RimmedText(device, x, top, text, Style(settings.traceColour, Horizontal::left, Vertical::top),
                       context.settings.m_crBackground);
            x += device.TextExtent(text).width + 14;
        }
    }
}

}  // namespace kymora
