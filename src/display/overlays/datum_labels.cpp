// What the labels of cursors say and where they stand.

#include <fmt/format.h>

#include <cmath>

#include "display/overlays/datum_lines.h"
#include "display/overlays/overlay_fonts.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

constexpr int textGap = 3;         // from a vertical line to its labels, and behind the widest text
constexpr int leastWidth = 10;     // of the column of labels
constexpr int idHeight = 18;       // of the ID of a vertical line; its time stands below
constexpr int firstValueTop = 50;  // window rows
constexpr int vertStep = 18;
constexpr int keptBelow = 15;  // labels stay that far above the plot's bottom
constexpr int firstHorzText = 50, horzStep = 100;
constexpr const char* noValueText = "-";

bool Overlap(const PixelRect& a, const PixelRect& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

// Gives the labels their rectangles: first those that the user has placed, then the `own` one of the line,
// then the others, each in the first of its `rows` in which no other one of the line stands.
template <typename RectOf>
void PlaceAll(DatumLabels& block, int own, int rows, RectOf rectOf) {
    std::vector<PixelRect> taken;
    const auto isFree = [&](const PixelRect& rect) {
        return std::none_of(taken.begin(), taken.end(), [&](const PixelRect& r) { return Overlap(r, rect); });
    };
    const auto place = [&](DatumLabel& label) {
        if (label.text.empty() || label.rect != PixelRect{}) return;
        for (int row = 0; row < rows; ++row) {
            const PixelRect rect = rectOf(label, row);
            if (!isFree(rect) && !label.moved) continue;
            label.rect = rect;
            return taken.push_back(rect);
        }
    };
    for (DatumLabel& label : block.labels)
        if (label.moved) place(label);
    if (own >= 0) place(block.labels[static_cast<size_t>(own)]);
    for (DatumLabel& label : block.labels) place(label);
}

void Blank(DatumLabels& block) {
    for (DatumLabel& label : block.labels) {
        label.text.clear();
        label.rect = {};
    }
}

std::string ValueText(int trace, float value) {
    return std::isfinite(value) ? fmt::format("{}: {:.4f}", trace + 1, value)
                                : fmt::format("{}: {}", trace + 1, noValueText);
}

}  // namespace

const FontSpec& DatumFont() {
    static const FontSpec font{"Segoe UI", 11, 400};  // 8 points
    return font;
}

void CDatumLines::LayOutLabels(DrawDevice& device) {
    for (int line = 0; line < VertCount(); ++line) LayOutVert(device, line);
    for (int line = 0; line < HorzCount(); ++line) LayOutHorz(device, line);
}

// --- vertical lines ---

void CDatumLines::WriteVertValues(DatumLabels& block) {
    const PlotContext context = plot_();
    const int traces = static_cast<int>(block.samples.values.size());
    int shown = 0;
    for (int trace = 0; trace < traces; ++trace) shown += context.IsTraceShown(trace);
    const int step = std::max(1, std::min(vertStep, m_rcPlot.Height() / std::max(1, shown)));
    int top = firstValueTop;
    for (int trace = 0; trace < traces; ++trace) {
        if (!context.IsTraceShown(trace)) continue;
        DatumLabel& label = block.labels[static_cast<size_t>(firstVertValue + trace)];
        label.text = ValueText(trace, block.samples.values[static_cast<size_t>(trace)]);
        label.usual = top;
        top += step;
    }
}

void CDatumLines::LayOutVert(DrawDevice& device, int line) {
    DatumLabels& block = *m_vertLabels[static_cast<size_t>(line)];
    Blank(block);
    if (!IsOnPlotX(VertX(line)) || m_rcPlot.Height() <= 0) return;
    const double time = GetVertLineTime(line);
    if (m_bShowIDs) block.labels[0].text = fmt::format("V:{}", line + 1);
    block.labels[0].usual = m_rcPlot.top;
    if (m_bShowTimes) block.labels[1].text = TimeInUnit(time, plot_().settings.m_nTimeUnit, 2);
    block.labels[1].usual = m_rcPlot.top + idHeight;
    if (m_bShowValues) {
        ReadValues(block.samples, time);
        WriteVertValues(block);
    }

    int width = leastWidth;
    for (const DatumLabel& label : block.labels)
        if (!label.text.empty())
            width = std::max(width, device.FontExtent(label.text, DatumFont()).width + textGap);
    const int height = device.FontExtent("0", DatumFont()).height;
    // To the right of the line, or to its left where they would leave the window or lie on those of the next
    // line and there is room.
    const int x = VertX(line), column = textGap + width;
    const auto isClear = [&](int from, int to) {
        return std::none_of(m_vertX.begin(), m_vertX.end(),
                            [&](int other) { return other > from && other < to; });
    };
    const bool leaves = x + column > plot_().layout.width;
    const bool yields = !isClear(x, x + column) && isClear(x - column, x) && x - column >= m_rcPlot.left;
    const int left = !leaves && !yields ? VertX(line) + textGap : VertX(line) - textGap - width;
    PlaceAll(block, -1, 1, [&](const DatumLabel& label, int) {
        const int top = std::min(label.moved.value_or(label.usual), m_rcPlot.bottom - keptBelow);
        return PixelRect{left, top, left + width, top + height};
    });
}

// --- horizontal lines ---

// Answers the label of the axis in whose band the line lies, or -1.
int CDatumLines::WriteHorzValues(DatumLabels& block, int line) const {
    const PlotContext context = plot_();
    const int axes = std::max(1, static_cast<int>(context.shownAxes.size()));
    const int step = std::max(1, std::min(horzStep, m_rcPlot.Width() / axes));
    int left = m_rcPlot.left + firstHorzText;
    int own = -1;
    std::array<bool, maxTraces> written{};  // traces on one axis share their text
    for (int trace = 0; trace < context.doc.traceCount; ++trace) {
        const int axis = context.AxisOf(trace);
        if (!context.IsTraceShown(trace) || std::exchange(written[static_cast<size_t>(axis)], true)) continue;
        DatumLabel& label = block.labels[static_cast<size_t>(firstHorzValue + trace)];
        const std::string& name = context.settings.m_axes[static_cast<size_t>(axis)].m_strLabel;
        label.text =
            fmt::format("{}: {:.1f}", SeenPart(name, m_rcPlot.Width()), GetHorzLineValue(line, trace));
        label.usual = left;
        left += step;
        if (axis == context.GetNearestAxis(HorzY(line))) own = firstHorzValue + trace;
    }
    return own;
}

void CDatumLines::LayOutHorz(DrawDevice& device, int line) {
    DatumLabels& block = *m_horzLabels[static_cast<size_t>(line)];
    Blank(block);
    if (!IsOnPlotY(HorzY(line)) || m_rcPlot.Width() <= 0) return;
    if (m_bShowIDs) block.labels[0].text = fmt::format("H:{}", line + 1);
    block.labels[0].usual = m_rcPlot.left + textGap;
    const int own = m_bShowValues ? WriteHorzValues(block, line) : -1;

    const int height = device.FontExtent("0", DatumFont()).height;
    // Above the line, and in further rows away from it where they would lie on each other; below it at the
    // top.
    const int rowsAbove = (HorzY(line) - 1 - m_rcPlot.top) / height;
    const int rowsBelow = (m_rcPlot.bottom - HorzY(line) - 2) / height;
    const bool isAbove = rowsAbove > 0;
    const int first = isAbove ? HorzY(line) - height - 1 : HorzY(line) + 2;
    PlaceAll(block, own, std::max(1, isAbove ? rowsAbove : rowsBelow), [&](const DatumLabel& label, int row) {
        const int width = std::max(leastWidth, device.FontExtent(label.text, DatumFont()).width + textGap);
        const int left = label.moved.value_or(label.usual);
        const int top = first + (isAbove ? -row : row) * height;
        return PixelRect{left, top, left + width, top + height};
    });
}

}  // namespace kymora
