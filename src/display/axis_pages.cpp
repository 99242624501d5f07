#include "display/axis_pages.h"

#include <bit>

#include "display/overlays/overlay_fonts.h"

namespace kymora {

namespace {

constexpr int stripGap = 3, stripEnd = 1;  // from the plot, and before the window's edge
constexpr int leastThumb = 6;

int AxesAtOnce(const ViewSettings& settings) {
    const int visible = VisibleAxes(settings);
    return settings.m_nAxesAtOnce > 0 ? std::min(settings.m_nAxesAtOnce, visible) : visible;
}

class StripDrag : public MouseDrag {
  public:
    StripDrag(const CKymoraView& view, int grip) : before_(view.m_nFirstAxis), grip_(grip) {}
    void Move(CKymoraView& view, const MouseEvent& event) override {
        const AxisStrip strip = CalcAxisStrip(view.Plot());
        view.ShowAxisPage(strip.FirstAt(event.y - grip_, VisibleAxes(view)), view.m_nAxesAtOnce);
    }
    void Release(CKymoraView& view, const MouseEvent& event) override { Move(view, event); }
    void Cancel(CKymoraView& view) override { view.ShowAxisPage(before_, view.m_nAxesAtOnce); }
    CursorShape Shape() const override { return CursorShape::vertical; }

  private:
    int before_, grip_;
};

}  // namespace

int VisibleAxes(const ViewSettings& settings) {
    return static_cast<int>(std::ranges::count(settings.m_bAxisVisible, true));
}

bool HasAxisPages(const ViewSettings& settings) { return AxesAtOnce(settings) < VisibleAxes(settings); }
bool HasAxesBefore(const ViewSettings& settings) {
    return HasAxisPages(settings) && settings.m_nFirstAxis > 0;
}
bool HasAxesBehind(const ViewSettings& settings) {
    return HasAxisPages(settings) && settings.m_nFirstAxis + AxesAtOnce(settings) < VisibleAxes(settings);
}

void LimitAxesAtOnce(CKymoraView& view) {
    if (view.m_nAxesAtOnce == 0 && VisibleAxes(view) > mostReadableAxes)
        view.ShowAxisPage(0, usualAxesAtOnce);
}

void ShowFewerAxes(CKymoraView& view) {
    const int shown = AxesAtOnce(view);
    if (shown > 1)
        view.ShowAxisPage(view.m_nFirstAxis,
                          static_cast<int>(std::bit_floor(static_cast<unsigned>(shown - 1))));
}

void ShowMoreAxes(CKymoraView& view) {
    const auto more = static_cast<int>(std::bit_ceil(static_cast<unsigned>(AxesAtOnce(view) + 1)));
    view.ShowAxisPage(view.m_nFirstAxis, more >= VisibleAxes(view) ? 0 : more);
}

void ShowAllAxes(CKymoraView& view) { view.ShowAxisPage(0, 0); }

void ShowNextAxes(CKymoraView& view) {
    view.ShowAxisPage(view.m_nFirstAxis + AxesAtOnce(view), view.m_nAxesAtOnce);
}

void ShowPreviousAxes(CKymoraView& view) {
    view.ShowAxisPage(std::max(0, view.m_nFirstAxis - AxesAtOnce(view)), view.m_nAxesAtOnce);
}

AxisStrip CalcAxisStrip(const PlotContext& context) {
    const int visible = VisibleAxes(context.settings);
    const Layout& layout = context.layout;
    AxisStrip strip;
    if (!HasAxisPages(context.settings) || !layout.axesShown || layout.traces.Height() < leastThumb)
        return strip;
    strip.strip = {layout.plot.right + stripGap, layout.traces.top, layout.width - stripEnd,
                   layout.traces.bottom};
    const auto at = [&](int axis) {
        return layout.traces.top + static_cast<int>(int64_t{axis} * layout.traces.Height() / visible);
    };
    const int first = context.settings.m_nFirstAxis, end = first + AxesAtOnce(context.settings);
    strip.thumb = {strip.strip.left, at(first), strip.strip.right, at(end)};
    if (strip.thumb.Height() < leastThumb) {
        strip.thumb.top = std::min(strip.thumb.top, strip.strip.bottom - leastThumb);
        strip.thumb.bottom = strip.thumb.top + leastThumb;
    }
    return strip;
}

int AxisStrip::FirstAt(int y, int visible) const {
    const int height = std::max(1, strip.Height());
    return std::max(0, RoundHalfAway(static_cast<double>(y - strip.top) * visible / height));
}

void DrawAxisStrip(const PlotContext& context, DrawDevice& device) {
    const AxisStrip strip = CalcAxisStrip(context);
    if (strip.strip.Width() <= 0) return;
    const uint32_t paper = context.settings.m_crBackground;
    device.FillRect(strip.strip, Blend(paper, InkOn(paper), 0.1));
    device.FillRect(strip.thumb, Blend(paper, InkOn(paper), 0.45));
}

bool HitsAxisStrip(const PlotContext& context, int x, int y) {
    const PixelRect strip = CalcAxisStrip(context).strip;
    return x >= strip.left && x < context.layout.width && strip.Width() > 0 && y >= strip.top &&
           y < strip.bottom;
}

std::unique_ptr<MouseDrag> GrabAxisStrip(CKymoraView& view, const MouseEvent& event) {
    const AxisStrip strip = CalcAxisStrip(view.Plot());
    if (strip.thumb.Contains(strip.thumb.left, event.y))
        return std::make_unique<StripDrag>(view, event.y - strip.thumb.top);
    event.y < strip.thumb.top ? ShowPreviousAxes(view) : ShowNextAxes(view);
    return nullptr;
}

}  // namespace kymora
