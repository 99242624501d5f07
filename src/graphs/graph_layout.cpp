#include "graphs/graph_layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "drawing/number_labels.h"
#include "drawing/ticks.h"

namespace kymora {

namespace {

constexpr int edge = 6;
constexpr int pixelsPerTickAcross = 48, pixelsPerTickUp = 30;
constexpr int legendGap = 14;
constexpr int barGap = 10, barWidth = 12;  // of a matrix's colours
constexpr int leastPlot = 8;
constexpr int leastBesideLegend = 50;  // of a plot that is high enough to have a legend above it

// What stands around a plot, in pixels.
struct PaneMargins {
    int left = 0, top = 0, right = 0, bottom = 0;
};

std::vector<GraphTick> TicksWithin(const GraphAxis& axis, double low, double high, int most) {
    std::vector<GraphTick> ticks;
    if (!axis.names.empty()) {
        const auto count = static_cast<double>(axis.names.size());
        const double first = std::clamp(std::floor(low), 0.0, count), end = std::clamp(high, 0.0, count);
        const double step = std::max(1.0, std::ceil((end - first) / most));
        for (double at = first; at + 0.5 < end; at += step)
            if (at + 0.5 > low) ticks.push_back({at + 0.5, axis.names[static_cast<size_t>(at)]});
    } else if (axis.isLog) {
        for (const double at : LogTicks(low, high, most)) ticks.push_back({at, LogTickText(at)});
    } else {
        const double step =
            axis.turn > 0.0 ? TurnStep(low, high, axis.turn, most) : TickStep(low, high, most);
        for (const double at : Ticks(low, high, step)) ticks.push_back({at, TickText(at, step)});
    }
    return ticks;
}

// At least two, without which an axis has no scale.
std::vector<GraphTick> TicksOf(const GraphAxis& axis, double low, double high, int most) {
    constexpr int triedMore = 8;
    std::vector<GraphTick> ticks = TicksWithin(axis, low, high, most);
    for (int more = 1; ticks.size() < 2 && more <= triedMore; ++more)
        ticks = TicksWithin(axis, low, high, most + more);
    return ticks;
}

int MostTicks(int pixels, int perTick) { return std::max(2, pixels / perTick); }

int WidestOf(DrawDevice& device, const std::vector<GraphTick>& ticks) {
    int widest = device.TextExtent("0").width;
    for (const GraphTick& tick : ticks) widest = std::max(widest, device.TextExtent(tick.text).width);
    return widest;
}

// Of panes on one x axis, those with another one below show no numbers.
bool ShowsX(const Graph& graph, size_t pane) {
    const size_t below = pane + static_cast<size_t>(std::max(1, graph.columns));
    return !graph.sharesX || below >= graph.panes.size();
}

// Of panes side by side with one title, the leftmost shows it.
bool ShowsYTitle(const Graph& graph, size_t pane) {
    const std::string title = graph.panes[pane].y.Label();
    if (title.empty()) return false;
    const size_t columns = static_cast<size_t>(std::max(1, graph.columns));
    return pane % columns == 0 || graph.panes[pane - 1].y.Label() != title || graph.panes[pane - 1].IsRose();
}

int TitleHeight(DrawDevice& device, std::string_view title) {
    return static_cast<int>(TitleLines(title).size()) * device.TextExtent("0", true).height;
}

PaneMargins MarginsOf(DrawDevice& device, const Graph& graph, size_t i, const GraphBox& box, int width,
                      int height) {
    const GraphPane& pane = graph.panes[i];
    const int text = device.TextExtent("0").height;
    PaneMargins margins{edge, edge + text / 2, edge, edge};
    if (!pane.title.empty()) margins.top = edge + TitleHeight(device, pane.title) + graphTextGap;
    if (pane.IsRose()) {
        const int label = text + graphTextGap;
        margins.left = margins.right = edge + device.TextExtent("180\u00B0").width + graphTextGap;
        margins.top += pane.title.empty() ? label - text / 2 : label;
        margins.bottom += label + (pane.x.title.empty() ? 0 : label);
        return margins;
    }
    // Panes on one x axis share out the room that its numbers do not take.
    const int plotHeight = height - (graph.sharesX ? text : 3 * text);
    const auto yTicks = TicksOf(pane.y, box.bottom, box.top, MostTicks(plotHeight, pixelsPerTickUp));
    margins.left += WidestOf(device, yTicks) + graphTextGap + graphTickLength;
    if (ShowsYTitle(graph, i)) margins.left += text + graphTextGap;
    // The last number of the x axis reaches beyond the plot by half.
    const auto xTicks =
        TicksOf(pane.x, box.left, box.right, MostTicks(width - margins.left, pixelsPerTickAcross));
    if (ShowsX(graph, i)) {
        margins.right = std::max(2 * edge, WidestOf(device, xTicks) / 2 + edge);
        margins.bottom += graphTickLength + graphTextGap + text;
        if (!pane.x.Label().empty()) margins.bottom += text + graphTextGap;
    }
    if (const GraphLayer* matrix = MatrixOf(pane)) {
        const int numbers = WidestOf(device, ColourBarTicks(*matrix, height));
        margins.right = barGap + barWidth + graphTickLength + graphTextGap + numbers + edge;
        if (!matrix->name.empty())
            margins.right += static_cast<int>(TitleLines(matrix->name).size()) * text + graphTextGap;
    }
    return margins;
}

// As many ticks as have room for their texts.
void TakeTicks(DrawDevice& device, const GraphPane& pane, PanePlace& place) {
    const PixelRect& plot = place.plot;
    int most = MostTicks(plot.Width(), pixelsPerTickAcross);
    do {
        place.xTicks = TicksOf(pane.x, place.box.left, place.box.right, most);
        const auto count = static_cast<int>(place.xTicks.size());
        const int apart = count > 1 ? plot.Width() / count : plot.Width();
        if (WidestOf(device, place.xTicks) + 2 * graphTextGap <= apart || count <= 2) break;
    } while (--most > 1);
    place.yTicks =
        TicksOf(pane.y, place.box.bottom, place.box.top, MostTicks(plot.Height(), pixelsPerTickUp));
}

void MakeScales(const GraphPane& pane, PanePlace& place) {
    PixelRect& plot = place.plot;
    if (pane.IsRose()) {
        const int side = std::min(plot.Width(), plot.Height());
        const int left = (plot.left + plot.right - side) / 2, top = (plot.top + plot.bottom - side) / 2;
        plot = {left, top, left + side, top + side};
    }
    const GraphBox& box = place.box;
    const bool isRose = pane.IsRose();
    place.x = GraphScale(box.left, box.right, pane.x.isLog && !isRose, plot.left, plot.Width());
    place.y = GraphScale(box.bottom, box.top, pane.y.isLog && !isRose, plot.bottom, -plot.Height());
}

// --- what lies under a pixel ---

bool IsOn(const GraphLine& line, const PanePlace& place, int x, int y) {
    const double at = line.isUpright ? place.x.ToPixel(line.at) : place.y.ToPixel(line.at);
    return std::abs(at - (line.isUpright ? x : y)) <= graphGrasp;
}

std::string NumberOf(double value, const GraphAxis& axis) {
    if (!axis.names.empty() && value >= 0.0 && value < static_cast<double>(axis.names.size()))
        return axis.names[static_cast<size_t>(value)];
    return AxisNumber(value, 5) + (axis.unit.empty() ? "" : " " + axis.unit);
}

std::string NamedValue(const std::string& name, const std::string& other, const std::string& value) {
    const std::string said = InOneLine(!name.empty() ? name : other);
    return fmt::format("{}: {}", said.empty() ? "value" : said, value);
}

// The bar over a place; nothing outside of them.
std::optional<size_t> BarAt(const GraphLayer& layer, double x) {
    const auto after = std::upper_bound(layer.x.begin(), layer.x.end(), x);
    if (after == layer.x.begin() || after == layer.x.end()) return std::nullopt;
    const auto i = static_cast<size_t>(after - layer.x.begin() - 1);
    if (i >= layer.y.size()) return std::nullopt;
    return i;
}

bool HasRows(const GraphPane& pane) {
    return std::ranges::any_of(pane.layers,
                               [](const GraphLayer& layer) { return layer.kind == LayerKind::raster; });
}

// What the row at a height stands for, where the rows have numbers of their own.
std::optional<int32_t> RowNumber(const GraphPane& pane, double y) {
    const std::vector<int32_t>& numbers = pane.rowNumbers.numbers;
    const double row = std::round(y);
    if (!(row >= 1.0 && row <= static_cast<double>(numbers.size()))) return std::nullopt;
    return numbers[static_cast<size_t>(row) - 1];
}

class Reader {
  public:
    Reader(const GraphPane& pane, const PanePlace& place, int x, int y)
        : pane_(pane), place_(place), pixel_{x + 0.5, y + 0.5} {
        reading_.x = place.x.ToValue(pixel_.x);
        reading_.y = place.y.ToValue(pixel_.y);
    }
    GraphReading Read() {
        const double x = reading_.x, y = reading_.y;
        for (size_t i = 0; i < pane_.layers.size(); ++i) {
            const GraphLayer& layer = pane_.layers[i];
            // A part of a sum that has no name of its own is not told apart from the others.
            if (layer.isSilent || (layer.isDashed && layer.name.empty())) continue;
            if (layer.kind == LayerKind::bars) ReadBars(i, layer, x);
            if (layer.kind == LayerKind::matrix) ReadMatrix(i, layer, x, y);
            if (layer.kind == LayerKind::rose) ReadRose(layer, x, y);
            const bool isPoints = layer.kind == LayerKind::points || layer.kind == LayerKind::raster;
            if (isPoints || layer.kind == LayerKind::curve || layer.kind == LayerKind::area)
                ReadPoints(i, layer, x, isPoints);
        }
        for (const GraphLine& line : pane_.lines) {
            const GraphAxis& axis = line.isUpright ? pane_.x : pane_.y;
            if (line.isTold) reading_.lines.push_back(NamedValue(line.name, "", NumberOf(line.at, axis)));
        }
        if (!pane_.IsRose() && reading_.lines.empty()) {
            reading_.lines.push_back(NamedValue("", pane_.x.title, NumberOf(x, pane_.x)));
            reading_.lines.push_back(
                NamedValue("", pane_.y.title, NumberOf(HasRows(pane_) ? std::round(y) : y, pane_.y)));
        } else if (!pane_.IsRose() && !hasBar_) {
            const double at = reading_.isValue ? reading_.x : x;
            reading_.lines.insert(reading_.lines.begin(),
                                  NamedValue("", pane_.x.title, NumberOf(at, pane_.x)));
        }
        ReadRow(reading_.isValue ? reading_.y : y);
        return reading_;
    }

  private:
    void ReadRow(double y) {
        if (const auto number = RowNumber(pane_, y))
            reading_.lines.push_back(NamedValue(pane_.rowNumbers.name, "", std::to_string(*number)));
    }
    // The nearest of the layers is the one that is pointed at.
    void Take(size_t layer, size_t point, double x, double y, double distance) {
        if (distance >= nearest_) return;
        nearest_ = distance;
        reading_.isValue = true;
        reading_.x = x;
        reading_.y = y;
        reading_.layer = layer;
        reading_.point = point;
    }
    void ReadBars(size_t i, const GraphLayer& layer, double x) {
        const auto bar = BarAt(layer, x);
        if (!bar) return;
        const double low = layer.x[*bar], high = layer.x[*bar + 1], value = layer.y[*bar];
        if (!hasBar_)
            reading_.lines.insert(
                reading_.lines.begin(),
                NamedValue("", pane_.x.title,
                           fmt::format("{} to {}", AxisNumber(low, 5), NumberOf(high, pane_.x))));
        hasBar_ = true;
        if (!std::isfinite(value)) return;
        reading_.lines.push_back(NamedValue(layer.name, pane_.y.title, NumberOf(value, pane_.y)));
        Take(i, *bar, (low + high) / 2, value, std::abs(place_.y.ToPixel(value) - pixel_.y));
    }
    void ReadPoints(size_t i, const GraphLayer& layer, double x, bool isPoints) {
        constexpr double reach = 12.0;
        const bool ascends = std::is_sorted(layer.x.begin(), layer.x.end());
        const double left = place_.x.ToValue(pixel_.x - reach), right = place_.x.ToValue(pixel_.x + reach);
        const PointRange range = ascends ? PointsWithin(layer, left, right)
                                         : PointRange{0, std::min(layer.x.size(), layer.y.size())};
        double best = std::numeric_limits<double>::infinity();
        size_t found = 0;
        for (size_t k = range.first; k < range.end; ++k) {
            if (!std::isfinite(layer.y[k]) || !std::isfinite(layer.x[k])) continue;
            const double across = std::abs(place_.x.ToPixel(layer.x[k]) - pixel_.x);
            const double up = std::abs(place_.y.ToPixel(layer.y[k]) - pixel_.y);
            // Of a curve the point at the pointer's column, of points the one beside the pointer.
            const double distance = isPoints || !ascends ? std::hypot(across, up) : std::abs(layer.x[k] - x);
            if (!(distance < best)) continue;
            best = distance;
            found = k;
        }
        if (!std::isfinite(best) || (isPoints && best > reach)) return;
        if (!Tell(layer.told, found))
            reading_.lines.push_back(NamedValue(layer.name, pane_.y.title, TextAt(layer, found)));
        const double up = std::abs(place_.y.ToPixel(layer.y[found]) - pixel_.y);
        Take(i, found, layer.x[found], layer.y[found], isPoints ? best / 2 : up);
    }
    // False where there is nothing to tell but y.
    bool Tell(const GraphTold& told, size_t point) {
        if (point >= told.values.size()) return false;
        reading_.lines.push_back(
            NamedValue(point < told.names.size() ? told.names[point] : told.prefix + std::to_string(point),
                       "", NumberOf(double{told.values[point]}, GraphAxis{"", told.unit})));
        return true;
    }
    // Of a band both edges; where the second is a floor on which the area stands, only the first.
    std::string TextAt(const GraphLayer& layer, size_t point) const {
        std::string text = NumberOf(layer.y[point], pane_.y);
        if (layer.kind != LayerKind::area || point >= layer.y2.size()) return text;
        if (std::ranges::adjacent_find(layer.y2, std::ranges::not_equal_to{}) == layer.y2.end()) return text;
        return AxisNumber(layer.y[point], 5) + " to " + NumberOf(layer.y2[point], pane_.y);
    }
    void ReadMatrix(size_t i, const GraphLayer& layer, double x, double y) {
        if (layer.columns == 0 || layer.x.size() < 2 || layer.y2.size() < 2) return;
        const size_t rows = layer.y.size() / layer.columns;
        const double column =
            (x - layer.x[0]) / (layer.x[1] - layer.x[0]) * static_cast<double>(layer.columns);
        const double row = (y - layer.y2[0]) / (layer.y2[1] - layer.y2[0]) * static_cast<double>(rows);
        if (!(column >= 0.0 && column < static_cast<double>(layer.columns) && row >= 0.0 &&
              row < static_cast<double>(rows)))
            return;
        const size_t cell = static_cast<size_t>(row) * layer.columns + static_cast<size_t>(column);
        reading_.lines.push_back(NamedValue("", pane_.y.title, NumberOf(y, pane_.y)));
        const double value = layer.y[cell];
        if (!Tell(layer.told, cell))
            reading_.lines.push_back(
                NamedValue(layer.name, "", std::isfinite(value) ? AxisNumber(value, 5) : "no data"));
        Take(i, cell, x, y, 0.0);
    }
    void ReadRose(const GraphLayer& layer, double x, double y) {
        double turns = std::atan2(y, x) / (2.0 * M_PI);
        if (turns < 0.0) turns += 1.0;
        const auto bar = BarAt(layer, turns);
        if (!bar || !std::isfinite(layer.y[*bar])) return;
        reading_.lines.push_back(fmt::format("{} to {}\u00B0", AxisNumber(layer.x[*bar] * 360.0, 4),
                                             AxisNumber(layer.x[*bar + 1] * 360.0, 4)));
        reading_.lines.push_back(NamedValue(layer.name, pane_.y.title, NumberOf(layer.y[*bar], pane_.y)));
    }

    const GraphPane& pane_;
    const PanePlace& place_;
    Place pixel_;
    GraphReading reading_;
    bool hasBar_ = false;
    double nearest_ = std::numeric_limits<double>::infinity();
};

}  // namespace

std::pair<double, double> MatrixRange(const GraphLayer& layer) {
    if (layer.range) return *layer.range;
    double low = std::numeric_limits<double>::infinity(), high = -low;
    for (const double value : layer.y) {
        if (!std::isfinite(value)) continue;
        low = std::min(low, value);
        high = std::max(high, value);
    }
    if (!(low <= high)) return {0.0, 1.0};
    return {low, high > low ? high : low + std::max(1.0, std::abs(low) * 1e-6)};
}

const GraphLayer* MatrixOf(const GraphPane& pane) {
    for (const GraphLayer& layer : pane.layers)
        if (layer.kind == LayerKind::matrix) return &layer;
    return nullptr;
}

PixelRect ColourBarRect(const PanePlace& place) {
    return {place.plot.right + barGap, place.plot.top, place.plot.right + barGap + barWidth,
            place.plot.bottom};
}

std::vector<GraphTick> ColourBarTicks(const GraphLayer& layer, int height) {
    const auto [low, high] = MatrixRange(layer);
    return TicksOf({}, low, high, MostTicks(height, pixelsPerTickUp));
}

std::vector<LegendEntry> PlaceLegend(DrawDevice& device, const GraphPane& pane, int left, int right, int top,
                                     int* height) {
    std::vector<LegendEntry> entries;
    for (const GraphLayer& layer : pane.layers)
        if (!layer.name.empty() && layer.kind != LayerKind::matrix)
            entries.push_back({layer.name, layer.colour, layer.kind, layer.isDashed, layer.isPale, {}});
    for (const GraphLine& line : pane.lines)
        if (!line.name.empty())
            entries.push_back({line.name, line.colour, LayerKind::curve, line.parameter.empty(), false, {}});
    const int text = device.TextExtent("0").height;
    int x = left, y = top;
    for (LegendEntry& entry : entries) {
        entry.name = ElideText(device, entry.name, right - left - legendMark - graphTextGap);
        const int width = legendMark + graphTextGap + device.TextExtent(entry.name).width;
        if (x > left && x + width > right) {
            x = left;
            y += text;
        }
        entry.at = {x, y + text / 2};
        x += width + legendGap;
    }
    if (height) *height = entries.empty() ? 0 : y + text - top + graphTextGap;
    return entries;
}

std::vector<PanePlace> PlaceGraph(DrawDevice& device, const Graph& graph, std::span<const GraphBox> boxes,
                                  const PixelRect& area) {
    const size_t count = std::min(graph.panes.size(), boxes.size());
    if (count == 0) return {};
    const size_t columns = std::min<size_t>(static_cast<size_t>(std::max(1, graph.columns)), count);
    const size_t rows = (count + columns - 1) / columns;
    const int roughWidth = area.Width() / static_cast<int>(columns),
              roughHeight = area.Height() / static_cast<int>(rows);
    std::vector<PaneMargins> across(columns), up(rows), margins(count);
    const auto most = [](int& a, int b) { a = std::max(a, b); };
    for (size_t i = 0; i < count; ++i) {
        margins[i] = MarginsOf(device, graph, i, boxes[i], roughWidth, roughHeight);
        most(across[i % columns].left, margins[i].left);
        most(across[i % columns].right, margins[i].right);
    }
    int width = area.Width(), height = area.Height();
    for (const PaneMargins& column : across) width -= column.left + column.right;
    width = std::max(leastPlot, width / static_cast<int>(columns));
    std::vector<int> legends(count);
    for (size_t i = 0; i < count; ++i) {
        PlaceLegend(device, graph.panes[i], 0, width, 0, &legends[i]);
        most(up[i / columns].top, margins[i].top + legends[i]);
        most(up[i / columns].bottom, margins[i].bottom);
    }
    for (const PaneMargins& row : up) height -= row.top + row.bottom;
    if (height < leastBesideLegend * static_cast<int>(rows)) {
        height = area.Height();
        up.assign(rows, {});
        legends.assign(count, 0);
        for (size_t i = 0; i < count; ++i) {
            most(up[i / columns].top, margins[i].top);
            most(up[i / columns].bottom, margins[i].bottom);
        }
        for (const PaneMargins& row : up) height -= row.top + row.bottom;
    }
    height = std::max(leastPlot, height / static_cast<int>(rows));

    std::vector<PanePlace> places(count);
    int y = area.top;
    for (size_t row = 0; row < rows; ++row) {
        int x = area.left;
        const int bottom = y + up[row].top + height + up[row].bottom;
        for (size_t column = 0; column < columns; ++column) {
            const size_t i = row * columns + column;
            const int right = x + across[column].left + width + across[column].right;
            if (i < count) {
                PanePlace& place = places[i];
                place.area = {x, y, right, bottom};
                place.plot = {x + across[column].left, y + up[row].top, x + across[column].left + width,
                              y + up[row].top + height};
                place.box = boxes[i];
                place.showsX = ShowsX(graph, i);
                place.showsYTitle = ShowsYTitle(graph, i);
                place.legendHeight = legends[i];
                MakeScales(graph.panes[i], place);
                TakeTicks(device, graph.panes[i], place);
            }
            x = right;
        }
        y = bottom;
    }
    return places;
}

GraphHit HitGraph(const Graph& graph, std::span<const PanePlace> places, int x, int y) {
    for (size_t i = 0; i < places.size(); ++i) {
        const PanePlace& place = places[i];
        const PixelRect& plot = place.plot;
        if (!place.area.Contains(x, y)) continue;
        const GraphPane& pane = graph.panes[i];
        const PixelRect around{plot.left - graphGrasp, plot.top - graphGrasp, plot.right + graphGrasp,
                               plot.bottom + graphGrasp};
        if (around.Contains(x, y))
            for (size_t k = pane.lines.size(); k-- > 0;)
                if (!pane.lines[k].parameter.empty() && IsOn(pane.lines[k], place, x, y))
                    return {GraphHit::What::line, i, k};
        if (plot.Contains(x, y)) return {GraphHit::What::plot, i, 0};
        if (pane.IsRose()) return {GraphHit::What::nothing, i, 0};
        if (y >= plot.bottom && x >= plot.left && x < plot.right) return {GraphHit::What::xAxis, i, 0};
        if (x < plot.left && y >= plot.top && y < plot.bottom) return {GraphHit::What::yAxis, i, 0};
        return {GraphHit::What::nothing, i, 0};
    }
    return {};
}

std::optional<GraphReading> ReadGraph(const GraphPane& pane, const PanePlace& place, int x, int y) {
    if (!place.plot.Contains(x, y)) return std::nullopt;
    return Reader(pane, place, x, y).Read();
}

std::string ReadPlace(const GraphPane& pane, const PanePlace& place, const GraphReadout& readout, int x,
                      int y) {
    if (!place.plot.Contains(x, y)) return {};
    const double at = readout.isX ? place.x.ToValue(x + 0.5) : place.y.ToValue(y + 0.5);
    if (readout.isX || !HasRows(pane)) return NumberOf(at, readout.isX ? pane.x : pane.y);
    if (pane.rowNumbers.numbers.empty()) return NumberOf(std::round(at), pane.y);
    const auto number = RowNumber(pane, at);
    return number ? std::to_string(*number) : std::string();
}

std::vector<std::string> FirstLines(std::vector<std::string> lines, size_t most) {
    if (lines.size() <= most) return lines;
    const size_t left = lines.size() - (most - 1);
    lines.resize(most - 1);
    lines.push_back(fmt::format("and {} more", left));
    return lines;
}

}  // namespace kymora
