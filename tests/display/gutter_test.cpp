// Names left of the axes, the places of event rows, and pages of axes.

#include "display/gutter.h"

#include <gtest/gtest.h>

#include "display/axis_drawing.h"
#include "display/axis_pages.h"
#include "display/events/event_row_places.h"
#include "display/events/event_rows.h"
#include "display/picture.h"
#include "display/view_times.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class GutterTest : public ShownTest {
  protected:
    GutterTest() { withNames = true; }
    void AddEvents(int channel, int count = 1) {
        for (int i = 0; i < count; ++i) doc->AddEvent(channel, {100 * i, 100 * i + 10});
        doc->UpdateAllViews(UpdateHint::events);
    }
    double Place(int channel) const {
        return doc->eventChannels[static_cast<size_t>(channel)].GetDisplayPosition();
    }
    RecordingDevice Paint() const {
        RecordingDevice device;
        PaintRecording(view->Plot(), device, PictureTarget::file);
        return device;
    }
};

TEST_F(GutterTest, NoNameStandsOnData) {
    auto named = Ramp(3, 5000);
    named->traces[0].traceLabel = "Intracellular";
    named->traces[0].traceUnits = "mV";
    named->traces[2].traceOrder = 1;
    Show(std::move(named));
    AddEvents(0, 3);
    const Layout layout = view->Plot().layout;
    EXPECT_GT(layout.gutter, 0);
    EXPECT_EQ(layout.plot.left, layout.gutter + 70);
    const RecordingDevice device = Paint();
    for (const char* text : {"1: Intracellular", "mV", "2", "3", "a"}) {
        const auto drawn = std::ranges::find(device.texts, text, &DrawnText::text);
        ASSERT_NE(drawn, device.texts.end()) << text;
        EXPECT_LE(drawn->x + 6 * static_cast<int>(drawn->text.size()), layout.plot.left) << text;
    }
    view->Set(&ViewSettings::m_bShowTraceLabels, false, "Trace labels");
    view->Set(&ViewSettings::m_bShowTraceIDs, false, "Trace IDs");
    view->Set(&ViewSettings::m_bShowEventChanLabels, false, "Event chan labels");
    EXPECT_EQ(view->Plot().layout.plot.left, 70);
    view->Set(&ViewSettings::m_bShowTraceIDs, true, "Trace IDs");
    view->OnSize(300, 300);
    EXPECT_EQ(view->Plot().layout.gutter, 0) << "a small window keeps its plot";
}

TEST_F(GutterTest, NewRowsStandAboveTheTracesAndOnNoOther) {
    Show(Ramp(2, 50000));
    EXPECT_EQ(view->m_fDataArea, 1.0f);
    doc->eventChannels[3].SetDisplayPosition(0.7);  // where the user wants it, on the data
    double last = 0.0;
    for (const int channel : {3, 5, 0, 9}) {
        AddEvents(channel);
        if (channel == 3) continue;
        EXPECT_GT(Place(channel), last) << channel;
        EXPECT_LT(EventRowY(view->Plot(), channel) + eventReach, view->Plot().layout.traces.top) << channel;
        last = Place(channel);
    }
    EXPECT_EQ(Place(3), 0.7);
    EXPECT_FALSE(doc->IsModified() && doc->Undo().CanUndo());
    // However many there are, the traces keep their part, and each row a place of its own.
    for (int channel = 30; channel < 90; ++channel) doc->AddEvent(channel, {5, 10});
    doc->UpdateAllViews(UpdateHint::events);
    EXPECT_NEAR(view->m_fDataArea, 0.4f, 0.01f);
    std::set<double> places;
    for (const int channel : EventRowChannels(*doc))
        EXPECT_TRUE(places.insert(Place(channel)).second) << channel;
    for (int channel = 30; channel < 90; ++channel) EXPECT_LT(Place(channel), 0.6);
}

TEST_F(GutterTest, NewRowsStandAboveTheTracesOfAllViews) {
    Show(Ramp(2, 5000));
    CKymoraView second(*doc);
    second.OnSize(600, 400);
    second.OnInitialUpdate(*view);
    for (const int channel : {0, 1, 2}) {
        AddEvents(channel);
        for (const CKymoraView* shown : {&std::as_const(*view), &std::as_const(second)})
            EXPECT_LT(EventRowY(shown->Plot(), channel) + 2, shown->Plot().layout.traces.top) << channel;
    }
}

TEST_F(GutterTest, RowsThatAFileHasPlacedStay) {
    // In a band of their own, rows that would stand on the traces come to it.
    auto mixed = Ramp(1, 5000);
    for (const int channel : {0, 1, 9}) mixed->AddEvent(channel, {5, 10});
    mixed->ResetDefaultPositions();
    mixed->eventChannels[0].SetDisplayPosition(0.15);
    mixed->view.dataDisplayFraction = 0.75f;
    Show(std::move(mixed));
    EXPECT_EQ(Place(0), 0.15);
    EXPECT_EQ(Place(1), CDataDoc::DefaultDisplayPosition(1)) << "above the traces already";
    EXPECT_LT(EventRowY(view->Plot(), 9), view->Plot().layout.traces.top);
    for (const bool isPlaced : {false, true}) {
        auto recording = Ramp(1, 5000);
        for (const int channel : {0, 1}) recording->AddEvent(channel, {5, 10});
        recording->ResetDefaultPositions();
        if (isPlaced) recording->eventChannels[1].SetDisplayPosition(0.6);
        const double before = recording->eventChannels[1].GetDisplayPosition();
        Show(std::move(recording));
        EXPECT_EQ(Place(1) == before, isPlaced);
        EXPECT_EQ(view->m_fDataArea == 1.0f, isPlaced);
    }
}

TEST_F(GutterTest, TheEdgeOfTheRowsIsDragged) {
    Show(Ramp(1, 5000));
    AddEvents(0), AddEvents(1);
    const float area = view->m_fDataArea;
    const double share = Place(1) / (1.0 - area);
    const int edge = view->Plot().layout.traces.top;
    Drag(300, edge, 300, edge + 100);
    EXPECT_EQ(view->Plot().layout.traces.top, edge + 100);
    EXPECT_NEAR(Place(1) / (1.0 - view->m_fDataArea), share, 1e-6);
    EXPECT_EQ(doc->Undo().UndoName(), "Data area");
    doc->Undo().Undo();
    EXPECT_EQ(view->m_fDataArea, area);
    EXPECT_NEAR(Place(1) / (1.0 - area), share, 1e-6);
    // A click moves nothing, though no pixel is the share of the height to the last bit.
    Press(300, edge + 1), Release(300, edge + 1);
    EXPECT_EQ(view->m_fDataArea, area);
    EXPECT_TRUE(doc->Undo().CanRedo()) << "a step was made";
    // All of the height for the traces: the rows keep their order for the way back.
    Drag(300, edge, 300, -50);
    EXPECT_EQ(view->m_fDataArea, 1.0f);
    EXPECT_LT(Place(0), Place(1));
    Drag(300, view->Plot().layout.traces.top, 300, edge);
    EXPECT_EQ(view->Plot().layout.traces.top, edge);
    EXPECT_NEAR(Place(1) / (1.0 - area), share, 1e-3);
}

TEST_F(GutterTest, AxesComeInPages) {
    Show(Ramp(40, 100));
    EXPECT_EQ(view->m_nVisibleAxes, 40);
    LimitAxesAtOnce(*view);
    const struct {
        const char* command;
        int first, shown;
    } steps[] = {
        {"next-traces", 16, 16},    {"next-traces", 24, 16}, {"fewer-traces", 24, 8},
        {"previous-traces", 16, 8}, {"more-traces", 16, 16}, {"fewer-traces", 16, 8},
        {"fewer-traces", 16, 4},    {"all-traces", 0, 40},   {"fewer-traces", 0, 32},
    };
    for (const auto& [command, first, shown] : steps) {
        Run(command);
        const auto& axes = view->Plot().shownAxes;
        ASSERT_EQ(static_cast<int>(axes.size()), shown) << command;
        EXPECT_EQ(axes.front(), first) << command;
        EXPECT_TRUE(view->Plot().IsTraceShown(first));
    }
    EXPECT_FALSE(view->Plot().IsTraceShown(39));
    // The strip beside the plot moves the page, and what is not on it is scaled all the same.
    const AxisStrip strip = CalcAxisStrip(view->Plot());
    Drag(strip.thumb.left + 1, strip.thumb.top + 1, strip.thumb.left + 1, 1000);
    EXPECT_EQ(view->Plot().shownAxes.back(), 39);
    view->Autoscale(true);
    EXPECT_EQ(view->m_axes[0].m_dMax, 99.0);
    EXPECT_FALSE(IsEnabled("next-traces"));
    view->GetDisplaySettings();
    EXPECT_FALSE(doc->IsModified());
    // The page is no part of a step, nor is the paper, which follows the theme.
    Run("grid");
    Run("previous-traces");
    const int first = view->Plot().shownAxes.front();
    view->m_crBackground = 0;
    doc->Undo().Undo();
    EXPECT_TRUE(IsChecked("grid"));
    EXPECT_EQ(view->Plot().shownAxes.front(), first);
    EXPECT_EQ(view->m_crBackground, 0u);
}

TEST_F(GutterTest, TimesComeInTheUnitOfTheirLength) {
    const struct {
        double duration;
        int unit;
    } cases[] = {{19999.0, 0}, {20000.0, 1}, {1199e3, 1}, {1200e3, 2}, {35999e3, 2}, {36000e3, 3}};
    Show(Ramp(1, 40000, 1000.0));
    Run("unit-auto");
    for (const auto& [duration, unit] : cases) {
        view->ChangeViewport({0.0, duration}, false);
        EXPECT_EQ(view->m_nTimeUnit, unit) << duration;
    }
    EXPECT_EQ(view->GetDisplaySettings().view.timeUnit, 0) << "nobody has chosen one";
    Run("unit-h");
    view->ChangeViewport({0.0, 7200e3}, false);
    EXPECT_EQ(EndText(view->Plot()), "2");
    EXPECT_EQ(view->GetDisplaySettings().view.timeUnit, 2) << "files know no hours";
    doc->view.timeUnit = 2;
    Run("unit-auto");
    EXPECT_EQ(view->GetDisplaySettings().view.timeUnit, 0) << "the unit is no choice any more";
}

TEST_F(GutterTest, TicksStandAtRoundValues) {
    Show(Ramp(1, 5000), Viewport{130.0, 1130.0});
    SetAxis(0, -150.0, 250.0);
    RecordingDevice device;
    DrawVerticalAxes(view->Plot(), device, false);
    DrawTimeAxis(view->Plot(), device, false);
    for (const char* text : {"250", "-150", "0", "100", "200", "400"})
        EXPECT_TRUE(device.Wrote(text)) << text;
    const int zero = view->Plot().ValueToPixel(0.0, 0), at200 = view->Plot().TimeToPixel(200.0);
    for (const DrawnText& text : device.texts) {
        if (text.text == "0") {
            EXPECT_EQ(text.y, zero);
        } else if (text.text == "200" && text.y > view->Plot().layout.plot.bottom) {
            EXPECT_EQ(text.x, at200);
        }
    }
}

}  // namespace
}  // namespace kymora::test
