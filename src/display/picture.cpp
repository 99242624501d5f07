#include "display/picture.h"

#include "display/axis_drawing.h"
#include "display/event_rows.h"
#include "display/overlay_drawing.h"
#include "display/trace_drawing.h"

namespace kymora {

namespace {

constexpr uint32_t sliderColour = Rgb(232, 232, 238);
constexpr uint32_t thumbColour = Rgb(150, 160, 180);

void DrawSlider(const CKymoraView& view, DrawDevice& device) {
    const Slider slider = view.GetSlider();
    if (!view.m_bShowSlider || slider.strip.Width() <= 0) return;
    device.FillRect(slider.strip, sliderColour);
    device.FillRect(slider.thumb, thumbColour);
}

}  // namespace

void PaintRecording(const CKymoraView& view, DrawDevice& device, PictureTarget target) {
    const Layout& layout = view.GetLayout();
    const bool isWindow = target == PictureTarget::window;
    device.FillRect({0, 0, layout.width, layout.height}, view.m_crBackground);
    DrawFrameAndGrid(view, device);
    DrawTraces(view, device);
    DrawTraceLabels(view, device);
    DrawEventRows(view, device);
    DrawVerticalAxes(view, device, isWindow);
    DrawTimeAxis(view, device, !isWindow);
    DrawOverlays(view, device);
    DrawCursors(view, device);
    if (!isWindow) return;
    DrawSlider(view, device);
    view.DrawFeedback(device);
}

}  // namespace kymora
