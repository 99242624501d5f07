#include "graphs/layer_painter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "drawing/ticks.h"

namespace kymora {

namespace {

constexpr double beyondPlot = 10.0;  // pixels within which lines run on outside of it
constexpr size_t fewPoints = 5000;
constexpr int markLength = 7;
constexpr int widthWithOutline = 4;  // pixels of a bar from which on each is seen by itself
constexpr double fillShare = 0.35, paleShare = 0.72;
constexpr double ringsOfRose = 4.0;
constexpr uint32_t rimColour = Rgb(40, 40, 40);
constexpr int widthWithRim = 4, widthInRim = 2;

bool Ascends(const GraphLayer& layer) { return std::is_sorted(layer.x.begin(), layer.x.end()); }

size_t CountOf(const GraphLayer& layer) { return std::min(layer.x.size(), layer.y.size()); }

// The cells of a matrix under each pixel, from `first` up to, not including, `end`; none outside of it.
struct CellRange {
    size_t first = 0, end = 0;
    bool operator==(const CellRange&) const = default;
};
std::vector<CellRange> CellsUnder(const GraphScale& scale, int from, int to, double low, double high,
                                  size_t cells) {
    std::vector<CellRange> ranges;
    const auto cellAt = [&](double pixel) {
        return (scale.ToValue(pixel) - low) / (high - low) * static_cast<double>(cells);
    };
    for (int pixel = from; pixel < to; ++pixel) {
        double first = cellAt(pixel), end = cellAt(pixel + 1);
        if (first > end) std::swap(first, end);
        const double middle = cellAt(pixel + 0.5);
        if (!(middle >= 0.0 && middle < static_cast<double>(cells))) {
            ranges.push_back({});
        } else if (end - first < 1.0) {
            const auto cell = static_cast<size_t>(middle);
            ranges.push_back({cell, cell + 1});
        } else {
            const auto begin = static_cast<size_t>(std::max(0.0, std::floor(first)));
            const auto limit = static_cast<size_t>(std::min(static_cast<double>(cells), std::floor(end)));
            ranges.push_back({begin, std::max(begin + 1, limit)});
        }
    }
    return ranges;
}

// Where equal neighbours end.
std::vector<std::pair<int, int>> RunsOf(const std::vector<CellRange>& ranges, int from) {
    std::vector<std::pair<int, int>> runs;
    for (size_t i = 0; i < ranges.size();) {
        size_t end = i + 1;
        while (end < ranges.size() && ranges[end] == ranges[i]) ++end;
        if (ranges[i].first < ranges[i].end)
            runs.emplace_back(from + static_cast<int>(i), from + static_cast<int>(end));
        i = end;
    }
    return runs;
}

}  // namespace

LayerPainter::LayerPainter(DrawDevice& device, const PanePlace& place, const GraphLook& look)
    : device_(device), place_(place), plot_(place.plot), look_(look) {}

double LayerPainter::HeldX(double pixel) const {
    return std::clamp(pixel, plot_.left - beyondPlot, plot_.right + beyondPlot);
}
double LayerPainter::HeldY(double pixel) const {
    return std::clamp(pixel, plot_.top - beyondPlot, plot_.bottom + beyondPlot);
}
int LayerPainter::Column(double x) const { return static_cast<int>(std::lround(HeldX(place_.x.ToPixel(x)))); }
int LayerPainter::Row(double y) const { return static_cast<int>(std::lround(HeldY(place_.y.ToPixel(y)))); }

uint32_t LayerPainter::FillOf(const GraphLayer& layer) const {
    return Blend(colour_, look_.paper, layer.isPale ? paleShare : fillShare);
}

// Where nothing has a place on a log axis, bars stand on the lower one.
double LayerPainter::Base(const GraphLayer& layer) const {
    const double base = place_.y.ToPixel(layer.base);
    return HeldY(std::isfinite(base) ? base : plot_.bottom);
}

void LayerPainter::Paint(const GraphLayer& layer) {
    colour_ = SeenOn(layer.colour, look_.paper);
    switch (layer.kind) {
    case LayerKind::bars:
        return PaintBars(layer);
    case LayerKind::curve:
        return PaintCurve(layer);
    case LayerKind::points:
        return PaintPoints(layer);
    case LayerKind::marks:
        return PaintMarks(layer);
    case LayerKind::area:
        return PaintArea(layer);
    case LayerKind::matrix:
        return PaintMatrix(layer);
    case LayerKind::raster:
        return PaintRaster(layer);
    case LayerKind::rose:
        return PaintRose(layer);
    }
}

// --- bars ---

// Bars between their edges, which touch; the outline is drawn once around neighbours.
void LayerPainter::PaintBars(const GraphLayer& layer) {
    if (layer.x.size() < 2 || layer.y.empty()) return;
    const size_t count = std::min(layer.y.size(), layer.x.size() - 1);
    const auto begin = layer.x.begin();
    const auto end = begin + static_cast<std::ptrdiff_t>(count);
    const auto first = static_cast<size_t>(
        std::max<std::ptrdiff_t>(0, std::upper_bound(begin, end, place_.box.left) - begin - 1));
    const auto last = static_cast<size_t>(std::lower_bound(begin, end, place_.box.right) - begin);
    if (first >= last) return;
    if (last - first > static_cast<size_t>(plot_.Width())) return PaintDenseBars(layer);
    const int base = static_cast<int>(std::lround(Base(layer)));
    const auto across = static_cast<double>(Column(layer.x[last]) - Column(layer.x[first]));
    const bool isOutlined = across / static_cast<double>(last - first) >= widthWithOutline;
    const uint32_t fill = isOutlined || layer.isPale ? FillOf(layer) : colour_;
    for (size_t i = first; i < last; ++i) {
        if (!std::isfinite(layer.y[i])) continue;
        const int left = Column(layer.x[i]), right = std::max(left + 1, Column(layer.x[i + 1]));
        const double at = place_.y.ToPixel(layer.y[i]);
        if (std::isnan(at)) continue;
        const int row = Row(layer.y[i]);
        const auto [top, bottom] = std::minmax(row, base);
        // A value at the base is one that is there; an empty bin of counts has nothing to show.
        if (top == bottom) continue;
        device_.FillRect({left, top, right, bottom}, fill);
        if (!isOutlined) continue;
        device_.SetPen({layer.isPale ? Blend(colour_, look_.paper, paleShare / 2) : colour_});
        const Point outline[] = {{left, base}, {left, row}, {right, row}, {right, base}};
        device_.Polyline(outline);
    }
}

// In each pixel column from the base to the farthest of its bars.
void LayerPainter::PaintDenseBars(const GraphLayer& layer) {
    const size_t count = std::min(layer.y.size(), layer.x.size() - 1);
    const int base = static_cast<int>(std::lround(Base(layer)));
    const uint32_t fill = layer.isPale ? FillOf(layer) : colour_;
    const double left = place_.x.ToValue(plot_.left);
    auto i = static_cast<size_t>(std::max<std::ptrdiff_t>(
        0, std::upper_bound(layer.x.begin(), layer.x.end(), left) - layer.x.begin() - 1));
    for (int column = plot_.left; column < plot_.right && i < count; ++column) {
        const double end = place_.x.ToValue(column + 1);
        double low = std::numeric_limits<double>::infinity(), high = -low;
        for (; i < count && layer.x[i] < end; ++i) {
            if (!std::isfinite(layer.y[i])) continue;
            low = std::min(low, layer.y[i]);
            high = std::max(high, layer.y[i]);
        }
        // A bar that reaches into the next column is seen there, too.
        if (i > 0 && layer.x[i] > end) --i;
        if (!(low <= high)) continue;
        const auto row = [this](double value, int none) {
            return std::isnan(place_.y.ToPixel(value)) ? none : Row(value);
        };
        const int top = std::min(base, row(high, base)), bottom = std::max(base, row(low, base));
        if (top < bottom) device_.FillRect({column, top, column + 1, bottom}, fill);
    }
}

// --- curves ---

void LayerPainter::PaintCurve(const GraphLayer& layer) {
    if (layer.isRimmed) return PaintRimmedCurve(layer);
    device_.SetPen({colour_, 1, layer.isDashed ? Pen::Style::dashed : Pen::Style::solid});
    DrawCurve(layer);
}

// What lies below it has any colour, so that the paper is no guide.
void LayerPainter::PaintRimmedCurve(const GraphLayer& layer) {
    device_.SetPen({rimColour, widthWithRim});
    DrawCurve(layer);
    device_.SetPen({layer.colour, widthInRim});
    DrawCurve(layer);
}

void LayerPainter::DrawCurve(const GraphLayer& layer) {
    const size_t count = CountOf(layer);
    const bool ascends = Ascends(layer);
    const PointRange range =
        ascends ? PointsWithin(layer, place_.box.left, place_.box.right) : PointRange{0, count};
    if (range.first >= range.end) return;
    if (ascends && range.end - range.first > 2 * static_cast<size_t>(plot_.Width()))
        return PaintDenseCurve(layer);
    const GraphBox around{plot_.left - beyondPlot, plot_.right + beyondPlot, plot_.top - beyondPlot,
                          plot_.bottom + beyondPlot};
    std::vector<Place> places;
    const auto flush = [&] {
        if (!places.empty()) device_.Curve(places);
        places.clear();
    };
    const auto at = [&](size_t i) {
        return Place{place_.x.ToPixel(layer.x[i]), place_.y.ToPixel(layer.y[i])};
    };
    const auto isThere = [](const Place& place) { return std::isfinite(place.x) && std::isfinite(place.y); };
    for (size_t i = range.first; i < range.end; ++i) {
        Place to = at(i);
        if (!isThere(to)) {
            flush();
            continue;
        }
        const bool follows = i > range.first && isThere(at(i - 1));
        const bool leads = i + 1 < range.end && isThere(at(i + 1));
        if (!follows && leads) continue;
        // A point alone between two breaks is seen too.
        Place from = follows ? at(i - 1) : Place{to.x - 1.0, to.y};
        if (!ClipToBox(around, from.x, from.y, to.x, to.y)) {
            flush();
            continue;
        }
        if (places.empty() || places.back() != from) {
            flush();
            places.push_back(from);
        }
        places.push_back(to);
    }
    flush();
}

// By the extremes of each pixel column, which devices draw as they draw long traces.
void LayerPainter::PaintDenseCurve(const GraphLayer& layer) {
    std::vector<Point> points;
    const auto flush = [&] {
        if (!points.empty()) device_.Polyline(points);
        points.clear();
    };
    for (const GraphColumn& column : CurveColumns(layer, place_.x, plot_.left, plot_.Width())) {
        if (!column.joined) flush();
        const auto hasPlace = [this](double y) { return !std::isnan(place_.y.ToPixel(y)); };
        if (!hasPlace(column.high)) {
            flush();
            continue;
        }
        for (const double y : {column.first, column.low, column.high, column.last})
            if (hasPlace(y)) points.push_back({plot_.left + column.column, Row(y)});
    }
    flush();
}

void LayerPainter::PaintPoints(const GraphLayer& layer) {
    const PointRange range = Ascends(layer) ? PointsWithin(layer, place_.box.left, place_.box.right)
                                            : PointRange{0, CountOf(layer)};
    const bool isFew = range.end - range.first <= fewPoints;
    // Points that fall on one pixel are drawn once.
    const auto width = static_cast<size_t>(plot_.Width()), height = static_cast<size_t>(plot_.Height());
    std::vector<bool> taken(width * height);
    for (size_t i = range.first; i < range.end; ++i) {
        const double x = std::floor(place_.x.ToPixel(layer.x[i])),
                     y = std::floor(place_.y.ToPixel(layer.y[i]));
        if (!(x >= plot_.left && x <= plot_.right && y >= plot_.top && y <= plot_.bottom)) continue;
        const int column = std::min(static_cast<int>(x), plot_.right - 1);
        const int row = std::min(static_cast<int>(y), plot_.bottom - 1);
        const auto at =
            static_cast<size_t>(row - plot_.top) * width + static_cast<size_t>(column - plot_.left);
        if (taken[at]) continue;
        taken[at] = true;
        if (isFew)
            device_.FillEllipse({column - 2, row - 2, column + 2, row + 2}, colour_);
        else
            device_.FillRect({column - 1, row - 1, column + 2, row + 2}, colour_);
    }
}

void LayerPainter::PaintMarks(const GraphLayer& layer) {
    std::vector<bool> taken(static_cast<size_t>(plot_.Width() + 1));
    for (const double at : layer.x) {
        const double x = place_.x.ToPixel(at);
        if (!(x >= plot_.left && x <= plot_.right)) continue;
        taken[static_cast<size_t>(x - plot_.left)] = true;
    }
    for (size_t i = 0; i < taken.size(); ++i) {
        const int column = std::min(plot_.left + static_cast<int>(i), plot_.right - 1);
        if (taken[i])
            device_.FillRect({column, plot_.bottom - markLength, column + 1, plot_.bottom}, colour_);
    }
}

// Each stretch without a break is one shape.
void LayerPainter::PaintArea(const GraphLayer& layer) {
    const size_t count = std::min(CountOf(layer), layer.y2.size());
    const PointRange range =
        Ascends(layer) ? PointsWithin(layer, place_.box.left, place_.box.right) : PointRange{0, count};
    std::vector<Place> there, back;
    const auto flush = [&] {
        there.insert(there.end(), back.rbegin(), back.rend());
        if (!back.empty()) device_.FillPolygon(there, FillOf(layer));
        there.clear();
        back.clear();
    };
    double column = std::numeric_limits<double>::quiet_NaN();
    for (size_t i = range.first; i < std::min(range.end, count); ++i) {
        const double x = place_.x.ToPixel(layer.x[i]), y = place_.y.ToPixel(layer.y[i]);
        const double y2 = place_.y.ToPixel(layer.y2[i]);
        if (!std::isfinite(x) || std::isnan(y) || std::isnan(y2)) {
            flush();
            column = std::numeric_limits<double>::quiet_NaN();
            continue;
        }
        // Of many points in a column, the widest place of all stands for them.
        if (std::floor(HeldX(x)) == column && count > 4 * static_cast<size_t>(plot_.Width())) {
            const bool isAbove = there.back().y <= back.back().y;
            double& upper = isAbove ? there.back().y : back.back().y;
            double& lower = isAbove ? back.back().y : there.back().y;
            upper = std::min({upper, HeldY(y), HeldY(y2)});
            lower = std::max({lower, HeldY(y), HeldY(y2)});
            continue;
        }
        column = std::floor(HeldX(x));
        there.push_back({HeldX(x), HeldY(y)});
        back.push_back({HeldX(x), HeldY(y2)});
    }
    flush();
}

// --- matrix ---

// Where cells are smaller than pixels, a pixel shows the highest of its own.
void LayerPainter::PaintMatrix(const GraphLayer& layer) {
    if (layer.columns == 0 || layer.x.size() < 2 || layer.y2.size() < 2) return;
    const size_t rows = layer.y.size() / layer.columns;
    if (rows == 0 || !(layer.x[0] < layer.x[1]) || !(layer.y2[0] < layer.y2[1])) return;
    const auto [low, high] = MatrixRange(layer);
    constexpr double shades = 255.0;
    std::vector<uint32_t> colours;
    for (int i = 0; i <= 255; ++i) colours.push_back(MatrixColour(i / shades, layer.map));
    const auto across = CellsUnder(place_.x, plot_.left, plot_.right, layer.x[0], layer.x[1], layer.columns);
    const auto up = CellsUnder(place_.y, plot_.top, plot_.bottom, layer.y2[0], layer.y2[1], rows);
    const auto runs = RunsOf(across, plot_.left);
    for (const auto& [top, bottom] : RunsOf(up, plot_.top)) {
        const CellRange row = up[static_cast<size_t>(top - plot_.top)];
        int start = 0;
        std::optional<uint32_t> shown;
        const auto flush = [&](int end) {
            if (shown && start < end) device_.FillRect({start, top, end, bottom}, *shown);
            shown.reset();
        };
        int reached = plot_.left;
        for (const auto& [left, right] : runs) {
            const CellRange column = across[static_cast<size_t>(left - plot_.left)];
            double most = -std::numeric_limits<double>::infinity();
            for (size_t r = row.first; r < row.end; ++r)
                for (size_t c = column.first; c < column.end; ++c) {
                    const double value = layer.y[r * layer.columns + c];
                    if (std::isfinite(value)) most = std::max(most, value);
                }
            std::optional<uint32_t> colour;
            if (std::isfinite(most))
                colour = colours[static_cast<size_t>(
                    std::lround(std::clamp((most - low) / (high - low), 0.0, 1.0) * shades))];
            if (colour != shown) {
                flush(left);
                shown = colour;
                start = left;
            }
            reached = right;
        }
        flush(reached);
    }
}

// --- raster ---

namespace {

constexpr uint32_t isTaken = 0x80000000;  // a pixel with a colour
constexpr double rowGap = 0.1;            // of a row, above and below its marks

// The marks of one row of stimuli, and the pixels that they take once all are there.
class RasterRow {
  public:
    explicit RasterRow(size_t width) : line_(width) {}

    void Mark(size_t column, uint32_t colour) {
        if (line_[column] == 0) columns_.push_back(column);
        line_[column] = colour | isTaken;
    }
    void MoveTo(std::vector<uint32_t>& cells, int top, int bottom) {
        for (const size_t column : columns_) {
            for (int row = top; row < bottom; ++row)
                cells[static_cast<size_t>(row) * line_.size() + column] = line_[column];
            line_[column] = 0;
        }
        columns_.clear();
    }

  private:
    std::vector<uint32_t> line_;
    std::vector<size_t> columns_;
};

}  // namespace

// Marks that fall on one pixel are drawn once, the last one over the others.
void LayerPainter::PaintRaster(const GraphLayer& layer) {
    const int width = plot_.Width(), height = plot_.Height();
    if (width <= 0 || height <= 0) return;
    std::vector<uint32_t> cells(static_cast<size_t>(width) * static_cast<size_t>(height));
    RasterRow row(static_cast<size_t>(width));
    const auto pixelRow = [&](double y) {
        return std::clamp(static_cast<int>(std::lround(HeldY(place_.y.ToPixel(y)))) - plot_.top, 0, height);
    };
    const bool hasColours = layer.colours.size() == layer.x.size();
    uint32_t own = layer.colour, seen = colour_;  // the colour that was asked for last, and as it is seen
    const size_t count = CountOf(layer);
    const int leftHalf = (layer.width - 1) / 2;
    for (size_t i = 0; i < count;) {
        const double y = layer.y[i];
        const int top = std::min(pixelRow(y + 0.5 - rowGap), height - 1);
        const bool isSeen = y + 0.5 > place_.box.bottom && y - 0.5 < place_.box.top;
        for (; i < count && layer.y[i] == y; ++i) {
            // From beyond the plot, so that what is above 0 is cut as it is rounded down.
            const double x = place_.x.ToPixel(layer.x[i]) - plot_.left + layer.width;
            if (!isSeen || !(x > 0.0 && x < width + 2 * layer.width)) continue;
            if (hasColours && layer.colours[i] != own) {
                own = layer.colours[i];
                seen = SeenOn(own, look_.paper);
            }
            const int left = static_cast<int>(x) - layer.width - leftHalf;
            for (int column = std::max(left, 0); column < std::min(left + layer.width, width); ++column)
                row.Mark(static_cast<size_t>(column), seen);
        }
        if (isSeen) row.MoveTo(cells, top, std::max(top + 1, pixelRow(y - 0.5 + rowGap)));
    }
    FillRuns(cells);
}

// Pixel rows that are equal are filled at once.
void LayerPainter::FillRuns(std::span<const uint32_t> cells) {
    const auto width = static_cast<size_t>(plot_.Width());
    const auto rowOf = [&](int row) { return cells.subspan(static_cast<size_t>(row) * width, width); };
    for (int top = 0, bottom = 0; top < plot_.Height(); top = bottom) {
        for (bottom = top + 1; bottom < plot_.Height() && std::ranges::equal(rowOf(top), rowOf(bottom));)
            ++bottom;
        const auto row = rowOf(top);
        for (size_t first = 0, end = 0; first < width; first = end) {
            for (end = first + 1; end < width && row[end] == row[first];) ++end;
            if (row[first] == 0) continue;
            device_.FillRect({plot_.left + static_cast<int>(first), plot_.top + top,
                              plot_.left + static_cast<int>(end), plot_.top + bottom},
                             row[first] & ~isTaken);
        }
    }
}

// --- rose ---

Place LayerPainter::RosePlace(double turns, double radius) const {
    const double angle = 2.0 * M_PI * turns;
    return {place_.x.ToPixel(radius * std::cos(angle)), place_.y.ToPixel(radius * std::sin(angle))};
}

void LayerPainter::PaintRose(const GraphLayer& layer) {
    constexpr double step = 1.0 / 180.0;  // turns between the corners of an arc
    for (size_t i = 0; i + 1 < layer.x.size() && i < layer.y.size(); ++i) {
        const double value = layer.y[i], from = layer.x[i], to = layer.x[i + 1];
        if (!std::isfinite(value) || !(value > 0.0) || !(from < to)) continue;
        std::vector<Place> corners{RosePlace(0.0, 0.0)};
        const int arcs = std::max(1, static_cast<int>(std::ceil((to - from) / step)));
        for (int k = 0; k <= arcs; ++k) corners.push_back(RosePlace(from + (to - from) * k / arcs, value));
        device_.FillPolygon(corners, FillOf(layer));
        corners.push_back(corners.front());
        device_.SetPen({colour_});
        device_.Curve(corners);
    }
}

void LayerPainter::PaintRoseAxes() {
    const double most = place_.box.right;
    const uint32_t ring = Blend(look_.paper, look_.ink, 0.18);
    const auto circle = [&](double radius, uint32_t colour) {
        std::vector<Place> around;
        for (int k = 0; k <= 120; ++k) around.push_back(RosePlace(k / 120.0, radius));
        device_.SetPen({colour});
        device_.Curve(around);
    };
    const double step = TickStep(0.0, most, static_cast<int>(ringsOfRose));
    if (look_.hasGrid)
        for (const double radius : Ticks(0.0, most, step))
            if (radius > 0.0) circle(radius, ring);
    circle(most, Blend(look_.paper, look_.ink, 0.55));
    for (int quarter = 0; quarter < 4; ++quarter) {
        const Place ends[] = {RosePlace(0.0, 0.0), RosePlace(quarter / 4.0, most)};
        device_.SetPen({ring});
        if (look_.hasGrid) device_.Curve(ends);
        const Place outer = ends[1];
        TextStyle style{look_.ink};
        style.horizontal = quarter == 0   ? TextStyle::Horizontal::left
                           : quarter == 2 ? TextStyle::Horizontal::right
                                          : TextStyle::Horizontal::centre;
        style.vertical = quarter == 1   ? TextStyle::Vertical::bottom
                         : quarter == 3 ? TextStyle::Vertical::top
                                        : TextStyle::Vertical::centre;
        const int gap = graphTextGap;
        device_.Text(static_cast<int>(outer.x) + (quarter == 0   ? gap
                                                  : quarter == 2 ? -gap
                                                                 : 0),
                     static_cast<int>(outer.y) + (quarter == 3   ? gap
                                                  : quarter == 1 ? -gap
                                                                 : 0),
                     std::to_string(quarter * 90) + "\u00B0", style);
    }
}

// The mean as an arrow over all, the values of the rings over it.
void LayerPainter::PaintMean(std::pair<double, double> mean) {
    const auto [turns, length] = mean;
    const double most = place_.box.right;
    if (!std::isfinite(turns) || !(length > 0.0)) return;
    const Place from = RosePlace(0.0, 0.0), to = RosePlace(turns, std::min(1.0, length) * most);
    const double x = to.x - from.x, y = to.y - from.y, way = std::hypot(x, y);
    if (!(way > 0.0)) return;
    const double head = std::min(10.0, way), along = x / way, up = y / way;
    const Place neck{to.x - along * head, to.y - up * head};
    const Place shaft[] = {from, neck};
    device_.SetPen({look_.ink, 2});
    device_.Curve(shaft);
    const Place corners[] = {to,
                             {neck.x - up * head / 2, neck.y + along * head / 2},
                             {neck.x + up * head / 2, neck.y - along * head / 2}};
    device_.FillPolygon(corners, look_.ink);
}

}  // namespace kymora
