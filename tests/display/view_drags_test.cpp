// The mouse on the view itself, on a plot of 800 pixels at 70 that shows 8000 ms: 10 ms a pixel.

#include "display/axis_drawing.h"
#include "display/view_times.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class ViewDragsTest : public ShownTest {
  protected:
    // Two bands of 200 rows from 10 on.
    void SetUp() override { Show(Ramp(2, 100000), Viewport{10000.0, 18000.0}); }
};

TEST_F(ViewDragsTest, DragPansByTheTimeBetweenThePlaces) {
    Drag(300, 100, 400, 150);
    ExpectViewport(9000.0, 17000.0);
    Drag(400, 100, 300, 100);
    ExpectViewport(10000.0, 18000.0);
    Drag(75, 100, 1275, 100);  // 12 s to the right of a start at 10 s: all of it moves up to 0
    ExpectViewport(0.0, 8000.0);
    view->GoBack();
    ExpectViewport(10000.0, 18000.0);
    EXPECT_FALSE(doc->IsModified());
}

TEST_F(ViewDragsTest, PanFollowsTheHandAndEscapePutsItBack) {
    Press(300, 100);
    Move(301, 100);
    ExpectViewport(10000.0, 18000.0);  // the shake of a click
    Move(250, 100);
    ExpectViewport(10500.0, 18500.0);
    Move(200, 100);
    ExpectViewport(11000.0, 19000.0);  // from where it was pressed, not from the last place
    view->Escape();
    ExpectViewport(10000.0, 18000.0);
    Release(200, 100);
    ExpectViewport(10000.0, 18000.0);
}

TEST_F(ViewDragsTest, FarZoomedOutALineFollowsAndTheReleaseMoves) {
    Show(Ramp(2, 100'000'000), Viewport{1e7, 9e7});  // 100,000 ms a pixel
    const int reads = doc->readCalls;
    Press(300, 100);
    Move(350, 100);
    ExpectViewport(1e7, 9e7);
    EXPECT_EQ(doc->readCalls, reads);
    RecordingDevice device;
    DrawFeedback(view->Plot(), device);
    ASSERT_EQ(device.lines.size(), 1u);
    EXPECT_EQ(device.lines[0].points, (std::vector<Point>{{350, 10}, {350, 410}}));
    Release(350, 100);
    ExpectViewport(5e6, 8.5e7);
}

TEST_F(ViewDragsTest, ShiftDragSelectsAndAClickEndsIt) {
    Drag(470, 50, 270, 300, true);
    ASSERT_TRUE(view->m_selection);
    EXPECT_DOUBLE_EQ(view->m_selection->start, 12000.0);
    EXPECT_DOUBLE_EQ(view->m_selection->end, 14000.0);
    ExpectViewport(10000.0, 18000.0);
    Press(100, 50, true);
    Move(2000, 50);  // held to the plot
    EXPECT_DOUBLE_EQ(view->m_selection->end, 18000.0);
    view->Escape();
    EXPECT_DOUBLE_EQ(view->m_selection->start, 12000.0);  // as before
    Press(500, 50);
    Release(501, 50);
    EXPECT_FALSE(view->m_selection);
}

TEST_F(ViewDragsTest, ZoomToSelectionAndItsOption) {
    ZoomToSelection(*view);  // without one: nothing
    ExpectViewport(10000.0, 18000.0);
    view->Select(Viewport{12000.0, 14000.0});
    ZoomToSelection(*view);
    ExpectViewport(12000.0, 14000.0);
    EXPECT_TRUE(view->m_selection);
    session.options.cancelSelectionAfterAction = 1;
    view->Select(Viewport{12500.0, 13000.0});
    ZoomToSelection(*view);
    EXPECT_FALSE(view->m_selection);
    view->GoBack();
    view->GoBack();
    ExpectViewport(10000.0, 18000.0);
    view->GoForward();
    ExpectViewport(12000.0, 14000.0);
    EXPECT_TRUE(view->GetHistory().CanGoForward());
    view->Go(&Navigation::Expand);  // a new way
    EXPECT_FALSE(view->GetHistory().CanGoForward());
}

TEST_F(ViewDragsTest, SelectionByItsEnds) {
    view->Set(&ViewSettings::m_nTimeUnit, 1, "Time unit");
    Fill([](Form& form) {
        EXPECT_EQ(form.Number("start"), 10.0);  // the viewport is proposed
        form["start"].number = 11.0;
        form["end"].number = 12.5;
    });
    AskSelection(*view);
    EXPECT_EQ(view->m_selection, (Viewport{11000.0, 12500.0}));
    Fill([](Form& form) { form["end"].number = 11.0; });
    AskSelection(*view);
    EXPECT_EQ(host.formFault, "The end must be after the start.");
    EXPECT_EQ(view->m_selection, (Viewport{11000.0, 12500.0}));
}

TEST_F(ViewDragsTest, MagnifiesTimeOnce) {
    view->SetMouseMode(mouseMagnifyHorizontally);
    EXPECT_EQ(window->status, "Drag over the time to magnify. ESC = cancel.");
    Drag(471, 100, 470, 100);  // a click: the mode waits for a drag
    EXPECT_EQ(view->m_nMouseMode, mouseMagnifyHorizontally);
    Drag(570, 100, 370, 100);
    ExpectViewport(13000.0, 15000.0);
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);
    EXPECT_EQ(window->status, "");
    view->SetMouseMode(mouseMagnifyHorizontally);
    view->Escape();
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);
}

TEST_F(ViewDragsTest, MagnifiesTheAxisUnderThePress) {
    const struct {
        double low, high;
        int from, to;
        double newLow, newHigh;
    } drags[] = {
        {-90.0, 90.0, 340, 250, -30.0, 60.0},  // one row a unit: 220 is 90, 400 is -90
        {-90.0, 90.0, 250, 450, -90.0, 60.0},  // held to the band
        {90.0, -90.0, 250, 340, 30.0, -60.0},  // upside down stays upside down
    };
    for (const auto& [low, high, from, to, newLow, newHigh] : drags) {
        SCOPED_TRACE(testing::Message() << low << " to " << high << ", dragged to " << to);
        SetAxis(1, low, high);
        view->SetMouseMode(mouseMagnifyVertically);
        Drag(300, from, 320, to);
        ExpectAxis(1, newLow, newHigh);
        EXPECT_EQ(view->m_axes[0].m_dMax, 1000.0);
        doc->Undo().Undo();
        ExpectAxis(1, low, high);
    }
}

TEST_F(ViewDragsTest, TheThumbGoesNoFartherThanTheEnd) {
    const PixelRect thumb = view->Plot().GetSlider().thumb;
    Drag(thumb.left + 1, thumb.top + 1, 2000, thumb.top + 1);
    ExpectViewport(91999.0, 99999.0);
    Drag(860, thumb.top + 1, -2000, thumb.top + 1);
    ExpectViewport(0.0, 8000.0);
}

TEST_F(ViewDragsTest, LimitsOpenTheirEditAndAxesTheirFormat) {
    for (const bool isMax : {true, false}) {
        const int y = LimitRect(view->Plot(), 1, isMax).top + 5;
        Press(30, y);
        Release(30, y);
        EXPECT_EQ(window->limits.back(), std::pair(1, isMax));
    }
    EXPECT_TRUE(view->m_axes[1].m_bSelected);
    Press(30, 310);
    EXPECT_EQ(window->limits.size(), 2u);
    view->Mouse().DoubleClick({30, 100});
    EXPECT_EQ(host.forms, std::vector<std::string>{"Format"});
    EXPECT_TRUE(view->m_axes[0].m_bSelected);
    view->OnSize(880, 100);  // bands of 20 rows have no room for limits
    EXPECT_EQ(LimitRect(view->Plot(), 1, true), PixelRect());
}

TEST_F(ViewDragsTest, TinyWindowsTakeAnyMouse) {
    for (const auto& [width, height] : {std::pair(0, 0), {3, 3}, {79, 59}, {81, 61}, {75, 400}}) {
        view->OnSize(width, height);
        for (const int mode :
             {mouseNormal, mouseMagnifyHorizontally, mouseMagnifyVertically, mouseSelectTime})
            for (const bool shift : {false, true}) {
                view->SetMouseMode(mode);
                Press(72, 12, shift);
                Move(78, 30);
                Release(78, 58);
                EXPECT_GT(view->m_EndTime, view->m_StartTime);
            }
    }
}

TEST(ViewportHistory, ScrollingOnIsOneStep) {
    ViewportHistory history;
    history.Moved({0, 10}, {0, 10});
    EXPECT_FALSE(history.CanGoBack());
    history.Moved({0, 100}, {0, 10});
    history.Moved({0, 10}, {10, 20});
    history.Moved({10, 20}, {20, 30});
    EXPECT_EQ(history.Back({20, 30}), (Viewport{0, 10}));
    EXPECT_EQ(history.Back({0, 10}), (Viewport{0, 100}));
    EXPECT_FALSE(history.Back({0, 100}));
    EXPECT_EQ(history.Forward({0, 100}), (Viewport{0, 10}));
    EXPECT_EQ(history.Forward({0, 10}), (Viewport{20, 30}));
    for (int i = 0; i < 1000; ++i) history.Moved({0, i + 1.0}, {0, i + 2.0});
    int steps = 0;
    while (history.Back({0, 1})) ++steps;
    EXPECT_EQ(steps, 100);

    ViewportHistory back;
    back.Moved({0, 100}, {0, 10});
    back.Moved({0, 10}, {10, 20});
    EXPECT_EQ(back.Back({10, 20}), (Viewport{0, 10}));
    back.Moved({0, 10}, {10, 20});
    EXPECT_EQ(back.Back({10, 20}), (Viewport{0, 10})) << "scrolling after a step back is a step of its own";
}

}  // namespace
}  // namespace kymora::test
