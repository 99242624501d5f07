#include "graphs/graph_scale.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <tuple>

namespace kymora {

namespace {

// Lines count while they lie within as many widths or heights of the layers.
constexpr double farLine = 3.0;
constexpr double roomUp = 0.05, roomAcross = 0.03;
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// What the layers of a pane take of one axis, in its levels: values, or their logarithms.
class AxisExtent {
  public:
    explicit AxisExtent(bool isLog) : isLog_(isLog) {}

    bool HasPlace(double value) const { return std::isfinite(value) && (!isLog_ || value > 0.0); }
    void Add(double value) {
        if (!HasPlace(value)) return;
        const double level = isLog_ ? std::log10(value) : value;
        low_ = std::min(low_, level);
        high_ = std::max(high_, level);
    }
    bool IsEmpty() const { return !(low_ <= high_); }
    double Low() const { return low_; }
    double High() const { return high_; }
    double Span() const { return IsEmpty() ? 0.0 : high_ - low_; }
    // Whether a line there would leave the layers seen.
    bool IsNear(double value) const {
        if (!HasPlace(value)) return false;
        const double level = isLog_ ? std::log10(value) : value, reach = farLine * Span();
        return IsEmpty() || Span() == 0.0 || (level >= low_ - reach && level <= high_ + reach);
    }
    void Reach(double below, double above) {
        low_ -= below;
        high_ += above;
    }
    // Of some width even where all values are one.
    void Widen() {
        if (IsEmpty()) {
            low_ = 0.0;
            high_ = 1.0;
        }
        const double least = std::max(std::abs(low_), std::abs(high_)) * 1e-6;
        if (high_ - low_ > least) return;
        const double half = isLog_ ? 0.5 : low_ == 0.0 ? 0.5 : std::abs(low_) * 0.05;
        low_ -= half;
        high_ += half;
    }
    std::pair<double, double> Ends() const {
        if (!isLog_) return {low_, high_};
        // Never 0, and never beyond all numbers.
        const auto power = [](double level) { return std::pow(10.0, std::clamp(level, -300.0, 300.0)); };
        return {power(low_), power(high_)};
    }

  private:
    bool isLog_;
    double low_ = std::numeric_limits<double>::infinity();
    double high_ = -std::numeric_limits<double>::infinity();
};

size_t PointCount(const GraphLayer& layer) {
    return layer.kind == LayerKind::marks ? layer.x.size() : std::min(layer.x.size(), layer.y.size());
}

void AddPoints(const GraphLayer& layer, std::span<const double> ys, AxisExtent& across, AxisExtent& up) {
    const size_t count = std::min(layer.x.size(), ys.size());
    for (size_t i = 0; i < count; ++i) {
        if (!across.HasPlace(layer.x[i]) || !up.HasPlace(ys[i])) continue;
        across.Add(layer.x[i]);
        up.Add(ys[i]);
    }
}

void AddLayer(const GraphLayer& layer, AxisExtent& across, AxisExtent& up) {
    switch (layer.kind) {
    case LayerKind::bars:
        for (const double edge : layer.x) across.Add(edge);
        for (const double value : layer.y) up.Add(value);
        if (!layer.x.empty()) up.Add(layer.base);
        break;
    case LayerKind::marks:
        for (const double x : layer.x) across.Add(x);
        break;
    case LayerKind::area:
        AddPoints(layer, layer.y2, across, up);
        [[fallthrough]];
    case LayerKind::curve:
    case LayerKind::points:
        AddPoints(layer, layer.y, across, up);
        break;
    case LayerKind::matrix:
        for (const double x : layer.x) across.Add(x);
        for (const double y : layer.y2) up.Add(y);
        break;
    case LayerKind::raster:
        for (const double x : layer.x) across.Add(x);
        if (layer.y.empty()) break;
        // Its rows are 1 high.
        up.Add(*std::ranges::min_element(layer.y) - 0.5);
        up.Add(*std::ranges::max_element(layer.y) + 0.5);
        break;
    case LayerKind::rose:
        break;
    }
}

// The circle of a rose: its bars reach out to a round number.
GraphBox RoseBox(const GraphPane& pane) {
    double most = 0.0;
    for (const GraphLayer& layer : pane.layers)
        for (const double y : layer.y)
            if (layer.kind == LayerKind::rose && std::isfinite(y)) most = std::max(most, y);
    if (pane.y.limits && pane.y.limits->second > 0.0) most = pane.y.limits->second;
    if (most <= 0.0) most = 1.0;
    return {-most, most, -most, most};
}

void TakeLimits(const GraphAxis& axis, double& low, double& high) {
    if (!axis.limits) return;
    const auto [from, to] = *axis.limits;
    if (!std::isfinite(from) || !std::isfinite(to) || !(from < to) || (axis.isLog && !(from > 0.0))) return;
    low = from;
    high = to;
}

// Both ends of a stretch changed in the levels of its axis.
template <typename Change>
void ChangeEnds(bool isLog, double& low, double& high, Change change) {
    if (isLog && !(low > 0.0 && high > 0.0)) return;
    double from = isLog ? std::log10(low) : low, to = isLog ? std::log10(high) : high;
    change(from, to);
    low = isLog ? std::pow(10.0, from) : from;
    high = isLog ? std::pow(10.0, to) : to;
}

// One side of ClipToBox, after Liang and Barsky: `along` is the way towards the side, `room` the distance.
bool ClipSide(double along, double room, double& from, double& to) {
    if (along == 0.0) return room >= 0.0;
    const double at = room / along;
    if (along < 0.0)
        from = std::max(from, at);
    else
        to = std::min(to, at);
    return from <= to;
}

}  // namespace

GraphScale::GraphScale(double from, double to, bool isLog, double at, double pixels)
    : isLog_(isLog), at_(at) {
    from_ = Level(from);
    const double levels = Level(to) - from_;
    perLevel_ = levels != 0.0 ? pixels / levels : 0.0;
}

double GraphScale::Level(double value) const {
    if (!isLog_) return value;
    return value > 0.0 ? std::log10(value) : notANumber;
}

double GraphScale::ToValue(double pixel) const {
    const double level = perLevel_ == 0.0 ? from_ : from_ + (pixel - at_) / perLevel_;
    return isLog_ ? std::pow(10.0, level) : level;
}

GraphBox WholePane(const GraphPane& pane) {
    if (pane.IsRose()) return RoseBox(pane);
    AxisExtent across(pane.x.isLog), up(pane.y.isLog);
    bool hasBars = false, hasAreas = false, isAllPoints = !pane.layers.empty(), hasMatrix = false;
    for (const GraphLayer& layer : pane.layers) {
        AddLayer(layer, across, up);
        hasBars |= layer.kind == LayerKind::bars;
        hasAreas |= layer.kind == LayerKind::area;
        hasMatrix |= layer.kind == LayerKind::matrix;
        isAllPoints &= layer.kind == LayerKind::points;
    }
    AxisExtent acrossLines = across, upLines = up;
    for (const GraphLine& line : pane.lines) {
        const AxisExtent& layers = line.isUpright ? across : up;
        if (layers.IsNear(line.at)) (line.isUpright ? acrossLines : upLines).Add(line.at);
    }
    acrossLines.Widen();
    upLines.Widen();
    const double room = hasMatrix ? 0.0 : roomUp * upLines.Span();
    // Bars and areas stand on their axis; on a log axis the lowest one is still to be seen.
    const bool stands = (hasBars || hasAreas) && upLines.Low() >= 0.0 && !pane.y.isLog;
    const double below = stands ? 0.0 : pane.y.isLog && hasBars ? std::max(room, std::log10(2.0)) : room;
    upLines.Reach(below, room);
    if (isAllPoints) acrossLines.Reach(roomAcross * acrossLines.Span(), roomAcross * acrossLines.Span());
    GraphBox box;
    std::tie(box.left, box.right) = acrossLines.Ends();
    std::tie(box.bottom, box.top) = upLines.Ends();
    TakeLimits(pane.x, box.left, box.right);
    TakeLimits(pane.y, box.bottom, box.top);
    return box;
}

std::vector<GraphBox> WholeGraph(const Graph& graph) {
    std::vector<GraphBox> boxes;
    for (const GraphPane& pane : graph.panes) boxes.push_back(WholePane(pane));
    if (!graph.sharesX || boxes.empty()) return boxes;
    GraphBox all = boxes.front();
    bool isFirst = true;
    for (size_t i = 0; i < boxes.size(); ++i) {
        // A pane with nothing in it has no say.
        if (graph.panes[i].IsRose() || (graph.panes[i].layers.empty() && !graph.panes[i].x.limits)) continue;
        all.left = isFirst ? boxes[i].left : std::min(all.left, boxes[i].left);
        all.right = isFirst ? boxes[i].right : std::max(all.right, boxes[i].right);
        isFirst = false;
    }
    for (size_t i = 0; i < boxes.size(); ++i)
        if (!graph.panes[i].IsRose()) std::tie(boxes[i].left, boxes[i].right) = std::tie(all.left, all.right);
    return boxes;
}

GraphBox Zoomed(const GraphPane& pane, GraphBox box, double factor, double x, double y, bool across,
                bool up) {
    const auto about = [factor](double place) {
        return [factor, place](double& from, double& to) {
            from = place - (place - from) * factor;
            to = place + (to - place) * factor;
        };
    };
    const auto level = [](const GraphAxis& axis, double value) {
        return axis.isLog ? std::log10(value) : value;
    };
    if (across) ChangeEnds(pane.x.isLog, box.left, box.right, about(level(pane.x, x)));
    if (up) ChangeEnds(pane.y.isLog, box.bottom, box.top, about(level(pane.y, y)));
    return box;
}

GraphBox Moved(const GraphPane& pane, GraphBox box, double across, double up) {
    const auto by = [](double share) {
        return [share](double& from, double& to) {
            const double way = share * (to - from);
            from += way;
            to += way;
        };
    };
    ChangeEnds(pane.x.isLog, box.left, box.right, by(across));
    ChangeEnds(pane.y.isLog, box.bottom, box.top, by(up));
    return box;
}

double RoundedWithin(double value, double pixel) {
    if (!std::isfinite(value) || !(pixel > 0.0) || !std::isfinite(pixel)) return value;
    // Divided by a whole power, so that a decimal fraction is the nearest number to it.
    const double power = std::floor(std::log10(pixel / 2.0));
    const double scale = std::pow(10.0, std::abs(power));
    const double rounded =
        power < 0.0 ? std::round(value * scale) / scale : std::round(value / scale) * scale;
    return std::isfinite(rounded) ? rounded : value;
}

PointRange PointsWithin(const GraphLayer& layer, double left, double right) {
    const auto begin = layer.x.begin();
    const auto end = begin + static_cast<std::ptrdiff_t>(PointCount(layer));
    auto first = std::lower_bound(begin, end, left);
    auto last = std::upper_bound(first, end, right);
    if (first != begin) --first;
    if (last != end) ++last;
    return {static_cast<size_t>(first - begin), static_cast<size_t>(last - begin)};
}

std::vector<GraphColumn> CurveColumns(const GraphLayer& layer, const GraphScale& x, int left, int columns) {
    std::vector<GraphColumn> result;
    const PointRange range = PointsWithin(layer, x.ToValue(left), x.ToValue(left + columns));
    bool joined = false;
    size_t i = range.first;
    while (i < range.end && layer.x[i] < x.ToValue(left)) ++i;
    // One end of a column after the other, since a million logarithms take longer than all else.
    for (int column = 0; column < columns; ++column) {
        const double end = x.ToValue(left + column + 1);
        const bool isLast = column + 1 == columns;
        for (; i < range.end && (layer.x[i] < end || (isLast && layer.x[i] == end)); ++i) {
            const double y = layer.y[i];
            if (!std::isfinite(y)) {
                joined = false;
                continue;
            }
            if (result.empty() || !joined || result.back().column != column) {
                result.push_back({column, y, y, y, y, joined});
            } else {
                GraphColumn& last = result.back();
                last.low = std::min(last.low, y);
                last.high = std::max(last.high, y);
                last.last = y;
            }
            joined = true;
        }
    }
    return result;
}

bool ClipToBox(const GraphBox& box, double& x1, double& y1, double& x2, double& y2) {
    const double dx = x2 - x1, dy = y2 - y1;
    double from = 0.0, to = 1.0;
    if (!ClipSide(-dx, x1 - box.left, from, to) || !ClipSide(dx, box.right - x1, from, to) ||
        !ClipSide(-dy, y1 - box.bottom, from, to) || !ClipSide(dy, box.top - y1, from, to))
        return false;
    const double startX = x1, startY = y1;
    x1 = startX + from * dx;
    y1 = startY + from * dy;
    x2 = startX + to * dx;
    y2 = startY + to * dy;
    return true;
}

}  // namespace kymora
