#include "drawing/draw_device.h"

#include <cmath>

#include "archive/text_encoding.h"

namespace kymora {

bool IsDarkPaper(uint32_t paper) {
    const double brightness =
        0.299 * (paper & 0xFF) + 0.587 * (paper >> 8 & 0xFF) + 0.114 * (paper >> 16 & 0xFF);
    return brightness < 128.0;
}

uint32_t Blend(uint32_t colour, uint32_t other, double share) {
    uint32_t blend = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const double from = colour >> shift & 0xFF, to = other >> shift & 0xFF;
        blend |= static_cast<uint32_t>(from + (to - from) * share + 0.5) << shift;
    }
    return blend;
}

namespace {

// Relative luminance after WCAG 2.
double Luminance(uint32_t colour) {
    const auto linear = [colour](int shift) {
        const double value = (colour >> shift & 0xFF) / 255.0;
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(0) + 0.7152 * linear(8) + 0.0722 * linear(16);
}

}  // namespace

uint32_t SeenOn(uint32_t colour, uint32_t paper) {
    if (!IsDarkPaper(paper)) return colour;
    constexpr double leastContrast = 4.0;
    constexpr uint32_t white = Rgb(255, 255, 255);
    uint32_t seen = colour & white;
    // Black is the ink of a light paper, and a dark grey near it.
    const uint32_t grey = seen & 0xFF;
    if (seen == Rgb(grey, grey, grey) && grey < 116) return Rgb(232 - grey, 232 - grey, 232 - grey);
    for (int share = 1; share < 10 && (Luminance(seen) + 0.05) / (Luminance(paper) + 0.05) < leastContrast;
         ++share)
        seen = Blend(colour & white, white, 0.1 * share);
    return seen;
}

void DrawDevice::Frame(const PixelRect& rect) {
    const Point corners[] = {{rect.left, rect.top},
                             {rect.right, rect.top},
                             {rect.right, rect.bottom},
                             {rect.left, rect.bottom},
                             {rect.left, rect.top}};
    Polyline(corners);
}

void DrawDevice::Polyline(std::span<const Point> points) {
    if (points.empty()) return;
    MoveTo(points.front().x, points.front().y);
    for (const Point& point : points.subspan(1)) LineTo(point.x, point.y);
}

void DrawDevice::Curve(std::span<const Place> places) {
    std::vector<Point> points;
    for (const Place& place : places)
        points.push_back({static_cast<int>(std::floor(place.x)), static_cast<int>(std::floor(place.y))});
    Polyline(points);
}

// By the rows whose middles lie inside.
void DrawDevice::FillPolygon(std::span<const Place> corners, uint32_t colour) {
    if (corners.size() < 3) return;
    const auto [highest, lowest] =
        std::minmax_element(corners.begin(), corners.end(), [](auto& a, auto& b) { return a.y < b.y; });
    const int first = static_cast<int>(std::ceil(highest->y - 0.5));
    const int last = static_cast<int>(std::floor(lowest->y - 0.5));
    std::vector<double> crossings;
    for (int row = first; row <= last; ++row) {
        const double y = row + 0.5;
        crossings.clear();
        for (size_t i = 0; i < corners.size(); ++i) {
            const Place &from = corners[i], &to = corners[(i + 1) % corners.size()];
            if ((from.y <= y) == (to.y <= y)) continue;
            crossings.push_back(from.x + (to.x - from.x) * (y - from.y) / (to.y - from.y));
        }
        std::sort(crossings.begin(), crossings.end());
        for (size_t i = 0; i + 1 < crossings.size(); i += 2) {
            const int left = static_cast<int>(std::ceil(crossings[i] - 0.5));
            const int right = static_cast<int>(std::ceil(crossings[i + 1] - 0.5));
            if (left < right) FillRect({left, row, right, row + 1}, colour);
        }
    }
}

void DrawDevice::RimmedText(int x, int y, std::string_view text, const TextStyle& style, uint32_t paper) {
    TextStyle rim = style;
    rim.colour = paper;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
            if (dx != 0 || dy != 0) Text(x + dx, y + dy, text, rim);
    Text(x, y, text, style);
}

Extent DrawDevice::FontExtent(std::string_view text, const FontSpec& font) {
    const Extent own = TextExtent(text, font.weight >= 600);
    const auto scaled = [&](int length) {
        return ClampPixel(int64_t{length} * font.pixelHeight / FontSpec().pixelHeight);
    };
    return {scaled(own.width), scaled(own.height)};
}

void JoinColumns(std::span<const Point> points, std::vector<Point>& joined) {
    joined.clear();
    const auto add = [&](Point point) {
        if (joined.empty() || joined.back() != point) joined.push_back(point);
    };
    size_t i = 0;
    while (i < points.size()) {
        const int x = points[i].x;
        const int first = points[i].y;
        int low = first, high = first, last = first;
        for (; i < points.size() && points[i].x == x; ++i) {
            last = points[i].y;
            low = std::min(low, last);
            high = std::max(high, last);
        }
        add({x, first});
        add({x, low});
        add({x, high});
        add({x, last});
    }
}

bool IsDense(std::span<const Point> joined) {
    size_t advances = 0;
    for (size_t i = 1; i < joined.size(); ++i)
        if (joined[i].x != joined[i - 1].x) ++advances;
    return 2 * joined.size() > 3 * (advances + 1);
}

namespace {

// Row of a segment at half a column behind column x, held between its ends.
int RowBehind(Point from, Point to, int x) {
    const int64_t columns = int64_t{to.x} - from.x;
    const int64_t rows = int64_t{to.y} - from.y;
    const int64_t halfColumns = 2 * (int64_t{x} - from.x) + 1;
    return from.y + static_cast<int>(rows * halfColumns / (2 * columns));
}

void AddSegment(Point from, Point to, int left, int right, std::vector<ColumnSpan>& spans) {
    if (from.x > to.x) std::swap(from, to);
    const int first = std::max(from.x, left), last = std::min(to.x, right - 1);
    if (first > last) return;
    int row = first == from.x ? from.y : RowBehind(from, to, first - 1);
    for (int x = first; x <= last; ++x) {
        const int next = x == to.x ? to.y : RowBehind(from, to, x);
        const ColumnSpan span{x, std::min(row, next), std::max(row, next)};
        ColumnSpan* before = spans.empty() ? nullptr : &spans.back();
        const bool joins =
            before && before->x == x && span.top <= before->bottom + 1 && span.bottom >= before->top - 1;
        if (joins) {
            before->top = std::min(before->top, span.top);
            before->bottom = std::max(before->bottom, span.bottom);
        } else {
            spans.push_back(span);
        }
        row = next;
    }
}

// Columns beside each other that do not touch meet halfway.
void Join(ColumnSpan& before, ColumnSpan& column) {
    if (column.top > before.bottom + 1) {
        before.bottom = before.bottom + (column.top - before.bottom) / 2;
        column.top = before.bottom + 1;
    } else if (column.bottom < before.top - 1) {
        before.top = column.bottom + (before.top - column.bottom) / 2;
        column.bottom = before.top - 1;
    }
}

}  // namespace

bool IsAlongAxes(std::span<const Point> points) {
    for (size_t i = 1; i < points.size(); ++i)
        if (points[i].x != points[i - 1].x && points[i].y != points[i - 1].y) return false;
    return true;
}

void EnvelopeSpans(std::span<const Point> points, int left, int right, std::vector<ColumnSpan>& spans) {
    spans.clear();
    for (size_t i = 0; i < points.size();) {
        ColumnSpan column{points[i].x, points[i].y, points[i].y};
        const size_t first = i;
        for (; i < points.size() && points[i].x == column.x; ++i) {
            column.top = std::min(column.top, points[i].y);
            column.bottom = std::max(column.bottom, points[i].y);
        }
        if (first > 0 && points[first - 1].x != column.x - 1)
            AddSegment(points[first - 1], points[first], left, right, spans);
        else if (!spans.empty() && spans.back().x == column.x - 1)
            Join(spans.back(), column);
        if (column.x >= left && column.x < right) spans.push_back(column);
    }
}

LineShape::Kind LineShape::Prepare(std::span<const Point> points, const Pen& pen, const PixelRect& clip) {
    points_ = points;
    if (points.empty() || pen.style == Pen::Style::null) return Kind::nothing;
    if (pen.style == Pen::Style::dashed) return Kind::dashes;
    const bool straight = IsAlongAxes(points);
    JoinColumns(points, joined_);
    points_ = joined_;
    if (!straight && !IsDense(joined_)) return Kind::smooth;
    if (!straight) EnvelopeSpans(points_, clip.left - pen.width, clip.right + pen.width, spans_);
    return straight ? Kind::straight : Kind::envelope;
}

std::string OneLine(std::string_view text) {
    std::string line = ToDisplayText(text);
    for (char& c : line)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
    return line;
}

std::string ElideText(DrawDevice& device, std::string_view wanted, int width) {
    const std::string text = OneLine(wanted);
    if (device.TextExtent(text).width <= width) return text;
    const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
    std::string_view kept = text;
    // A character takes a pixel at least, and four bytes at most; the rest of a very long text needs no
    // measuring.
    kept = kept.substr(0, std::min<size_t>(kept.size(), 4 * static_cast<size_t>(std::max(width, 0)) + 4));
    while (!kept.empty()) {
        do kept.remove_suffix(1);
        while (!kept.empty() && isContinuation(text[kept.size()]));
        std::string shown = std::string(kept) + "\u2026";
        if (!kept.empty() && device.TextExtent(shown).width <= width) return shown;
    }
    return {};
}

}  // namespace kymora
