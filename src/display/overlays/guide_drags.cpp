// What the mouse does with the lines of open dialogs: one that shows a parameter can be dragged to set it.

#include <cstdlib>

#include <fmt/format.h>

#include "display/kymora_view.h"
#include "display/overlays/overlay_drawing.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

int Along(const ViewGuide& guide, int x, int y) { return guide.kind == ViewGuide::Kind::time ? x : y; }

// The guide under a pixel that can be dragged: of several the one that is drawn last. Null when there is
// none.
const ViewGuide* GuideAt(const PlotContext& context, ViewGuide::Kind kind, int x, int y) {
    if (!context.layout.plot.Contains(x, y)) return nullptr;
    const int margin = context.GetSession().options.hitMargin;
    const ViewGuide* found = nullptr;
    for (const ViewGuide& guide : context.guides) {
        if (guide.parameter.empty() || guide.kind != kind) continue;
        const auto place = GuidePlace(context, guide);
        if (place && std::abs(*place - Along(guide, x, y)) <= margin) found = &guide;
    }
    return found;
}

// The line stays where it is until the button is released; only then the parameter changes.
class GuideDrag : public MouseDrag {
  public:
    GuideDrag(const PlotContext& context, ViewGuide guide, const MouseEvent& press)
        : guide_(std::move(guide)),
          from_(GuidePlace(context, guide_).value_or(0)),
          grip_(from_ - Along(guide_, press.x, press.y)),
          to_(from_) {}

    void Move(CKymoraView& view, const MouseEvent& event) override {
        const PlotContext context = view.Plot();
        const PixelRect& plot = context.layout.plot;
        const int place = Along(guide_, event.x, event.y) + grip_;
        // Not to where it could not be seen, and so not be taken back.
        const auto [first, last] = IsTime() ? std::pair(plot.left, plot.right) : GuideRows(context, guide_);
        to_ = std::clamp(place, first, std::max(first, last));
    }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Move(view, event);
        if (to_ != from_) view.MoveGuide(guide_, ValueAt(view.Plot()));
    }
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        if (to_ == from_) return;
        const PixelRect& plot = context.layout.plot;
        device.SetPen({guide_.colour, 1, Pen::Style::dashed});
        const Point start = IsTime() ? Point{to_, plot.top} : Point{plot.left, to_};
        device.Line(start.x, start.y, IsTime() ? to_ : plot.right, IsTime() ? plot.bottom : to_);
        DrawDragText(context, device, start,
                     IsTime() ? TimeInUnit(ValueAt(context), context.settings.m_nTimeUnit, 2)
                              : fmt::format("{:.4g}", ValueAt(context)));
    }
    CursorShape Shape() const override { return IsTime() ? CursorShape::horizontal : CursorShape::vertical; }

  private:
    bool IsTime() const { return guide_.kind == ViewGuide::Kind::time; }
    double ValueAt(const PlotContext& context) const {
        return IsTime() ? context.PixelToTime(to_)
                        : context.GetValueScale(context.AxisOf(guide_.trace)).ToValue(to_);
    }

    ViewGuide guide_;
    int from_, grip_, to_;  // pixels; the grip leads from the mouse to the line
};

template <ViewGuide::Kind kind>
bool HitsGuide(const PlotContext& context, int x, int y) {
    return GuideAt(context, kind, x, y) != nullptr;
}

template <ViewGuide::Kind kind>
std::unique_ptr<MouseDrag> GrabGuide(CKymoraView& view, const MouseEvent& event) {
    const PlotContext context = view.Plot();
    return std::make_unique<GuideDrag>(context, *GuideAt(context, kind, event.x, event.y), event);
}

}  // namespace

MouseTool GuideTool() {
    using Kind = ViewGuide::Kind;
    return {{{HitsGuide<Kind::time>, CursorShape::horizontal, GrabGuide<Kind::time>},
             {HitsGuide<Kind::level>, CursorShape::vertical, GrabGuide<Kind::level>}}};
}

}  // namespace kymora
