#include "widgets/chart_painter.h"

#include <QFontMetrics>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <vector>

#include "drawing/ticks.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr double leastContrast = 3.0;
constexpr int tickLength = 4, textGap = 3, edge = 6;
constexpr int legendLine = 18, legendGap = 14;
constexpr int pixelsPerTickAcross = 80, pixelsPerTickUp = 36;
constexpr double curveWidth = 1.3;
constexpr size_t fewPoints = 5000;
constexpr double pointRadius = 2.5;
constexpr double barPart = 0.85;  // of the distance between two bars

// --- contrast, as the Web Content Accessibility Guidelines measure it ---

double Linear(double part) { return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4); }
double Luminance(const QColor& colour) {
    return 0.2126 * Linear(colour.redF()) + 0.7152 * Linear(colour.greenF()) +
           0.0722 * Linear(colour.blueF());
}
double Contrast(const QColor& a, const QColor& b) {
    const double first = Luminance(a), second = Luminance(b);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}
QColor Mixed(const QColor& a, const QColor& b, double part) {
    const auto mix = [part](float from, float to) { return static_cast<float>(from + (to - from) * part); };
    return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()), mix(a.blueF(), b.blueF()));
}

// --- the legend ---

struct LegendEntry {
    QString name;
    uint32_t colour;
    ChartSeries::Style style;
    QPoint at;  // its left middle
};

std::vector<LegendEntry> LegendOf(const Chart& chart) {
    std::vector<LegendEntry> entries;
    for (const ChartSeries& series : chart.series)
        if (!series.name.empty())
            entries.push_back({ToQString(series.name), series.colour, series.style, {}});
    for (const ChartLine& line : chart.lines)
        if (!line.name.empty())
            entries.push_back({ToQString(line.name), line.colour, ChartSeries::Style::line, {}});
    return entries;
}

// Puts the entries in rows from the left and answers the height.
int ArrangeLegend(std::vector<LegendEntry>& entries, int left, int right, int top,
                  const QFontMetrics& metrics) {
    if (entries.empty()) return 0;
    int x = left, y = top;
    for (LegendEntry& entry : entries) {
        const int width = legendLine + textGap + metrics.horizontalAdvance(entry.name);
        if (x > left && x + width > right) {
            x = left;
            y += metrics.height();
        }
        entry.at = QPoint(x, y + metrics.height() / 2);
        x += width + legendGap;
    }
    return y + metrics.height() - top + textGap;
}

int MostTicks(int pixels, int perTick) { return std::max(2, pixels / perTick); }

}  // namespace

QColor VisibleOn(uint32_t colour, const QColor& paper) {
    const QColor wanted(static_cast<int>(colour & 0xFF), static_cast<int>(colour >> 8 & 0xFF),
                        static_cast<int>(colour >> 16 & 0xFF));
    const QColor away = Luminance(paper) < 0.18 ? Qt::white : Qt::black;
    for (double part = 0.0; part < 1.0; part += 0.1) {
        const QColor mixed = Mixed(wanted, away, part);
        if (Contrast(mixed, paper) >= leastContrast) return mixed;
    }
    return away;
}

ChartPainter::ChartPainter(QPainter& painter, const Chart& chart, const ChartBox& box,
                           const QPalette& palette)
    : painter_(painter), chart_(chart), box_(box), palette_(palette) {}

QRect ChartPainter::PlotWithin(const QRect& area, const Chart& chart, const ChartBox& box,
                               const QFontMetrics& metrics) {
    const int height = metrics.height();
    auto entries = LegendOf(chart);
    const int top =
        area.top() + edge + height / 2 +
        ArrangeLegend(entries, area.left() + edge, area.right() - edge, area.top() + edge, metrics);
    const int bottom =
        area.bottom() - edge - tickLength - textGap - height - (chart.xLabel.empty() ? 0 : height + textGap);
    const double step = TickStep(box.bottom, box.top, MostTicks(bottom - top, pixelsPerTickUp));
    int widest = metrics.horizontalAdvance("0");
    for (const double tick : Ticks(box.bottom, box.top, step))
        widest = std::max(widest, metrics.horizontalAdvance(ToQString(TickText(tick, step))));
    const int left =
        area.left() + edge + (chart.yLabel.empty() ? 0 : height + textGap) + widest + textGap + tickLength;
    const int right = area.right() - 3 * edge;
    return {left, top, std::max(1, right - left), std::max(1, bottom - top)};
}

void ChartPainter::Paint(const QRect& area, const QRect& plot) {
    plot_ = plot;
    xScale_ = plot.width() / box_.Width();
    yScale_ = plot.height() / box_.Height();
    painter_.fillRect(area, palette_.color(QPalette::Base));
    PaintLegend(area);
    PaintAxes(area);
    painter_.save();
    painter_.setClipRect(plot);
    for (const ChartSeries& series : chart_.series) PaintSeries(series);
    PaintLines();
    painter_.restore();
}

void ChartPainter::PaintLegend(const QRect& area) {
    auto entries = LegendOf(chart_);
    const QFontMetrics metrics = painter_.fontMetrics();
    ArrangeLegend(entries, area.left() + edge, area.right() - edge, area.top() + edge, metrics);
    for (const LegendEntry& entry : entries) {
        const QColor colour = VisibleOn(entry.colour, palette_.color(QPalette::Base));
        if (entry.style == ChartSeries::Style::points) {
            painter_.fillRect(entry.at.x() + legendLine / 2 - 2, entry.at.y() - 2, 5, 5, colour);
        } else {
            const int thick = entry.style == ChartSeries::Style::bars ? 8 : 2;
            painter_.fillRect(entry.at.x(), entry.at.y() - thick / 2, legendLine, thick, colour);
        }
        painter_.setPen(palette_.color(QPalette::Text));
        painter_.drawText(entry.at.x() + legendLine + textGap,
                          entry.at.y() - metrics.height() / 2 + metrics.ascent(), entry.name);
    }
}

void ChartPainter::PaintAxes(const QRect& area) {
    const QColor text = palette_.color(QPalette::Text);
    const QColor paper = palette_.color(QPalette::Base);
    const QFontMetrics metrics = painter_.fontMetrics();
    const QPen gridPen(Mixed(paper, text, 0.12)), axisPen(Mixed(paper, text, 0.55)), textPen(text);
    const auto draw = [&](const QPen& pen, int x1, int y1, int x2, int y2) {
        painter_.setPen(pen);
        painter_.drawLine(x1, y1, x2, y2);
    };
    const double xStep = TickStep(box_.left, box_.right, MostTicks(plot_.width(), pixelsPerTickAcross));
    for (const double tick : Ticks(box_.left, box_.right, xStep)) {
        const int x = static_cast<int>(std::lround(X(tick)));
        draw(gridPen, x, plot_.top(), x, plot_.bottom());
        draw(axisPen, x, plot_.bottom(), x, plot_.bottom() + tickLength);
        const QString name = ToQString(TickText(tick, xStep));
        painter_.setPen(textPen);
        painter_.drawText(x - metrics.horizontalAdvance(name) / 2,
                          plot_.bottom() + tickLength + textGap + metrics.ascent(), name);
    }
    const double yStep = TickStep(box_.bottom, box_.top, MostTicks(plot_.height(), pixelsPerTickUp));
    for (const double tick : Ticks(box_.bottom, box_.top, yStep)) {
        const int y = static_cast<int>(std::lround(Y(tick)));
        draw(gridPen, plot_.left(), y, plot_.right(), y);
        draw(axisPen, plot_.left() - tickLength, y, plot_.left(), y);
        const QString name = ToQString(TickText(tick, yStep));
        painter_.setPen(textPen);
        painter_.drawText(plot_.left() - tickLength - textGap - metrics.horizontalAdvance(name),
                          y + metrics.ascent() / 2 - 1, name);
    }
    draw(axisPen, plot_.left(), plot_.top(), plot_.left(), plot_.bottom());
    draw(axisPen, plot_.left(), plot_.bottom(), plot_.right(), plot_.bottom());
    painter_.setPen(textPen);
    painter_.drawText(
        QRect(plot_.left(), area.bottom() - edge - metrics.height(), plot_.width(), metrics.height()),
        Qt::AlignCenter, ToQString(chart_.xLabel));
    painter_.save();
    painter_.translate(area.left() + edge, plot_.bottom());
    painter_.rotate(-90.0);
    painter_.drawText(QRect(0, 0, plot_.height(), metrics.height()), Qt::AlignCenter,
                      metrics.elidedText(ToQString(chart_.yLabel), Qt::ElideRight, plot_.height()));
    painter_.restore();
}

void ChartPainter::PaintLines() {
    for (const ChartLine& line : chart_.lines) {
        const double at = line.vertical ? X(line.at) : Y(line.at);
        if (!(std::abs(at) < 1e6)) continue;
        const int pixel = static_cast<int>(std::lround(at));
        const QColor colour = VisibleOn(line.colour, palette_.color(QPalette::Base));
        painter_.setPen(QPen(colour, 1, line.vertical ? Qt::DashLine : Qt::SolidLine));
        if (line.vertical)
            painter_.drawLine(pixel, plot_.top(), pixel, plot_.bottom());
        else
            painter_.drawLine(plot_.left(), pixel, plot_.right(), pixel);
    }
}

// --- series ---

void ChartPainter::PaintSeries(const ChartSeries& series) {
    const size_t count = std::min(series.x.size(), series.y.size());
    const bool ascends = std::is_sorted(series.x.begin(), series.x.begin() + static_cast<ptrdiff_t>(count));
    const PointRange range = ascends ? PointsWithin(series, box_.left, box_.right) : PointRange{0, count};
    const bool isDense = ascends && range.end - range.first > 2 * static_cast<size_t>(plot_.width());
    painter_.setPen(VisibleOn(series.colour, palette_.color(QPalette::Base)));
    if (series.style == ChartSeries::Style::points)
        PaintPoints(series, range);
    else if (isDense)
        PaintDense(series);
    else if (series.style == ChartSeries::Style::bars)
        PaintBars(series, range);
    else
        PaintCurve(series);
}

// Every point by itself.
void ChartPainter::PaintCurve(const ChartSeries& series) {
    const size_t count = std::min(series.x.size(), series.y.size());
    const ChartBox around{plot_.left() - 10.0, plot_.right() + 10.0, plot_.top() - 10.0,
                          plot_.bottom() + 10.0};
    std::vector<QLineF> lines;
    for (size_t i = 0; i < count; ++i) {
        if (!std::isfinite(series.y[i])) continue;
        const bool follows = i > 0 && std::isfinite(series.y[i - 1]);
        const bool leads = i + 1 < count && std::isfinite(series.y[i + 1]);
        if (!follows && leads) continue;
        const size_t from = follows ? i - 1 : i;
        double x1 = X(series.x[from]), y1 = Y(static_cast<double>(series.y[from]));
        double x2 = X(series.x[i]), y2 = Y(static_cast<double>(series.y[i]));
        // A point alone between two breaks is seen too.
        if (!follows) x2 += 1.0;
        if (ClipToBox(around, x1, y1, x2, y2)) lines.emplace_back(x1, y1, x2, y2);
    }
    painter_.setRenderHint(QPainter::Antialiasing);
    QPen pen = painter_.pen();
    pen.setWidthF(curveWidth);
    pen.setCapStyle(Qt::RoundCap);
    painter_.setPen(pen);
    painter_.drawLines(lines.data(), static_cast<int>(lines.size()));
    painter_.setRenderHint(QPainter::Antialiasing, false);
}

// One upright line for each pixel column, from the lowest to the highest point, and the ways between them.
void ChartPainter::PaintDense(const ChartSeries& series) {
    const bool isBars = series.style == ChartSeries::Style::bars;
    const auto pixel = [this](float value) {
        return static_cast<int>(std::lround(
            std::clamp(Y(static_cast<double>(value)), plot_.top() - 10.0, plot_.bottom() + 10.0)));
    };
    std::vector<QRect> columns;
    int before = 0;
    for (const ChartColumn& column : ChartColumns(series, box_.left, box_.right, plot_.width())) {
        int top = pixel(isBars ? std::max(0.0f, column.high) : column.high);
        int bottom = pixel(isBars ? std::min(0.0f, column.low) : column.low);
        if (column.joined && !isBars) {
            // Half of the way belongs to this column, so that steep flanks have no holes.
            const int first = pixel(column.first);
            top = std::min(top, std::min(first, before));
            bottom = std::max(bottom, std::max(first, before));
        }
        before = pixel(column.last);
        columns.emplace_back(plot_.left() + column.column, top, 1, bottom - top + 1);
    }
    for (const QRect& column : columns) painter_.fillRect(column, painter_.pen().color());
}

void ChartPainter::PaintPoints(const ChartSeries& series, PointRange range) {
    const QColor colour = painter_.pen().color();
    const bool isFew = range.end - range.first <= fewPoints;
    // Points that fall on one pixel are drawn once.
    const auto width = static_cast<size_t>(plot_.width() + 1),
               height = static_cast<size_t>(plot_.height() + 1);
    std::vector<bool> taken(isFew ? 0 : width * height);
    painter_.setRenderHint(QPainter::Antialiasing, isFew);
    painter_.setBrush(colour);
    painter_.setPen(Qt::NoPen);
    for (size_t i = range.first; i < range.end; ++i) {
        const double x = X(series.x[i]), y = Y(static_cast<double>(series.y[i]));
        if (!(x >= plot_.left() && x < plot_.right() + 1.0 && y >= plot_.top() && y < plot_.bottom() + 1.0))
            continue;
        if (isFew) {
            painter_.drawEllipse(QPointF(x, y), pointRadius, pointRadius);
            continue;
        }
        const auto at = static_cast<size_t>(y - plot_.top()) * width + static_cast<size_t>(x - plot_.left());
        if (taken[at]) continue;
        taken[at] = true;
        painter_.fillRect(static_cast<int>(x) - 1, static_cast<int>(y) - 1, 3, 3, colour);
    }
    painter_.setRenderHint(QPainter::Antialiasing, false);
    painter_.setBrush(Qt::NoBrush);
}

void ChartPainter::PaintBars(const ChartSeries& series, PointRange range) {
    double apart = box_.Width() / 10.0;
    for (size_t i = range.first + 1; i < range.end; ++i)
        if (series.x[i] > series.x[i - 1]) apart = std::min(apart, series.x[i] - series.x[i - 1]);
    const double width = std::clamp(apart * xScale_ * barPart, 1.0, static_cast<double>(plot_.width()));
    const auto held = [this](double y) { return std::clamp(y, plot_.top() - 10.0, plot_.bottom() + 10.0); };
    const double base = held(Y(0.0));
    for (size_t i = range.first; i < range.end; ++i) {
        if (!std::isfinite(series.y[i])) continue;
        const double x = X(series.x[i]), y = held(Y(static_cast<double>(series.y[i])));
        if (!(std::abs(x) < 1e6)) continue;
        const QRectF bar(x - width / 2, std::min(y, base), width, std::abs(y - base));
        painter_.fillRect(bar, painter_.pen().color());
    }
}

}  // namespace kymora
