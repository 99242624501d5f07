// The pixel rules, worked by hand from a plot of 800 pixels at 70.

#include <gtest/gtest.h>

#include <limits>

#include "display/layout.h"
#include "drawing/viewport.h"

namespace kymora {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(TimeScale, RoundsHalfAwayFromTheLeftEdgeOfThePlot) {
    const TimeScale scale({100.0, 300.0}, 70, 800);  // 4 pixels a ms
    EXPECT_EQ(scale.ToPixel(100.0), 70);
    EXPECT_EQ(scale.ToPixel(300.0), 870);
    EXPECT_EQ(scale.ToPixel(100.124), 70);
    EXPECT_EQ(scale.ToPixel(100.125), 71);  // half a pixel goes away from zero
    EXPECT_EQ(scale.ToPixel(99.875), 69);   // also to the left
    EXPECT_DOUBLE_EQ(scale.ToTime(70), 100.0);
    EXPECT_DOUBLE_EQ(scale.ToTime(470), 200.0);
}

TEST(TimeScale, NeedsNeitherWidthNorDuration) {
    for (const TimeScale& scale : {TimeScale({5.0, 5.0}, 70, 800), TimeScale({0.0, 10.0}, 70, 0),
                                   TimeScale({0.0, 10.0}, 70, -20), TimeScale({0.0, notANumber}, 70, 800)}) {
        EXPECT_FALSE(scale.IsUsable());
        EXPECT_EQ(scale.ToPixel(7.0), 70);
        EXPECT_EQ(scale.ToTime(100), scale.ToTime(0));
    }
    EXPECT_EQ(TimeScale({0.0, 1e-300}, 70, 800).ToPixel(1e300), farthestPixel);
}

TEST(AxisScale, MapsTheLimitsToTheEdgesOfTheBand) {
    const AxisScale scale(10.0, -10.0, 20, 220);  // 10 pixels a unit
    EXPECT_EQ(scale.ToPixel(10.0), 20);
    EXPECT_EQ(scale.ToPixel(-10.0), 220);
    EXPECT_EQ(scale.ToPixel(0.0), 120);
    EXPECT_EQ(scale.ToPixel(0.05), 119);  // (-10 - 0.05) x 10 = -100.5, away from zero
    EXPECT_DOUBLE_EQ(scale.ToValue(120), 0.0);

    const AxisScale upsideDown(-10.0, 10.0, 20, 220);
    EXPECT_EQ(upsideDown.ToPixel(10.0), 220);
    EXPECT_EQ(upsideDown.ToPixel(-10.0), 20);
}

TEST(AxisScale, StandsAnyLimitsAndValues) {
    EXPECT_EQ(AxisScale(1.0, 1.0, 20, 220).ToPixel(1.0), 220);
    EXPECT_EQ(AxisScale(1.0, 0.0, 20, 20).ToPixel(1.0), 20);
    EXPECT_EQ(AxisScale(1.0, 0.0, 40, 20).ToPixel(1.0), 20);
    EXPECT_EQ(AxisScale(infinity, 0.0, 20, 220).ToPixel(1.0), 220);
    EXPECT_EQ(AxisScale(notANumber, 0.0, 20, 220).ToPixel(1.0), 220);
    EXPECT_EQ(AxisScale(1.0, 0.0, 20, 220).ToPixel(infinity), -farthestPixel);
    EXPECT_EQ(AxisScale(1.0, 0.0, 20, 220).ToPixel(-infinity), farthestPixel);
    EXPECT_EQ(AxisScale(1e-300, 0.0, 20, 220).ToPixel(1e300), -farthestPixel);
}

TEST(CacheLevel, IsTheFirstWhoseBinsHoldTheViewport) {
    const double bins = 4000.0 * 0.5;  // interval 0.5 ms
    const std::pair<double, int> levels[] = {
        {2000.0, 0},  // exactly 4,000 samples
        {2000.5, 1},  // 4,001
        {4000.0, 1},  // exactly 8,000
        {1000.0, -1}, {62.5, -5}, {0.001, -5}, {bins * 524288.0, 19}, {bins * 524289.0, 20}, {infinity, 20},
    };
    for (const auto& [duration, level] : levels)
        EXPECT_EQ(ChooseCacheLevel({0.0, duration}, bins), level) << duration;
    EXPECT_EQ(SamplesPerBin(-3), 1);
    EXPECT_EQ(SamplesPerBin(20), 1048576);
}

TEST(Layout, WithAxesKeepsRoomAroundThePlot) {
    const Layout layout = CalcLayout({1000, 660, true, 1.0f, 4});
    EXPECT_EQ(layout.plot, (PixelRect{70, 10, 990, 610}));
    EXPECT_EQ(layout.traces, layout.plot);
    EXPECT_EQ(layout.band, 150);
    EXPECT_EQ(layout.axisGap, 10);
    EXPECT_EQ(layout.BandLimits(1), (PixelRect{70, 170, 990, 300}));
    EXPECT_EQ(layout.SlotAt(9, 4), -1);
    EXPECT_EQ(layout.SlotAt(10, 4), 0);
    EXPECT_EQ(layout.SlotAt(609, 4), 3);
    EXPECT_EQ(layout.SlotAt(610, 4), -1);
    EXPECT_EQ(layout.EventRow(0.25), 160);
}

TEST(Layout, DataAreaTakesTheLowerPartAndLosesTheRemainder) {
    const Layout layout = CalcLayout({1000, 661, true, 0.5f, 4});  // 601 usable: 300.5, so 301 for data
    EXPECT_EQ(layout.traces.top, 310);
    EXPECT_EQ(layout.band, 75);
    EXPECT_EQ(layout.plot.bottom, 610);

    const Layout events = CalcLayout({1000, 660, true, 0.0f, 4});
    EXPECT_FALSE(events.axesShown);
    EXPECT_EQ(events.traces.Height(), 0);
    EXPECT_EQ(events.plot, (PixelRect{70, 10, 990, 610}));
}

TEST(Layout, WithoutAxesThePlotFillsTheWindow) {
    const Layout layout = CalcLayout({1000, 602, false, 0.75f, 4});  // top 150.5, so 151
    EXPECT_EQ(layout.traces, (PixelRect{0, 151, 1000, 599}));
    EXPECT_EQ(layout.band, 112);
    EXPECT_EQ(layout.plot, (PixelRect{0, 0, 1000, 599}));
    EXPECT_EQ(CalcLayout({1000, 600, false, 0.0f, 4}).traces.Height(), 0);
}

TEST(Layout, GapFallsToZeroInBandsBelow26Pixels) {
    EXPECT_EQ(CalcLayout({500, 60 + 26 * 8, true, 1.0f, 8}).axisGap, 10);
    EXPECT_EQ(CalcLayout({500, 60 + 26 * 8 - 1, true, 1.0f, 8}).axisGap, 0);
}

TEST(Layout, StandsWindowsSmallerThanItsMargins) {
    for (const int width : {0, 1, 69, 79, 80})
        for (const int height : {0, 1, 59, 60})
            for (const int axes : {0, 1, 128}) {
                const Layout layout = CalcLayout({width, height, true, 1.0f, axes});
                EXPECT_LE(layout.plot.Width(), 0);
                EXPECT_EQ(layout.band, 0);
                EXPECT_EQ(layout.SlotAt(10, axes), -1);
                const Slider slider = CalcSlider(layout, {0.0, 1.0}, 100.0);
                EXPECT_EQ(slider.StartAt(40, 100.0), 0.0);
            }
}

TEST(Slider, ThumbShowsThePartOfTheFile) {
    const Layout layout = CalcLayout({880, 660, true, 1.0f, 1});  // plot of 800 at 70
    const Slider slider = CalcSlider(layout, {250.0, 350.0}, 1000.0);
    EXPECT_EQ(slider.strip, (PixelRect{70, 652, 870, 660}));
    EXPECT_EQ(slider.thumb, (PixelRect{270, 652, 350, 660}));
    EXPECT_DOUBLE_EQ(slider.StartAt(470, 1000.0), 500.0);
    EXPECT_EQ(CalcSlider(layout, {980.0, 1080.0}, 1000.0).thumb.right, 870);   // ends at the plot's right
    EXPECT_EQ(CalcSlider(layout, {0.0, 1000.0}, 1000.0).thumb, slider.strip);  // covers the file
    EXPECT_EQ(CalcSlider(layout, {0.0, 1e-9}, 1000.0).thumb.Width(), 1);       // never out of sight
    EXPECT_EQ(CalcSlider(layout, {5000.0, 5001.0}, 1000.0).thumb.right, 870);  // past the end
    EXPECT_EQ(CalcSlider(layout, {0.0, 1.0}, 0.0).thumb, slider.strip);
}

}  // namespace
}  // namespace kymora
