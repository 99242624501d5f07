// The commands of the view that change vertical axes and the look of traces.

#include <cfloat>
#include <cmath>

#include "display/kymora_view.h"
#include "display/number_text.h"

namespace kymora {

namespace {

constexpr const char* equalLabelsText =
    "The maximum - minimum difference values in at least one axis is too small "
    "to show in the scale labels";

// Limits in the order of their size; an axis may stand upside down.
struct Range {
    double low, high;
    bool reversed;
    explicit Range(const CVertAxis& axis)
        : low(std::min(axis.m_dMin, axis.m_dMax)),
          high(std::max(axis.m_dMin, axis.m_dMax)),
          reversed(axis.m_dMax < axis.m_dMin) {}
    double Span() const { return high - low; }
    void Apply(CVertAxis& axis) const {
        if (!std::isfinite(low) || !std::isfinite(high)) return;
        axis.m_dMax = reversed ? low : high;
        axis.m_dMin = reversed ? high : low;
    }
};

void RoundOutward(Range& range) {
    double steps = 1.0;  // per unit
    if (range.high < 0.1 || range.low > -0.1)
        steps = 100.0;
    else if (range.high < 1.0 || range.low > -1.0)
        steps = 10.0;
    range.high = std::ceil(range.high * steps) / steps;
    range.low = std::floor(range.low * steps) / steps;
}

void WidenBySpan(CVertAxis& axis, double share) {
    Range range(axis);
    const double span = range.Span();
    range.high += span * share;
    range.low -= span * share;
    RoundOutward(range);
    range.Apply(axis);
}

void ShiftBySpan(CVertAxis& axis, double share) {
    Range range(axis);
    const double shift = (axis.m_dMax - axis.m_dMin) * share;
    range.high += shift;
    range.low += shift;
    range.Apply(axis);
}

}  // namespace

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

template <typename Change>
void CKymoraView::ForAxes(const char* name, bool allAxes, Change change) {
    {
        DisplayScope scope(*this, name);
        for (int axis = 0; axis < doc_.traceCount; ++axis)
            if (allAxes || m_axes[static_cast<size_t>(axis)].m_bSelected) change(axis);
    }
    UpdateDependents();
}

void CKymoraView::Autoscale(bool allAxes) {
    ForAxes("Autoscale", allAxes, [this](int axis) { AutoscaleAxis(axis); });
}

void CKymoraView::AutoscaleNewAxes() {
    if (!(m_fDataArea > 0.0f)) return;
    for (int axis = 0; axis < doc_.traceCount; ++axis) {
        if (autoscale_[static_cast<size_t>(axis)] == 0 || SlotOf(axis) < 0) continue;
        AutoscaleAxis(axis);
        autoscale_[static_cast<size_t>(axis)] = 0;
    }
    UpdateDependents();
}

void CKymoraView::AutoscaleAxis(int axis) {
    float low = FLT_MAX, high = -FLT_MAX;
    const auto first = static_cast<size_t>(cache_.BinOf(m_StartTime));
    const auto last = static_cast<size_t>(cache_.BinOf(m_EndTime));
    for (int t = 0; t < doc_.traceCount; ++t) {
        if (m_nAxisOfTrace[static_cast<size_t>(t)] != axis || !IsTraceShown(t)) continue;
        const auto lows = cache_.Min(t), highs = cache_.Max(t);
        const auto active = cache_.Active(t);
        for (size_t i = first; i <= last && i < lows.size(); ++i) {
            const bool hidden = !active.empty() && active[i] == 0 && !m_bInactiveSections;
            if (hidden || !(lows[i] <= highs[i])) continue;
            if (std::isfinite(lows[i])) low = std::min(low, lows[i]);
            if (std::isfinite(highs[i])) high = std::max(high, highs[i]);
        }
    }
    if (low > high) return;
    CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
    limits.m_dMin = low;
    limits.m_dMax = high;
    if (limits.m_dMin == limits.m_dMax) {
        const double margin = low == 0.0f ? 0.1 : std::fabs(limits.m_dMax) / 20.0;
        limits.m_dMin -= margin;
        limits.m_dMax += margin;
    }
}

void CKymoraView::IncreaseGain(bool allAxes) {
    ForAxes("Increase gain", allAxes,
            [this](int axis) { WidenBySpan(m_axes[static_cast<size_t>(axis)], -0.25); });
}

void CKymoraView::DecreaseGain(bool allAxes) {
    ForAxes("Decrease gain", allAxes,
            [this](int axis) { WidenBySpan(m_axes[static_cast<size_t>(axis)], 0.5); });
}

void CKymoraView::MoveUp(bool allAxes) {
    ForAxes("Move up", allAxes, [this](int axis) { ShiftBySpan(m_axes[static_cast<size_t>(axis)], -0.2); });
}

void CKymoraView::MoveDown(bool allAxes) {
    ForAxes("Move down", allAxes, [this](int axis) { ShiftBySpan(m_axes[static_cast<size_t>(axis)], 0.2); });
}

template <typename Change>
void CKymoraView::ForFormats(const char* name, bool allAxes, Change change) {
    {
        DisplayScope scope(*this, name);
        for (int t = 0; t < doc_.traceCount; ++t) {
            const auto i = static_cast<size_t>(t);
            if (allAxes || m_axes[static_cast<size_t>(m_nAxisOfTrace[i])].m_bSelected) change(m_format[i]);
        }
    }
    UpdateDependents();
}

void CKymoraView::SetDrawAsDots(bool allAxes, bool dots) {
    ForFormats(dots ? "Dots" : "Lines", allAxes, [dots](TraceFormat& format) { format.drawAsDots = dots; });
}

void CKymoraView::SetDotSize(bool allAxes, int size) {
    ForFormats("Dot size", allAxes, [size](TraceFormat& format) { format.dotSize = size; });
}

bool CKymoraView::IsSelectedFormat(bool (*test)(const TraceFormat&)) const {
    bool any = false;
    for (int t = 0; t < doc_.traceCount; ++t) {
        const auto i = static_cast<size_t>(t);
        if (!m_axes[static_cast<size_t>(m_nAxisOfTrace[i])].m_bSelected) continue;
        if (!test(m_format[i])) return false;
        any = true;
    }
    return any;
}

void CKymoraView::SetSigFigs(int figures) {
    {
        DisplayScope scope(*this, "Vert ax scl sig fig");
        m_nSigFigs = figures;
    }
    UpdateDependents();
    WarnOfEqualLabels();
}

void CKymoraView::WarnOfEqualLabels() {
    for (const int axis : shownAxes_) {
        const CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
        if (AxisNumber(limits.m_dMax, m_nSigFigs) != AxisNumber(limits.m_dMin, m_nSigFigs)) continue;
        GetSession().host.Message(equalLabelsText);
        return;
    }
}

}  // namespace kymora
