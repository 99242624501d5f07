// Remove local DC, de-buzz and the chain of three steps as a user sets them.

#include <fmt/format.h>

#include "support/operation_results.h"
#include "transforms/debuzz.h"
#include "transforms/dialog_fixture.h"
#include "transforms/multi_process.h"
#include "transforms/remove_local_dc.h"

namespace kymora::test {
namespace {

using Values = std::vector<float>;

class ShownView : public DocumentView {
  public:
    DisplaySettings GetDisplaySettings() const override { return settings; }
    void OnUpdate(UpdateHint) override {}
    DisplaySettings settings;
};

struct NoiseDlgTest : DialogTest {
    ShownView view;

    void Show(CBatchBaseDlg& dialog, double startMs, double endMs) {
        view.settings.view.viewStart = startMs;
        view.settings.view.viewEnd = endMs;
        dialog.CheckChangeDoc(doc.get());
        dialog.CheckChangeView(&view);
    }
    // Triangles of 10 samples, each as high as its number.
    static Values Triangles(int cycles, float height = 1.0f) {
        Values run;
        for (int cycle = 0; cycle < cycles; ++cycle)
            for (int k = 0; k < 10; ++k) run.push_back(height * static_cast<float>(std::min(k, 10 - k)));
        return run;
    }
};

TEST_F(NoiseDlgTest, LocalDC) {
    CRemoveLocalDC dialog;
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"halfWindow", "1"}});
    EXPECT_EQ(Memory(dialog, {1, 2, 6, 7}).values, (Values{-0.5f, -1, 1, 0.5f}));
    EXPECT_EQ(Stream(dialog, {1, 2, 6, 7}).values, (Values{-0.5f, -1, 1, 0.5f}));
    EXPECT_EQ(Report(dialog), "Remove local DC transform parameters:\r\nTrace list: 1\r\nAdd trace mode\r\n"
                              "Half window time 0.500000\r\n");
    EXPECT_EQ(dialog.ResultLabel("EEG"), "EEG; Remove local DC");
    EXPECT_EQ(dialog.Validate(), "");
    Set(dialog, {{"halfWindow", "0"}});
    EXPECT_NE(dialog.Validate(), "") << "nothing would be left";
}

TEST_F(NoiseDlgTest, DebuzzReportAndFaults) {
    SetDoc({Triangles(20), Triangles(20, 2.0f)}, 0.5);
    CDebuzz dialog;
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"trace", "2"}, {"noiseInterval", "5"}, {"cycles", "4"}, {"addMode", "0"}});
    EXPECT_EQ(dialog.PreviewTrace(), 1);
    EXPECT_EQ(Report(dialog), "De-buzz transform parameters:\r\nTrace list: 2\r\nReplace trace mode\r\n"
                              "Trace: 2\r\nNoise interval: 5.000000\r\nNumber of cycles in average: 4\r\n"
                              "Number of noise cycles per average: 100\r\n");
    Set(dialog, {{"limits", "1"}, {"upper", "2.5"}, {"lower", "-1"}});
    EXPECT_TRUE(Report(dialog).ends_with("Outlier limits: upper 2.500000, lower -1.000000\r\n"));
    EXPECT_EQ(dialog.Validate(), "");
    EXPECT_EQ(dialog.ResultLabel("EEG"), "EEG; De-buzz");
    const struct {
        const char *key, *value, *fault;
    } faults[] = {
        {"upper", "-2", "The upper limit lies below the lower one."},
        {"noiseInterval", "0.9", "A noise interval has two samples at least: 1 ms in this recording."},
        {"noiseInterval", "101", "The noise interval is longer than the recording, which has 100 ms."},
        {"trace", "3", "The list is empty or only contains out-of-range values."}};
    for (const auto& [key, value, fault] : faults) {
        CDebuzz bad;
        bad.TakeSettings(dialog.Settings());
        bad.CheckChangeDoc(doc.get());
        Set(bad, {{key, value}});
        EXPECT_EQ(bad.Validate(), fault);
        EXPECT_TRUE(bad.Results().empty());
        EXPECT_TRUE(bad.GetGraph()->panes[0].layers.empty());
    }
}

TEST_F(NoiseDlgTest, DebuzzTellsWhatItLacks) {
    CDebuzz dialog;
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"noiseInterval", "5"}, {"cycles", "4"}});
    const Values run = Triangles(3);
    const Smoothed few = Memory(dialog, run);
    EXPECT_TRUE(few.outcome.isDone);
    for (const float value : few.values) EXPECT_EQ(value, 2.5f);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(
        host.messages[0].text,
        "Only enough data to average 3 of 4 requested noise cycles.\nReduce number to average (or if in "
        "Preview, extend viewport).");
    // The next ones go to the log.
    EXPECT_EQ(Memory(dialog, {1, 2, 3}).values, (Values{1, 2, 3}));
    EXPECT_STREQ(
        Memory(dialog, {1, 2, 3}).outcome.note,
        "Trace 1, run from 0 ms: its 3 samples are fewer than the 10 of a noise cycle. They stay as they "
        "are.\n");
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_STREQ(Stream(dialog, run).outcome.message, tooFewCyclesText);
    // A preview neither tells nor logs.
    PreviewData data{0, 0, 30, {}, {}, false, {}};
    dialog.OnNeedData(data);
    EXPECT_TRUE(data.message.starts_with("Only enough data to average 3 of 4"));
    EXPECT_EQ(host.messages.size(), 1u);
}

TEST_F(NoiseDlgTest, DebuzzListsCyclesOfAllRuns) {
    doc = MemoryDoc::MakeWithRuns(session, {Triangles(3)}, {{15, 7, 15}}, 0.5);
    CDebuzz dialog;
    EXPECT_EQ(dialog.WhatItAffects(), Affects::traces);
    Set(dialog, {{"report", "1"}, {"noiseInterval", "5"}, {"limits", "1"}, {"upper", "4.5"}});
    dialog.CheckChangeDoc(doc.get());
    EXPECT_EQ(dialog.WhatItAffects(), Affects::nothing);
    EXPECT_TRUE(dialog.Run());
    // Behind the gap the cycles begin anew, here with the second half of a triangle.
    EXPECT_EQ(ResultText(dialog), "cycle\tstart\tminimum\tmaximum\tpeak-to-peak\taccepted\r\n"
                                  "0\t0\t0\t5\t5\tno\r\n"
                                  "1\t11\t0\t5\t5\tno\r\n");
    size_t rows = 0;
    for (const Result& result : dialog.Results())
        result.rows([&](auto row) {
            EXPECT_EQ(row.size(), result.columns.size());
            return ++rows > 0;
        });
    EXPECT_EQ(rows, 2u);
    // A window transforms, whatever is loaded.
    const std::vector<std::byte> record = dialog.Settings();
    Show(dialog, 0, 10);
    EXPECT_EQ(dialog.WhatItAffects(), Affects::traces);
    dialog.TakeSettings(record);
    EXPECT_EQ(dialog.m_nReport, 0);
    EXPECT_EQ(dialog.m_fUpper, 4.5f);
}

// A cycle of 20.5 samples takes 21 of them, from the sample at its time: of 40.5 to 41 samples only the first
// is whole, though two have room by their times. What lies in gaps and at the ends of runs is none either.
TEST_F(NoiseDlgTest, DebuzzOffersTheCyclesThatCanBeRead) {
    const struct {
        std::vector<uint32_t> runs;
        const char* interval;
        int64_t byTime;
        int32_t read;
    } cases[] = {
        {{41}, "20.5", 2, 1},          {{42}, "20.5", 2, 2},
        {{100}, "10", 10, 10},         {{19, 1, 19, 1, 19}, "10", 5, 3},
        {{9, 1, 9, 1, 9}, "10", 2, 1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.byTime);
        std::vector<float> samples(100, 1.0f);
        doc = MemoryDoc::MakeWithRuns(session, {samples}, {test.runs}, 1.0);
        CDebuzz dialog;
        Set(dialog, {{"noiseInterval", test.interval}});
        Show(dialog, 0, 10);
        EXPECT_EQ(dialog.Params().Find("maxCycles")->shown(), std::to_string(test.byTime));
        EXPECT_EQ(dialog.m_nCycles, test.read);
        host.messages.clear();
        Set(dialog, {{"cycles", "60"}});
        EXPECT_EQ(dialog.m_nCycles, test.read);
        ASSERT_EQ(host.messages.size(), 1u);
        EXPECT_EQ(host.messages[0].text, "Unable to read requested number of sweeps. Reducing.");
    }
}

TEST_F(NoiseDlgTest, DebuzzShowsSweepsWithLimits) {
    Values run = Triangles(20);
    for (size_t i = 100; i < 200; ++i) run[i] *= 10.0f;  // the later half is ten times as high
    SetDoc({run}, 0.5);
    CDebuzz dialog;
    Set(dialog, {{"noiseInterval", "5"}});
    Show(dialog, 0, 10);
    // Not more cycles than there are.
    EXPECT_EQ(dialog.m_nCycles, 20);
    EXPECT_TRUE(host.messages.empty());
    Set(dialog, {{"cycles", "30"}});
    EXPECT_EQ(dialog.m_nCycles, 20);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].text, "Unable to read requested number of sweeps. Reducing.");

    Set(dialog, {{"limits", "1"}});
    GraphPane pane = dialog.GetGraph()->panes[0];
    ASSERT_EQ(pane.lines.size(), 2u);
    const auto [bottom, top] = *pane.y.limits;
    EXPECT_NEAR(pane.lines[0].at, bottom + 0.95 * (top - bottom), 1e-4);
    EXPECT_NEAR(pane.lines[1].at, bottom + 0.05 * (top - bottom), 1e-4);
    EXPECT_EQ(pane.lines[0].parameter + pane.lines[1].parameter, "upperlower");
    const auto legend = [](const GraphPane& shown) {
        std::string names;
        for (const GraphLayer& layer : shown.layers)
            if (!layer.name.empty()) names += layer.name + " ";
        return names;
    };
    EXPECT_EQ(pane.layers.size(), 21u);
    EXPECT_EQ(legend(pane), "cycles template ");
    Set(dialog, {{"upper", "10"}, {"lower", "0"}});
    pane = dialog.GetGraph()->panes[0];
    EXPECT_EQ(pane.layers.size(), 21u);
    EXPECT_EQ(legend(pane), "cycles rejected template ");
    EXPECT_EQ(dialog.Params().Find("accepted")->shown(), "10 of the 20 cycles shown");

    // At a higher gain fewer cycles lie within limits that come up at the edges of the display.
    const auto press = [&](const char* key, int times) {
        for (int i = 0; i < times; ++i) {
            ParamList params = dialog.Params();
            params.Find(key)->action(params);
        }
    };
    press("gainUp", 6);
    const auto seen = *dialog.GetGraph()->panes[0].y.limits;
    EXPECT_LT(seen.second, top);
    Set(dialog, {{"limits", "0"}});
    host.messages.clear();
    press("gainUp", 12);
    Set(dialog, {{"limits", "1"}});
    EXPECT_FALSE(dialog.m_bLimits);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].text, allSweepsOutsideText);
    press("mains60", 1);
    EXPECT_NEAR(dialog.m_dInterval, 16.6667, 1e-4);
    // The sixth would begin at sample 167 of 200, and a cycle takes 34.
    EXPECT_EQ(dialog.m_nCycles, 5);
}

// --- the chain ---

TEST_F(NoiseDlgTest, MultiProcessSteps) {
    CMultiProcess dialog;
    dialog.CheckChangeDoc(doc.get());
    EXPECT_EQ(dialog.Validate(), nothingToDoText);
    const Values run = {1, 2, 3, 10};
    const struct {
        std::vector<std::pair<const char*, const char*>> settings;
        Values values;
        const char* report;
    } cases[] = {
        {{{"removeCentre", "1"}}, {-3, -2, -1, 6}, "De-mean\r\nDatum source: whole file\r\n"},
        {{{"centreType", "median"}}, {-1.5f, -0.5f, 0.5f, 7.5f}, "De-median\r\nDatum source: whole file\r\n"},
        {{{"rectify", "1"}}, {1.5f, 0.5f, 0.5f, 7.5f}, "whole file\r\nFull-wave rectify\r\n"},
        {{{"rectifyType", "1"}}, {0, 0, 0.5f, 7.5f}, "Half-wave rectify\r\n"},
        {{{"smooth", "1"}, {"halfWindow", "1"}},
         {0, 0.5f / 3.0f, 8.0f / 3.0f, 4},
         "Smoothing parameters:\r\n\tHalf window time 0.500000\r\n\tIterations 1\r\n"},
        {{{"removeCentre", "0"}, {"rectify", "0"}, {"halfWindow", "5"}}, {4, 4, 4, 4}, "Iterations 1\r\n"},
    };
    for (const auto& [settings, values, report] : cases) {
        SCOPED_TRACE(report);
        Set(dialog, settings);
        EXPECT_EQ(dialog.Validate(), "");
        EXPECT_EQ(Memory(dialog, run).values, values);
        EXPECT_TRUE(Report(dialog).ends_with(report)) << Report(dialog);
    }
    EXPECT_TRUE(Report(dialog).starts_with("Multi-Process transform parameters:\r\nTrace list: 1\r\n"));
    // Samples that are no numbers have no part in mean and median.
    Set(dialog, {{"smooth", "0"}, {"removeCentre", "1"}});
    EXPECT_TRUE(AreSame(Memory(dialog, {1, notANumber, 3, 8}).values, {-2, notANumber, 0, 5}));
    EXPECT_TRUE(AreSame(Memory(dialog, {notANumber}).values, {notANumber}));
}

TEST_F(NoiseDlgTest, MultiProcessRegions) {
    Values run(1000, 1.0f);
    std::fill(run.begin() + 100, run.begin() + 200, 5.0f);
    run[150] = 105.0f;
    SetDoc({run, Values(1000, 2.0f)}, 0.5);
    doc->eventChannels[2].AddEvent(100, 110);
    doc->eventChannels[2].AddEvent(150, 150);
    CMultiProcess dialog;
    Show(dialog, 0.0, 100.0);
    Set(dialog, {{"removeCentre", "1"}});
    const struct {
        std::vector<std::pair<const char*, const char*>> settings;
        float level;
        const char* report;
    } cases[] = {
        {{{"region", "1"}},
         3.5f,
         "Datum source: visible screen\r\nStart time: 0.000000\tDuration: 100.000000\r\n"},
        {{{"centreType", "1"}}, 3.0f, "De-median\r\nDatum source: visible screen\r\n"},
        // The sample at the end is no part of it.
        {{{"region", "2"}, {"regionStart", "49.5"}, {"regionEnd", "50"}},
         1.0f,
         "Datum source: user time\r\nStart time: 49.500000\tDuration: 0.500000\r\n"},
        {{{"regionEnd", "500"}}, 1.0f, "Start time: 49.500000\tDuration: 450.500000\r\n"},
        {{{"region", "3"}, {"eventChannel", "c"}},
         5.0f,
         "Datum source: event\r\nEvent channel: c (3), event 1\r\nStart time: 50.000000\tDuration: "
         "5.000000\r\n"},
        {{{"eventNumber", "2"}}, 105.0f, "event 2\r\nStart time: 75.000000\tDuration: 0.500000\r\n"},
    };
    for (const auto& [settings, level, report] : cases) {
        SCOPED_TRACE(report);
        Set(dialog, settings);
        EXPECT_EQ(dialog.Validate(), "");
        EXPECT_EQ(Memory(dialog, {0.0f}).values, Values{-level});
        EXPECT_EQ(Stream(dialog, {0.0f}).values, Values{-level});
        EXPECT_NE(Report(dialog).find(report), std::string::npos) << Report(dialog);
    }
    // Each trace has its own.
    const TransformRun second{*doc, 1, 0, 1, {}, session.random, host, room, goOn};
    Set(dialog, {{"region", "1"}, {"centreType", "0"}});
    Values out(1);
    dialog.TransformBlock(second, Values{0.0f}, out);
    EXPECT_EQ(out, Values{-2.0f});
    // Done again, it does not depend on what is seen then.
    CMultiProcess again;
    again.TakeSettings(dialog.StepSettings());
    EXPECT_EQ(again.m_nRegion, CMultiProcess::userTimes);
    EXPECT_EQ(again.m_dUserEnd, 100.0);
    EXPECT_EQ(dialog.m_nRegion, CMultiProcess::visible);
}

TEST_F(NoiseDlgTest, MultiProcessRegionsThatAreNone) {
    doc = MemoryDoc::MakeWithRuns(session, {NoiseRun(200)}, {{100, 50, 100}}, 0.5);
    CMultiProcess dialog;
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"removeCentre", "1"}, {"region", "2"}, {"regionStart", "50"}});
    const struct {
        std::vector<std::pair<const char*, const char*>> settings;
        std::string fault;
    } cases[] = {
        {{{"regionEnd", "125.5"}}, endPastFileText},
        {{{"regionEnd", "50"}}, "The start time must be before the end time."},
        {{{"region", "3"}}, emptyEventChannelText},
        {{{"region", "1"}}, ""},
    };
    for (const auto& [settings, fault] : cases) {
        Set(dialog, settings);
        EXPECT_EQ(dialog.Validate(), fault);
    }
    // All of it lies in the gap.
    Set(dialog, {{"region", "2"}, {"regionEnd", "75"}});
    EXPECT_FALSE(Memory(dialog, {0.0f}).outcome.isDone);
    doc->eventChannels[0].AddEvent(3, 10);
    Set(dialog, {{"region", "3"}, {"eventNumber", "2"}});
    EXPECT_EQ(dialog.Validate(), "Event channel a (1) has no event number 2. Choose one from 1 to 1.");
    // On a recording without that event a window falls back.
    CMultiProcess loaded;
    Show(loaded, 0, 10);
    loaded.TakeSettings(dialog.Settings());
    loaded.SettingsWereChosen();
    loaded.CheckChangeDoc(doc.get());
    EXPECT_EQ(loaded.m_nRegion, CMultiProcess::visible);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(host.messages[0].text, noSuchEventText);
}

TEST_F(NoiseDlgTest, MultiProcessLongRuns) {
    doc = MemoryDoc::Generate(
        session, 1, 5'000'001, [](int, int64_t i) { return -65.0f + 0.3f * static_cast<float>(i % 3); },
        0.05);
    CMultiProcess dialog;
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"removeCentre", "1"}, {"centreType", "1"}});
    TransformRun run = RunOf(5'000'001);
    VectorSink sink;
    const SourceMaker none = [] { return std::make_unique<VectorSource>(Values()); };
    EXPECT_STREQ(dialog.TransformBlock(run, none, sink).message, medianTooLongText);
    Set(dialog, {{"region", "2"}, {"regionEnd", "250000.05"}});
    EXPECT_EQ(dialog.Validate(), medianTooLongText);
    // The mean of so many goes wrong in single precision, and both numbers are told, once.
    Set(dialog, {{"centreType", "0"}});
    EXPECT_EQ(dialog.Validate(), "");
    EXPECT_TRUE(Memory(dialog, {0.0f}).outcome.isDone);
    EXPECT_TRUE(Memory(dialog, {0.0f}).outcome.isDone);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_TRUE(host.messages[0].text.ends_with("of these 5000001 samples is -64.6999995. To take that away, "
                                                "subtract it with \"Offset, scale, rectify\"."))
        << host.messages[0].text;
}

}  // namespace
}  // namespace kymora::test
