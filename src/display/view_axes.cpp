// The axes of the view: which are selected, and how their limits are set.

#include <cfloat>
#include <cmath>

#include "display/kymora_view.h"

namespace kymora {

void CKymoraView::SelectAxis(int axis, bool addToSelection) {
    if (axis < 0 || axis >= doc_.traceCount) return;
    bool& selected = m_axes[static_cast<size_t>(axis)].m_bSelected;
    if (addToSelection) {
        selected = !selected;
    } else {
        for (CVertAxis& other : m_axes) other.m_bSelected = false;
        selected = true;
    }
    UpdateDependents();
}

void CKymoraView::ChangeAxes(const char* name, bool allAxes, const std::function<void(int axis)>& change) {
    {
        DisplayScope scope(*this, name, DisplayScope::look);
        for (int axis = 0; axis < doc_.traceCount; ++axis)
            if (allAxes || m_axes[static_cast<size_t>(axis)].m_bSelected) {
                change(axis);
                KeepLimitsOfUser(axis);
            }
    }
    UpdateDependents();
}

void CKymoraView::Autoscale(bool allAxes) {
    ChangeAxes("Autoscale", allAxes, [this](int axis) { AutoscaleAxis(axis); });
    if (!bins_->Cache().IsCoarse()) return;
    for (int axis = 0; axis < doc_.traceCount; ++axis)
        if (allAxes || m_axes[static_cast<size_t>(axis)].m_bSelected)
            autoscale_[static_cast<size_t>(axis)] = 1;
}

void CKymoraView::AutoscaleNewAxes() {
    if (!(m_fDataArea > 0.0f)) return;
    bool any = false;
    for (const int axis : shownAxes_) {
        int32_t& pending = autoscale_[static_cast<size_t>(axis)];
        if (pending == 0 || !AutoscaleAxis(axis)) continue;
        if (!bins_->Cache().IsCoarse()) pending = 0;  // else once more, when the exact bins are there
        any = true;
    }
    if (any) UpdateDependents();
}

bool CKymoraView::AutoscaleAxis(int axis) {
    // Also where it is not among those that are shown at this time.
    const bool isVisible = m_fDataArea > 0.0f && m_bAxisVisible[static_cast<size_t>(axis)];
    float low = FLT_MAX, high = -FLT_MAX;
    const auto first = static_cast<size_t>(bins_->Cache().BinOf(m_StartTime));
    const auto last = static_cast<size_t>(bins_->Cache().BinOf(m_EndTime));
    for (int t = 0; t < doc_.traceCount; ++t) {
        if (m_nAxisOfTrace[static_cast<size_t>(t)] != axis || !isVisible) continue;
        const auto lows = bins_->Cache().Min(t), highs = bins_->Cache().Max(t);
        const auto active = bins_->Cache().Active(t);
        for (size_t i = first; i <= last && i < lows.size(); ++i) {
            const bool hidden = !active.empty() && active[i] == 0 && !m_bInactiveSections;
            if (hidden || !(lows[i] <= highs[i])) continue;
            if (std::isfinite(lows[i])) low = std::min(low, lows[i]);
            if (std::isfinite(highs[i])) high = std::max(high, highs[i]);
        }
    }
    if (low > high) return false;
    CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
    limits.m_dMin = low;
    limits.m_dMax = high;
    if (limits.m_dMin == limits.m_dMax) {
        const double margin = low == 0.0f ? 0.1 : std::fabs(limits.m_dMax) / 20.0;
        limits.m_dMin -= margin;
        limits.m_dMax += margin;
    }
    return true;
}

void CKymoraView::SetLimits(int axis, double minimum, double maximum, const char* name,
                            DisplayScope::Kind kind) {
    if (!std::isfinite(minimum) || !std::isfinite(maximum) || minimum == maximum) return;
    {
        DisplayScope scope(*this, name, kind);
        CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
        limits.m_dMin = minimum;
        limits.m_dMax = maximum;
        KeepLimitsOfUser(axis);
    }
    UpdateDependents();
}

}  // namespace kymora
