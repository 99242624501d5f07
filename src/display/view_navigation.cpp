// How a view moves its viewport.

#include <cmath>

#include "display/kymora_view.h"

namespace kymora {

namespace {

constexpr double sameStartMs = 1e-7;

}  // namespace

Navigation CKymoraView::GetNavigation() const {
    Navigation navigation;
    navigation.shown = GetViewport();
    navigation.end = Plot().FileEnd();
    navigation.step = GetViewport().Duration() * m_nPercentStep / 100.0;
    navigation.keepsLeftEdge = GetSession().options.expandContractFocus != 0;
    navigation.sample = doc_.sampleInterval;
    navigation.pixels = layout_.plot.Width();
    navigation.farthest = 4.0 * doc_.TimeOf(longestRecording);
    return navigation;
}

void CKymoraView::SetStartTime(double timeMs) {
    if (!(std::fabs(timeMs - m_StartTime) > sameStartMs)) return;
    const double start = std::max(0.0, timeMs);
    ChangeViewport({start, start + (m_EndTime - m_StartTime)}, false);
}

bool CKymoraView::ChangeViewport(Viewport viewport, bool showProgress) {
    if (!GetNavigation().Allows(viewport)) return false;
    const Viewport previous = GetViewport();
    if (!ShowViewport(viewport, showProgress)) return false;
    history_.Moved(previous, viewport);
    return true;
}

bool CKymoraView::ShowViewport(Viewport viewport, bool showProgress) {
    const Viewport previous = GetViewport();
    Place(viewport);
    if (RefreshViewport(showProgress)) {
        AutoscaleNewAxes();
        return true;
    }
    Place(previous);
    RefreshViewport(false);
    return false;
}

void CKymoraView::BringIntoView(double start, double end) {
    if (start >= m_StartTime && end <= m_EndTime) return;
    // With as much before it as behind it, for whoever is to judge it.
    const double free = std::max(0.0, GetViewport().Duration() - (end - start));
    SetStartTime(start - free / 2.0);
}

void CKymoraView::GoThroughHistory(std::optional<Viewport> (ViewportHistory::*step)(Viewport)) {
    ViewportHistory after = history_;
    const auto viewport = (after.*step)(GetViewport());
    if (viewport && ShowViewport(*viewport, true)) history_ = std::move(after);
}

void CKymoraView::ToggleFocusLeftEdge() {
    int& option = GetSession().options.expandContractFocus;
    option = option == 0 ? 1 : 0;
    expandContractFocus_ = option;
}

}  // namespace kymora
