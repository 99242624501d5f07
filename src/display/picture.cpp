#include "display/picture.h"

#include "display/axis_drawing.h"
#include "display/events/event_rows.h"
#include "display/overlays/overlay_drawing.h"
#include "display/trace_drawing.h"

namespace kymora {

namespace {

constexpr uint32_t thumbColour = Rgb(140, 152, 176);
constexpr uint32_t selectionColour = Rgb(47, 111, 176);
constexpr double sliderShade = 0.25, selectionShade = 0.2;  // of the colour on the paper

void DrawSlider(const CKymoraView& view, DrawDevice& device) {
    const Slider slider = view.GetSlider();
    if (!view.m_bShowSlider || slider.strip.Width() <= 0) return;
    device.FillRect(slider.strip, Blend(view.m_crBackground, thumbColour, sliderShade));
    device.FillRect(slider.thumb, thumbColour);
}

// Beneath everything else, so that it hides nothing.
void DrawSelection(const CKymoraView& view, DrawDevice& device) {
    const PixelRect& plot = view.GetLayout().plot;
    if (!view.m_selection || plot.Width() <= 0) return;
    const int left = std::max(plot.left, view.TimeToPixel(view.m_selection->start));
    const int right = std::min(plot.right, view.TimeToPixel(view.m_selection->end));
    if (left <= right)
        device.FillRect({left, plot.top, right + 1, plot.bottom},
                        Blend(view.m_crBackground, selectionColour, selectionShade));
}

}  // namespace

void PaintRecording(const CKymoraView& view, DrawDevice& device, PictureTarget target) {
    const Layout& layout = view.GetLayout();
    const bool isWindow = target == PictureTarget::window;
    device.FillRect({0, 0, layout.width, layout.height}, view.m_crBackground);
    DrawEventShades(view, device);
    if (isWindow) DrawSelection(view, device);
    DrawFrameAndGrid(view, device);
    DrawTraces(view, device);
    DrawTraceLabels(view, device);
    DrawEventRows(view, device);
    DrawVerticalAxes(view, device, isWindow);
    DrawTimeAxis(view, device, !isWindow);
    DrawOverlays(view, device);
    if (isWindow) DrawGuides(view, device);
    DrawCursors(view, device);
    if (!isWindow) return;
    DrawSelectedChannel(view, device);
    DrawSlider(view, device);
    view.DrawFeedback(device);
}

}  // namespace kymora
