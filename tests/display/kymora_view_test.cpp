#include "display/axis_edits.h"
#include "display/kymora_view.h"
#include "display/view_times.h"

#include <limits>

#include "drawing/number_labels.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class KymoraViewTest : public ViewTest {
  protected:
    // 100,000 samples of 1 ms, shown in a plot of 800 pixels.
    void SetUp() override { session.options.expandContractFocus = 0; }
    CKymoraView& Open(double start, double end, int traces = 1, int64_t length = 100000) {
        doc = Ramp(traces, length);
        doc->view.viewStart = start;
        doc->view.viewEnd = end;
        view = std::make_unique<CKymoraView>(*doc);
        view->OnSize(880, 460);
        view->OnInitialUpdate();
        return *view;
    }
    void ExpectViewport(double start, double end) {
        EXPECT_DOUBLE_EQ(view->m_StartTime, start);
        EXPECT_DOUBLE_EQ(view->m_EndTime, end);
    }
    void TearDown() override { view.reset(); }

    std::unique_ptr<MemoryDoc> doc;
    std::unique_ptr<CKymoraView> view;
};

TEST_F(KymoraViewTest, PagesAndPercentSteps) {
    CKymoraView& v = Open(1000.0, 3000.0);
    v.Go(&Navigation::RightPage);
    ExpectViewport(3000.0, 5000.0);
    v.Go(&Navigation::LeftPage);
    v.Go(&Navigation::LeftPage);
    ExpectViewport(0.0, 2000.0);  // from 1000, less than a page: to 0, with its length
    v.Go(&Navigation::LeftPage);
    v.Go(&Navigation::LeftPercent);
    ExpectViewport(0.0, 2000.0);
    v.Go(&Navigation::RightPercent);
    ExpectViewport(400.0, 2400.0);
    v.m_nPercentStep = 50;
    v.Go(&Navigation::RightPercent);
    ExpectViewport(1400.0, 3400.0);
    v.Go(&Navigation::LeftPercent);
    ExpectViewport(400.0, 2400.0);
    v.Go(&Navigation::GoToEnd);
    ExpectViewport(97999.0, 99999.0);
    v.Go(&Navigation::GoToStart);
    ExpectViewport(0.0, 2000.0);
    v.SetStartTime(5e-8);  // less than counts
    EXPECT_EQ(v.m_StartTime, 0.0);
}

TEST_F(KymoraViewTest, AClosedViewLeavesItsSettingsWithTheDocument) {
    CKymoraView& v = Open(1000.0, 3000.0, 2);
    v.Go(&Navigation::RightPage);
    v.SetLimits(1, -7.0, 9.0, "limits");
    v.Set(&ViewSettings::m_nTimeUnit, 1, "Time unit");
    v.Set(&ViewSettings::m_fDataArea, 0.5f, "Data area");
    { const CKymoraView neverShown(*doc); }  // has no settings to leave
    view.reset();
    EXPECT_EQ(doc->view.viewStart, 3000.0);
    EXPECT_EQ(doc->view.viewEnd, 5000.0);
    EXPECT_EQ(doc->view.timeUnit, 1);
    EXPECT_EQ(doc->view.dataDisplayFraction, 0.5f);
    EXPECT_EQ(doc->traces[1].axisTop, 9.0);
    EXPECT_EQ(doc->traces[1].axisBottom, -7.0);
}

TEST_F(KymoraViewTest, ASecondViewGoesOnFromTheFirst) {
    doc = Ramp(2, 100000);
    doc->view.viewEnd = 2000.0;
    for (TraceSettings& trace : doc->traces) trace.traceVisible = 0, trace.traceAutoscale = 1;
    view = std::make_unique<CKymoraView>(*doc);
    view->OnSize(880, 460);
    view->OnInitialUpdate();
    ASSERT_EQ(host.messages.size(), 1u);  // no axes are displayed
    view->m_bAxisVisible[1] = true;
    view->OnUpdate(UpdateHint::settings);
    view->SetLimits(1, 0.0, 50000.0, "limits");

    CKymoraView second(*doc);
    second.OnSize(880, 460);
    EXPECT_TRUE(second.OnInitialUpdate(*view));
    EXPECT_EQ(host.messages.size(), 1u);  // it shows one
    EXPECT_EQ(second.GetViewport(), view->GetViewport());
    EXPECT_EQ(second.m_nVisibleAxes, 2);
    second.Go(&Navigation::RightPage);
    EXPECT_EQ(second.m_axes[1].m_dMax, 50000.0);  // set by the user, in the other view

    EXPECT_TRUE(second.OnInitialUpdate(second));
    EXPECT_EQ(host.messages[1].text, "Active view is same as new view. Please inform the author.");
}

TEST_F(KymoraViewTest, ZoomsGoAsTheOptionSays) {
    CKymoraView& v = Open(4000.0, 6000.0);
    v.Go(&Navigation::Compress);
    ExpectViewport(3000.0, 7000.0);
    v.Go(&Navigation::OneToOne);
    ExpectViewport(3000.0, 3800.0);
    session.options.expandContractFocus = 1;
    v.Go(&Navigation::Compress);
    ExpectViewport(3000.0, 4600.0);
    v.Go(&Navigation::ShowAll);
    ExpectViewport(0.0, 99999.0);
}

TEST_F(KymoraViewTest, ZoomEndsBeforeTheViewportDegenerates) {
    CKymoraView& v = Open(4000.0, 6000.0);
    for (int i = 0; i < 2000; ++i) v.Go(&Navigation::Expand);
    EXPECT_GT(v.m_EndTime, v.m_StartTime);
    for (int i = 0; i < 2000; ++i) v.Go(&Navigation::Compress);
    EXPECT_LT(v.m_EndTime, 1e14);
    EXPECT_EQ(v.m_StartTime, 0.0);
    v.OnSize(60, 40);  // no plot
    v.Go(&Navigation::OneToOne);
    EXPECT_GT(v.m_EndTime, v.m_StartTime);
}

TEST_F(KymoraViewTest, CancelledReadRestoresTheViewport) {
    CKymoraView& v = Open(1000.0, 3000.0, 2, 3000000);
    const int reads = doc->readCalls;
    host.cancelAtCall = 10;
    v.Go(&Navigation::ShowAll);
    ASSERT_EQ(host.progress.size(), 1u);
    ExpectViewport(1000.0, 3000.0);
    EXPECT_EQ(v.Plot().bins.m_nCacheLevel, -1);
    const int afterCancel = doc->readCalls;
    EXPECT_GT(afterCancel, reads);
    v.SetStartTime(1500.0);  // still served from the bins before
    EXPECT_EQ(doc->readCalls, afterCancel);
}

TEST_F(KymoraViewTest, CancelledFirstReadShowsAShortStretch) {
    doc = Ramp(1, 10000000);
    doc->view.viewEnd = 1e7;
    view = std::make_unique<CKymoraView>(*doc);
    host.cancelAtCall = 2;
    EXPECT_FALSE(view->OnInitialUpdate());
    ExpectViewport(0.0, 1000.0);
}

TEST_F(KymoraViewTest, ScrollingInsideTheCacheDoesNotRead) {
    CKymoraView& v = Open(1000.0, 3000.0);
    const int reads = doc->readCalls;
    v.Go(&Navigation::RightPercent);
    v.SetStartTime(2900.0);
    v.Go(&Navigation::Expand);
    v.OnUpdate(UpdateHint::settings);
    EXPECT_EQ(doc->readCalls, reads);
    v.SetStartTime(900.0);
    EXPECT_GT(doc->readCalls, reads);
    // A viewport between samples reaches a fraction past its bins; it is not read again for that.
    v.ChangeViewport({10000.5, 14000.5});
    const int after = doc->readCalls;
    v.OnUpdate(UpdateHint::settings);
    EXPECT_EQ(doc->readCalls, after);
}

TEST_F(KymoraViewTest, OpensAtTheStoredViewportOrAThousandSamples) {
    Open(250.0, 750.0);
    ExpectViewport(250.0, 750.0);
    view.reset();
    doc = Ramp(1, 5000, 0.0123);  // 12.3 ms
    view = std::make_unique<CKymoraView>(*doc);
    view->OnInitialUpdate();
    ExpectViewport(0.0, 12.3);
    view.reset();
    doc->view = {};                   // without what the view left
    doc->sampleInterval = 0.0129995;  // 12.9995 ms, nearly whole
    view = std::make_unique<CKymoraView>(*doc);
    view->OnInitialUpdate();
    ExpectViewport(0.0, 13.0);
}

TEST_F(KymoraViewTest, SenselessStoredSettingsDoNotReachTheView) {
    doc = Ramp(2, 5000);
    const double nan64 = std::numeric_limits<double>::quiet_NaN();
    doc->view.viewStart = nan64;
    doc->view.viewEnd = std::numeric_limits<double>::infinity();
    doc->view.dataDisplayFraction = std::numeric_limits<float>::quiet_NaN();
    doc->view.timeUnit = 77;
    doc->view.scrollStepPercent = -5;
    doc->traces[0].traceOrder = 900;
    doc->traces[1].traceOrder = -1;
    doc->traces[1].axisTop = nan64;
    view = std::make_unique<CKymoraView>(*doc);
    view->OnSize(400, 300);
    view->OnInitialUpdate();
    ExpectViewport(0.0, 1000.0);
    EXPECT_EQ(view->m_fDataArea, 1.0f);
    EXPECT_EQ(view->m_nTimeUnit, 0);
    EXPECT_EQ(view->m_nPercentStep, 20);
    EXPECT_EQ(view->m_nAxisOfTrace[0], 0);
    EXPECT_EQ(view->m_nAxisOfTrace[1], 1);
    IncreaseGain(*view, true);
    MoveUp(*view, true);
}

TEST_F(KymoraViewTest, WithoutAVisibleAxisTheFirstIsShown) {
    doc = Ramp(2, 5000);
    doc->traces[0].traceVisible = doc->traces[1].traceVisible = 0;
    view = std::make_unique<CKymoraView>(*doc);
    view->OnInitialUpdate();
    EXPECT_EQ(host.LastMessage(), "This file cannot display as requested, since no axes are displayed.");
    EXPECT_EQ(view->Plot().shownAxes, std::vector<int>{0});
}

TEST_F(KymoraViewTest, NewTracesAreScaledOnceAndStayScaled) {
    doc = Ramp(2, 5000);
    doc->traces[0].traceAutoscale = 1;
    doc->view.viewStart = 100.0;
    doc->view.viewEnd = 200.0;
    view = std::make_unique<CKymoraView>(*doc);
    view->OnSize(400, 300);
    view->OnInitialUpdate();
    EXPECT_EQ(view->m_axes[0].m_dMin, 100.0);
    EXPECT_EQ(view->m_axes[0].m_dMax, 200.0);
    EXPECT_EQ(view->m_axes[1].m_dMax, 1000.0);
    EXPECT_FALSE(doc->IsModified());
    const DisplaySettings settings = view->GetDisplaySettings();
    EXPECT_EQ(settings.traces[0].traceAutoscale, 0);
    EXPECT_EQ(settings.traces[0].axisTop, 200.0);
}

TEST_F(KymoraViewTest, AutoscaleOfConstantTraces) {
    doc = MemoryDoc::Make(session, {std::vector<float>(2000, -40.0f), std::vector<float>(2000, 0.0f)});
    view = std::make_unique<CKymoraView>(*doc);
    view->OnSize(400, 300);
    view->OnInitialUpdate();
    view->Autoscale(true);
    EXPECT_DOUBLE_EQ(view->m_axes[0].m_dMax, -38.0);
    EXPECT_DOUBLE_EQ(view->m_axes[0].m_dMin, -42.0);
    EXPECT_DOUBLE_EQ(view->m_axes[1].m_dMax, 0.1);
    EXPECT_DOUBLE_EQ(view->m_axes[1].m_dMin, -0.1);
}

TEST_F(KymoraViewTest, AutoscaleJoinsTheTracesOfAnAxisAndSkipsGaps) {
    doc = MemoryDoc::MakeWithRuns(session, {{5, 6, 7}, {9, 8, 12, 11, 10, 10}}, {{1, 3, 2}, {6}});
    doc->traces[1].traceOrder = 0;
    doc->view.viewEnd = 5.0;
    view = std::make_unique<CKymoraView>(*doc);
    view->OnSize(400, 300);
    view->OnInitialUpdate();
    view->Autoscale(true);
    EXPECT_EQ(view->m_axes[0].m_dMin, 5.0);  // not the 0 of the gap
    EXPECT_EQ(view->m_axes[0].m_dMax, 12.0);
}

TEST_F(KymoraViewTest, GainChangesTheSelectedAxesAndRoundsOutward) {
    CKymoraView& v = Open(0.0, 1000.0, 3);
    const auto set = [&](double low, double high) { v.m_axes[0].m_dMin = low, v.m_axes[0].m_dMax = high; };
    const auto expect = [&](double low, double high) {
        EXPECT_DOUBLE_EQ(v.m_axes[0].m_dMin, low);
        EXPECT_DOUBLE_EQ(v.m_axes[0].m_dMax, high);
    };
    set(-100.0, 100.0);
    IncreaseGain(v, false);
    expect(-50.0, 50.0);
    IncreaseGain(v, false);
    expect(-25.0, 25.0);
    IncreaseGain(v, false);
    expect(-13.0, 13.0);  // 12.5, to whole numbers
    DecreaseGain(v, false);
    expect(-26.0, 26.0);
    set(-1.0, 1.0);
    IncreaseGain(v, false);
    expect(-0.5, 0.5);
    IncreaseGain(v, false);
    expect(-0.3, 0.3);  // 0.25, to one decimal
    set(2.0, 4.0);
    IncreaseGain(v, false);
    expect(2.5, 3.5);  // the minimum is above -0.1: two decimals
    set(-10.0, 10.0);
    MoveUp(v, false);
    expect(-14.0, 6.0);
    MoveDown(v, false);
    expect(-10.0, 10.0);
    set(10.0, -10.0);  // upside down
    DecreaseGain(v, false);
    expect(20.0, -20.0);
    EXPECT_EQ(v.m_axes[1].m_dMax, 1000.0);
    IncreaseGain(v, true);
    EXPECT_EQ(v.m_axes[1].m_dMax, 500.0);
    EXPECT_TRUE(doc->IsModified());
    v.SelectAxis(2, false);
    v.SelectAxis(1, true);
    DecreaseGain(v, false);
    expect(10.0, -10.0);
    EXPECT_EQ(v.m_axes[1].m_dMax, 1000.0);
    EXPECT_EQ(v.m_axes[2].m_dMax, 1000.0);
}

TEST_F(KymoraViewTest, TimeEditsTakeNumbersInTheUnitShown) {
    CKymoraView& v = Open(1000.0, 3000.0);
    v.Set(&ViewSettings::m_nTimeUnit, 1, "Time unit");
    EXPECT_EQ(StartText(v.Plot()), "1");
    EXPECT_EQ(EndText(v.Plot()), "3");
    EXPECT_EQ(TimebaseText(v.Plot()), "0.25");
    EXPECT_EQ(TimebaseUnitText(v.Plot()), "s/div");
    EXPECT_TRUE(SetStartFromText(v, " 2.5 "));
    ExpectViewport(2500.0, 4500.0);
    EXPECT_TRUE(SetEndFromText(v, "3.5"));
    ExpectViewport(2500.0, 3500.0);
    EXPECT_TRUE(SetEndFromText(v, "2"));  // before the start: the viewport moves
    ExpectViewport(1000.0, 2000.0);
    v.Set(&ViewSettings::m_bTimebasePerViewport, true, "Timebase");
    EXPECT_TRUE(SetTimebaseFromText(v, "4"));
    ExpectViewport(0.0, 4000.0);  // the centre stays until 0
    EXPECT_EQ(TimebaseUnitText(v.Plot()), "s/viewport");
    EXPECT_TRUE(host.WasSilent());
}

TEST_F(KymoraViewTest, TimeEditsRefuseWithTheirMessages) {
    CKymoraView& v = Open(1000.0, 3000.0);
    const auto refused = [&](bool accepted, const char* text) {
        EXPECT_FALSE(accepted);
        EXPECT_EQ(host.LastMessage(), text);
    };
    refused(SetStartFromText(v, "abc"), "Couldn't read a number for the View start time.");
    refused(SetStartFromText(v, "-1"), "View start time must be non-negative.");
    refused(SetEndFromText(v, "1e"), "Couldn't read a number for the View end time.");
    refused(SetEndFromText(v, "0"), "View end time must be positive.");
    refused(SetTimebaseFromText(v, "nan"), "Couldn't read a number for the View time per division/viewport.");
    refused(SetTimebaseFromText(v, "-0.5"), "View time per division/viewport must be non-negative.");
    EXPECT_TRUE(SetTimebaseFromText(v, "0"));  // accepted as a number, shows nothing else
    ExpectViewport(1000.0, 3000.0);
}

TEST_F(KymoraViewTest, SettingsGoBackToTheDocument) {
    CKymoraView& v = Open(1000.0, 3000.0, 2);
    v.m_nClipMode = 7;
    session.options.expandContractFocus = 1;  // was 0 when the document was made
    v.Set(&ViewSettings::m_bShowGrid, !v.m_bShowGrid, "Grid");
    v.Set(&ViewSettings::m_fDataArea, 0.75f, "Data area");
    v.Set(&ViewSettings::m_nTimeUnit, 2, "Time unit");
    v.Set(&ViewSettings::m_nSigFigs, 5, "Vert ax scl sig fig");
    v.Go(&Navigation::RightPage);
    const DisplaySettings settings = v.GetDisplaySettings();
    EXPECT_EQ(settings.view.viewStart, 3000.0);
    EXPECT_EQ(settings.view.viewEnd, 5000.0);
    EXPECT_EQ(settings.view.showGrid, 0);
    EXPECT_EQ(settings.view.showAxes, 1);
    EXPECT_EQ(settings.view.dataDisplayFraction, 0.75f);
    EXPECT_EQ(settings.view.timeUnit, 2);
    EXPECT_EQ(settings.view.vertAxisSigFigs, 5);
    EXPECT_EQ(settings.view.formatOption, 7);         // no clip mode that this view knows; it is kept
    EXPECT_EQ(settings.view.expandContractFocus, 0);  // the document's own
    ASSERT_EQ(settings.traces.size(), 2u);
    EXPECT_EQ(settings.traces[1].traceOrder, 1);
    v.ToggleFocusLeftEdge();
    EXPECT_EQ(session.options.expandContractFocus, 0);
    v.ToggleFocusLeftEdge();
    EXPECT_EQ(v.GetDisplaySettings().view.expandContractFocus, 1);
}

TEST_F(KymoraViewTest, ChangedSamplesAreReadAgain) {
    Open(1000.0, 3000.0);
    const int reads = doc->readCalls;
    doc->UpdateAllViews(UpdateHint::events);
    EXPECT_EQ(doc->readCalls, reads);
    doc->UpdateAllViews(UpdateHint::samples);
    EXPECT_GT(doc->readCalls, reads);
}

TEST_F(KymoraViewTest, StatusNamesTimeAndValueUnderTheMouse) {
    CKymoraView& v = Open(1000.0, 1800.0, 2);
    v.m_axes[1].m_dMax = 90.0;
    v.m_axes[1].m_dMin = -90.0;  // band of 200 pixels at 210, inset by 10
    EXPECT_EQ(StatusText(v.Plot(), 170, 310), "t = 1100.000, Ax 2 = 0.000");
    EXPECT_EQ(StatusText(v.Plot(), 69, 310), "");
    EXPECT_EQ(v.Plot().GetNearestAxis(209), 0);
    EXPECT_EQ(v.Plot().GetNearestAxis(210), 1);
    EXPECT_EQ(v.Plot().GetNearestAxis(410), -1);
}

TEST(NumberText, ShowsWhatCounts) {
    EXPECT_EQ(ShortNumber(12.5), "12.5");
    EXPECT_EQ(ShortNumber(3.0), "3");
    EXPECT_EQ(ShortNumber(100.0), "100");
    EXPECT_EQ(ShortNumber(-1e-9), "0");
    EXPECT_EQ(AxisNumber(1000.0, 3), "1000");
    EXPECT_EQ(AxisNumber(1234.5, 3), "1230");
    EXPECT_EQ(AxisNumber(-0.012345, 3), "-0.0123");
    EXPECT_EQ(AxisNumber(9.996, 3), "10");
    EXPECT_EQ(AxisNumber(1.5e-9, 2), "1.5e-09");
    EXPECT_EQ(AxisNumber(2.0 / 3.0, 0), "0.666667");
    EXPECT_EQ(AxisNumber(0.0, 4), "0");
    EXPECT_EQ(ParseNumber("+2.5e1"), 25.0);
    EXPECT_FALSE(ParseNumber(""));
    EXPECT_FALSE(ParseNumber("+-1"));
    EXPECT_FALSE(ParseNumber("inf"));
    EXPECT_FALSE(ParseNumber("1 2"));
}

}  // namespace
}  // namespace kymora::test
