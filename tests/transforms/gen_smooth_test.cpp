// The six smoothers as a user sets them.

#include "transforms/gen_smooth.h"

#include "document/native_writer.h"
#include "transforms/dialog_fixture.h"

namespace kymora::test {
namespace {

class GenSmoothTest : public DialogTest {
  protected:
    CGenSmooth dialog;
};

TEST_F(GenSmoothTest, EachTypeHasItsParameters) {
    dialog.CheckChangeDoc(doc.get());
    const std::string window = "Half window time 1.000000\r\n", once = "Iterations 1\r\n";
    const std::string degree = "Polynomial degree: 2\r\n";
    const struct {
        const char *type, *enabled;
        std::string report;
    } types[] = {{"0", "iterations", "moving average\r\n" + window + once},
                 {"1", "iterations", "moving median\r\n" + window + once},
                 {"2", "iterations percentile explicit",
                  "moving percentile\r\n" + window + "Percentile 50\r\n" + once},
                 {"3", "cutoff", "Gaussian\r\n-3 dB cutoff = 100.000000\r\n"},
                 {"4", "iterations polyDegree",
                  "robust LOWESS\r\n" + window + once + degree + "Outlier threshold: 6.000000\r\n"},
                 {"savitzky-golay", "polyDegree", "Savitzky-Golay\r\n" + window + degree}};
    for (const auto& [type, enabled, report] : types) {
        Set(dialog, {{"type", type}});
        EXPECT_EQ(Enabled(dialog, {"iterations", "percentile", "explicit", "cutoff", "polyDegree"}), enabled)
            << type;
        EXPECT_EQ(dialog.Validate(), "") << type;
        EXPECT_TRUE(Report(dialog).ends_with("Type: " + report)) << Report(dialog);
    }
    doc->filePath = "/data/rec.edf";
    dialog.m_bNewFile = true;
    EXPECT_TRUE(Report(dialog).starts_with(
        "Smoothing transform parameters:\r\nSource file: /data/rec.edf\r\nTrace list: 1\r\n"));
}

TEST_F(GenSmoothTest, AChangeOfTypeRaisesWhatFallsBelowItsLimit) {
    Set(dialog, {{"type", "4"}, {"iterations", "0"}, {"polyDegree", "0"}});
    // These two have no use for iterations.
    Set(dialog, {{"type", "3"}});
    EXPECT_EQ(dialog.m_nIterations, 0);
    EXPECT_EQ(dialog.m_nPolyDegree, 0);
    Set(dialog, {{"type", "5"}});
    EXPECT_EQ(dialog.m_nIterations, 0);
    EXPECT_EQ(dialog.m_nPolyDegree, 1);
    Set(dialog, {{"type", "0"}});
    EXPECT_EQ(dialog.m_nIterations, 1);
    ParamList params = dialog.Params();
    EXPECT_NE(params.Find("iterations")->SetFromText("0"), "");
    EXPECT_NE(params.Find("iterations")->SetFromText("11"), "");
    EXPECT_NE(params.Find("percentile")->SetFromText("101"), "");
    // Settings from elsewhere are made to fit in the same way.
    dialog.m_nIterations = 0;
    CGenSmooth other;
    other.TakeSettings(dialog.Settings());
    EXPECT_EQ(other.m_nIterations, 1);
}

TEST_F(GenSmoothTest, ResultsAreThoseOfTheKernels) {
    const std::vector<float> run = NoiseRun(1000);
    // 2 ms at 0.5 ms are 4 samples, whatever the samples of the last recording were.
    Set(dialog, {{"halfWindowTime", "2"}, {"iterations", "2"}, {"polyDegree", "3"}, {"percentile", "30"}});
    // Ranks come a sample later on streams, in each of the iterations.
    const auto expect = [&](int type, auto kernel, size_t lag = 0) {
        dialog.m_nType = type;
        const Smoothed made = Memory(dialog, run);
        EXPECT_TRUE(made.outcome.isDone);
        EXPECT_TRUE(AreSame(made.values, InMemory(run, kernel).values)) << type;
        const std::vector<float> streamed = Stream(dialog, run).values;
        ASSERT_EQ(streamed.size(), run.size()) << type;
        for (size_t i = 100; i < 900; ++i)
            EXPECT_NEAR(streamed[i], made.values[i - lag], 1e-4) << type << " " << i;
        EXPECT_EQ(dialog.HasOwnProgress(), type == 4);
    };
    const auto order = [&](OrderMode mode) {
        dialog.m_bExplicit = mode == OrderMode::explicitPercentile;
        return [mode](auto in, auto out) { return SmoothOrder(in, {mode, 4, 30, 2}, out); };
    };
    expect(0, [](auto in, auto out) { return SmoothAverage(in, {4, 2}, out); });
    expect(1, order(OrderMode::median), 2);
    expect(2, order(OrderMode::percentile), 2);
    expect(2, order(OrderMode::explicitPercentile));
    expect(3, [](auto in, auto out) { return SmoothGauss(in, {100.0f, 0.5}, out); });
    expect(4, [&](auto in, auto out) { return SmoothLOWESS(in, {4, {3, 2, 6.0}}, out, host); });
    expect(5, [](auto in, auto out) { return SmoothSavgol(in, {4, 3, 0, 0.5}, out); });
    dialog.m_nType = 6;
    EXPECT_STREQ(Memory(dialog, run).outcome.message, unrecognizedTransformText);
}

TEST_F(GenSmoothTest, FaultsThatAreKnownBefore) {
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"type", "5"}, {"halfWindow", "2"}, {"polyDegree", "3"}});
    EXPECT_EQ(dialog.Validate(), degreeAboveHalfWindowText);
    Set(dialog, {{"halfWindow", "3"}});
    EXPECT_EQ(dialog.m_dHalfWindowTime, 1.5);
    EXPECT_EQ(dialog.Validate(), "");
    EXPECT_STREQ(Memory(dialog, NoiseRun(8)).outcome.message, insufficientDataText);
    EXPECT_TRUE(Memory(dialog, NoiseRun(9)).outcome.isDone);
    const auto faster = MemoryDoc::Make(session, {NoiseRun(10)}, 0.25);
    dialog.CheckChangeDoc(faster.get());
    EXPECT_EQ(dialog.m_nHalfWindow, 6) << "the time is what stays";
    const auto slower = MemoryDoc::Make(session, {NoiseRun(10)}, 10.0);
    dialog.CheckChangeDoc(slower.get());
    Set(dialog, {{"type", "0"}});
    EXPECT_EQ(dialog.Validate(),
              "Half window: 1.5 ms is less than half a sample interval. Enter at least 10 ms, one sample.");
    Set(dialog, {{"halfWindow", "0"}});
    EXPECT_EQ(dialog.Validate(), "") << "a copy, which was asked for";
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"traces", "1 2"}});
    EXPECT_EQ(dialog.Validate(), "The selected data trace does not exist");
    Set(dialog, {{"traces", "1"}, {"type", "4"}, {"outlierThreshold", "10"}});
    dialog.m_dOutlierThreshold = 0.5;
    EXPECT_NE(dialog.Validate(), "");
}

// Sums go on with what is no number; all others lose it with the window that holds it.
TEST_F(GenSmoothTest, WhatIsNoNumberGoesNoFartherThanItsWindow) {
    std::vector<float> spoiled = NoiseRun(200);
    spoiled[50] = notANumber;
    Set(dialog, {{"halfWindowTime", "2"}, {"cutoff", "800"}});
    for (int type = 1; type <= 5; ++type) {
        dialog.m_nType = type;
        dialog.m_bExplicit = true;
        const std::vector<float> clean = Memory(dialog, NoiseRun(200)).values;
        const std::vector<float> made = Memory(dialog, spoiled).values;
        for (size_t i = 0; i < (type == 1 ? 46u : 200u); ++i)
            if (i < 46 || i > 54) {
                EXPECT_EQ(made[i], clean[i]) << type << " " << i;
            }
    }
    dialog.m_nHalfWindow = 0;
    dialog.m_dHalfWindowTime = 0.0;
    for (const int type : {0, 1, 2, 4})
        for (const bool isExplicit : {false, true}) {
            dialog.m_nType = type;
            dialog.m_bExplicit = isExplicit;
            EXPECT_TRUE(AreSame(Memory(dialog, spoiled).values, spoiled)) << type << ", no window";
            EXPECT_TRUE(AreSame(Stream(dialog, spoiled).values, spoiled)) << type << ", no window";
        }
}

TEST_F(GenSmoothTest, LongRunsInMemoryCanBeCancelled) {
    const std::vector<float> run = NoiseRun(300000);
    int calls = 0;
    goOn = [&](int64_t) -> bool {
        if (++calls == 3) throw Cancelled();
        return true;
    };
    for (const auto& [type, isExplicit] :
         {std::pair{1, false}, {2, false}, {2, true}, {3, false}, {5, false}}) {
        calls = 0;
        dialog.m_nType = type;
        dialog.m_bExplicit = isExplicit;
        EXPECT_THROW(Memory(dialog, run), Cancelled) << type;
    }
    // A poll that only says no ends it as well; the answer comes in the second iteration.
    calls = 0;
    goOn = [&](int64_t) { return ++calls < 8; };
    Set(dialog, {{"type", "2"}, {"iterations", "2"}});
    const Smoothed ended = Memory(dialog, run);
    EXPECT_FALSE(ended.outcome.isDone);
    EXPECT_STREQ(ended.outcome.message, "");
    EXPECT_EQ(calls, 8);
}

}  // namespace
}  // namespace kymora::test
