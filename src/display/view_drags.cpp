// What the mouse does with the view itself: its slider, its axes, the viewport and the selected stretch.

#include "display/axis_drawing.h"
#include "display/axis_edits.h"
#include "display/axis_pages.h"
#include "display/kymora_view.h"

namespace kymora {

namespace {

constexpr int leastDrag = 3;  // pixels; less is the shake of a click
constexpr Pen feedbackPen{Rgb(47, 111, 176), 1, Pen::Style::dashed};
// A viewport whose bins are made from no more samples than these follows the hand.
constexpr int64_t quickSamples = 4'000'000;

bool IsClick(int from, int to) { return std::abs(to - from) < leastDrag; }

// --- slider ---

bool HitsSlider(const PlotContext& context, int x, int y) {
    return context.settings.m_bShowSlider && context.GetSlider().strip.Contains(x, y);
}

class ThumbDrag : public MouseDrag {
  public:
    ThumbDrag(const PlotContext& context, int grip) : grip_(grip), before_(context.viewport) {}
    void Move(CKymoraView& view, const MouseEvent& event) override {
        const double start = view.Plot().GetSlider().StartAt(event.x - grip_, view.Plot().FileEnd());
        const double lastStart = std::max(0.0, view.Plot().FileEnd() - view.GetViewport().Duration());
        view.SetStartTime(std::min(start, lastStart));
    }
    void Release(CKymoraView& view, const MouseEvent& event) override { Move(view, event); }
    void Cancel(CKymoraView& view) override { view.ChangeViewport(before_, false); }
    CursorShape Shape() const override { return CursorShape::horizontal; }

  private:
    int grip_;  // where the mouse holds the thumb, from its left edge
    Viewport before_;
};

std::unique_ptr<MouseDrag> GrabSlider(CKymoraView& view, const MouseEvent& event) {
    const Slider slider = view.Plot().GetSlider();
    if (event.x >= slider.thumb.left && event.x < slider.thumb.right)
        return std::make_unique<ThumbDrag>(view.Plot(), event.x - slider.thumb.left);
    if (event.x < slider.thumb.left)
        view.Go(&Navigation::LeftPage);
    else
        view.Go(&Navigation::RightPage);
    return nullptr;
}

// --- axes ---

bool HitsAxis(const PlotContext& context, int x, int y) {
    const Layout& layout = context.layout;
    return layout.axesShown && x < layout.plot.left && context.GetNearestAxis(y) >= 0;
}

std::unique_ptr<MouseDrag> GrabAxis(CKymoraView& view, const MouseEvent& event) {
    view.SelectAxis(view.Plot().GetNearestAxis(event.y), event.ctrl);
    return nullptr;
}

void OpenFormat(CKymoraView& view, const MouseEvent& event) {
    view.SelectAxis(view.Plot().GetNearestAxis(event.y), false);
    AskFormat(view);
}

bool HitsLimit(const PlotContext& context, int x, int y) {
    if (!HitsAxis(context, x, y)) return false;
    const int axis = context.GetNearestAxis(y);
    return LimitRect(context, axis, true).Contains(x, y) || LimitRect(context, axis, false).Contains(x, y);
}

std::unique_ptr<MouseDrag> GrabLimit(CKymoraView& view, const MouseEvent& event) {
    const int axis = view.Plot().GetNearestAxis(event.y);
    view.SelectAxis(axis, event.ctrl);
    if (view.Window() && !event.ctrl)
        view.Window()->EditLimit(axis, LimitRect(view.Plot(), axis, true).Contains(event.x, event.y));
    return nullptr;
}

// --- the plot: panning and selecting ---

bool HitsPlot(const PlotContext& context, int x, int y) {
    return context.GetTimeScale().IsUsable() && context.layout.plot.Contains(x, y);
}

int HeldToPlot(const PlotContext& context, int x) {
    const PixelRect& plot = context.layout.plot;
    return std::clamp(x, plot.left, std::max(plot.left, plot.right));
}

// The viewport follows the hand where that is quick; where it is not, a line does.
class PanDrag : public MouseDrag {
  public:
    PanDrag(const PlotContext& context, int x) : before_(context.viewport), pressX_(x), x_(x) {
        const int64_t samples = SamplesPerBin(context.bins.m_nCacheLevel) * binCount;
        isLive_ = samples * context.doc.traceCount <= quickSamples;
    }
    void Move(CKymoraView& view, const MouseEvent& event) override {
        x_ = event.x;
        moved_ = moved_ || !IsClick(pressX_, x_);
        if (moved_ && isLive_) Pan(view);
    }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        x_ = event.x;
        if (moved_ || !IsClick(pressX_, x_))
            Pan(view);
        else
            view.Select({});
    }
    void Cancel(CKymoraView& view) override { view.ChangeViewport(before_, false); }
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        const PixelRect& plot = context.layout.plot;
        device.SetPen(feedbackPen);
        const int x = HeldToPlot(context, x_);
        if (moved_) device.Line(x, plot.top, x, plot.bottom);
    }
    CursorShape Shape() const override { return CursorShape::grabbed; }

  private:
    void Pan(CKymoraView& view) const {
        const int width = view.Plot().layout.plot.Width();
        if (width <= 0) return;
        const double time = before_.Duration() * (x_ - pressX_) / width;
        const double start = std::max(0.0, before_.start - time);
        view.ChangeViewport({start, start + before_.Duration()}, !isLive_);
    }

    Viewport before_;
    int pressX_, x_;
    bool isLive_;
    bool moved_ = false;
};

class SelectionDrag : public MouseDrag {
  public:
    SelectionDrag(const PlotContext& context, int x)
        : before_(context.selection), pressX_(HeldToPlot(context, x)) {}
    void Move(CKymoraView& view, const MouseEvent& event) override { Select(view, event.x); }
    void Release(CKymoraView& view, const MouseEvent& event) override { Select(view, event.x); }
    void Cancel(CKymoraView& view) override { view.Select(before_); }
    CursorShape Shape() const override { return CursorShape::horizontal; }

  private:
    void Select(CKymoraView& view, int x) const {
        x = HeldToPlot(view.Plot(), x);
        if (IsClick(pressX_, x)) return view.Select({});
        view.Select(Viewport{view.Plot().PixelToTime(std::min(x, pressX_)),
                             view.Plot().PixelToTime(std::max(x, pressX_))});
    }

    std::optional<Viewport> before_;
    int pressX_;
};

std::unique_ptr<MouseDrag> GrabPlot(CKymoraView& view, const MouseEvent& event) {
    if (event.shift) return std::make_unique<SelectionDrag>(view.Plot(), event.x);
    return std::make_unique<PanDrag>(view.Plot(), event.x);
}

// --- modes ---

class SelectionModeDrag : public SelectionDrag {
  public:
    using SelectionDrag::SelectionDrag;
    void Release(CKymoraView& view, const MouseEvent& event) override {
        SelectionDrag::Release(view, event);
        if (view.m_selection) view.SetMouseMode(mouseNormal);
    }
};

std::unique_ptr<MouseDrag> PressSelection(CKymoraView& view, const MouseEvent& event) {
    if (!HitsPlot(view.Plot(), event.x, event.y)) return nullptr;
    return std::make_unique<SelectionModeDrag>(view.Plot(), event.x);
}

// A frame that is drawn over the plot; its span is shown when it is released.
class MagnifyDrag : public MouseDrag {
  public:
    void Draw(const PlotContext& context, DrawDevice& device) const override {
        const PixelRect frame = Frame(context);
        device.SetPen(feedbackPen);
        device.Line(frame.left, frame.top, frame.right, frame.top);
        device.Line(frame.left, frame.bottom, frame.right, frame.bottom);
        device.Line(frame.left, frame.top, frame.left, frame.bottom);
        device.Line(frame.right, frame.top, frame.right, frame.bottom);
    }

  protected:
    virtual PixelRect Frame(const PlotContext& context) const = 0;
};

class MagnifyTime : public MagnifyDrag {
  public:
    MagnifyTime(const PlotContext& context, int x) : pressX_(HeldToPlot(context, x)), x_(pressX_) {}
    void Move(CKymoraView& view, const MouseEvent& event) override { x_ = HeldToPlot(view.Plot(), event.x); }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Move(view, event);
        if (IsClick(pressX_, x_)) return;
        view.SetMouseMode(mouseNormal);
        const Viewport span{view.Plot().PixelToTime(std::min(pressX_, x_)),
                            view.Plot().PixelToTime(std::max(pressX_, x_))};
        view.ChangeViewport(span);
    }
    CursorShape Shape() const override { return CursorShape::horizontal; }

  protected:
    PixelRect Frame(const PlotContext& context) const override {
        const PixelRect& plot = context.layout.plot;
        return {std::min(pressX_, x_), plot.top, std::max(pressX_, x_), plot.bottom};
    }

  private:
    int pressX_, x_;
};

class MagnifyValue : public MagnifyDrag {
  public:
    MagnifyValue(int axis, int y) : axis_(axis), pressY_(y), y_(y) {}
    void Move(CKymoraView& view, const MouseEvent& event) override {
        const PixelRect band = view.Plot().BandOf(axis_);
        y_ = std::clamp(event.y, band.top, std::max(band.top, band.bottom));
    }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Move(view, event);
        if (IsClick(pressY_, y_)) return;
        view.SetMouseMode(mouseNormal);
        const AxisScale scale = view.Plot().GetValueScale(axis_);
        view.SetLimits(axis_, scale.ToValue(std::max(pressY_, y_)), scale.ToValue(std::min(pressY_, y_)),
                       "Magnify vertically", DisplayScope::look);
    }
    CursorShape Shape() const override { return CursorShape::vertical; }

  protected:
    PixelRect Frame(const PlotContext& context) const override {
        const PixelRect& plot = context.layout.plot;
        return {plot.left, std::min(pressY_, y_), plot.right, std::max(pressY_, y_)};
    }

  private:
    int axis_;
    int pressY_, y_;
};

std::unique_ptr<MouseDrag> PressMagnifyTime(CKymoraView& view, const MouseEvent& event) {
    if (!HitsPlot(view.Plot(), event.x, event.y)) return nullptr;
    return std::make_unique<MagnifyTime>(view.Plot(), event.x);
}

std::unique_ptr<MouseDrag> PressMagnifyValue(CKymoraView& view, const MouseEvent& event) {
    const int axis = view.Plot().GetNearestAxis(event.y);
    if (axis < 0 || !HitsPlot(view.Plot(), event.x, event.y) || view.Plot().BandOf(axis).Height() <= 0)
        return nullptr;
    const PixelRect band = view.Plot().BandOf(axis);
    return std::make_unique<MagnifyValue>(axis, std::clamp(event.y, band.top, band.bottom));
}

}  // namespace

MouseTool ViewTool() {
    return {{{HitsSlider, CursorShape::arrow, GrabSlider},
             {HitsAxisStrip, CursorShape::arrow, GrabAxisStrip},
             {HitsLimit, CursorShape::arrow, GrabLimit},
             {HitsAxis, CursorShape::arrow, GrabAxis, OpenFormat},
             {HitsPlot, CursorShape::arrow, GrabPlot}},
            {{mouseMagnifyHorizontally, "Drag over the time to magnify. ESC = cancel.",
              CursorShape::horizontal, PressMagnifyTime},
             {mouseMagnifyVertically, "Drag over the values to magnify. ESC = cancel.", CursorShape::vertical,
              PressMagnifyValue},
             {mouseSelectTime, "Drag over the time to select. ESC = cancel.", CursorShape::horizontal,
              PressSelection}}};
}

}  // namespace kymora
