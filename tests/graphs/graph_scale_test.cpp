#include "graphs/graph_scale.h"

#include <gtest/gtest.h>

#include "drawing/ticks.h"
#include "graphs/graph_samples.h"

namespace kymora::test {
namespace {

GraphPane WithLog(GraphPane pane, bool x, bool y) {
    pane.x.isLog = x;
    pane.y.isLog = y;
    return pane;
}

TEST(GraphScaleTest, TheExtentHoldsAllAndIsNeverEmpty) {
    const auto kind = [](LayerKind of, std::vector<double> x, std::vector<double> y) {
        return Pane({Layer(of, std::move(x), std::move(y))});
    };
    GraphPane far = kind(LayerKind::curve, {0, 10}, {0, 2});
    far.lines = {{false, 4.0, 0, "near"}, {false, 1e9, 0, "far"}, {true, 20.0, 0, "beside"}};
    GraphPane fixed = kind(LayerKind::curve, {0, 10}, {0, 2});
    fixed.x.limits = {2.0, 3.0};
    fixed.y.limits = {5.0, 5.0};  // no stretch: as if there were none
    const struct {
        const char* what;
        GraphPane pane;
        GraphBox box;
    } cases[] = {
        {"nothing", Pane({}), {0, 1, -0.05, 1.05}},
        {"bars stand on 0", kind(LayerKind::bars, {2, 3, 4}, {5, 10}), {2, 4, 0, 10.5}},
        {"negative bars hang from it", kind(LayerKind::bars, {2, 3, 4}, {-5, -10}), {2, 4, -10.5, 0.5}},
        {"a curve has room", kind(LayerKind::curve, {0, nothing, 10}, {1, 99, 3}), {0, 10, 0.9, 3.1}},
        {"points have it to all sides", kind(LayerKind::points, {0, 10}, {0, 10}), {-0.3, 10.3, -0.5, 10.5}},
        {"marks take no y", kind(LayerKind::marks, {-5, 5}, {}), {-5, 5, -0.05, 1.05}},
        {"one value", kind(LayerKind::curve, {5}, {5}), {4.75, 5.25, 4.725, 5.275}},
        {"lines that are near", far, {0, 20, -0.2, 4.2}},
        {"fixed limits", fixed, {2, 3, -0.1, 2.1}},
        {"a matrix fills its plot", Pane({Matrix(4, 4)}), {0, 10, 0, 100}},
        {"a rose", kind(LayerKind::rose, {0, 0.5, 1}, {3, 7}), {-7, 7, -7, 7}},
        {"an empty rose", kind(LayerKind::rose, {0, 1}, {nothing}), {-1, 1, -1, 1}},
        {"log axes pass over what has no place",
         WithLog(kind(LayerKind::curve, {-1, 0, 1, 100}, {5, 5, 1, 1}), true, true),
         {1, 100, std::pow(10.0, -0.55), std::pow(10.0, 0.55)}},
        {"the lowest bar of a log axis is seen",
         WithLog(kind(LayerKind::bars, {0, 1, 2}, {1, 10}), false, true),
         {0, 2, 0.5, std::pow(10.0, 1.05)}},
    };
    for (const auto& [what, pane, box] : cases) {
        const GraphBox whole = WholePane(pane);
        EXPECT_NEAR(whole.left, box.left, 1e-9) << what;
        EXPECT_NEAR(whole.right, box.right, 1e-9) << what;
        EXPECT_NEAR(whole.bottom, box.bottom, 1e-9) << what;
        EXPECT_NEAR(whole.top, box.top, 1e-9) << what;
    }
    constexpr double endless = std::numeric_limits<double>::infinity();
    for (const double value : {1e300, -1e-300, 0.0, endless, -endless, nothing})
        for (const bool isLog : {false, true}) {
            const GraphBox box = WholePane(WithLog(kind(LayerKind::points, {value}, {value}), isLog, isLog));
            EXPECT_TRUE(std::isfinite(box.Width()) && std::isfinite(box.Height())) << value;
            EXPECT_TRUE(box.left < box.right && box.bottom < box.top) << value;
            EXPECT_TRUE(!isLog || (box.left > 0.0 && box.bottom > 0.0)) << value;
        }
    Graph graph;
    graph.panes = {kind(LayerKind::curve, {0, 1}, {0, 1}), kind(LayerKind::curve, {5, 9}, {0, 1}), Pane({})};
    graph.sharesX = true;
    for (const GraphBox& box : WholeGraph(graph)) EXPECT_TRUE(box.left == 0.0 && box.right == 9.0);
}

TEST(GraphScaleTest, ValuesAndPixelsGoBothWays) {
    for (const bool isLog : {false, true}) {
        const GraphScale across(1.0, 1000.0, isLog, 50.0, 300.0), up(1.0, 1000.0, isLog, 400.0, -300.0);
        EXPECT_EQ(across.ToPixel(1.0), 50.0);
        EXPECT_NEAR(up.ToPixel(1000.0), 100.0, 1e-9);
        for (const double value : {1.0, 10.0, 123.4, 5000.0}) {
            EXPECT_NEAR(across.ToValue(across.ToPixel(value)), value, 1e-9 * value);
            EXPECT_NEAR(up.ToValue(up.ToPixel(value)), value, 1e-9 * value);
        }
        EXPECT_EQ(std::isnan(across.ToPixel(-1.0)), isLog);
    }
    EXPECT_NEAR(GraphScale(1.0, 1000.0, true, 0.0, 300.0).ToPixel(10.0), 100.0, 1e-9);
}

TEST(GraphScaleTest, ZoomAndMoveKeepThePlaceInLevels) {
    const GraphPane linear = Pane({}), log = WithLog(Pane({}), true, false);
    const GraphBox box{1.0, 100.0, 0.0, 10.0};
    EXPECT_EQ(Zoomed(linear, {0, 100, 0, 10}, 0.5, 20.0, 5.0, true, true), (GraphBox{10, 60, 2.5, 7.5}));
    const GraphBox zoomed = Zoomed(log, box, 0.5, 10.0, 5.0, true, false);
    EXPECT_NEAR(zoomed.left, std::sqrt(10.0), 1e-9);
    EXPECT_NEAR(zoomed.right, 10.0 * std::sqrt(10.0), 1e-9);
    EXPECT_EQ(zoomed.top, 10.0);
    const GraphBox moved = Moved(log, box, 0.5, 0.5);
    EXPECT_NEAR(moved.left, 10.0, 1e-9);
    EXPECT_NEAR(moved.right, 1000.0, 1e-9);
    EXPECT_EQ(moved.bottom, 5.0);
    for (const auto& [value, pixel, rounded] : {std::tuple{0.70000000001, 0.01, 0.7},
                                                {12.3456, 0.5, 12.3},
                                                {12345.6, 300.0, 12300.0},
                                                {-0.04, 0.3, 0.0}})
        EXPECT_NEAR(RoundedWithin(value, pixel), rounded, pixel / 4) << value;
    EXPECT_EQ(RoundedWithin(0.70000000001, 0.01), 0.7);
}

TEST(GraphScaleTest, ColumnsLeaveNoSampleOut) {
    for (const size_t count : {size_t{3000}, size_t{1000000}})
        for (const bool isLog : {false, true}) {
            GraphLayer layer = Wave(count, 0.0);
            for (double& x : layer.x) x += 1.0;
            const size_t peak = count / 3, gap = count / 2;
            layer.y[peak] = 10.0;
            layer.y[gap] = nothing;
            const GraphScale scale(1.0, static_cast<double>(count), isLog, 40.0, 500.0);
            const auto columns = CurveColumns(layer, scale, 40, 500);
            size_t peaks = 0, breaks = 0;
            for (const GraphColumn& column : columns) {
                peaks += column.high == 10.0;
                breaks += !column.joined;
                if (column.high == 10.0) {
                    EXPECT_EQ(column.column, int(scale.ToPixel(layer.x[peak])) - 40);
                }
            }
            EXPECT_EQ(peaks, 1u) << count;
            EXPECT_EQ(breaks, 2u) << "the first, and the one behind the gap, of " << count;
        }
    const GraphLayer layer = Wave(100, 0.0);
    const PointRange range = PointsWithin(layer, 10.5, 20.0);
    EXPECT_EQ(range.first, 10u);
    EXPECT_EQ(range.end, 22u);
}

TEST(GraphScaleTest, AnglesHaveTicksAtPartsOfATurn) {
    const struct {
        double low, high;
        int most;
        double step;
    } cases[] = {{-190, 190, 2, 180}, {-190, 190, 1, 180}, {-190, 190, 4, 90}, {-190, 190, 9, 45},
                 {-50, 50, 4, 30},    {-50, 50, 7, 15},    {10, 14, 4, 1}};
    for (const auto& [low, high, most, step] : cases)
        EXPECT_DOUBLE_EQ(TurnStep(low, high, 360.0, most), step) << low << " " << most;
}

TEST(GraphScaleTest, AxesHaveReadableTicks) {
    EXPECT_EQ(TickStep(0.0, 10.0, 5), 2.0);
    EXPECT_EQ(TickStep(0.0, 10.1, 5), 5.0);
    EXPECT_DOUBLE_EQ(TickStep(-0.03, 0.04, 7), 0.01);
    EXPECT_EQ(Ticks(-1.0, 2.2, 1.0), (std::vector<double>{-1.0, 0.0, 1.0, 2.0}));
    EXPECT_EQ(TickText(0.30000000000000004, 0.1), "0.3");
    EXPECT_EQ(TickText(0.0, 0.05), "0.00");
    EXPECT_EQ(TickText(1500.0, 500.0), "1500");
    EXPECT_EQ(TickText(2e9, 1e9), "2e+09");
    // Neighbours far from zero do not become the same text.
    EXPECT_EQ(TickText(10800100.0, 100.0), "10800100");
    EXPECT_EQ(TickText(12e6, 2e6), "1.2e+07");
    EXPECT_EQ(TickText(3.0000002, 1e-7), "3.0000002");
    // Numbers that a step can no longer tell apart neither hang nor overflow.
    EXPECT_EQ(ClockStep(0.0, 8000.0, 5), 2000.0);
    EXPECT_EQ(ClockStep(0.0, 8000.0, 500), 20.0);
    EXPECT_EQ(ClockStep(0.0, 4.0 * 3600e3, 5), 3600e3);
    EXPECT_EQ(ClockText(50600e3, 1000.0), "14:03:20");
    EXPECT_EQ(ClockText(86400e3 + 500.0, 100.0), "00:00:00.5");
    EXPECT_EQ(ClockText(59999.9999999, 1000.0), "00:01:00");
    EXPECT_LE(Ticks(1e300, 1.0000000001e300, 1.0).size(), 1000u);
    EXPECT_LE(Ticks(-1.7e308, 1.7e308, 1e-5).size(), 1000u);
    // Powers of ten, with 2 and 5 where there is room, and every so many where there is little.
    EXPECT_EQ(LogTicks(1.0, 100.0, 8), (std::vector<double>{1, 2, 5, 10, 20, 50, 100}));
    EXPECT_EQ(LogTicks(0.9, 1100.0, 5), (std::vector<double>{1, 10, 100, 1000}));
    EXPECT_EQ(LogTicks(1.0, 1e9, 3).size(), 4u);
    EXPECT_EQ(LogTicks(3.0, 5.0, 4), (std::vector<double>{3, 3.5, 4, 4.5, 5}));
    for (const auto& [value, text] :
         {std::pair{0.001, "0.001"}, {200.0, "200"}, {5e6, "5e+06"}, {1e-7, "1e-07"}})
        EXPECT_EQ(LogTickText(value), text);
}

}  // namespace
}  // namespace kymora::test
