#include "display/axis_edits.h"
#include "display/kymora_view.h"
#include "display/view_times.h"

#include <functional>
#include <limits>

#include "display/picture.h"
#include "drawing/number_labels.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class KymoraViewTest : public ShownTest {
  protected:
    // 100,000 samples of 1 ms.
    void SetUp() override { session.options.expandContractFocus = 0; }
    CKymoraView& Open(double start, double end, int traces = 1, int64_t length = 100000) {
        return Show(Ramp(traces, length), Viewport{start, end});
    }
};

TEST_F(KymoraViewTest, MovesGoFromWhatIsShown) {
    CKymoraView& v = Open(1000.0, 3000.0);
    const auto go = [&](auto move, double start, double end) {
        SCOPED_TRACE(start);
        v.Go(move);
        ExpectViewport(start, end);
    };
    go(&Navigation::RightPage, 3000.0, 5000.0);
    go(&Navigation::LeftPage, 1000.0, 3000.0);
    go(&Navigation::LeftPage, 0.0, 2000.0);  // less than a page: to 0, with its length
    go(&Navigation::LeftPercent, 0.0, 2000.0);
    go(&Navigation::RightPercent, 400.0, 2400.0);
    v.m_nPercentStep = 50;
    go(&Navigation::RightPercent, 1400.0, 3400.0);
    go(&Navigation::LeftPercent, 400.0, 2400.0);
    go(&Navigation::GoToEnd, 97999.0, 99999.0);
    go(&Navigation::GoToStart, 0.0, 2000.0);
    v.SetStartTime(5e-8);  // less than counts
    EXPECT_EQ(v.m_StartTime, 0.0);
    v.SetStartTime(4000.0);
    go(&Navigation::Compress, 3000.0, 7000.0);
    go(&Navigation::OneToOne, 3000.0, 3800.0);
    session.options.expandContractFocus = 1;
    go(&Navigation::Compress, 3000.0, 4600.0);
    go(&Navigation::ShowAll, 0.0, 99999.0);
}

TEST_F(KymoraViewTest, AClosedViewLeavesItsSettingsWithTheDocument) {
    CKymoraView& v = Open(1000.0, 3000.0, 2);
    v.Go(&Navigation::RightPage);
    v.SetLimits(1, -7.0, 9.0, "limits");
    v.Set(&ViewSettings::m_bShowGrid, !v.m_bShowGrid, "Grid");
    v.Set(&ViewSettings::m_fDataArea, 0.75f, "Data area");
    v.Set(&ViewSettings::m_nTimeUnit, 2, "Time unit");
    v.Set(&ViewSettings::m_nSigFigs, 5, "Vert ax scl sig fig");
    v.m_nClipMode = 7;
    session.options.expandContractFocus = 1;  // was 0 when the document was made
    { const CKymoraView neverShown(*doc); }   // has no settings to leave
    Close();
    EXPECT_EQ(doc->view.viewStart, 3000.0);
    EXPECT_EQ(doc->view.viewEnd, 5000.0);
    EXPECT_EQ(doc->view.showGrid, 0);
    EXPECT_EQ(doc->view.showAxes, 1);
    EXPECT_EQ(doc->view.dataDisplayFraction, 0.75f);
    EXPECT_EQ(doc->view.timeUnit, 2);
    EXPECT_EQ(doc->view.vertAxisSigFigs, 5);
    EXPECT_EQ(doc->view.formatOption, 7);         // no clip mode that this view knows; it is kept
    EXPECT_EQ(doc->view.expandContractFocus, 0);  // the document's own
    EXPECT_EQ(doc->traces[1].traceOrder, 1);
    EXPECT_EQ(doc->traces[1].axisTop, 9.0);
    EXPECT_EQ(doc->traces[1].axisBottom, -7.0);
}

TEST_F(KymoraViewTest, TheFocusIsToggledForAllAndKeptByTheDocument) {
    CKymoraView& v = Open(1000.0, 3000.0);
    v.ToggleFocusLeftEdge();
    EXPECT_EQ(session.options.expandContractFocus, 1);
    EXPECT_EQ(v.GetDisplaySettings().view.expandContractFocus, 1);
}

TEST_F(KymoraViewTest, ASecondViewGoesOnFromTheFirst) {
    auto hidden = Ramp(2, 100000);
    for (TraceSettings& trace : hidden->traces) trace.traceVisible = 0, trace.traceAutoscale = 1;
    Show(std::move(hidden), Viewport{0.0, 2000.0});
    EXPECT_EQ(host.LastMessage(), "This file cannot display as requested, since no axes are displayed.");
    EXPECT_EQ(view->Plot().shownAxes, std::vector<int>{0});
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
    ASSERT_GE(host.messages.size(), 2u);
    EXPECT_EQ(host.messages[1].text, "Active view is same as new view. Please inform the author.");
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
    const DisplayCache& bins = v.Plot().bins;
    EXPECT_EQ(bins.m_nCacheLevel, -1);
    EXPECT_EQ(bins.m_DatStartTime, 1000.0);
    EXPECT_EQ(bins.Max(1)[500], 11500.0f);
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

TEST_F(KymoraViewTest, SamplesAreReadOnlyWhereTheyAreMissingOrHaveChanged) {
    CKymoraView& v = Open(1000.0, 3000.0);
    const int reads = doc->readCalls;
    v.Go(&Navigation::RightPercent);
    v.SetStartTime(2900.0);
    v.Go(&Navigation::Expand);
    doc->UpdateAllViews(UpdateHint::settings);
    doc->UpdateAllViews(UpdateHint::events);
    EXPECT_EQ(doc->readCalls, reads);
    v.SetStartTime(900.0);
    EXPECT_GT(doc->readCalls, reads);
    // A viewport between samples reaches a fraction past its bins; it is not read again for that.
    v.ChangeViewport({10000.5, 14000.5});
    const int after = doc->readCalls;
    doc->UpdateAllViews(UpdateHint::settings);
    EXPECT_EQ(doc->readCalls, after);
    doc->UpdateAllViews(UpdateHint::samples);
    EXPECT_GT(doc->readCalls, after);
}

TEST_F(KymoraViewTest, OpensAtTheStoredViewportOrAThousandSamples) {
    Open(250.0, 750.0);
    ExpectViewport(250.0, 750.0);
    Show(Ramp(1, 5000, 0.0123));  // 12.3 ms
    ExpectViewport(0.0, 12.3);
    Show(Ramp(1, 5000, 0.0129995));  // 12.9995 ms, nearly whole
    ExpectViewport(0.0, 13.0);
}

TEST_F(KymoraViewTest, SenselessStoredSettingsDoNotReachTheView) {
    auto damaged = Ramp(2, 5000);
    const double infinite = std::numeric_limits<double>::infinity();
    damaged->view.viewStart = std::nan("");
    damaged->view.viewEnd = infinite;
    damaged->view.dataDisplayFraction = nan32;
    damaged->view.timeUnit = 77;
    damaged->view.scrollStepPercent = -5;
    damaged->traces[0].traceOrder = 900;
    damaged->traces[1].traceOrder = -1;
    Show(std::move(damaged));
    ExpectViewport(0.0, 1000.0);
    EXPECT_EQ(view->m_fDataArea, 1.0f);
    EXPECT_EQ(view->m_nTimeUnit, 0);
    EXPECT_EQ(view->m_nPercentStep, 20);
    EXPECT_EQ(view->m_nAxisOfTrace[0], 0);
    EXPECT_EQ(view->m_nAxisOfTrace[1], 1);

    for (const auto& [top, bottom] :
         {std::pair(5.0, 5.0), {infinite, 0.0}, {0.0, -infinite}, {std::nan(""), std::nan("")}}) {
        SCOPED_TRACE(top);
        damaged = Ramp(1, 5000);
        damaged->traces[0].axisTop = top;
        damaged->traces[0].axisBottom = bottom;
        Show(std::move(damaged));
        ExpectAxis(0, 0.0, 1000.0);  // scaled anew
    }
}

// A file that lost its end, or whose view went beyond it.
TEST_F(KymoraViewTest, ComesBackToWhereTheRecordingIs) {
    const struct {
        Viewport stored, shown;
    } cases[] = {{{1000.0, 3000.0}, {1000.0, 3000.0}},
                 {{4000.0, 5000.0}, {4000.0, 5000.0}},  // with the time of the last sample
                 {{4500.0, 6500.0}, {4500.0, 6500.0}},  // the last page
                 {{9000.0, 9500.0}, {4499.0, 4999.0}},
                 {{100.0, 20000.0}, {0.0, 4999.0}}};
    for (const auto& [stored, shown] : cases) {
        SCOPED_TRACE(stored.end);
        Show(Ramp(1, 5000), stored).LeaveEmptyPlace();
        ExpectViewport(shown.start, shown.end);
    }
}

TEST_F(KymoraViewTest, APlaceWithoutDataSaysSo) {
    const auto says = [&](const char* text) {
        RecordingDevice device;
        PaintRecording(view->Plot(), device, PictureTarget::window);
        return device.Wrote(text);
    };
    const char* const end = "No data here: the recording ends at 4.999 s.";
    const char* const gap = "No data here: this is a gap in the recording.";
    Show(Ramp(1, 5000));
    view->m_nTimeUnit = 1;
    EXPECT_FALSE(says(end));
    view->SetStartTime(5000.0);
    EXPECT_TRUE(says(end));
    Show(MemoryDoc::MakeWithRuns(session, {std::vector<float>(200, 2.0f)}, {{100, 3000, 100}}));
    view->ChangeViewport({50.0, 150.0});
    EXPECT_FALSE(says(gap));
    view->ChangeViewport({500.0, 900.0});
    EXPECT_TRUE(says(gap));
    view->Set(&ViewSettings::m_bInactiveSections, true, "Inactive data sections");
    EXPECT_FALSE(says(gap)) << "a line in grey shows it";
}

// What is only another way of looking is kept by a save, but is no reason to ask for one.
TEST_F(KymoraViewTest, LookingMarksNothingAndWorkDoes) {
    const struct {
        const char* what;
        std::function<void(CKymoraView&)> act;
        bool isWork;
    } cases[] = {
        {"gain", [](CKymoraView& v) { IncreaseGain(v, false); }, false},
        {"move", [](CKymoraView& v) { MoveUp(v, true); }, false},
        {"autoscale", [](CKymoraView& v) { v.Autoscale(true); }, false},
        {"wheel on an axis", [](CKymoraView& v) { ScaleAxisAround(v, 0, 100, 0.5); }, false},
        {"grid", [](CKymoraView& v) { v.Set(&ViewSettings::m_bShowGrid, false, "Grid"); }, false},
        {"zoom focus", [](CKymoraView& v) { v.ToggleFocusLeftEdge(); }, false},
        {"written limit", [](CKymoraView& v) { SetLimitFromText(v, 0, true, "7"); }, true},
        {"dots", [](CKymoraView& v) { SetDrawAsDots(v, true, true); }, true},
    };
    for (const auto& [what, act, isWork] : cases) {
        SCOPED_TRACE(what);
        CKymoraView& v = Open(0.0, 1000.0);
        act(v);
        EXPECT_EQ(doc->IsModified(), isWork);
        doc->SetModifiedFlag(false);
        EXPECT_EQ(doc->Undo().Undo() && doc->IsModified(), isWork);
        doc->Undo().Redo();
        EXPECT_EQ(v.GetDisplaySettings().view.showGrid, v.m_bShowGrid);
    }
    // What was changed before stays changed.
    doc->SetModifiedFlag();
    IncreaseGain(*view, false);
    EXPECT_TRUE(doc->IsModified());
}

// --- axes ---

TEST_F(KymoraViewTest, NewTracesAreScaledOnceAndStayScaled) {
    auto fresh = Ramp(2, 5000);
    fresh->traces[0].traceAutoscale = 1;
    Show(std::move(fresh), Viewport{100.0, 200.0});
    ExpectAxis(0, 100.0, 200.0);
    EXPECT_EQ(view->m_axes[1].m_dMax, 1000.0);
    EXPECT_FALSE(doc->IsModified());
    const DisplaySettings settings = view->GetDisplaySettings();
    EXPECT_EQ(settings.traces[0].traceAutoscale, 0);
    EXPECT_EQ(settings.traces[0].axisTop, 200.0);
}

TEST_F(KymoraViewTest, AutoscaleOfConstantTraces) {
    Show(MemoryDoc::Make(session, {std::vector<float>(2000, -40.0f), std::vector<float>(2000, 0.0f)}));
    view->Autoscale(true);
    ExpectAxis(0, -42.0, -38.0);
    ExpectAxis(1, -0.1, 0.1);
}

TEST_F(KymoraViewTest, AutoscaleJoinsTheTracesOfAnAxisAndSkipsGaps) {
    auto gaps = MemoryDoc::MakeWithRuns(session, {{5, 6, 7}, {9, 8, 12, 11, 10, 10}}, {{1, 3, 2}, {6}});
    gaps->traces[1].traceOrder = 0;
    Show(std::move(gaps), Viewport{0.0, 5.0});
    view->Autoscale(true);
    ExpectAxis(0, 5.0, 12.0);  // not the 0 of the gap
}

TEST_F(KymoraViewTest, GainsRoundOutwardWithoutTheNoiseOfTheirSums) {
    CKymoraView& v = Open(0.0, 1000.0);
    const struct {
        void (*edit)(CKymoraView&, bool);
        double low, high, newLow, newHigh;
    } edits[] = {
        {IncreaseGain, -100.0, 100.0, -50.0, 50.0},
        {IncreaseGain, -25.0, 25.0, -13.0, 13.0},  // 12.5, to whole numbers
        {IncreaseGain, -1.0, 1.0, -0.5, 0.5},
        {IncreaseGain, -0.5, 0.5, -0.3, 0.3},      // 0.25, to one decimal
        {IncreaseGain, 2.0, 4.0, 2.5, 3.5},        // the minimum is above -0.1: two decimals
        {IncreaseGain, -0.14, 0.14, -0.07, 0.07},  // not 0.08
        {IncreaseGain, -0.03, 0.03, -0.02, 0.02},
        {IncreaseGain, -0.01, 0.01, -0.005, 0.005},  // 0.01 would show no less
        {IncreaseGain, -0.001, 0.001, -0.0005, 0.0005},
        {DecreaseGain, -13.0, 13.0, -26.0, 26.0},
        {DecreaseGain, -0.07, 0.07, -0.2, 0.2},  // 0.14 is not below 0.1: one decimal
        {DecreaseGain, -0.001, 0.001, -0.01, 0.01},
        {DecreaseGain, 10.0, -10.0, 20.0, -20.0},  // upside down
        {MoveUp, -10.0, 10.0, -14.0, 6.0},
        {MoveDown, -14.0, 6.0, -10.0, 10.0},
    };
    for (const auto& [edit, low, high, newLow, newHigh] : edits) {
        SCOPED_TRACE(testing::Message() << low << " to " << high << ", expected " << newLow);
        SetAxis(0, low, high);
        edit(v, false);
        ExpectAxis(0, newLow, newHigh);
    }
    for (const double limit : {3.0, 0.6, 1e-9, 1e-13, 1e12}) {
        SetAxis(0, -limit, limit);
        IncreaseGain(v, false);
        EXPECT_LT(v.m_axes[0].m_dMax, limit);
    }
}

TEST_F(KymoraViewTest, GainChangesTheSelectedAxesOrAll) {
    CKymoraView& v = Open(0.0, 1000.0, 3);
    const auto expect = [&](double first, double second, double third) {
        EXPECT_EQ(v.m_axes[0].m_dMax, first);
        EXPECT_EQ(v.m_axes[1].m_dMax, second);
        EXPECT_EQ(v.m_axes[2].m_dMax, third);
    };
    IncreaseGain(v, false);
    expect(500.0, 1000.0, 1000.0);
    IncreaseGain(v, true);
    expect(250.0, 500.0, 500.0);
    v.SelectAxis(2, false);
    v.SelectAxis(1, true);
    DecreaseGain(v, false);
    expect(250.0, 1000.0, 1000.0);
    v.SelectAxis(0, false);
    doc->Undo().Undo();
    expect(250.0, 500.0, 500.0);
    EXPECT_TRUE(v.m_axes[0].m_bSelected) << "the selection is no part of the step";
}

// --- times ---

TEST_F(KymoraViewTest, TimeEditsTakeNumbersInTheUnitShown) {
    CKymoraView& v = Open(1000.0, 3000.0);
    v.Set(&ViewSettings::m_nTimeUnit, 1, "Time unit");
    EXPECT_EQ(StartText(v.Plot()), "1");
    EXPECT_EQ(EndText(v.Plot()), "3");
    EXPECT_EQ(TimebaseText(v.Plot()), "0.25");
    EXPECT_EQ(TimebaseUnitText(v.Plot()), "s/div");
    v.Set(&ViewSettings::m_nTimeUnit, 0, "Time unit");
    for (const auto& [end, shown] :
         {std::pair(599999.95, "75000"), {59999.95, "7500"}, {8.1, "1.0125"}, {9876.54, "1234.57"}}) {
        EXPECT_TRUE(SetStartFromText(v, "0"));
        EXPECT_TRUE(v.ChangeViewport({0.0, end}));
        EXPECT_EQ(TimebaseText(v.Plot()), shown);
        ExpectViewport(0.0, end);
    }
    v.ChangeViewport({1000.0, 3000.0});
    v.Set(&ViewSettings::m_nTimeUnit, 1, "Time unit");
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
    const struct {
        bool (*set)(CKymoraView&, std::string_view);
        const char *text, *message;
    } refusals[] = {
        {SetStartFromText, "abc", "Couldn't read a number for the View start time."},
        {SetStartFromText, "-1", "View start time must be non-negative."},
        {SetEndFromText, "1e", "Couldn't read a number for the View end time."},
        {SetEndFromText, "0", "View end time must be positive."},
        {SetTimebaseFromText, "nan", "Couldn't read a number for the View time per division/viewport."},
        {SetTimebaseFromText, "-0.5", "View time per division/viewport must be non-negative."},
        {SetTimebaseFromText, "0", "The view cannot show less than 0.001 ms."},
        {SetEndFromText, "1e15", "The view cannot show what lies beyond 8589934588 ms."},
    };
    for (const auto& [set, text, message] : refusals) {
        EXPECT_FALSE(set(v, text)) << message;
        EXPECT_EQ(host.LastMessage(), message);
    }
    ExpectViewport(1000.0, 3000.0);
}

TEST_F(KymoraViewTest, StatusNamesTimeAndValueUnderTheMouse) {
    CKymoraView& v = Open(1000.0, 1800.0, 2);
    SetAxis(1, -90.0, 90.0);  // band of 200 pixels at 210, inset by 10
    EXPECT_EQ(StatusText(v.Plot(), 170, 310), "t = 1100.000, Ax 2 = 0.000");
    EXPECT_EQ(StatusText(v.Plot(), 69, 310) + StatusUnits(v.Plot(), 69, 310), "");
    v.m_axes[1].m_strUnits = "mV";
    EXPECT_EQ(StatusUnits(v.Plot(), 170, 310), "(ms, mV)");
    v.m_nTimeUnit = 1;
    EXPECT_EQ(StatusText(v.Plot(), 170, 310), "t = 1.100000, Ax 2 = 0.000");
    EXPECT_EQ(StatusUnits(v.Plot(), 170, 110), "(s)");
}

TEST(NumberText, ShowsWhatCounts) {
    EXPECT_EQ(ShortNumber(12.5), "12.5");
    EXPECT_EQ(ShortNumber(100.0), "100");
    EXPECT_EQ(ShortNumber(-1e-9), "0");
    EXPECT_EQ(AxisNumber(1234.5, 3), "1230");
    EXPECT_EQ(AxisNumber(-0.012345, 3), "-0.0123");
    EXPECT_EQ(AxisNumber(9.996, 3), "10");
    EXPECT_EQ(AxisNumber(1.5e-9, 2), "1.5e-09");
    EXPECT_EQ(AxisNumber(2.0 / 3.0, 0), "0.666667");
    EXPECT_EQ(AxisNumber(0.0, 4), "0");
    for (const auto& [value, text] : {std::pair{30015.350000000002, "30015.35"},
                                      {0.041666666666666664, "0.0416666666667"},
                                      {-0.0, "-0"},
                                      {0.00001, "0.00001"},
                                      {2e-6, "2e-06"},
                                      {123456789012.0, "123456789012"},
                                      {0.1 + 0.2, "0.3"},
                                      // Of samples, and the end of a range behind the largest of them.
                                      {double{0.1f}, "0.1"},
                                      {double{-0.7f}, "-0.7"},
                                      {std::nextafter(double{0.9f}, 1.0), "0.9"},
                                      {double{1.25e-7f}, "1.25e-07"},
                                      // Twelve figures tell these whole.
                                      {1073741824.0, "1073741824"},
                                      {0.10000000149, "0.10000000149"}})
        EXPECT_EQ(PreciseNumber(value), text);
    // Times 2^31 and 2^24 the floats next to these are 8599598 and 15114593; 0.9009 would be 15114594. 1e-50
    // and 1e300 are beyond floats.
    for (const auto& [value, text] : {std::pair{0.00400449987322, "0.0040045"},
                                      {0.900899976134, "0.90089995"},
                                      {-0.0, "-0"},
                                      {0.000025, "0.000025"},
                                      {1e-50, "1e-50"},
                                      {1e300, "1e+300"}})
        EXPECT_EQ(SingleNumber(value), text);
    EXPECT_EQ(ParseNumber("+2.5e1"), 25.0);
    for (const char* none : {"", "+-1", "inf", "1 2"}) EXPECT_FALSE(ParseNumber(none)) << none;
}

}  // namespace
}  // namespace kymora::test
