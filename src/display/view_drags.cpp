// What the mouse does with the view itself: its slider, its axes and the traces.

#include "display/kymora_view.h"

namespace kymora {

namespace {

// --- slider ---

bool HitsSlider(const CKymoraView& view, int x, int y) {
    return view.m_bShowSlider && view.GetSlider().strip.Contains(x, y);
}

class ThumbDrag : public MouseDrag {
  public:
    explicit ThumbDrag(int grip) : grip_(grip) {}
    void Move(CKymoraView& view, const MouseEvent& event) override {
        const double start = view.GetSlider().StartAt(event.x - grip_, view.GetFileEnd());
        const double lastStart = std::max(0.0, view.GetFileEnd() - view.GetViewport().Duration());
        view.SetStartTime(std::min(start, lastStart));
    }
    void Release(CKymoraView&, const MouseEvent&) override {}
    CursorShape Shape() const override { return CursorShape::horizontal; }

  private:
    int grip_;  // where the mouse holds the thumb, from its left edge
};

std::unique_ptr<MouseDrag> GrabSlider(CKymoraView& view, const MouseEvent& event) {
    const Slider slider = view.GetSlider();
    if (event.x >= slider.thumb.left && event.x < slider.thumb.right)
        return std::make_unique<ThumbDrag>(event.x - slider.thumb.left);
    if (event.x < slider.thumb.left)
        view.LeftPage();
    else
        view.RightPage();
    return nullptr;
}

// --- axes ---

bool HitsAxis(const CKymoraView& view, int x, int y) {
    const Layout& layout = view.GetLayout();
    return layout.axesShown && x < layout.plot.left && view.GetNearestAxis(y) >= 0;
}

std::unique_ptr<MouseDrag> GrabAxis(CKymoraView& view, const MouseEvent& event) {
    view.SelectAxis(view.GetNearestAxis(event.y), event.ctrl);
    return nullptr;
}

constexpr HitTarget targets[] = {
    {HitsSlider, CursorShape::arrow, GrabSlider},
    {HitsAxis, CursorShape::arrow, GrabAxis},
};

}  // namespace

std::span<const HitTarget> ViewTargets() { return targets; }
std::span<const MouseMode> ViewModes() { return {}; }

}  // namespace kymora
