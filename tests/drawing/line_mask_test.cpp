#include "drawing/line_mask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace kymora {
namespace {

constexpr int side = 64;
constexpr uint32_t white = 0xFFFFFFFF;

struct Image {
    std::vector<uint32_t> pixels = std::vector<uint32_t>(side * side, white);
    Canvas On(PixelRect seen = {0, 0, side, side}) { return {pixels.data(), side, seen}; }
    // Of black ink, 0 to 1.
    double Ink(int x, int y) const {
        return 1.0 - (pixels[static_cast<size_t>(y * side + x)] & 0xFF) / 255.0;
    }
};

double DistanceTo(Point from, Point to, double x, double y) {
    const double along = to.x - from.x, across = to.y - from.y;
    const double px = x - from.x - 0.5, py = y - from.y - 0.5;
    const double part = std::clamp((px * along + py * across) / (along * along + across * across), 0.0, 1.0);
    return std::hypot(px - part * along, py - part * across);
}

// The share of a pixel within half a width of a line, by 16 x 16 points of it.
double Sampled(Point from, Point to, double width, int x, int y) {
    int hits = 0;
    for (int i = 0; i < 256; ++i)
        hits += DistanceTo(from, to, x + (i % 16 + 0.5) / 16, y + (i / 16 + 0.5) / 16) <= width / 2;
    return hits / 256.0;
}

TEST(LineMask, CoversWhatLiesWithinHalfTheWidth) {
    const struct {
        Point from, to;
        int width;
    } lines[] = {
        {{10, 10}, {50, 22}, 1}, {{10, 50}, {40, 12}, 1}, {{50, 20}, {12, 31}, 3}, {{20, 8}, {33, 55}, 2}};
    for (const auto& line : lines) {
        Image image;
        const Point points[] = {line.from, line.to};
        LineMask().Draw(points, {0, line.width}, 1.0, image.On());
        double sum = 0.0, wanted = 0.0;
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                const double share = Sampled(line.from, line.to, line.width, x, y);
                sum += image.Ink(x, y);
                wanted += share;
                const bool isEnd = std::hypot(x - line.from.x, y - line.from.y) < line.width + 1 ||
                                   std::hypot(x - line.to.x, y - line.to.y) < line.width + 1;
                if (!isEnd) {
                    EXPECT_NEAR(image.Ink(x, y), share, 0.2) << x << ' ' << y;
                }
            }
        EXPECT_NEAR(sum, wanted, 0.1 * wanted);
    }
}

TEST(LineMask, IsLaidOnOnceAndOnlyWhereItMay) {
    // Back and forth over the same pixels is no darker than once.
    Image once, twice;
    const Point there[] = {{5, 5}, {40, 20}}, back[] = {{5, 5}, {40, 20}, {5, 5}};
    LineMask mask;
    mask.Draw(there, {0}, 1.0, once.On());
    mask.Draw(back, {0}, 1.0, twice.On());
    EXPECT_EQ(once.pixels, twice.pixels);

    // Far ends cost and change nothing beyond what may be drawn on; the colour is the pen's, red first.
    Image part, whole;
    const Point far[] = {{-farthestPixel, -farthestPixel}, {farthestPixel, farthestPixel}};
    mask.Draw(far, {Rgb(255, 0, 0)}, 1.0, whole.On());
    mask.Draw(far, {Rgb(255, 0, 0)}, 1.0, part.On({10, 10, 30, 20}));
    EXPECT_EQ(whole.pixels[15 * side + 15], 0xFFFF0000);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const bool isSeen = x >= 10 && x < 30 && y >= 10 && y < 20;
            const auto at = static_cast<size_t>(y * side + x);
            ASSERT_NEAR(part.pixels[at] & 0xFF, (isSeen ? whole.pixels[at] : white) & 0xFF, 2);
        }
    const std::vector<uint32_t> before = part.pixels;
    mask.Draw({}, {0}, 1.0, part.On());
    mask.Draw(there, {0}, 1.0, part.On({30, 30, 30, 30}));
    EXPECT_EQ(part.pixels, before);
}

// Of a line with a sample in each column, every column is filled from row to row.
TEST(LineMask, SteepLinesOfOneColumnASampleHaveNoHoles) {
    std::vector<Point> points;
    for (int x = 2; x < 60; ++x) points.push_back({x, x % 2 ? 4 : 57});
    Image image;
    LineMask().Draw(points, {0}, 1.0, image.On());
    for (int x = 4; x < 58; ++x)
        for (int y = 7; y < 55; ++y) ASSERT_GT(image.Ink(x, y) + image.Ink(x + 1, y), 0.9) << x << ' ' << y;
}

}  // namespace
}  // namespace kymora
