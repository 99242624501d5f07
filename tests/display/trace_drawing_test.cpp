#include "display/trace_drawing.h"

#include <cmath>
#include <limits>

#include "display/axis_drawing.h"
#include "display/axis_edits.h"
#include "display/picture.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

// With one axis, the values of its limits stand at 20 and 400.
class TraceDrawingTest : public ShownTest {
  protected:
    // Shows [start, end] with axis limits of 190 and -190, so that a unit is a pixel around y = 210.
    void Open(std::unique_ptr<MemoryDoc> shown, double start, double end) {
        for (TraceSettings& trace : shown->traces) trace.axisTop = 190.0, trace.axisBottom = -190.0;
        Show(std::move(shown), Viewport{start, end});
    }
    // A sample each 100 ms.
    void Open(std::vector<std::vector<float>> samples, double start, double end) {
        Open(MemoryDoc::Make(session, std::move(samples), 100.0), start, end);
    }
    void Draw() {
        device = {};
        DrawTraces(view->Plot(), device);
    }
    void Paint(PictureTarget target) {
        device = {};
        PaintRecording(view->Plot(), device, target);
    }
    RecordingDevice device;
};

constexpr uint32_t firstColour = 0x000080;  // of trace 1 by default

TEST_F(TraceDrawingTest, FewSamplesAreALineThroughEach) {
    Open({{0, 10, -20, 30, 5, 6, 7, 8, 9, 10}}, 100.0, 300.0);  // samples 1 to 3 and one behind them
    Draw();
    const auto lines = device.LinesOf(firstColour);
    ASSERT_EQ(lines.size(), 1u);
    // Each bin is visited twice, at its minimum and at its maximum.
    const std::vector<Point> expected{{70, 200},  {70, 200},  {470, 230},  {470, 230},
                                      {870, 180}, {870, 180}, {1270, 205}, {1270, 205}};
    EXPECT_EQ(lines[0].points, expected);
    EXPECT_EQ(device.clips.front(), (PixelRect{70, 10, 871, 411}));
}

// Every bin's minimum and then its maximum; of those in one pixel column, what the device would make of them.
TEST_F(TraceDrawingTest, EnvelopeVisitsMinimumThenMaximum) {
    for (const double pixelMs : {0.5, 10.0}) {  // a bin on two pixels, and five bins on one
        const int length = static_cast<int>(800 * pixelMs);
        std::vector<float> samples;
        for (int i = 0; i < length; ++i)
            samples.push_back(i % 2 ? 100.0f - static_cast<float>(i % 7) : -50.0f);
        Open(MemoryDoc::Make(session, {samples}), 0.0, length);
        Draw();
        const int perBin = length > 4000 ? 2 : 1;
        std::vector<Point> plain, joined, drawn;
        for (int i = 0; i < length; i += perBin) {
            const int x = 70 + static_cast<int>(i / pixelMs + 0.5);
            const auto value = [&](int at) { return samples[static_cast<size_t>(std::min(at, length - 1))]; };
            const float low = std::min(value(i), value(i + perBin - 1));
            const float high = std::max(value(i), value(i + perBin - 1));
            plain.push_back({x, view->Plot().ValueToPixel(low, 0)});
            plain.push_back({x, view->Plot().ValueToPixel(high, 0)});
        }
        const auto lines = device.LinesOf(firstColour);
        ASSERT_EQ(lines.size(), 1u);
        JoinColumns(plain, joined);
        JoinColumns(lines[0].points, drawn);
        EXPECT_EQ(drawn, joined);
    }
}

TEST_F(TraceDrawingTest, WhereTheDataEndTheLineStopsOrGoesOnAtZero) {
    Open({{1, 2, 3}}, 0.0, 800.0);  // a pixel a ms
    Draw();
    ASSERT_EQ(device.lines.size(), 1u);
    EXPECT_EQ(device.lines[0].points.back(), (Point{270, 207}));
    view->m_bInactiveSections = true;
    Draw();
    const auto grey = device.LinesOf(inactiveColour);
    ASSERT_EQ(grey.size(), 1u);
    EXPECT_EQ(grey[0].points, (std::vector<Point>{{270, 207}, {370, 210}, {870, 210}}));
    EXPECT_EQ(grey[0].pen, (Pen{inactiveColour, 1, Pen::Style::solid}));

    Open({{1, 2, 3}}, 1000.0, 1800.0);  // behind the end
    Draw();
    EXPECT_TRUE(device.lines.empty());
    view->m_bInactiveSections = true;
    Draw();
    ASSERT_EQ(device.lines.size(), 1u);
    EXPECT_EQ(device.lines[0].points, (std::vector<Point>{{70, 210}, {870, 210}}));
}

TEST_F(TraceDrawingTest, GapsAreInvisibleOrGreyAtZero) {
    Open(MemoryDoc::MakeWithRuns(session, {{50, 50, 50, 50}}, {{2, 3, 2}}, 100.0), 0.0, 600.0);
    Draw();
    // Bins at 0 and 100, and at 500 and 600 ms are active: two pieces, nothing between them.
    ASSERT_EQ(device.lines.size(), 2u);
    EXPECT_EQ(device.lines[0].points.front(), (Point{70, 160}));
    EXPECT_EQ(device.lines[0].points.back(), (Point{203, 160}));
    EXPECT_EQ(device.lines[1].points.front(), (Point{737, 160}));
    EXPECT_EQ(device.lines[1].pen.colour, firstColour);

    view->m_bInactiveSections = true;
    Draw();
    const auto grey = device.LinesOf(inactiveColour);
    ASSERT_EQ(grey.size(), 2u);                            // the gap, and what follows the last sample
    EXPECT_EQ(grey[0].points.front(), (Point{203, 160}));  // from the last sample down to 0
    EXPECT_EQ(grey[0].points[1], (Point{337, 210}));
    EXPECT_EQ(grey[0].points.back(), (Point{737, 160}));  // and up to the next one
}

TEST_F(TraceDrawingTest, BinWithoutANumberInterruptsTheLine) {
    Open({{0, 0, 0, 0, 0}, {1, 1, nan32, 2, 2}}, 0.0, 400.0);
    view->Set(&ViewSettings::m_bAxisVisible, {false, true}, "Select axes");
    Draw();
    ASSERT_EQ(device.lines.size(), 2u);
    EXPECT_EQ(device.lines[0].points.back().x, 270);
    EXPECT_EQ(device.lines[1].points.front().x, 670);
}

TEST_F(TraceDrawingTest, InfiniteAndHugeSamplesStayOnTheLine) {
    Open({{0, inf32, -inf32, 3e38f, -3e38f, 0}}, 0.0, 500.0);
    Draw();
    ASSERT_EQ(device.lines.size(), 1u);
    for (const Point& point : device.lines[0].points) EXPECT_LE(std::abs(point.y), farthestPixel);
    view->Autoscale(true);  // infinities do not become limits
    EXPECT_TRUE(std::isfinite(view->m_axes[0].m_dMax));
    EXPECT_TRUE(std::isfinite(view->m_axes[0].m_dMin));
}

TEST_F(TraceDrawingTest, DotsMarkBothEndsOfABin) {
    Open({{0, 10, -20, 30}}, 0.0, 300.0);
    SetDrawAsDots(*view, true, true);
    Draw();
    ASSERT_EQ(device.pixels.size(), 4u);
    EXPECT_EQ(device.pixels[1], (DrawnShape{{337, 200, 338, 201}, firstColour}));
    SetDotSize(*view, true, 2);
    Draw();
    ASSERT_EQ(device.ellipses.size(), 4u);
    EXPECT_EQ(device.ellipses[1], (DrawnShape{{333, 196, 341, 204}, firstColour}));
    EXPECT_TRUE(device.lines.empty());
}

TEST_F(TraceDrawingTest, DotsOfInactiveSectionsAreGrey) {
    Open(MemoryDoc::MakeWithRuns(session, {{50, 50, 50}}, {{2, 1, 1}}, 100.0), 0.0, 800.0);
    SetDrawAsDots(*view, true, true);
    Draw();
    EXPECT_EQ(device.pixels.size(), 3u);
    EXPECT_TRUE(device.lines.empty());
    view->m_bInactiveSections = true;
    Draw();
    ASSERT_EQ(device.pixels.size(), 4u);
    EXPECT_EQ(device.pixels[2], (DrawnShape{{270, 210, 271, 211}, inactiveColour}));
    EXPECT_EQ(device.pixels[3].colour, firstColour);
    // Where the data stop, the line at 0 goes on as it does behind a line.
    ASSERT_EQ(device.lines.size(), 1u);
    EXPECT_EQ(device.lines[0].points, (std::vector<Point>{{470, 210}, {870, 210}}));
    EXPECT_EQ(device.lines[0].pen.colour, inactiveColour);
}

TEST_F(TraceDrawingTest, ASampleWithoutNeighboursIsADotThatCanBeSeen) {
    Open(MemoryDoc::MakeWithRuns(session, {{10, 20, 20, 30}}, {{1, 1, 2, 1, 1}}, 100.0), 0.0, 800.0);
    Draw();
    const std::vector<DrawnShape> dots{{{68, 198, 72, 202}, firstColour},
                                       {{568, 178, 572, 182}, firstColour}};
    EXPECT_EQ(device.ellipses, dots);  // samples 0 and 5; 2 and 3 are a line
    EXPECT_EQ(device.LinesOf(firstColour).size(), 1u);
}

TEST_F(TraceDrawingTest, ClippedTracesKeepToTheLimitsOrToTheBand) {
    Open({{0, 1000, -1000, 0}}, 0.0, 300.0);
    view->m_format[0].clipToAxis = true;
    Draw();
    EXPECT_EQ(device.clips[1], (PixelRect{70, 20, 871, 401}));
    view->m_nClipMode = 0;
    Draw();
    EXPECT_EQ(device.clips[1], (PixelRect{70, 10, 871, 410}));
}

TEST_F(TraceDrawingTest, TraceOnAnotherAxisTakesItsLimitsAndBand) {
    auto shared = MemoryDoc::Make(session, {{0, 0}, {10, 10}}, 100.0);
    shared->traces[1].traceOrder = 0;
    shared->traces[1].traceVisible = 0;  // its own axis is not shown
    Open(std::move(shared), 0.0, 100.0);
    SetAxis(0, -19.0, 19.0);
    Draw();
    const auto second = device.LinesOf(0x008000);
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0].points[0].y, 110);
    EXPECT_EQ(view->m_nVisibleAxes, 1);
}

TEST_F(TraceDrawingTest, GridAndFrameStandOnTheEighthsOfThePlot) {
    Open(Ramp(2, 100), 0.0, 100.0);
    DrawFrameAndGrid(view->Plot(), device);
    const auto grid = device.LinesOf(gridColour);
    ASSERT_EQ(grid.size(), 4u + 7u);  // top and bottom of two bands, seven divisions
    EXPECT_EQ(grid[0].points, (std::vector<Point>{{70, 20}, {870, 20}}));
    EXPECT_EQ(grid[1].points, (std::vector<Point>{{70, 200}, {870, 200}}));
    EXPECT_EQ(grid[4].points, (std::vector<Point>{{170, 10}, {170, 410}}));
    EXPECT_EQ(grid[4].pen.style, Pen::Style::dashed);
    EXPECT_EQ(device.LinesOf(frameColour).size(), 1u);
    view->Set(&ViewSettings::m_bShowGrid, false, "Grid");
    view->Set(&ViewSettings::m_bShowAxes, false, "Axes");
    device = {};
    DrawFrameAndGrid(view->Plot(), device);
    EXPECT_TRUE(device.lines.empty());
}

TEST_F(TraceDrawingTest, AFileShowsTimesLimitsAndLabels) {
    auto named = Ramp(1, 5000);
    named->traces[0].traceLabel = "Intracellular";
    named->traces[0].axisLabel = "Vm";
    named->traces[0].traceUnits = "mV";
    withNames = true;
    Open(std::move(named), 500.0, 2500.0);
    view->Set(&ViewSettings::m_nTimeUnit, 1, "Time unit");
    Paint(PictureTarget::file);
    for (const char* text : {"0.5", "2.5", "time (0.25 s/div)", "190", "-190", "Vm (mV)", "1: Intracellular"})
        EXPECT_TRUE(device.Wrote(text)) << text;
    view->Set(&ViewSettings::m_bTimebasePerViewport, true, "Timebase");
    Paint(PictureTarget::file);
    EXPECT_TRUE(device.Wrote("time (2 s/viewport)"));
    view->Set(&ViewSettings::m_bShowGrid, false, "Grid");
    Paint(PictureTarget::file);
    EXPECT_TRUE(device.Wrote("time (s)"));
    Paint(PictureTarget::window);  // edit boxes show the times
    EXPECT_FALSE(device.Wrote("0.5"));
    EXPECT_FALSE(device.LinesOf(firstColour).empty());
    view->Set(&ViewSettings::m_fDataArea, 0.0f, "Data area");
    Paint(PictureTarget::file);
    EXPECT_TRUE(device.LinesOf(firstColour).empty());
}

TEST_F(TraceDrawingTest, TextsAndSelectionFollowThePaper) {
    Open({{0, 1, 2, 3}}, 0.0, 800.0);
    view->Select(Viewport{200.0, 400.0});
    view->m_crBackground = 0;
    Paint(PictureTarget::window);
    EXPECT_EQ(device.rects[0], (DrawnShape{{0, 0, 880, 460}, 0}));
    EXPECT_EQ(device.rects[1].rect, (PixelRect{270, 10, 471, 410}));
    for (const DrawnText& text : device.texts)
        if (text.text == "190" || text.text == "-190") {
            EXPECT_FALSE(IsDarkPaper(text.style.colour));
        }
    Paint(PictureTarget::file);
    for (const DrawnShape& shape : device.rects)  // no selection and no slider
        EXPECT_TRUE(shape.rect.Height() == 460 || shape.rect.Width() == 3) << shape.rect.left;
}

TEST(JoinColumns, CoversTheSamePixels) {
    std::vector<Point> points;
    for (int i = 0; i < 400; ++i) points.push_back({i / 7, (i * 37) % 101});
    std::vector<Point> joined;
    JoinColumns(points, joined);
    EXPECT_LE(joined.size(), 4u * 58u);
    EXPECT_TRUE(IsDense(joined));
    // The pixels of vertical strokes within a column, and the steps from column to column.
    const auto cover = [](std::span<const Point> line) {
        std::vector<std::vector<bool>> pixels(60, std::vector<bool>(101));
        std::vector<std::pair<Point, Point>> steps;
        for (size_t i = 1; i < line.size(); ++i) {
            if (line[i].x != line[i - 1].x) {
                steps.emplace_back(line[i - 1], line[i]);
                continue;
            }
            for (int y = std::min(line[i].y, line[i - 1].y); y <= std::max(line[i].y, line[i - 1].y); ++y)
                pixels[static_cast<size_t>(line[i].x)][static_cast<size_t>(y)] = true;
        }
        return std::pair(pixels, steps);
    };
    EXPECT_EQ(cover(points), cover(joined));
    EXPECT_FALSE(IsDense(std::vector<Point>{{0, 0}, {1, 5}, {2, 3}, {3, 9}}));
}

TEST(LineShape, EveryDeviceMakesTheSameChoice) {
    using Kind = LineShape::Kind;
    const PixelRect clip{0, 0, 100, 100};
    LineShape shape;
    const auto kind = [&](std::vector<Point> points, Pen pen = {}) {
        return shape.Prepare(points, pen, clip);
    };
    EXPECT_EQ(kind({}), Kind::nothing);
    EXPECT_EQ(kind({{0, 0}, {5, 5}}, {0, 1, Pen::Style::null}), Kind::nothing);
    EXPECT_EQ(kind({{0, 0}, {5, 5}}, {0, 1, Pen::Style::dashed}), Kind::dashes);
    EXPECT_EQ(kind({{0, 0}, {0, 9}, {8, 9}}), Kind::straight);
    EXPECT_EQ(kind({{0, 0}, {1, 9}, {2, 3}}), Kind::smooth);
    EXPECT_EQ(kind({{0, 0}, {0, 9}, {1, 3}, {1, 8}, {2, 0}, {2, 7}}), Kind::envelope);
    EXPECT_EQ(shape.Spans().size(), 3u);
}

TEST(Text, ElidesWholeCharactersAndKeepsToOneLine) {
    RecordingDevice device;
    EXPECT_EQ(ElideText(device, "short", 100), "short");
    EXPECT_EQ(ElideText(device, "\xC3\xA9\xC3\xA9\xC3\xA9", 30), "\xC3\xA9\xE2\x80\xA6");  // 6 a byte here
    EXPECT_EQ(ElideText(device, "anything", 3), "");
    EXPECT_EQ(OneLine("a\tb\nc\xFF"), "a b c\xEF\xBF\xBD");
}

// A spike is as wide as its own column, and not half of its neighbours.
TEST(EnvelopeSpans, AColumnHoldsItsOwnPoints) {
    const std::vector<Point> points{{0, 10}, {0, 12}, {1, 10}, {1, 90}, {1, 11},
                                    {2, 11}, {2, 13}, {3, 40}, {3, 42}};
    std::vector<ColumnSpan> spans;
    EnvelopeSpans(points, 0, 4, spans);
    EXPECT_EQ(spans, (std::vector<ColumnSpan>{{0, 10, 12}, {1, 10, 90}, {2, 11, 26}, {3, 27, 42}}));
    EnvelopeSpans(points, 1, 2, spans);
    EXPECT_EQ(spans, (std::vector<ColumnSpan>{{1, 10, 90}}));
}

TEST(SeenOn, ColoursAreToldFromADarkPaper) {
    constexpr uint32_t dark = Rgb(24, 26, 30), white = 0xFFFFFF;
    EXPECT_EQ(SeenOn(Rgb(0, 0, 128), white), Rgb(0, 0, 128));
    EXPECT_EQ(SeenOn(Rgb(0, 255, 0), dark), Rgb(0, 255, 0)) << "bright enough";
    // A quarter of full brightness at least: relative luminance 4 * (L + 0.05) - 0.05 of the paper's.
    for (const uint32_t colour : {0u, Rgb(90, 90, 90), Rgb(115, 115, 115), Rgb(127, 127, 127), Rgb(128, 0, 0),
                                  Rgb(0, 0, 128), Rgb(0, 0, 255)})
        EXPECT_GT(0.2126 * (SeenOn(colour, dark) & 0xFF) + 0.7152 * (SeenOn(colour, dark) >> 8 & 0xFF) +
                      0.0722 * (SeenOn(colour, dark) >> 16 & 0xFF),
                  90.0);
}

}  // namespace
}  // namespace kymora::test
