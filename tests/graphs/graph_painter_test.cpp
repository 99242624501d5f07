#include "graphs/graph_painter.h"

#include <gtest/gtest.h>

#include <chrono>

#include "drawing/cairo_device.h"
#include "graphs/graph_samples.h"
#include "support/recording_device.h"

namespace kymora::test {
namespace {

constexpr PixelRect area{0, 0, 500, 300};

struct Painted {
    RecordingDevice device;
    std::vector<PanePlace> places;
};

Painted Paint(const Graph& graph, const GraphLook& look = {}) {
    Painted painted;
    painted.places = PlaceGraph(painted.device, graph, WholeGraph(graph), area);
    PaintGraph(painted.device, graph, painted.places, area, look);
    return painted;
}

Graph OfPane(GraphPane pane) {
    Graph graph;
    graph.panes = {std::move(pane)};
    return graph;
}

constexpr uint32_t ink = 0xB27200;
const uint32_t fill = Blend(ink, 0xFFFFFF, 0.35);

TEST(GraphPainterTest, EachKindOfLayerIsDrawnWhereItsValuesLie) {
    // Bars: one of a height, none where there is no value or no count, and their outlines.
    const Painted bars = Paint(OfPane(Pane({Layer(LayerKind::bars, {0, 1, 2, 3}, {10, nothing, 0})})));
    const PanePlace& place = bars.places[0];
    const auto rects = bars.device.RectsOf(fill);
    ASSERT_EQ(rects.size(), 1u);
    EXPECT_EQ(rects[0].rect, (PixelRect{place.plot.left, int(std::lround(place.y.ToPixel(10.0))),
                                        int(std::lround(place.x.ToPixel(1.0))), place.plot.bottom}));
    EXPECT_EQ(bars.device.LinesOf(ink).size(), 1u);

    // More bars than columns: one rectangle for each column, and the single high one is there.
    GraphLayer many = Layer(LayerKind::bars, {0}, {});
    for (int i = 1; i <= 100000; ++i) many.x.push_back(i), many.y.push_back(i == 70001 ? 50 : 1);
    const Painted dense = Paint(OfPane(Pane({many})));
    const auto columns = dense.device.RectsOf(ink);
    EXPECT_EQ(columns.size(), static_cast<size_t>(dense.places[0].plot.Width()));
    const int top = static_cast<int>(std::lround(dense.places[0].y.ToPixel(50.0)));
    EXPECT_EQ(std::count_if(columns.begin(), columns.end(), [&](auto& rect) { return rect.rect.top == top; }),
              1);

    // A curve breaks where a value is missing; a point between two gaps is seen.
    const Painted curve =
        Paint(OfPane(Pane({Layer(LayerKind::curve, {0, 1, 2, 3, 4, 5}, {0, 1, nothing, 2, nothing, 3})})));
    EXPECT_EQ(curve.device.LinesOf(ink).size(), 3u);

    // A rimmed one keeps its colour on any paper, over a wider line that stands out from it.
    GraphLayer white = Layer(LayerKind::curve, {0, 1}, {0, 1});
    white.colour = 0xFFFFFF;
    white.isRimmed = true;
    for (const uint32_t paper : {0xFFFFFFu, 0x202020u}) {
        GraphLook look;
        look.paper = paper;
        const Painted rimmed = Paint(OfPane(Pane({white})), look);
        const auto& lines = rimmed.device.lines;
        const auto core =
            std::ranges::find_if(lines, [](const DrawnLine& line) { return line.pen.colour == 0xFFFFFF; });
        ASSERT_NE(core, lines.end());
        ASSERT_NE(core, lines.begin());
        const DrawnLine& rim = *std::prev(core);
        EXPECT_EQ(rim.points, core->points);
        EXPECT_GT(rim.pen.width, core->pen.width);
        EXPECT_LT(rim.pen.colour & 0xFF, 0x60u);
    }

    const Painted points = Paint(OfPane(Pane({Layer(LayerKind::points, {0, 1, nothing}, {0, 1, 2})})));
    EXPECT_EQ(points.device.ellipses.size(), 2u);
    const Painted marks = Paint(OfPane(Pane({Layer(LayerKind::marks, {0, 0, 1, 5}, {})})));
    EXPECT_EQ(marks.device.RectsOf(ink).size(), 3u) << "one for each pixel column";
    EXPECT_EQ(marks.device.RectsOf(ink)[0].rect.bottom, marks.places[0].plot.bottom);
    const Painted band = Paint(
        OfPane(Pane({Layer(LayerKind::area, {0, 1, 2, 3, 4}, {0, 0, nothing, 0, 0}, {1, 2, 3, 4, 5})})));
    ASSERT_EQ(band.device.polygons.size(), 2u);
    EXPECT_EQ(band.device.polygons[0].corners.size(), 4u);

    const Painted matrix = Paint(OfPane(Pane({Matrix(3, 2)})));
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(matrix.device.RectsOf(MatrixColour(i / 5.0)).size() >= 1u, true) << i;
    const auto lowest = matrix.device.RectsOf(MatrixColour(0.0));
    EXPECT_EQ(lowest[0].rect.bottom, matrix.places[0].plot.bottom) << "the first row lies lowest";

    GraphPane phases = Pane({Layer(LayerKind::rose, {0, 0.25, 0.5, 1}, {4, 0, nothing})});
    phases.mean = {0.25, 0.5};
    const Painted rose = Paint(OfPane(phases));
    EXPECT_EQ(rose.device.RectsOf(0x123456).size(), 0u);
    ASSERT_EQ(rose.device.polygons.size(), 2u) << "a sector and the head of the arrow";
    const Place tip = rose.device.polygons[1].corners[0];
    EXPECT_NEAR(tip.x, rose.places[0].x.ToPixel(0.0), 1e-6);
    EXPECT_NEAR(tip.y, rose.places[0].y.ToPixel(2.0), 1e-6) << "a quarter turn is up";
    for (const char* degrees : {"0\u00B0", "90\u00B0", "180\u00B0", "270\u00B0"})
        EXPECT_TRUE(rose.device.Wrote(degrees));
}

TEST(GraphPainterTest, LinesSayWhetherTheyCanBeDragged) {
    GraphPane pane = Pane({Wave(10, 1.0)});
    pane.lines = {{true, 4.0, 0x0000FF, "level", "level"},
                  {false, 1.0, 0x00FF00, "mean", ""},
                  {true, 99.0, 1, "", "x"}};
    const Painted painted = Paint(OfPane(pane));
    ASSERT_EQ(painted.device.polygons.size(), 1u) << "a grip, and none of a line that is not in sight";
    EXPECT_EQ(painted.device.polygons[0].colour, 0x0000FFu);
    EXPECT_TRUE(painted.device.Wrote("level") && painted.device.Wrote("mean"));
    EXPECT_EQ(painted.device.LinesOf(0x00FF00).back().pen.style, Pen::Style::dashed);
}

TEST(GraphPainterTest, PanesStandInAGrid) {
    Graph graph;
    graph.panes = {Pane({Wave(10, 1e9)}), Pane({Wave(10, 1.0)}), Pane({Wave(10, 1.0)}),
                   Pane({Wave(10, 1.0)})};
    graph.columns = 2;
    graph.sharesX = true;
    const Painted painted = Paint(graph);
    const auto& places = painted.places;
    EXPECT_EQ(places[0].plot.left, places[2].plot.left) << "aligned, whatever the width of the numbers";
    EXPECT_EQ(places[0].plot.top, places[1].plot.top);
    EXPECT_EQ(places[1].plot.Width(), places[2].plot.Width());
    EXPECT_EQ(places[0].plot.Height(), places[3].plot.Height());
    EXPECT_FALSE(places[0].showsX || places[1].showsX) << "the lowest alone show the numbers";
    EXPECT_TRUE(places[2].showsX && places[3].showsX);
    EXPECT_TRUE(places[0].showsYTitle && places[2].showsYTitle);
    EXPECT_FALSE(places[1].showsYTitle || places[3].showsYTitle) << "said on their left";
    graph.panes[1].y.title = "another";
    EXPECT_TRUE(Paint(graph).places[1].showsYTitle);
    // Whatever the room, nothing lies outside of it.
    for (const int width : {0, 30, 100, 4000})
        for (const PanePlace& place : [&] {
                 RecordingDevice device;
                 return PlaceGraph(device, ManyPanes(), WholeGraph(ManyPanes()), {0, 0, width, width / 2});
             }())
            EXPECT_TRUE(place.plot.Width() > 0 && place.plot.Height() > 0) << width;
}

TEST(GraphPainterTest, EveryAxisHasTwoNumbersAtLeast) {
    for (const auto& [low, high] : {std::pair(-190.0, 190.0), {-0.09, 1.09}, {-0.7, 0.99}, {3.0, 4.0}})
        for (const int height : {60, 90, 130, 300}) {
            GraphPane pane = Pane({Wave(10, 1.0)});
            pane.y.limits = {low, high};
            const Graph graph = OfPane(pane);
            RecordingDevice device;
            const auto places = PlaceGraph(device, graph, WholeGraph(graph), {0, 0, 90, height});
            EXPECT_GE(places[0].yTicks.size(), 2u) << low << " in " << height;
            EXPECT_GE(places[0].xTicks.size(), 2u);
        }
}

TEST(GraphPainterTest, ManyCurvesAreSilentAndLinesMaySpeak) {
    GraphPane pane = Pane({Layer(LayerKind::curve, {0, 10, 20}, {4, 8, 4})});
    pane.layers.back().name = "template";
    for (int i = 0; i < 50; ++i) {
        pane.layers.push_back(Layer(LayerKind::curve, {0, 10, 20}, {1, 2, 3}));
        pane.layers.back().isSilent = true;
    }
    pane.lines = {{false, 6.0, 0, "upper limit", "upper", false, true}, {false, 5.0, 0, "mute", ""}};
    const Painted painted = Paint(OfPane(pane));
    const PanePlace& place = painted.places[0];
    const auto reading = ReadGraph(pane, place, static_cast<int>(place.x.ToPixel(10.0)), place.plot.top + 4);
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->lines, (std::vector<std::string>{"time: 10 ms", "template: 8", "upper limit: 6"}));
    using Lines = std::vector<std::string>;
    const Lines four{"a", "b", "c", "d"};
    EXPECT_EQ(FirstLines(four, 4), four);
    EXPECT_EQ(FirstLines(four, 3), (Lines{"a", "b", "and 2 more"}));
    EXPECT_EQ(FirstLines(four, 1), (Lines{"and 4 more"}));
}

TEST(GraphPainterTest, WhatLiesUnderAPixelIsTold) {
    GraphPane pane = Pane({Layer(LayerKind::bars, {0, 10, 20}, {4, 8})});
    pane.lines = {{true, 10.0, 0, "", "width"}, {true, 5.0, 0, "", ""}};
    const Graph graph = OfPane(pane);
    const Painted painted = Paint(graph);
    const PanePlace& place = painted.places[0];
    const auto x = [&](double value) { return static_cast<int>(place.x.ToPixel(value)); };
    const int middle = (place.plot.top + place.plot.bottom) / 2;
    using What = GraphHit::What;
    const struct {
        int x, y;
        GraphHit hit;
    } cases[] = {
        {x(10.0) + 6, middle, {What::line, 0, 0}},
        {x(10.0) + 8, middle, {What::plot, 0, 0}},
        {x(5.0), middle, {What::plot, 0, 0}},  // this one stays where it is
        {x(15.0), place.plot.bottom + 10, {What::xAxis, 0, 0}},
        {2, middle, {What::yAxis, 0, 0}},
        {2, place.plot.bottom + 10, {What::nothing, 0, 0}},
        {900, 900, {}},
    };
    for (const auto& [atX, atY, hit] : cases)
        EXPECT_EQ(HitGraph(graph, painted.places, atX, atY), hit) << atX << " " << atY;

    const auto reading = ReadGraph(pane, place, x(15.0), middle);
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->lines, (std::vector<std::string>{"time: 10 to 20 ms", "count: 8"}));
    EXPECT_EQ(reading->x, 15.0);
    EXPECT_FALSE(ReadGraph(pane, place, 2, middle));
    // A dashed curve without a name, a part of another, is not told.
    GraphPane withPart = pane;
    withPart.layers.push_back(Wave(30, 2.0));
    withPart.layers.back().name.clear();
    withPart.layers.back().isDashed = true;
    EXPECT_EQ(ReadGraph(withPart, place, x(15.0), middle)->lines, reading->lines);
    // Of a band both edges are told, of an area on a floor its own.
    withPart.layers = {Layer(LayerKind::area, {14, 15, 16}, {3, 4, 5}, {6, 7, 8}),
                       Layer(LayerKind::area, {14, 15, 16}, {3, 4, 5}, {0, 0, 0})};
    EXPECT_EQ(ReadGraph(withPart, place, x(15.0), middle)->lines,
              (std::vector<std::string>{"time: 15 ms", "count: 4 to 7", "count: 4"}));
    GraphLayer points = Layer(LayerKind::points, {1, 2, 3}, {5, 6, 7});
    points.name = "spike";
    const Graph cloud = OfPane(Pane({points}));
    const Painted dots = Paint(cloud);
    const auto at = [&](double px, double py) {
        return ReadGraph(cloud.panes[0], dots.places[0], int(dots.places[0].x.ToPixel(px)),
                         int(dots.places[0].y.ToPixel(py)));
    };
    EXPECT_EQ(at(2, 6)->point, 1u);
    EXPECT_EQ(at(2, 6)->lines, (std::vector<std::string>{"time: 2 ms", "spike: 6"}));
    EXPECT_FALSE(at(2.5, 5.2)->isValue) << "no point is near";
}

TEST(GraphPainterTest, MarksOfARasterStandInTheirRows) {
    GraphLayer raster = Layer(LayerKind::raster, {10, 20, 20, 90, 50}, {1, 1, 1, 2, 4});
    raster.colours = {0x0000FF, 0x00FF00, 0xFF0000, 0x0000FF, 0x0000FF};
    raster.width = 3;
    GraphPane pane = Pane({raster});
    pane.x.limits = {0.0, 100.0};
    pane.y.limits = {0.5, 3.5};
    const Painted painted = Paint(OfPane(pane));
    const PanePlace& place = painted.places[0];
    const auto red = painted.device.RectsOf(0x0000FF);
    ASSERT_EQ(red.size(), 2u);  // the row above the limits is not seen
    const PixelRect& first = red[1].rect;
    EXPECT_EQ(first.Width(), 3);
    EXPECT_NEAR((first.left + first.right) / 2.0, place.x.ToPixel(10.0), 1.0);
    EXPECT_NEAR(first.top, place.y.ToPixel(1.4), 1.0);
    EXPECT_NEAR(first.bottom, place.y.ToPixel(0.6), 1.0);
    const auto told = ReadGraph(pane, place, static_cast<int>(place.x.ToPixel(60.0)),
                                static_cast<int>(place.y.ToPixel(2.3)));
    ASSERT_EQ(told->lines.size(), 2u);
    EXPECT_TRUE(told->lines[1].ends_with(": 2")) << told->lines[1];
    // Rows that stand for other things are told by their numbers, also where no mark is near; the place
    // itself is told without one.
    const auto reading = [&](double x, double y) {
        return ReadGraph(pane, place, static_cast<int>(place.x.ToPixel(x)),
                         static_cast<int>(place.y.ToPixel(y)))
            ->lines;
    };
    const auto readout = [&](bool isX, double x, double y) {
        return ReadPlace(pane, place, {"", "", isX}, static_cast<int>(place.x.ToPixel(x)),
                         static_cast<int>(place.y.ToPixel(y)));
    };
    pane.x.unit = "ms";
    EXPECT_EQ(readout(false, 60.0, 2.3), "2");
    EXPECT_NEAR(std::stod(readout(true, 60.0, 2.3)), 60.0, 0.3);
    EXPECT_TRUE(readout(true, 60.0, 2.3).ends_with(" ms"));
    pane.rowNumbers = {"stimulus number", {7, 19, 4}};
    EXPECT_EQ(reading(60.0, 2.3).back(), "stimulus number: 19");
    EXPECT_EQ(reading(10.0, 1.0).back(), "stimulus number: 7");
    EXPECT_EQ(readout(false, 60.0, 2.6), "4");
    EXPECT_EQ(ReadPlace(pane, place, {"", "", false}, 0, 0), "") << "outside of the plot";
    pane.rowNumbers.numbers.pop_back();
    EXPECT_EQ(readout(false, 60.0, 2.6), "") << "no stimulus there";
    // Of two marks on one pixel the last one is seen.
    EXPECT_TRUE(painted.device.RectsOf(0x00FF00).empty());
    EXPECT_EQ(painted.device.RectsOf(0xFF0000).size(), 1u);
}

TEST(GraphPainterTest, AnAxisOfNamesHasThemInTheMiddleOfTheirSteps) {
    GraphLayer matrix{LayerKind::matrix};
    matrix.columns = 2;
    matrix.x = {0, 2};
    matrix.y2 = {0, 2};
    matrix.y = {1, nothing, 3, 9};
    matrix.range = {1.0, 5.0};
    GraphPane pane = Pane({matrix});
    pane.x.names = pane.y.names = {"aa", "bb"};
    const Painted painted = Paint(OfPane(pane));
    const PanePlace& place = painted.places[0];
    ASSERT_EQ(place.xTicks.size(), 2u);
    EXPECT_EQ(place.xTicks[1].text, "bb");
    EXPECT_EQ(place.xTicks[1].at, 1.5);
    // Beyond the fixed range a cell has the colour of its end, and a cell without a value none.
    EXPECT_FALSE(painted.device.RectsOf(MatrixColour(1.0)).empty());
    const auto at = [&](double x, double y) {
        return ReadGraph(pane, place, static_cast<int>(place.x.ToPixel(x)),
                         static_cast<int>(place.y.ToPixel(y)));
    };
    EXPECT_EQ(at(0.5, 1.5)->lines.back(), "value: 3");
    EXPECT_EQ(at(1.5, 0.5)->lines.back(), "value: no data");
    pane.layers[0].told = {"", "mV", {1, 2, 8, 4}, {"d1,0", "d1,1", "d2,0 to 1", "d2,2"}};
    EXPECT_EQ(at(0.5, 1.5)->lines.back(), "d2,0 to 1: 8 mV");
}

TEST(GraphPainterTest, ColoursOfAMatrixGoEvenlyFromDarkToLight) {
    double before = -1.0;
    for (int i = 0; i <= 20; ++i) {
        const uint32_t colour = MatrixColour(i / 20.0);
        const double light = 0.299 * (colour & 0xFF) + 0.587 * (colour >> 8 & 0xFF) + 0.114 * (colour >> 16);
        EXPECT_GT(light, before) << i;
        before = light;
    }
}

TEST(GraphPainterTest, AllKindsAreDrawnOnDarkPaperToo) {
    const GraphLook dark{Rgb(30, 32, 36), Rgb(230, 230, 230), true};
    const Painted painted = Paint(OfPane(Pane({Layer(LayerKind::curve, {0, 1}, {0, 1})})), dark);
    EXPECT_EQ(painted.device.LinesOf(SeenOn(ink, dark.paper)).size(), 1u);
    EXPECT_EQ(painted.device.rects[0], (DrawnShape{area, dark.paper}));
}

TEST(FillPolygonTest, DevicesWithoutPolygonsFillTheRowsBetween) {
    class Rows : public RecordingDevice {
        void FillPolygon(std::span<const Place> corners, uint32_t colour) override {
            DrawDevice::FillPolygon(corners, colour);
        }
    } rows;
    DrawDevice& device = rows;
    const Place square[] = {{2, 1}, {6, 1}, {6, 4}, {2, 4}};
    device.FillPolygon(square, 7);
    ASSERT_EQ(rows.rects.size(), 3u);
    EXPECT_EQ(rows.rects[0], (DrawnShape{{2, 1, 6, 2}, 7}));
    rows.rects.clear();
    // A ring: what is gone around twice is outside.
    const Place ring[] = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}, {3, 3}, {7, 3}, {7, 7}, {3, 7}, {3, 3}};
    device.FillPolygon(ring, 7);
    int covered = 0;
    for (const DrawnShape& rect : rows.rects) covered += rect.rect.Width() * rect.rect.Height();
    EXPECT_EQ(covered, 100 - 16);
    // The device of pictures covers the same pixels where corners lie between pixels.
    CairoDevice picture(12, 12);
    picture.FillRect({0, 0, 12, 12}, 0xFFFFFF);
    picture.FillPolygon(ring, 0x0000FF);
    int red = 0;
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x) red += picture.PixelAt(x, y) == 0x0000FF;
    EXPECT_EQ(red, 100 - 16);
}

}  // namespace
}  // namespace kymora::test
