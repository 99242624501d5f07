#include "display/layout.h"

namespace kymora {

namespace {

constexpr int leftMargin = 70;
constexpr int rightMargin = 10;
constexpr int topMargin = 10;
constexpr int usualGap = 10;
constexpr int leastBandInside = 6;

void PlaceWithAxes(const LayoutInput& input, Layout& layout) {
    layout.plot.left = input.gutter + leftMargin;
    layout.plot.right = input.width - rightMargin;
    layout.plot.top = topMargin;
    const int usable = std::max(0, input.height - aroundPlotHeight);
    const int dataHeight = RoundHalfAway(static_cast<double>(usable) * input.dataArea);
    layout.band = dataHeight / std::max(1, input.visibleAxes);
    layout.traces = layout.plot;
    layout.traces.top = layout.plot.top + usable - dataHeight;
    layout.traces.bottom = layout.traces.top + layout.band * input.visibleAxes;
    layout.plot.bottom = layout.traces.bottom;
}

void PlaceWithoutAxes(const LayoutInput& input, Layout& layout) {
    layout.plot = {input.gutter, 0, input.width, input.height};
    if (!(input.dataArea > 0.0f)) {
        layout.traces = {input.gutter, input.height, input.width, input.height};
        layout.band = 0;
        return;
    }
    const int top = RoundHalfAway((1.0 - input.dataArea) * input.height);
    layout.band = (input.height - top) / std::max(1, input.visibleAxes);
    layout.plot.bottom = top + layout.band * input.visibleAxes;
    layout.traces = {input.gutter, top, input.width, layout.plot.bottom};
}

}  // namespace

Layout CalcLayout(const LayoutInput& input) {
    Layout layout;
    layout.width = input.width;
    layout.height = input.height;
    layout.gutter = input.gutter;
    layout.showAxes = input.showAxes;
    layout.axisGap = usualGap;
    layout.axesShown = input.showAxes && input.dataArea > 0.0f;
    if (input.showAxes)
        PlaceWithAxes(input, layout);
    else
        PlaceWithoutAxes(input, layout);
    if (layout.band < 2 * layout.axisGap + leastBandInside) layout.axisGap = 0;
    return layout;
}

PixelRect Layout::BandLimits(int slot) const {
    const int top = traces.top + band * slot;
    return {plot.left, top + axisGap, plot.right, top + band - axisGap};
}

int Layout::SlotAt(int y, int slots) const {
    if (band <= 0 || y < traces.top) return -1;
    const int slot = (y - traces.top) / band;
    return slot < slots ? slot : -1;
}

int Layout::EventRow(double fraction) const {
    return ClampPixel(int64_t{plot.top} + RoundHalfAway(plot.Height() * fraction));
}

float Layout::DataAreaAt(int y) const {
    const int top = showAxes ? topMargin : 0;
    const int usable = std::max(1, showAxes ? height - aroundPlotHeight : height);
    return static_cast<float>(std::clamp(top + usable - y, 0, usable)) / static_cast<float>(usable);
}

Slider CalcSlider(const Layout& layout, Viewport viewport, double fileEndMs) {
    Slider slider;
    slider.strip = {layout.plot.left, layout.height - sliderHeight, layout.plot.right, layout.height};
    slider.thumb = slider.strip;
    const bool coversFile = viewport.start <= 0.0 && viewport.end >= fileEndMs;
    if (coversFile || !(fileEndMs > 0.0) || slider.strip.Width() <= 0) return slider;

    const double width = slider.strip.Width();
    const int thumbWidth =
        std::clamp(RoundHalfAway(width * viewport.Duration() / fileEndMs), 1, slider.strip.Width());
    const int left = slider.strip.left + RoundHalfAway(std::min(width, width * viewport.start / fileEndMs));
    slider.thumb.left = std::min(left, slider.strip.right - thumbWidth);
    slider.thumb.right = slider.thumb.left + thumbWidth;
    return slider;
}

double Slider::StartAt(int x, double fileEndMs) const {
    if (strip.Width() <= 0) return 0.0;
    return std::max(0.0, fileEndMs * (x - strip.left) / strip.Width());
}

}  // namespace kymora
