// The dialogs of axes and traces, the limits, and what of them a file keeps.

#include "display/axis_edits.h"
#include "display/trace_format.h"
#include "display/view_times.h"
#include "document/float_doc.h"
#include "document/native_writer.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class ViewFormsTest : public ShownTest {
  protected:
    CKymoraView& Open(int traces = 3) { return Show(Ramp(traces, 5000)); }
};

TEST_F(ViewFormsTest, SelectAxesHidesAndSuperimposes) {
    CKymoraView& v = Open();
    Fill([](Form& form) {
        EXPECT_EQ(form["axes"].choices[1], "2: Ax 2");
        form["axes"].checks = {1, 0, 1};
        form["axisOfTrace2"].choice = 0;
    });
    AskAxes(v);
    EXPECT_EQ(v.Plot().shownAxes, (std::vector<int>{0, 2}));
    EXPECT_EQ(v.Plot().layout.band, 200);
    EXPECT_EQ(v.Plot().TracesOn(0), (std::vector<int>{0, 1}));
    EXPECT_TRUE(v.Plot().IsTraceShown(1));
    EXPECT_TRUE(doc->IsModified());
    doc->Undo().Undo();
    EXPECT_EQ(v.Plot().shownAxes, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(v.Plot().layout.band, 133);
    Fill([](Form& form) { form["axes"].checks = {0, 0, 0}; });
    AskAxes(v);
    EXPECT_EQ(host.formFault, "This file cannot display as requested, since no axes are displayed.");
    EXPECT_EQ(v.Plot().shownAxes.size(), 3u);
    Fill([](Form& form) {
        form["hideAll"].action(form);
        form["axes"].checks[0] = 1;
        form["reverse"].action(form);
        EXPECT_EQ(form.Choice("axisOfTrace1"), 2);
        form["ownAxes"].action(form);
        EXPECT_EQ(form.Choice("axisOfTrace3"), 2);
        form["oneAxis"].action(form);
    });
    AskAxes(v);
    EXPECT_EQ(v.Plot().TracesOn(0).size(), 3u);
    EXPECT_EQ(v.Plot().shownAxes, std::vector<int>{0});
}

// Of many traces the axes are one text.
TEST_F(ViewFormsTest, AxesOfManyTracesAreWritten) {
    CKymoraView& v = Open(30);
    const auto ask = [&](const char* text) {
        host.formFault.clear();
        Fill([text](Form& form) { form["axisOfTraces"].text = text; });
        AskAxes(v);
    };
    for (const char* bad : {"", "1-29", "1-31", "1-30 1", "0 1-29", "1-30x", "x", "1--30"}) {
        ask(bad);
        EXPECT_FALSE(host.formFault.empty()) << bad;
    }
    EXPECT_EQ(v.m_nAxisOfTrace[29], 29);
    ask("30-21, 1 1 1-18");
    EXPECT_EQ(v.m_nAxisOfTrace[0], 29);
    EXPECT_EQ(v.m_nAxisOfTrace[9], 20);
    EXPECT_EQ(v.m_nAxisOfTrace[11], 0);
    EXPECT_EQ(v.m_nAxisOfTrace[29], 17);
    Fill([](Form& form) {
        EXPECT_EQ(form.Text("axisOfTraces"), "30-21 1 1 1-18");
        form["reverse"].action(form);
        EXPECT_EQ(form.Text("axisOfTraces"), "30-1");
    });
    AskAxes(v);
    EXPECT_EQ(v.m_nAxisOfTrace[29], 0);
}

TEST_F(ViewFormsTest, FormatChangesOnlyWhatTheUserChanged) {
    CKymoraView& v = Open();
    v.SelectAxis(1, false);
    v.SelectAxis(2, true);
    v.m_format[2].dotSize = 3;
    doc->traces[2].traceLabel = "third";
    Fill([](Form& form) {
        form["lineWidth"].number = 4;
        form["colour"].colour = 0x123456;
        form["units"].text = "mV";
    });
    AskFormat(v);
    EXPECT_EQ(v.m_format[0].lineWidth, 1);
    EXPECT_EQ(v.m_format[1].lineWidth, 4);
    EXPECT_EQ(v.m_format[2].lineWidth, 4);
    EXPECT_EQ(v.m_format[2].dotSize, 3);
    EXPECT_EQ(doc->traces[2].traceLabel, "third");
    EXPECT_EQ(doc->traces[2].traceColour, 0x123456u);
    EXPECT_EQ(v.m_axes[2].m_strUnits, "mV");
    EXPECT_EQ(doc->Undo().UndoName(), "Format");
    doc->Undo().Undo();
    EXPECT_EQ(doc->traces[2].traceColour, 0x800000u);
    EXPECT_EQ(v.m_axes[2].m_strUnits, "");
    Fill([](Form& form) { form["lineWidth"].number = 21; });
    AskFormat(v);
    EXPECT_FALSE(host.formFault.empty());
    EXPECT_EQ(v.m_format[1].lineWidth, 1);
}

TEST_F(ViewFormsTest, TheBackgroundAloneModifiesNothing) {
    session.viewHabits.m_crBackground = 0x202020;
    session.viewHabits.m_bInactiveSections = true;
    CKymoraView& v = Open();
    EXPECT_EQ(v.m_crBackground, 0x202020u);
    EXPECT_TRUE(v.m_bInactiveSections);
    Fill([](Form& form) { form["background"].colour = 0xFFFFF0; });
    AskFormat(v);
    EXPECT_EQ(v.m_crBackground, 0xFFFFF0u);
    v.Set(&ViewSettings::m_crBackground, 0x101010, "Background");
    v.Set(&ViewSettings::m_bInactiveSections, false, "Inactive sections");
    EXPECT_EQ(session.viewHabits.m_crBackground, 0x101010u);
    EXPECT_FALSE(doc->IsModified());
    Fill([](Form& form) { form["clipMode"].choice = 0; });
    AskFormat(v);
    EXPECT_TRUE(doc->IsModified());
    EXPECT_EQ(v.GetDisplaySettings().view.formatOption, 0);
}

TEST_F(ViewFormsTest, AFileKeepsAxesAndFormats) {
    CKymoraView& v = Open();
    doc->traces[0].traceExtraA = 0x7000;  // bits of somebody else
    doc->traces[1].traceExtraB = 77;      // a width that means one pixel
    v.m_bAxisVisible[1] = false;
    v.m_nAxisOfTrace[1] = 2;
    v.m_format[0] = {true, 7, 2, true};
    v.m_nClipMode = 0;
    SaveAs(*doc, "/kept.kymr-dat");
    CFloatDoc read(session);
    ASSERT_TRUE(read.OnOpenDocument("/kept.kymr-dat", OpenFor::reading)) << host.LastMessage();
    EXPECT_EQ(read.traces[0].traceExtraA, 0x7000 + 1 + 2 * 2 + 8);
    EXPECT_EQ(read.traces[0].traceExtraB, 7);
    EXPECT_EQ(read.traces[1].traceExtraB, 77);
    EXPECT_EQ(read.traces[2].traceExtraA, 0);
    CKymoraView shown(read);
    shown.OnSize(880, 460);
    shown.OnInitialUpdate();
    EXPECT_EQ(shown.Plot().shownAxes, (std::vector<int>{0, 2}));
    EXPECT_EQ(shown.Plot().TracesOn(2), (std::vector<int>{1, 2}));
    EXPECT_EQ(shown.m_format[0], (TraceFormat{true, 7, 2, true}));
    EXPECT_EQ(shown.m_format[1], TraceFormat());
    EXPECT_EQ(shown.m_nClipMode, 0);
}

TEST_F(ViewFormsTest, LimitsAreTakenFromTextOrRefused) {
    CKymoraView& v = Open();
    EXPECT_EQ(LimitText(v, 0, true), "1000");
    EXPECT_TRUE(SetLimitFromText(v, 0, true, " 0.125 "));
    EXPECT_EQ(v.m_axes[0].m_dMax, 0.125);
    EXPECT_TRUE(SetLimitFromText(v, 0, false, "-1e3"));
    EXPECT_TRUE(host.WasSilent());
    EXPECT_FALSE(SetLimitFromText(v, 0, false, "0.125"));
    EXPECT_EQ(host.LastMessage(),
              "Maximum value should be greater than minimum value.\nPlease change one of them.");
    EXPECT_FALSE(SetLimitFromText(v, 0, true, "many"));
    EXPECT_FALSE(SetLimitFromText(v, 0, true, "inf"));
    EXPECT_EQ(host.LastMessage(), "Couldn't read a number for the axis maximum value.");
    EXPECT_EQ(v.m_axes[0].m_dMin, -1000.0);
    host.Forget();
    EXPECT_TRUE(SetLimitFromText(v, 1, true, "1000.01"));
    EXPECT_TRUE(SetLimitFromText(v, 1, false, "1000.001"));  // both "1000" in three figures
    EXPECT_EQ(host.LastMessage(), "The maximum - minimum difference values in at least one axis is too small "
                                  "to show in the scale labels");
    EXPECT_EQ(doc->Undo().UndoName(), "Axis minimum");
}

TEST_F(ViewFormsTest, SameScaleTakesTheCommonRange) {
    CKymoraView& v = Open(4);
    const double limits[4][2] = {{-1, 2}, {-5, 1}, {3, -3}, {-100, 100}};
    for (size_t i = 0; i < 4; ++i) SetAxis(i, limits[i][0], limits[i][1]);
    v.SelectAxis(0, false);
    v.SelectAxis(1, true);
    v.SelectAxis(2, true);
    SameScale(v, false);
    ExpectAxis(0, -5.0, 3.0);
    ExpectAxis(2, 3.0, -5.0);  // upside down still
    EXPECT_EQ(v.m_axes[3].m_dMax, 100.0);
    v.SelectAxis(0, false);
    SameScale(v, false);  // one alone: all
    EXPECT_EQ(v.m_axes[1].m_dMin, -100.0);
    SetAxis(3, -200.0, 7.0);
    v.ShowAxisPage(0, 1);
    SameScale(v, true);  // those of other pages, too
    EXPECT_EQ(v.m_axes[1].m_dMin, -200.0);
    EXPECT_EQ(v.m_axes[3].m_dMax, 100.0);
}

TEST_F(ViewFormsTest, WheelOverAnAxisKeepsTheValueUnderIt) {
    CKymoraView& v = Open(2);
    SetAxis(1, -90.0, 90.0);  // a unit a row: 220 is 90
    ScaleAxisAround(v, 1, 250, 0.5);
    EXPECT_DOUBLE_EQ(v.Plot().GetValueScale(1).ToValue(250), 60.0);
    ExpectAxis(1, -15.0, 75.0);
    for (int i = 0; i < 5000; ++i) ScaleAxisAround(v, 1, 250, 2.0);  // ends before infinity
    EXPECT_TRUE(std::isfinite(v.m_axes[1].m_dMax));
}

TEST_F(ViewFormsTest, FirstAutoscaleWaitsForAnAxisWithValues) {
    auto fresh = Ramp(2, 5000);
    fresh->traces[0].traceAutoscale = fresh->traces[1].traceAutoscale = 1;
    fresh->traces[1].traceVisible = 0;
    fresh->view.dataDisplayFraction = 0.0f;
    Show(std::move(fresh));
    EXPECT_EQ(view->GetDisplaySettings().traces[0].traceAutoscale, 1);
    ExpectAxis(0, -1000.0, 1000.0);
    view->Set(&ViewSettings::m_fDataArea, 1.0f, "Data area");
    ExpectAxis(0, 0.0, 1000.0);
    EXPECT_EQ(view->GetDisplaySettings().traces[0].traceAutoscale, 0);
    ExpectAxis(1, -1000.0, 1000.0);
    Fill([](Form& form) { form["axes"].checks = {1, 1}; });
    AskAxes(*view);
    ExpectAxis(1, 10000.0, 11000.0);

    auto gap = MemoryDoc::MakeWithRuns(session, {std::vector<float>(3000, 7.0f)}, {{0, 2000, 3000}});
    gap->traces[0].traceAutoscale = 1;
    Show(std::move(gap), Viewport{0.0, 1000.0});
    ExpectAxis(0, -1000.0, 1000.0);
    view->ChangeViewport({1500.0, 2500.0});
    ExpectAxis(0, 6.65, 7.35);
}

TEST_F(ViewFormsTest, StepAndSize) {
    CKymoraView& v = Open(1);
    Fill([](Form& form) { form["step"].number = 50; });
    AskStep(v);
    EXPECT_EQ(v.m_nPercentStep, 50);
    Fill([](Form& form) { form["step"].number = 0; });
    AskStep(v);
    EXPECT_EQ(v.m_nPercentStep, 50);
    Fill([](Form& form) {
        EXPECT_EQ(form.Number("width"), 880.0);
        form["of"].choice = 1;
        form["width"].number = 800;
        form["height"].number = 600;
    });
    AskSize(v);
    EXPECT_EQ(window->size.width, 880);  // the margins of 70 and 10
    EXPECT_EQ(window->size.height, 660);
}

class VanishingDoc : public MemoryDoc {
  public:
    using MemoryDoc::MemoryDoc;
    bool gone = false;

  protected:
    void ReadStored(int64_t from, std::span<const StoredRead> pieces) override {
        if (gone) throw FileError("The file is gone.", 5);
        for (const StoredRead& piece : pieces)
            for (size_t i = 0; i < piece.values.size(); ++i) piece.values[i] = static_cast<float>(from);
    }
};

TEST_F(ViewFormsTest, AFileThatVanishesIsToldOfOnce) {
    VanishingDoc vanishing(session);
    vanishing.SetLength(100000);
    vanishing.traceCount = 1;
    CKymoraView v(vanishing);
    v.OnSize(880, 460);
    v.OnInitialUpdate();
    vanishing.gone = true;
    for (int i = 0; i < 20; ++i) v.Go(&Navigation::RightPage);
    EXPECT_EQ(host.messages.size(), 1u);
    vanishing.gone = false;
    for (int i = 0; i < 5; ++i) v.Go(&Navigation::RightPage);
    vanishing.gone = true;
    for (int i = 0; i < 5; ++i) v.Go(&Navigation::RightPage);
    EXPECT_EQ(host.messages.size(), 2u);
}

TEST(TraceFormat, DefaultsOfAFileArePlainLines) {
    EXPECT_EQ(FormatOfStored(0, 1), TraceFormat());
    for (const int width : {0, -5, 21, 2000000000}) EXPECT_EQ(FormatOfStored(0, width).lineWidth, 1);
    int32_t a = -1, b = 20;
    StoreFormat(TraceFormat(), a, b);
    EXPECT_EQ(a, ~15);
    EXPECT_EQ(b, 1);
}

}  // namespace
}  // namespace kymora::test
