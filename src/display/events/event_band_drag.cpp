#include "display/events/event_band_drag.h"

#include <fmt/format.h>

#include <cstdlib>

#include "display/events/event_row_places.h"
#include "display/kymora_view.h"

namespace kymora {

namespace {

constexpr int edgeReach = 3;  // pixels
constexpr float leastTraces = 0.1f, mostTraces = 1.0f;

// The rows keep their shares of the band; all of it is one step of undo.
class EventBandDrag : public MouseDrag {
  public:
    EventBandDrag(const CKymoraView& view, int pressY)
        : before_(view.m_fDataArea),
          channels_(EventRowChannels(view.GetDocument())),
          edge_(view.Plot().layout.traces.top),
          grip_(pressY - edge_) {
        for (const int channel : channels_) places_.push_back(Row(view, channel).GetDisplayPosition());
    }

    void Move(CKymoraView& view, const MouseEvent& event) override {
        // The pixel of the edge stands for many shares; where it is let go without a move, all stays.
        const int edge = event.y - grip_;
        const float area = view.Plot().layout.DataAreaAt(edge);
        Apply(view, edge == edge_ ? before_ : std::clamp(area, leastTraces, mostTraces));
        if (view.Window()) view.Window()->ShowStatus(StatusOf(view));
    }
    void Release(CKymoraView& view, const MouseEvent& event) override {
        Move(view, event);
        const float after = view.m_fDataArea;
        Cancel(view);
        if (after == before_) return;
        {
            UndoScope scope(view.GetDocument(), "Data area");
            scope.LeaveUnmodified();
            for (const int channel : channels_) scope.KeepChannelSettings(channel);
            scope.Keep(DisplayScope::Held(view));
            Apply(view, after);
        }
        view.GetDocument().UpdateAllViews(UpdateHint::events);  // the rows are those of all views
    }
    void Cancel(CKymoraView& view) override {
        Apply(view, before_);
        view.Mouse().ShowMode();
    }
    CursorShape Shape() const override { return CursorShape::vertical; }

  private:
    static CEventChan& Row(const CKymoraView& view, int channel) {
        return view.GetDocument().eventChannels[static_cast<size_t>(channel)];
    }
    static std::string StatusOf(const CKymoraView& view) {
        return fmt::format("Traces have {:.0f}% of the height", 100.0 * view.m_fDataArea);
    }
    void Apply(CKymoraView& view, float area) const {
        for (size_t i = 0; i < channels_.size(); ++i) Row(view, channels_[i]).SetDisplayPosition(places_[i]);
        ScaleRows(view.GetDocument(), before_, area);
        view.ShareHeight(area);
    }

    float before_;
    std::vector<int> channels_;
    std::vector<double> places_;
    int edge_, grip_;
};

}  // namespace

bool HitsEventBandEdge(const PlotContext& context, int x, int y) {
    const Layout& layout = context.layout;
    return context.settings.m_fDataArea > 0.0f && x >= 0 && x < layout.plot.right &&
           layout.plot.Height() > 0 && std::abs(y - layout.traces.top) <= edgeReach;
}

std::unique_ptr<MouseDrag> GrabEventBandEdge(CKymoraView& view, const MouseEvent& event) {
    return std::make_unique<EventBandDrag>(view, event.y);
}

}  // namespace kymora
