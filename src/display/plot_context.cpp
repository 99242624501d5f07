#include "display/plot_context.h"

#include <fmt/format.h>

#include "drawing/number_labels.h"

namespace kymora {

AxisScale PlotContext::GetValueScale(int axis) const {
    const CVertAxis& limits = settings.m_axes[static_cast<size_t>(axis)];
    const PixelRect band = BandOf(axis);
    return {limits.m_dMax, limits.m_dMin, band.top, band.bottom};
}

int PlotContext::SlotOf(int axis) const {
    const auto found = std::find(shownAxes.begin(), shownAxes.end(), axis);
    return found == shownAxes.end() ? -1 : static_cast<int>(found - shownAxes.begin());
}

int PlotContext::GetNearestAxis(int y) const {
    if (!(settings.m_fDataArea > 0.0f)) return -1;
    const int slot = layout.SlotAt(y, static_cast<int>(shownAxes.size()));
    return slot < 0 ? -1 : shownAxes[static_cast<size_t>(slot)];
}

bool PlotContext::IsTraceShown(int trace) const {
    return settings.m_fDataArea > 0.0f && SlotOf(AxisOf(trace)) >= 0;
}

std::vector<int> PlotContext::TracesOn(int axis) const {
    std::vector<int> traces;
    for (int trace = 0; trace < doc.traceCount; ++trace)
        if (AxisOf(trace) == axis) traces.push_back(trace);
    return traces;
}

std::string StatusText(const PlotContext& context, int x, int y) {
    if (!context.layout.plot.Contains(x, y)) return {};
    const int unit = context.settings.m_nTimeUnit;
    const int decimals = unit == 0 ? 3 : 6;
    std::string text = fmt::format("t = {:.{}f}", context.PixelToTime(x) / TimeUnitFactor(unit), decimals);
    if (const int axis = context.GetNearestAxis(y); axis >= 0)
        text += fmt::format(", {} = {:.3f}", context.doc.traces[static_cast<size_t>(axis)].axisLabel,
                            context.GetValueScale(axis).ToValue(y));
    return text;
}

std::string StatusUnits(const PlotContext& context, int x, int y) {
    if (!context.layout.plot.Contains(x, y)) return {};
    std::string units = TimeUnitName(context.settings.m_nTimeUnit);
    if (const int axis = context.GetNearestAxis(y); axis >= 0)
        if (const std::string& value = context.settings.m_axes[static_cast<size_t>(axis)].m_strUnits;
            !value.empty())
            units += ", " + value;
    return "(" + units + ")";
}

}  // namespace kymora
