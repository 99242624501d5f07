#include "display/picture.h"

#include "display/axis_drawing.h"
#include "display/events/event_rows.h"
#include "display/mouse.h"
#include "display/overlays/overlay_drawing.h"
#include "display/trace_drawing.h"

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

}  // namespace

void PaintRecording(const PlotContext& context, DrawDevice& device, PictureTarget target) {
    const Layout& layout = context.layout;
    const bool isWindow = target == PictureTarget::window;
    device.FillRect({0, 0, layout.width, layout.height}, context.settings.m_crBackground);
    DrawEventShades(context, device);
    if (isWindow) DrawSelection(context, device);
    DrawFrameAndGrid(context, device);
    DrawEventNames(context, device);
    DrawTraces(context, device);
    DrawTraceLabels(context, device);
    DrawEventRows(context, device);
    DrawVerticalAxes(context, device, isWindow);
    DrawTimeAxis(context, device, !isWindow);
    DrawOverlays(context, device);
    if (isWindow) DrawGuides(context, device);
    DrawCursors(context, device);
    if (!isWindow) return;
    DrawSelectedChannel(context, device);
    DrawSlider(context, device);
    DrawFeedback(context, device);
}

}  // namespace kymora
