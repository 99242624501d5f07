// The commands of the view that change vertical axes and the look of traces.

#include <cfloat>
#include <cmath>

#include <fmt/format.h>

#include "display/kymora_view.h"
#include "drawing/number_labels.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr const char* badMaximum = "Couldn't read a number for the axis maximum value.";
constexpr const char* badMinimum = "Couldn't read a number for the axis minimum value.";
constexpr const char* limitOrderText =
    "Maximum value should be greater than minimum value.\nPlease change one of them.";
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

// A number that lies within the noise of its last bits on a whole one is that one: 0.14 - 0.07 must not round
// up to 0.08.
double Ceiling(double value) {
    const double nearest = std::round(value);
    return std::fabs(value - nearest) <= 1e-9 * std::max(1.0, std::fabs(value)) ? nearest : std::ceil(value);
}

Range RoundedOutward(Range range, double stepsPerUnit) {
    range.high = Ceiling(range.high * stepsPerUnit) / stepsPerUnit;
    range.low = -Ceiling(-range.low * stepsPerUnit) / stepsPerUnit;
    return range;
}

double StepsPerUnit(const Range& range) {
    if (range.high < 0.1 || range.low > -0.1) return 100.0;
    return range.high < 1.0 || range.low > -1.0 ? 10.0 : 1.0;
}

// Where the steps are so coarse that a higher gain would show no less than before, finer ones are taken.
void WidenBySpan(CVertAxis& axis, double share) {
    const Range before(axis);
    Range range = before;
    range.high += before.Span() * share;
    range.low -= before.Span() * share;
    double steps = StepsPerUnit(range);
    Range rounded = RoundedOutward(range, steps);
    while (share < 0.0 && !(rounded.Span() < before.Span()) && steps < 1e15)
        rounded = RoundedOutward(range, steps *= 10.0);
    rounded.Apply(axis);
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
            if (allAxes || m_axes[static_cast<size_t>(axis)].m_bSelected) {
                change(axis);
                KeepLimitsOfUser(axis);
            }
    }
    UpdateDependents();
}

void CKymoraView::Autoscale(bool allAxes) {
    ForAxes("Autoscale", allAxes, [this](int axis) { AutoscaleAxis(axis); });
    if (!cache_.IsCoarse()) return;
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
        if (!cache_.IsCoarse()) pending = 0;  // else once more, when the exact bins are there
        any = true;
    }
    if (any) UpdateDependents();
}

bool CKymoraView::AutoscaleAxis(int axis) {
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

void CKymoraView::SameScale(bool allAxes) {
    const auto isSelected = [this](int axis) { return m_axes[static_cast<size_t>(axis)].m_bSelected; };
    const bool all = allAxes || std::count_if(shownAxes_.begin(), shownAxes_.end(), isSelected) < 2;
    Range common(CVertAxis{});
    bool any = false;
    for (const int axis : shownAxes_) {
        if (!all && !isSelected(axis)) continue;
        const Range range(m_axes[static_cast<size_t>(axis)]);
        common.low = any ? std::min(common.low, range.low) : range.low;
        common.high = any ? std::max(common.high, range.high) : range.high;
        any = true;
    }
    ForAxes("Same scale", all, [&](int axis) {
        if (SlotOf(axis) < 0) return;
        Range range(m_axes[static_cast<size_t>(axis)]);
        range.low = common.low;
        range.high = common.high;
        range.Apply(m_axes[static_cast<size_t>(axis)]);
    });
}

void CKymoraView::SetLimits(int axis, double minimum, double maximum, const char* name) {
    if (!std::isfinite(minimum) || !std::isfinite(maximum) || minimum == maximum) return;
    {
        DisplayScope scope(*this, name);
        CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
        limits.m_dMin = minimum;
        limits.m_dMax = maximum;
        KeepLimitsOfUser(axis);
    }
    UpdateDependents();
}

std::string CKymoraView::LimitText(int axis, bool isMax) const {
    const CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
    return fmt::format("{}", isMax ? limits.m_dMax : limits.m_dMin);
}

bool CKymoraView::SetLimitFromText(int axis, bool isMax, std::string_view text) {
    if (axis < 0 || axis >= doc_.traceCount) return false;
    const auto value = ParseNumber(text);
    const CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
    const double maximum = isMax ? value.value_or(0.0) : limits.m_dMax;
    const double minimum = isMax ? limits.m_dMin : value.value_or(0.0);
    if (!value || !(maximum > minimum)) {
        GetSession().host.Message(value ? limitOrderText : isMax ? badMaximum : badMinimum);
        return false;
    }
    SetLimits(axis, minimum, maximum, isMax ? "Axis maximum" : "Axis minimum");
    WarnOfEqualLabels();
    return true;
}

void CKymoraView::ScaleAxisAround(int axis, int y, double factor) {
    if (axis < 0 || SlotOf(axis) < 0 || BandOf(axis).Height() <= 0) return;
    const CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
    const double fixed = GetValueScale(axis).ToValue(y);
    SetLimits(axis, fixed + (limits.m_dMin - fixed) * factor, fixed + (limits.m_dMax - fixed) * factor,
              "Scale axis");
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
