#include "display/axis_edits.h"

#include <cmath>

#include <fmt/format.h>

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

void ChangeFormats(CKymoraView& view, const char* name, bool allAxes,
                   const std::function<void(TraceFormat&)>& change) {
    view.ChangeSettings(name, DisplayScope::work, [&](ViewSettings& settings) {
        for (int t = 0; t < view.GetDocument().traceCount; ++t) {
            const auto i = static_cast<size_t>(t);
            if (allAxes || settings.m_axes[static_cast<size_t>(settings.m_nAxisOfTrace[i])].m_bSelected)
                change(settings.m_format[i]);
        }
    });
}

}  // namespace

void IncreaseGain(CKymoraView& view, bool allAxes) {
    view.ChangeAxes("Increase gain", allAxes,
                    [&view](int axis) { WidenBySpan(view.m_axes[static_cast<size_t>(axis)], -0.25); });
}

void DecreaseGain(CKymoraView& view, bool allAxes) {
    view.ChangeAxes("Decrease gain", allAxes,
                    [&view](int axis) { WidenBySpan(view.m_axes[static_cast<size_t>(axis)], 0.5); });
}

void MoveUp(CKymoraView& view, bool allAxes) {
    view.ChangeAxes("Move up", allAxes,
                    [&view](int axis) { ShiftBySpan(view.m_axes[static_cast<size_t>(axis)], -0.2); });
}

void MoveDown(CKymoraView& view, bool allAxes) {
    view.ChangeAxes("Move down", allAxes,
                    [&view](int axis) { ShiftBySpan(view.m_axes[static_cast<size_t>(axis)], 0.2); });
}

void SameScale(CKymoraView& view, bool allAxes) {
    const auto isSelected = [&view](int axis) { return view.m_axes[static_cast<size_t>(axis)].m_bSelected; };
    // On any page.
    std::vector<int> visible;
    for (int axis = 0; axis < view.GetDocument().traceCount; ++axis)
        if (view.m_bAxisVisible[static_cast<size_t>(axis)]) visible.push_back(axis);
    const bool all = allAxes || std::count_if(visible.begin(), visible.end(), isSelected) < 2;
    Range common(CVertAxis{});
    bool any = false;
    for (const int axis : visible) {
        if (!all && !isSelected(axis)) continue;
        const Range range(view.m_axes[static_cast<size_t>(axis)]);
        common.low = any ? std::min(common.low, range.low) : range.low;
        common.high = any ? std::max(common.high, range.high) : range.high;
        any = true;
    }
    view.ChangeAxes("Same scale", all, [&](int axis) {
        if (!view.m_bAxisVisible[static_cast<size_t>(axis)]) return;
        Range range(view.m_axes[static_cast<size_t>(axis)]);
        range.low = common.low;
        range.high = common.high;
        range.Apply(view.m_axes[static_cast<size_t>(axis)]);
    });
}

std::string LimitText(const ViewSettings& settings, int axis, bool isMax) {
    const CVertAxis& limits = settings.m_axes[static_cast<size_t>(axis)];
    return PreciseNumber(isMax ? limits.m_dMax : limits.m_dMin);
}

bool SetLimitFromText(CKymoraView& view, int axis, bool isMax, std::string_view text) {
    if (axis < 0 || axis >= view.GetDocument().traceCount) return false;
    const auto value = ParseNumber(text);
    const CVertAxis& limits = view.m_axes[static_cast<size_t>(axis)];
    const double maximum = isMax ? value.value_or(0.0) : limits.m_dMax;
    const double minimum = isMax ? limits.m_dMin : value.value_or(0.0);
    if (!value || !(maximum > minimum)) {
        view.GetSession().host.Message(value ? limitOrderText : isMax ? badMaximum : badMinimum);
        return false;
    }
    view.SetLimits(axis, minimum, maximum, isMax ? "Axis maximum" : "Axis minimum", DisplayScope::work);
    WarnOfEqualLabels(view);
    return true;
}

void ScaleAxisAround(CKymoraView& view, int axis, int y, double factor) {
    const PlotContext shown = view.Plot();
    if (axis < 0 || shown.SlotOf(axis) < 0 || shown.BandOf(axis).Height() <= 0) return;
    const CVertAxis& limits = view.m_axes[static_cast<size_t>(axis)];
    const double fixed = shown.GetValueScale(axis).ToValue(y);
    view.SetLimits(axis, fixed + (limits.m_dMin - fixed) * factor, fixed + (limits.m_dMax - fixed) * factor,
                   "Scale axis", DisplayScope::look);
}

void SetDrawAsDots(CKymoraView& view, bool allAxes, bool dots) {
    ChangeFormats(view, dots ? "Dots" : "Lines", allAxes,
                  [dots](TraceFormat& format) { format.drawAsDots = dots; });
}

void SetDotSize(CKymoraView& view, bool allAxes, int size) {
    ChangeFormats(view, "Dot size", allAxes, [size](TraceFormat& format) { format.dotSize = size; });
}

bool IsSelectedFormat(const CKymoraView& view, bool (*test)(const TraceFormat&)) {
    bool any = false;
    for (int t = 0; t < view.GetDocument().traceCount; ++t) {
        const auto i = static_cast<size_t>(t);
        if (!view.m_axes[static_cast<size_t>(view.m_nAxisOfTrace[i])].m_bSelected) continue;
        if (!test(view.m_format[i])) return false;
        any = true;
    }
    return any;
}

void WarnOfEqualLabels(const CKymoraView& view) {
    for (const int axis : view.Plot().shownAxes) {
        const CVertAxis& limits = view.m_axes[static_cast<size_t>(axis)];
        if (AxisNumber(limits.m_dMax, view.m_nSigFigs) != AxisNumber(limits.m_dMin, view.m_nSigFigs))
            continue;
        view.GetSession().host.Message(equalLabelsText);
        return;
    }
}

}  // namespace kymora
