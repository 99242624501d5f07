#include "operations/chart_geometry.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kymora {

namespace {

// Lines across count while they lie within as many heights of the curves.
constexpr double farLine = 3.0;
constexpr double roomPart = 0.05;

class Extent {
  public:
    void Add(double value) {
        if (!std::isfinite(value)) return;
        low_ = std::min(low_, value);
        high_ = std::max(high_, value);
    }
    bool IsEmpty() const { return !(low_ <= high_); }
    double Low() const { return low_; }
    double High() const { return high_; }
    // Of some width even where all values are one.
    void Widen() {
        if (IsEmpty()) {
            low_ = 0.0;
            high_ = 1.0;
        }
        const double least = std::max(std::abs(low_), std::abs(high_)) * 1e-6;
        if (high_ - low_ > least) return;
        const double half = low_ == 0.0 ? 0.5 : std::abs(low_) * 0.05;
        low_ -= half;
        high_ += half;
    }

  private:
    double low_ = std::numeric_limits<double>::infinity();
    double high_ = -std::numeric_limits<double>::infinity();
};

void AddSeries(const ChartSeries& series, Extent& across, Extent& up) {
    const size_t count = std::min(series.x.size(), series.y.size());
    for (size_t i = 0; i < count; ++i) {
        if (!std::isfinite(series.y[i])) continue;
        across.Add(series.x[i]);
        up.Add(static_cast<double>(series.y[i]));
    }
    if (series.style == ChartSeries::Style::bars && count > 0) up.Add(0.0);
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

ChartBox WholeChart(const Chart& chart) {
    Extent across, up;
    for (const ChartSeries& series : chart.series) AddSeries(series, across, up);
    Extent withLines = up;
    const double height = up.IsEmpty() ? 0.0 : up.High() - up.Low();
    for (const ChartLine& line : chart.lines) {
        const bool isNear =
            up.IsEmpty() || height == 0.0 ||
            (line.at >= up.Low() - farLine * height && line.at <= up.High() + farLine * height);
        if (!line.vertical && isNear) withLines.Add(line.at);
        if (line.vertical && chart.series.empty()) across.Add(line.at);
    }
    across.Widen();
    withLines.Widen();
    const double room = roomPart * (withLines.High() - withLines.Low());
    return {across.Low(), across.High(), withLines.Low() - room, withLines.High() + room};
}

PointRange PointsWithin(const ChartSeries& series, double left, double right) {
    const auto begin = series.x.begin();
    const auto end = begin + static_cast<std::ptrdiff_t>(std::min(series.x.size(), series.y.size()));
    auto first = std::lower_bound(begin, end, left);
    auto last = std::upper_bound(first, end, right);
    if (first != begin) --first;
    if (last != end) ++last;
    return {static_cast<size_t>(first - begin), static_cast<size_t>(last - begin)};
}

std::vector<ChartColumn> ChartColumns(const ChartSeries& series, double left, double right, int columns) {
    std::vector<ChartColumn> result;
    const PointRange range = PointsWithin(series, left, right);
    const double scale = columns / (right - left);
    bool joined = false;
    for (size_t i = range.first; i < range.end; ++i) {
        const double x = series.x[i];
        const float y = series.y[i];
        if (x < left || x > right) continue;
        if (!std::isfinite(y)) {
            joined = false;
            continue;
        }
        const int column = std::min(columns - 1, static_cast<int>((x - left) * scale));
        if (result.empty() || !joined || result.back().column != column) {
            result.push_back({column, y, y, y, y, joined});
        } else {
            ChartColumn& last = result.back();
            last.low = std::min(last.low, y);
            last.high = std::max(last.high, y);
            last.last = y;
        }
        joined = true;
    }
    return result;
}

bool ClipToBox(const ChartBox& box, double& x1, double& y1, double& x2, double& y2) {
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
