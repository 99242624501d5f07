#include "graphs/windows/graph_widget.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QImage>
#include <QLabel>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>

#include "drawing/windows/painter_device.h"
#include "graphs/graph_samples.h"
#include "graphs/windows/graph_panel.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

constexpr uint32_t red = 0x0000FF;  // 0x00BBGGRR

Graph OfPanes(std::vector<GraphPane> panes) {
    Graph graph;
    graph.panes = std::move(panes);
    for (size_t i = 0; i < graph.panes.size(); ++i) graph.panes[i].name = "pane " + std::to_string(i);
    return graph;
}

Graph OfWave(size_t count, size_t peak, double height) {
    GraphLayer wave = Wave(count, 0.0);
    wave.colour = red;
    wave.y[peak] = height;
    return OfPanes({Pane({wave})});
}

class GraphWidgetTest : public ::testing::Test {
  protected:
    void SetUp() override {
        widget.resize(500, 300);
        widget.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&widget));
    }
    QImage Picture() { return widget.grab().toImage(); }
    // Pixels in the colour of the curve within a column.
    static int RedIn(const QImage& image, int x, int top, int bottom) {
        int count = 0;
        for (int y = std::max(0, top); y <= std::min(bottom, image.height() - 1); ++y) {
            const QColor pixel = image.pixelColor(x, y);
            count += pixel.red() > 150 && pixel.green() < 130 && pixel.blue() < 130;
        }
        return count;
    }
    QPoint At(double x, double y, size_t pane = 0) const { return widget.PixelOf(pane, x, y).toPoint(); }
    void Wheel(QPoint at, int angle, Qt::KeyboardModifiers keys = {}) {
        QWheelEvent wheel(at, widget.mapToGlobal(at), {}, {0, angle}, Qt::NoButton, keys, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(&widget, &wheel);
    }
    void Drag(QPoint from, QPoint to, Qt::KeyboardModifiers keys = {}) {
        QTest::mousePress(&widget, Qt::LeftButton, keys, from);
        QTest::mouseMove(&widget, to);
        QTest::mouseRelease(&widget, Qt::LeftButton, keys, to);
    }
    const GraphBox& Shown(size_t pane = 0) const { return widget.Shown()[pane]; }
    GraphWidget widget;
};

TEST_F(GraphWidgetTest, APointThatStandsForAnEventIsChosenByAClick) {
    GraphLayer points{LayerKind::points, "", red, {1, 2, 3}, {1, 3, 2}};
    points.events = {40, 50, 60};
    points.channel = 4;
    widget.SetGraph(OfPanes({Pane({points})}));
    QSignalSpy chosen(&widget, &GraphWidget::EventChosen);
    QTest::mouseClick(&widget, Qt::LeftButton, {}, At(1.5, 1.2));
    EXPECT_TRUE(chosen.isEmpty());
    QTest::mouseClick(&widget, Qt::LeftButton, {}, At(2, 3));
    ASSERT_EQ(chosen.size(), 1);
    EXPECT_EQ(chosen[0][0].toInt(), 4);
    EXPECT_EQ(chosen[0][1].toInt(), 50);
}

TEST_F(GraphWidgetTest, AnAreaIsSelectedByWholeRows) {
    GraphPane pane = Pane({{LayerKind::raster, "", red, {10, 40, 90}, {1, 2, 3}}});
    pane.x.limits = {0.0, 100.0};
    pane.area = {0, 0, 0.5, 0.5, "from", "to", "first", "last", true};
    QSignalSpy offered(&widget, &GraphWidget::SelectionOffered);
    std::vector<GraphArea> areas;
    QObject::connect(&widget, &GraphWidget::AreaSet,
                     [&](int, const GraphArea& area) { areas.push_back(area); });
    widget.SetGraph(OfPanes({pane}));
    ASSERT_EQ(offered.size(), 1);
    const GraphBox whole = Shown();
    widget.SetMode(GraphWidget::Mode::select);
    Drag(At(30, 2.7), At(60, 1.8));
    EXPECT_EQ(Shown(), whole) << "nothing is zoomed";
    ASSERT_EQ(areas.size(), 1u);
    EXPECT_NEAR(areas[0].left, 30.0, 0.6);
    EXPECT_NEAR(areas[0].right, 60.0, 0.6);
    // From the middle of row 2 to that of row 3.
    EXPECT_EQ(areas[0].bottom, 1.5);
    EXPECT_EQ(areas[0].top, 3.5);
    widget.SetGraph({});
    EXPECT_EQ(offered.size(), 2);
}

TEST_F(GraphWidgetTest, PointsAreChosenByDraggingRoundThem) {
    GraphPane pane = Pane({{LayerKind::points, "", red, {1, 2, 3}, {1, 3, 2}}});
    pane.takesOutlines = true;
    widget.SetGraph(OfPanes({pane}));
    const GraphBox whole = Shown();
    std::vector<std::pair<double, double>> corners;
    QObject::connect(&widget, &GraphWidget::Outlined, [&](int, const auto& drawn) { corners = drawn; });
    widget.SetMode(GraphWidget::Mode::select);
    QTest::mousePress(&widget, Qt::LeftButton, {}, At(1.5, 1.5));
    for (const auto& [x, y] : {std::pair{2.5, 1.5}, {2.0, 2.8}}) QTest::mouseMove(&widget, At(x, y));
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, At(2.0, 2.8));
    EXPECT_EQ(Shown(), whole) << "nothing is zoomed";
    ASSERT_EQ(corners.size(), 3u);
    EXPECT_NEAR(corners[1].first, 2.5, 0.02);
    EXPECT_NEAR(corners[2].second, 2.8, 0.02);
}

TEST_F(GraphWidgetTest, APeakOfOneSampleAmongMillionsIsDrawn) {
    for (const size_t count : {size_t{50}, size_t{900}, size_t{100000}, size_t{1000000}}) {
        const size_t at = count / 3 + 1;
        widget.SetGraph(OfWave(count, at, 10.0));
        const QPoint peak = At(static_cast<double>(at), 10.0), half = At(static_cast<double>(at), 5.0);
        const QImage image = Picture();
        const PixelRect& plot = widget.Places()[0].plot;
        // At half its height the flanks of a peak are half a sample away.
        const int reach = 2 + plot.Width() / (2 * static_cast<int>(count));
        int reached = 0, through = 0;
        for (int x = peak.x() - reach; x <= peak.x() + reach; ++x) {
            reached += RedIn(image, x, peak.y() - 2, peak.y() + 6);
            through += RedIn(image, x, half.y() - 2, half.y() + 2);
        }
        EXPECT_GT(reached, 0) << count;
        EXPECT_GT(through, 0) << count;
        EXPECT_GT(RedIn(image, plot.left + 5, plot.top, plot.bottom), 0)
            << "the rest of the curve, of " << count;
    }
}

TEST_F(GraphWidgetTest, WheelDragAndKeysZoom) {
    const Graph graph = OfWave(1000, 10, 100.0);
    widget.SetGraph(graph);
    const GraphBox whole = Shown();
    const QPoint at = At(250.0, 50.0);
    Wheel(at, 240);
    EXPECT_NEAR(Shown().Width(), whole.Width() * 0.64, 1e-6);
    EXPECT_EQ(Shown().top, whole.top);
    EXPECT_NEAR(widget.PixelOf(0, 250.0, 50.0).x(), at.x(), 1.5) << "about the pointer";
    // New data of the same place leave what the user looks at.
    const GraphBox zoomed = Shown();
    widget.SetGraph(graph);
    EXPECT_EQ(Shown(), zoomed);
    QTest::mouseDClick(&widget, Qt::LeftButton, {}, at);
    EXPECT_EQ(Shown(), whole);
    QTest::keyClick(&widget, Qt::Key_Plus, Qt::ControlModifier);
    EXPECT_NEAR(Shown().Height(), whole.Height() * 0.8, 1e-6);
    EXPECT_NEAR(Shown().top + Shown().bottom, whole.top + whole.bottom, 1e-6);
    QTest::keyClick(&widget, Qt::Key_Home);

    Drag(At(100.0, 80.0), At(300.0, 20.0));
    EXPECT_NEAR(Shown().left, 100.0, 4.0);
    EXPECT_NEAR(Shown().right, 300.0, 4.0);
    EXPECT_NEAR(Shown().top, 80.0, 2.0);
    EXPECT_NEAR(Shown().bottom, 20.0, 2.0);
    widget.SetMode(GraphWidget::Mode::pan);
    const GraphBox before = Shown();
    Drag(At(200.0, 40.0), At(150.0, 40.0));
    EXPECT_NEAR(Shown().left, before.left + 50.0, 2.0);
    EXPECT_NEAR(Shown().Width(), before.Width(), 1e-9);
    for (int i = 0; i < 50; ++i) QTest::keyClick(&widget, Qt::Key_Minus);
    EXPECT_EQ(Shown().left, whole.left) << "no further than all";
    for (int i = 0; i < 400; ++i) QTest::keyClick(&widget, Qt::Key_Plus);
    EXPECT_LT(Shown().left, Shown().right);
    Picture();
    QTest::keyClick(&widget, Qt::Key_Home);
    EXPECT_EQ(Shown(), whole);
}

TEST_F(GraphWidgetTest, AxesAreMovedStretchedAndEntered) {
    widget.SetGraph(OfWave(1001, 10, 100.0));
    const GraphBox whole = Shown();
    const PixelRect plot = widget.Places()[0].plot;
    const int below = plot.bottom + 10;
    Drag({At(500.0, 0).x(), below}, {At(400.0, 0).x(), below});
    EXPECT_NEAR(Shown().left, 100.0, 3.0);
    EXPECT_NEAR(Shown().right, 1100.0, 3.0) << "an axis goes on beyond all";
    QTest::keyClick(&widget, Qt::Key_Home);
    Drag({At(950.0, 0).x(), below}, {At(475.0, 0).x(), below});
    EXPECT_EQ(Shown().left, whole.left) << "the other end is held";
    EXPECT_NEAR(Shown().right, 2000.0, 15.0);
    QTest::keyClick(&widget, Qt::Key_Home);
    const QPoint middle(plot.left - 10, (plot.top + plot.bottom) / 2);
    Wheel(middle, 120);
    EXPECT_NEAR(Shown().Height(), whole.Height() * 0.8, 1e-6);
    EXPECT_EQ(Shown().Width(), whole.Width());

    QSignalSpy asked(&widget, &GraphWidget::AxisAsked);
    QTest::mouseDClick(&widget, Qt::LeftButton, {}, middle);
    ASSERT_EQ(asked.size(), 1);
    EXPECT_EQ(asked[0], (QList<QVariant>{0, false}));
    Form form = widget.AxisForm(0, false);
    EXPECT_FALSE(form.Flag("automatic"));
    form["minimum"].number = 5.0;
    form["maximum"].number = 5.0;
    EXPECT_NE(form.Check(), "");
    form["minimum"].number = -1.0;
    form["log"].flag = true;
    EXPECT_NE(form.Check(), "") << "a log axis begins above 0";
    form["minimum"].number = 0.5;
    form["title"].text = "mine";
    EXPECT_EQ(form.Check(), "");
    widget.TakeAxisForm(0, false, form);
    widget.SetGraph(OfWave(1001, 10, 90.0));
    EXPECT_EQ(Shown().bottom, 0.5);
    EXPECT_EQ(Shown().top, 5.0);
    EXPECT_TRUE(widget.GetGraph().panes[0].y.isLog) << "what was entered stays with the next graph";
    EXPECT_EQ(widget.Seen().panes[0].y.Label(), "mine");
    form["automatic"].flag = true;
    form["log"].flag = false;
    widget.TakeAxisForm(0, false, form);
    EXPECT_NEAR(Shown().top, 94.5, 1e-9);
}

TEST_F(GraphWidgetTest, LinesAreDraggedAndMovedByKeys) {
    for (const bool setsWhileMoving : {false, true}) {
        Graph graph = OfWave(1001, 10, 100.0);
        graph.panes[0].lines = {{true, 300.0, 0, "limit", "limit", setsWhileMoving},
                                {false, 50.0, 0, "mean", ""}};
        widget.SetGraph(graph);
        QSignalSpy moved(&widget, &GraphWidget::LineMoved);
        const GraphBox whole = Shown();
        QTest::mousePress(&widget, Qt::LeftButton, {}, At(300.0, 80.0));
        QTest::mouseMove(&widget, At(400.0, 80.0));
        EXPECT_EQ(moved.size(), setsWhileMoving ? 1 : 0);
        EXPECT_NEAR(widget.GetGraph().panes[0].lines[0].at, 400.0, 2.0);
        // What the operation draws meanwhile does not take the line from the hand.
        widget.SetGraph(graph);
        EXPECT_NEAR(widget.GetGraph().panes[0].lines[0].at, 400.0, 2.0);
        QTest::mouseMove(&widget, At(500.0, 80.0));
        QTest::mouseRelease(&widget, Qt::LeftButton, {}, At(500.0, 80.0));
        ASSERT_FALSE(moved.empty());
        EXPECT_EQ(moved.back()[0], "limit");
        EXPECT_NEAR(moved.back()[1].toDouble(), 500.0, 2.0);
        EXPECT_EQ(Shown(), whole);
        const double before = widget.GetGraph().panes[0].lines[0].at,
                     pixel = whole.Width() / widget.Places()[0].plot.Width();
        QTest::keyClick(&widget, Qt::Key_Left);
        EXPECT_NEAR(moved.back()[1].toDouble(), before - pixel, pixel / 2);
        QTest::keyClick(&widget, Qt::Key_Right, Qt::ShiftModifier);
        EXPECT_NEAR(moved.back()[1].toDouble(), before + 9 * pixel, pixel / 2);
        EXPECT_TRUE(widget.accessibleDescription().contains("limit"));
        // ESC puts it back.
        const auto at = widget.GetGraph().panes[0].lines[0].at;
        QTest::mousePress(&widget, Qt::LeftButton, {}, At(at, 80.0));
        QTest::mouseMove(&widget, At(100.0, 80.0));
        QTest::keyClick(&widget, Qt::Key_Escape);
        EXPECT_EQ(widget.GetGraph().panes[0].lines[0].at, at);
        QTest::mouseRelease(&widget, Qt::LeftButton, {}, At(100.0, 80.0));
    }
}

TEST_F(GraphWidgetTest, LimitsThatAreParametersAreTold) {
    Graph graph = OfWave(1001, 10, 100.0);
    GraphPane& pane = graph.panes[0];
    pane.lowerParameter = "minimum", pane.upperParameter = "maximum", pane.autoParameter = "autoRange";
    pane.x.limits = {0.0, 1000.0};
    widget.SetGraph(graph);
    QSignalSpy set(&widget, &GraphWidget::LimitsSet), freed(&widget, &GraphWidget::LimitsFreed);
    for (int i = 0; i < 5; ++i) Wheel(At(500.0, 50.0), -120);
    EXPECT_LT(Shown().left, -100.0) << "beyond the values, since other values may lie there";
    EXPECT_TRUE(set.wait(1000));
    EXPECT_EQ(set.size(), 1) << "many turns are told as one";
    EXPECT_NEAR(set[0][1].toDouble(), Shown().left, 2.0);
    const GraphBox wanted = Shown();
    widget.SetGraph(graph);
    EXPECT_EQ(Shown(), wanted) << "the operation has not taken up the limits yet";
    // The operation has the last word.
    pane.x.limits = {-500.0, 1500.0};
    widget.SetGraph(graph);
    EXPECT_EQ(Shown().left, -500.0);
    QTest::keyClick(&widget, Qt::Key_Home);
    EXPECT_EQ(freed.size(), 1);
}

TEST_F(GraphWidgetTest, PanesAreReachedByTabAndShareTheirAxis) {
    Graph graph = OfPanes({Pane({Wave(100, 1.0)}), Pane({Wave(100, 1.0)})});
    graph.sharesX = true;
    graph.panes[1].lines = {{true, 30.0, 0, "limit", "limit"}};
    widget.SetGraph(graph);
    EXPECT_FALSE(widget.FocusedPane()) << "none is all";
    widget.clearFocus();
    widget.setFocus(Qt::TabFocusReason);
    EXPECT_EQ(widget.FocusedPane(), 0u);
    QTest::keyClick(&widget, Qt::Key_Plus);
    EXPECT_EQ(Shown(0).left, Shown(1).left);
    QTest::keyClick(&widget, Qt::Key_Tab);
    EXPECT_EQ(widget.FocusedPane(), 1u);
    QTest::keyClick(&widget, Qt::Key_Tab);
    QSignalSpy moved(&widget, &GraphWidget::LineMoved);
    QTest::keyClick(&widget, Qt::Key_Right);
    EXPECT_EQ(moved.size(), 1) << "the line has the keyboard now";
    QTest::keyClick(&widget, Qt::Key_Backtab);
    QTest::keyClick(&widget, Qt::Key_Right);
    EXPECT_EQ(moved.size(), 1);
    // Another graph, with fewer panes, is none of that.
    widget.SetGraph(OfWave(10, 1, 1.0));
    Picture();
    widget.SetGraph({});
    Picture();
    QTest::keyClick(&widget, Qt::Key_Plus);
}

TEST_F(GraphWidgetTest, ValuesAndDropLinesFollowTheMouseOverThePicture) {
    widget.SetGraph(OfWave(1000, 300, 100.0));
    const QImage plain = Picture();
    QTest::mouseMove(&widget, At(300.0, 50.0));
    EXPECT_NE(Picture(), plain) << "a card tells the values";
    widget.SetReading(false);
    EXPECT_EQ(Picture(), plain);
    widget.SetDropLines(true);
    EXPECT_NE(Picture(), plain);
}

struct GraphPanelTest : SessionTest {
    void SetUp() override {
        panel.resize(500, 340);
        panel.show();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&panel));
        panel.Widget().SetGraph(OfPanes({Pane({Wave(10, 1.0)}), Pane({Wave(10, 2.0)})}));
    }
    QToolButton* Button(const char* name) { return panel.findChild<QToolButton*>(name); }
    GraphPanel panel{session};
};

TEST_F(GraphPanelTest, CopiesAreAPictureShapesOrAText) {
    EXPECT_EQ(Button("graphCopy")->toolTip(),
              "Copy graph image to clipboard (drop-down offers copy as metafile, text or save).");
    QClipboard& clipboard = *QApplication::clipboard();
    panel.CopyPicture();
    EXPECT_EQ(clipboard.image().width(), 2 * panel.Widget().width());
    panel.CopyVectors();
    EXPECT_TRUE(clipboard.mimeData()->data("image/svg+xml").startsWith("<?xml"));
    EXPECT_TRUE(clipboard.mimeData()->hasImage());
    panel.CopyText();
    EXPECT_TRUE(clipboard.text().contains("pane 0") && clipboard.text().contains("pane 1"));
    session.graphs.copiesOnePane = true;
    panel.Widget().clearFocus();
    panel.Widget().setFocus(Qt::BacktabFocusReason);
    panel.CopyText();
    EXPECT_TRUE(clipboard.text().startsWith("time (ms)\tcount\r\n0\t2\r\n"));
}

TEST_F(GraphPanelTest, ReadoutsFollowTheMouseAndHaveTheirTips) {
    GraphPane pane = Pane({{LayerKind::raster, "", red, {10, 40, 90}, {1, 2, 3}}});
    pane.x = {"latency", "ms", false, std::pair(0.0, 100.0)};
    pane.rowNumbers = {"stimulus number", {12, 11, 13}};
    pane.readouts = {{"Stimulus", "the number", false}, {"Latency", "the time", true}};
    GraphWidget& graph = panel.Widget();
    graph.SetGraph(OfPanes({pane}));
    auto* stimulus = panel.findChild<QLabel*>("readoutStimulus");
    auto* latency = panel.findChild<QLabel*>("readoutLatency");
    ASSERT_TRUE(stimulus && latency);
    EXPECT_EQ(stimulus->toolTip(), "the number");
    EXPECT_EQ(latency->toolTip(), "the time");
    EXPECT_EQ(stimulus->text(), "Stimulus: -");
    QTest::qWait(1);  // the row takes its room from the graph
    QTest::mouseMove(&graph, graph.PixelOf(0, 60.0, 2.2).toPoint());
    EXPECT_EQ(stimulus->text(), "Stimulus: 11");
    EXPECT_TRUE(latency->text().startsWith("Latency: 60") || latency->text().startsWith("Latency: 59"))
        << latency->text().toStdString();
    QTest::mouseMove(&graph, QPoint(1, 1));
    EXPECT_EQ(latency->text(), "Latency: -");
    graph.SetGraph(OfPanes({Pane({Wave(10, 1.0)})}));
    EXPECT_TRUE(stimulus->isHidden() && latency->isHidden());
}

TEST_F(GraphPanelTest, SavesByTheExtension) {
    for (const char* name : {"/a.png", "/a.svg", "/a.pdf", "/a.TXT"}) {
        host.saveFile = name;
        panel.Save();
        EXPECT_TRUE(files.Has(name)) << name;
    }
    // A table is that of the numbers from which the graph was made, where there are any.
    host.saveFile = "/a.csv";
    Result counts{"counts"};
    counts.values = {{"n", 5.0}};
    panel.results = [&] { return std::vector{counts}; };
    panel.Save();
    const auto& table = files.Bytes("/a.csv");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(table.data()), table.size()), "n\r\n5\r\n");
    EXPECT_TRUE(host.messages.empty());
    host.saveFile = "/a.doc";
    panel.Save();
    EXPECT_FALSE(files.Has("/a.doc"));
    ASSERT_EQ(host.messages.size(), 1u);
}

TEST_F(GraphPanelTest, ButtonsKeepTheirHabitsForTheSession) {
    Button("graphGrid")->click();
    Button("graphPan")->click();
    EXPECT_FALSE(session.graphs.hasGrid);
    EXPECT_TRUE(session.graphs.pans);
    EXPECT_FALSE(Button("graphZoom")->isChecked());
    GraphPanel next(session);
    EXPECT_FALSE(next.findChild<QToolButton*>("graphGrid")->isChecked());
    EXPECT_FALSE(next.Widget().Look().hasGrid);
}

}  // namespace
}  // namespace kymora::test
