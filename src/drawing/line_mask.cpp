#include "drawing/line_mask.h"

#include "numerics/vector_state.h"
#include <algorithm>
#include <cmath>
#include <cstring>

namespace kymora {

namespace {

// Places in parts of a pixel, shares of a pixel in parts of all of it.
constexpr int pixelBits = 16, shareBits = 8;
constexpr int64_t pixelParts = int64_t{1} << pixelBits, fullShare = int64_t{1} << shareBits;

constexpr double manyColumns = 1.5;  // of a segment, in widths of the line

int64_t ToParts(double place) { return static_cast<int64_t>(place * static_cast<double>(pixelParts)); }

int64_t ShareOf(int64_t parts) { return parts >> (pixelBits - shareBits); }

uint32_t ToRgb(uint32_t colour) {
    return (colour & 0x00FF00) | (colour & 0xFF) << 16 | (colour >> 16 & 0xFF);
}

// The three parts of a colour, 16 bits apart, so that one multiplication weighs them all.
constexpr uint64_t eachPart = 0x00FF00FF00FF;

uint64_t Spread(uint32_t colour) {
    return (colour & 0xFF) | uint64_t{colour & 0xFF00} << 8 | uint64_t{colour & 0xFF0000} << 16;
}

uint32_t Mixed(uint32_t below, uint64_t colour, uint32_t share) {
    const uint64_t sum = Spread(below) * (255 - share) + colour * share + 0x008000800080;
    const uint64_t mixed = (sum + (sum >> 8 & eachPart)) >> 8 & eachPart;  // divided by 255, rounded
    return 0xFF000000 |
           static_cast<uint32_t>((mixed & 0xFF) | (mixed >> 8 & 0xFF00) | (mixed >> 16 & 0xFF0000));
}

}  // namespace

void LineMask::Draw(std::span<const Point> points, const Pen& pen, double scale, const Canvas& canvas) {
    middles_.clear();
    for (const Point& point : points) middles_.push_back({point.x + 0.5, point.y + 0.5});
    DrawThrough(middles_, pen, scale, canvas);
}

void LineMask::DrawThrough(std::span<const Place> places, const Pen& pen, double scale,
                           const Canvas& canvas) {
    ClearVectorState();  // painters have been at work
    const double width = std::max(1.0, pen.width * scale);
    Begin(places, scale, width, canvas.seen);
    if (mask_.empty()) return;
    for (size_t i = 1; i < places.size(); ++i)
        AddSegment(places[i - 1].x * scale, places[i - 1].y * scale, places[i].x * scale, places[i].y * scale,
                   width);
    Blend(canvas, ToRgb(pen.colour));
}

// Only what the line can reach is kept.
void LineMask::Begin(std::span<const Place> places, double scale, double width, const PixelRect& seen) {
    Place least{farthestPixel, farthestPixel}, most{-farthestPixel, -farthestPixel};
    for (const Place& place : places) {
        least = {std::min(least.x, place.x), std::min(least.y, place.y)};
        most = {std::max(most.x, place.x), std::max(most.y, place.y)};
    }
    const auto before = [&](double at) { return static_cast<int>(std::floor((at - 0.5) * scale - width)); };
    const auto behind = [&](double at) { return static_cast<int>(std::ceil((at + 0.5) * scale + width)); };
    area_ = {std::max(seen.left, before(least.x)), std::max(seen.top, before(least.y)),
             std::min(seen.right, behind(most.x)), std::min(seen.bottom, behind(most.y))};
    const auto columns = static_cast<size_t>(std::max(0, area_.Width()));
    const auto rows = static_cast<size_t>(std::max(0, area_.Height()));
    mask_.assign(columns * rows, 0);
}

template <bool along>
void LineMask::Cover(int place, int64_t from, int64_t to, int64_t share) {
    from = std::max(from, (along ? area_.top : area_.left) * pixelParts);
    to = std::min(to, (along ? area_.bottom : area_.right) * pixelParts);
    if (from >= to) return;
    const std::ptrdiff_t width = area_.Width(), next = along ? width : 1;
    const int64_t first = from >> pixelBits, last = (to - 1) >> pixelBits;
    const std::ptrdiff_t column = along ? place - area_.left : first - area_.left;
    const std::ptrdiff_t row = along ? first - area_.top : place - area_.top;
    uint8_t* pixel = mask_.data() + row * width + column;
    const auto mark = [&](int64_t covered) {
        const auto least = static_cast<uint8_t>(std::min<int64_t>(covered * share >> shareBits, 255));
        if (*pixel < least) *pixel = least;
        pixel += next;
    };
    if (first == last) return mark(ShareOf(to - from));
    mark(fullShare - ShareOf(from & (pixelParts - 1)));
    for (int64_t i = first + 1; i < last; ++i) mark(fullShare);
    mark(ShareOf(((to - 1) & (pixelParts - 1)) + 1));
}

template <bool along>
void LineMask::Walk(double from, double to, double across, double slope, double reach) {
    const int64_t begin = ToParts(from), end = ToParts(to), half = ToParts(reach), step = ToParts(slope);
    const int first = static_cast<int>(std::max<int64_t>(along ? area_.left : area_.top, begin >> pixelBits));
    const int last =
        static_cast<int>(std::min<int64_t>(along ? area_.right : area_.bottom, ((end - 1) >> pixelBits) + 1));
    int64_t middle = ToParts(across + (first + 0.5 - from) * slope);
    for (int place = first; place < last; ++place, middle += step) {
        const int64_t covered = std::min(end, (place + 1) * pixelParts) - std::max(begin, place * pixelParts);
        Cover<along>(place, middle - half, middle + half, ShareOf(covered));
    }
}

void LineMask::AddSegment(double x1, double y1, double x2, double y2, double width) {
    const double columns = x2 - x1, rows = y2 - y1, half = width / 2;
    if (columns == 0 && rows == 0) return Walk<true>(x1 - half, x1 + half, y1, 0, half);
    const bool along = std::abs(columns) >= std::abs(rows);
    if (!along && std::abs(columns) <= manyColumns * width) return AddUpright(x1, y1, x2, y2, width);
    if ((along ? columns : rows) < 0) return AddSegment(x2, y2, x1, y1, width);
    const double slope = along ? rows / columns : columns / rows;
    // What is covered across grows as the line leans, and the ends reach on the less.
    const double lean = std::sqrt(1.0F + static_cast<float>(slope * slope)), longer = half / lean;
    if (along)
        Walk<true>(x1 - longer, x2 + longer, y1 - longer * slope, slope, half * lean);
    else
        Walk<false>(y1 - longer, y2 + longer, x1 - longer * slope, slope, half * lean);
}

// A segment of about a column: what a brush of the line's width touches on its way, in each column from the
// first to the last row. Nothing is smoothed to the sides, where the next samples lie.
void LineMask::AddUpright(double x1, double y1, double x2, double y2, double width) {
    if (x2 < x1) return AddUpright(x2, y2, x1, y1, width);
    const double half = width / 2, slope = x2 > x1 ? (y2 - y1) / (x2 - x1) : 0.0;
    const int first = std::max(area_.left, static_cast<int>(std::ceil(x1 - half - 0.5)));
    const int last = std::min(area_.right - 1, static_cast<int>(std::floor(x2 + half - 0.5)));
    for (int x = first; x <= last; ++x) {
        const double from = std::max(x + 0.5 - half, x1), to = std::min(x + 0.5 + half, x2);
        const double enter = x2 > x1 ? y1 + (from - x1) * slope : y1;
        const double leave = x2 > x1 ? y1 + (to - x1) * slope : y2;
        Cover<true>(x, ToParts(std::min(enter, leave) - half), ToParts(std::max(enter, leave) + half),
                    fullShare);
    }
}

// Most of the area is not covered, and looked at eight pixels at a time.
void LineMask::Blend(const Canvas& canvas, uint32_t colour) const {
    const uint64_t ink = Spread(colour);
    const uint8_t* covered = mask_.data();
    for (int y = area_.top; y < area_.bottom; ++y, covered += area_.Width()) {
        uint32_t* const line = canvas.pixels + y * canvas.stride + area_.left;
        int x = 0;
        for (; x + 8 <= area_.Width(); x += 8) {
            uint64_t some;
            std::memcpy(&some, covered + x, sizeof some);
            if (some == 0) continue;
            for (int i = x; i < x + 8; ++i) line[i] = Mixed(line[i], ink, covered[i]);
        }
        for (; x < area_.Width(); ++x) line[x] = Mixed(line[x], ink, covered[x]);
    }
}

}  // namespace kymora
