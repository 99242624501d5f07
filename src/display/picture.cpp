#include "display/picture.h"

#include <cmath>

#include "display/axis_drawing.h"
#include "display/axis_pages.h"
#include "display/events/event_rows.h"
#include "display/gutter.h"
#include "display/mouse.h"
#include "display/overlays/overlay_drawing.h"
#include "display/overlays/overlay_fonts.h"
#include "display/trace_drawing.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

constexpr uint32_t thumbColour = Rgb(140, 152, 176);
constexpr uint32_t selectionColour = Rgb(47, 111, 176);
constexpr double sliderShade = 0.25, selectionShade = 0.2;  // of the colour on the paper

void DrawSlider(const PlotContext& context, DrawDevice& device) {
    const Slider slider = context.GetSlider();
    if (!context.settings.m_bShowSlider || slider.strip.Width() <= 0) return;
    device.FillRect(slider.strip, Blend(context.settings.m_crBackground, thumbColour, sliderShade));
    device.FillRect(slider.thumb, thumbColour);
}

// Beneath everything else, so that it hides nothing.
void DrawSelection(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    if (!context.selection || plot.Width() <= 0) return;
    const int left = std::max(plot.left, context.TimeToPixel(context.selection->start));
    const int right = std::min(plot.right, context.TimeToPixel(context.selection->end));
    if (left <= right)
        device.FillRect({left, plot.top, right + 1, plot.bottom},
                        Blend(context.settings.m_crBackground, selectionColour, selectionShade));
}

bool ShowsData(const PlotContext& context) {
    const auto [first, end] = context.bins.BinsOf(context.viewport);
    for (int trace = 0; trace < context.doc.traceCount; ++trace) {
        if (!context.IsTraceShown(trace)) continue;
        const auto lows = context.bins.Min(trace);
        const auto active = context.bins.Active(trace);
        for (auto i = static_cast<size_t>(first); i < static_cast<size_t>(end) && i < lows.size(); ++i)
            if (!std::isnan(lows[i]) && (active.empty() || active[i] != 0)) return true;
    }
    return false;
}

// Where the user has come to a place without data, what that is and how to come back.
void DrawWhyBlank(const PlotContext& context, DrawDevice& device) {
    const PixelRect& traces = context.layout.traces;
    const bool isBehind = context.viewport.start > context.FileEnd();
    if (!(context.settings.m_fDataArea > 0.0f) || traces.Width() <= 0 || context.doc.noData) return;
    const bool mayBeGap = context.doc.hasGaps && !context.settings.m_bInactiveSections;
    if (!isBehind && (!mayBeGap || ShowsData(context))) return;
    const std::string ends = ShortNumber(context.FileEnd() / TimeUnitFactor(context.settings.m_nTimeUnit));
    const std::string unit = TimeUnitName(context.settings.m_nTimeUnit);
    const std::string why = isBehind ? "No data here: the recording ends at " + ends + " " + unit + "."
                                     : "No data here: this is a gap in the recording.";
    const char* const how = "Home goes to its start, End to its end, Alt+0 shows all of it.";
    // In the middle of the first band, on a plate of paper, so that the grid does not cross it.
    const PixelRect band = context.layout.BandLimits(0);
    const Extent first = device.TextExtent(why), second = device.TextExtent(how);
    const int middle = (band.left + band.right) / 2, row = (band.top + band.bottom) / 2;
    const int half = std::max(first.width, second.width) / 2 + 6;
    device.FillRect({middle - half, row - first.height - 4, middle + half, row + second.height + 4},
                    context.settings.m_crBackground);
    TextStyle style;
    style.colour = Blend(context.settings.m_crBackground, InkOn(context.settings.m_crBackground), 0.8);
    style.horizontal = TextStyle::Horizontal::centre;
    device.Text(middle, row - first.height, why, style);
    device.Text(middle, row + 2, how, style);
}

}  // namespace

void PaintRecording(const PlotContext& context, DrawDevice& device, PictureTarget target) {
    const Layout& layout = context.layout;
    const bool isWindow = target == PictureTarget::window;
    device.FillRect({0, 0, layout.width, layout.height}, context.settings.m_crBackground);
    DrawEventBand(context, device);
    DrawEventShades(context, device);
    if (isWindow) DrawSelection(context, device);
    DrawFrameAndGrid(context, device);
    DrawEventTicks(context, device);
    DrawTraces(context, device);
    if (isWindow) DrawWhyBlank(context, device);
    DrawTraceNames(context, device);
    DrawEventNames(context, device);
    DrawEventRows(context, device);
    DrawVerticalAxes(context, device, isWindow);
    DrawTimeAxis(context, device, !isWindow);
    DrawOverlays(context, device);
    if (isWindow) DrawGuides(context, device);
    if (isWindow) DrawProposedEvents(context, device);
    DrawCursors(context, device);
    if (!isWindow) return;
    DrawSelectedChannel(context, device);
    DrawSlider(context, device);
    DrawAxisStrip(context, device);
    DrawFeedback(context, device);
}

}  // namespace kymora
