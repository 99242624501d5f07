#include "display/view_settings.h"

#include <tuple>

#include "display/kymora_view.h"

namespace kymora {

namespace {

auto Switches(const ViewSettings& s) {
    return std::tie(s.m_nTimeUnit, s.m_bTimebasePerViewport, s.m_nPercentStep, s.m_bShowAxes, s.m_bShowSlider,
                    s.m_bShowGrid, s.m_bShowMarkers, s.m_bShowAnnotations, s.m_bShowScaleBars,
                    s.m_bShowTraceLabels, s.m_bShowTraceIDs, s.m_bShowEvents, s.m_bShowEventLabels,
                    s.m_bShowEventChanLabels, s.m_fDataArea, s.m_nSigFigs, s.m_nClipMode, s.m_bAxisVisible,
                    s.m_nAxisOfTrace, s.m_format);
}

bool IsSameTrace(const TraceSettings& a, const TraceSettings& b) {
    return a.traceLabel == b.traceLabel && a.traceUnits == b.traceUnits && a.axisLabel == b.axisLabel &&
           a.traceColour == b.traceColour;
}

// The settings of a view and of the traces that it shows.
class DisplayChange : public UndoChange {
  public:
    explicit DisplayChange(CKymoraView& view)
        : view_(view), held_(std::make_unique<ViewSettings>(view)), traces_(view.GetDocument().traces) {}

    void Swap(CDataDoc& doc) override {
        for (size_t i = 0; i < held_->m_axes.size(); ++i)
            held_->m_axes[i].m_bSelected = view_.m_axes[i].m_bSelected;
        ViewSettings& shown = view_;
        // What changes without a step is no part of one: the page of axes, and the paper, which follows the
        // theme.
        held_->m_nAxesAtOnce = shown.m_nAxesAtOnce;
        held_->m_nFirstAxis = shown.m_nFirstAxis;
        if (!changesPaper_) held_->m_crBackground = shown.m_crBackground;
        std::swap(shown, *held_);
        for (size_t t = 0; t < traces_.size(); ++t) {
            std::swap(doc.traces[t].traceLabel, traces_[t].traceLabel);
            std::swap(doc.traces[t].traceUnits, traces_[t].traceUnits);
            std::swap(doc.traces[t].axisLabel, traces_[t].axisLabel);
            std::swap(doc.traces[t].traceColour, traces_[t].traceColour);
        }
    }
    bool IsChange(const CDataDoc& doc) const override {
        changesPaper_ = held_->m_crBackground != view_.m_crBackground;
        return !held_->IsSameAs(view_) ||
               !std::equal(traces_.begin(), traces_.end(), doc.traces.begin(), IsSameTrace);
    }
    size_t Bytes() const override { return sizeof *held_ + sizeof traces_; }
    bool ConcernsView(const DocumentView& view) const override { return &view == &view_; }

  private:
    CKymoraView& view_;
    std::unique_ptr<ViewSettings> held_;
    std::array<TraceSettings, maxTraces> traces_;
    mutable bool changesPaper_ = false;  // known when the step is recorded
};

}  // namespace

bool ViewSettings::IsSameAs(const ViewSettings& other) const {
    const ViewHabits &habits = *this, &others = other;
    return habits == others && Switches(*this) == Switches(other) &&
           std::equal(m_axes.begin(), m_axes.end(), other.m_axes.begin(),
                      [](const CVertAxis& a, const CVertAxis& b) { return a.HasLimitsOf(b); });
}

DisplayScope::DisplayScope(CKymoraView& view, std::string name, Kind kind)
    : scope_(view.GetDocument(), std::move(name)) {
    if (kind == look) scope_.LeaveUnmodified();
    scope_.Keep(Held(view));
}

std::unique_ptr<UndoChange> DisplayScope::Held(CKymoraView& view) {
    return std::make_unique<DisplayChange>(view);
}

}  // namespace kymora
