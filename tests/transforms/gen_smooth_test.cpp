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
    const std::vector<const char*> keys = {"iterations", "percentile", "explicit", "cutoff", "polyDegree"};
    dialog.CheckChangeDoc(doc.get());
    const std::pair<const char*, const char*> enabled[] = {{"0", "iterations"},
                                                           {"1", "iterations"},
                                                           {"2", "iterations percentile explicit"},
                                                           {"3", "cutoff"},
                                                           {"4", "iterations polyDegree"},
                                                           {"savitzky-golay", "polyDegree"}};
    std::string types;
    for (const auto& [type, usable] : enabled) {
        Set(dialog, {{"type", type}});
        EXPECT_EQ(Enabled(dialog, keys), usable) << type;
        EXPECT_EQ(dialog.Validate(), "") << type;
        types += Report(dialog).substr(Report(dialog).find("Type: "));
    }
    const std::string window = "Half window time 1.000000\r\n", once = "Iterations 1\r\n";
    const std::string degree = "Polynomial degree: 2\r\n";
    EXPECT_EQ(types, "Type: moving average\r\n" + window + once + "Type: moving median\r\n" + window + once +
                         "Type: moving percentile\r\n" + window + "Percentile 50\r\n" + once +
                         "Type: Gaussian\r\n-3 dB cutoff = 100.000000\r\nType: robust LOWESS\r\n" + window +
                         once + degree + "Outlier threshold: 6.000000\r\nType: Savitzky-Golay\r\n" + window +
                         degree);
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

TEST_F(GenSmoothTest, ResultsAreThoseOfTheKernelsInBothForms) {
    const std::vector<float> run = NoiseRun(1000);
    // 2 ms at 0.5 ms are 4 samples, whatever the samples of the last recording were.
    Set(dialog, {{"halfWindowTime", "2"}, {"iterations", "2"}, {"polyDegree", "3"}, {"percentile", "30"}});
    const auto expect = [&](int type, const Smoothed& memory, const Smoothed& stream) {
        dialog.m_nType = type;
        const Smoothed made = Memory(dialog, run);
        EXPECT_TRUE(made.outcome.isDone);
        EXPECT_TRUE(AreSame(made.values, memory.values)) << type;
        EXPECT_TRUE(AreSame(Stream(dialog, run).values, stream.values)) << type;
        EXPECT_EQ(dialog.HasOwnProgress(), type == 4);
    };
    const auto average = [](auto in, auto out) { return SmoothAverage(in, {4, 2}, out); };
    const auto averages = [&](auto& in, int64_t n, auto& out) {
        return SmoothAverage(in, n, {4, 2}, out, room);
    };
    expect(0, InMemory(run, average), Streamed(run, averages));
    int type = 1;
    for (const OrderMode mode : {OrderMode::median, OrderMode::percentile, OrderMode::explicitPercentile}) {
        const OrderSettings settings{mode, 4, 30, 2};
        dialog.m_bExplicit = mode == OrderMode::explicitPercentile;
        expect(std::min(type++, 2),
               InMemory(run, [&](auto in, auto out) { return SmoothOrder(in, settings, out); }),
               Streamed(run, [&](auto& in, int64_t n, auto& out) {
                   return SmoothOrder(in, n, settings, out, room);
               }));
    }
    const auto both = [&](int kind, auto kernel) {
        expect(kind, InMemory(run, kernel), InMemory(run, kernel));
    };
    both(3, [](auto in, auto out) { return SmoothGauss(in, {100.0f, 0.5}, out); });
    both(4, [&](auto in, auto out) { return SmoothLOWESS(in, {4, {3, 2, 6.0}}, out, host); });
    EXPECT_EQ(host.progress.back().label, "LOWESS smoothing");
    both(5, [](auto in, auto out) { return SmoothSavgol(in, {4, 3, 0, 0.5}, out); });
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
    for (const int type : {1, 2, 3, 5}) {
        calls = 0;
        dialog.m_nType = type;
        EXPECT_THROW(Memory(dialog, run), Cancelled) << type;
    }
    calls = 0;
    dialog.m_nType = 2;
    dialog.m_bExplicit = true;
    EXPECT_THROW(Memory(dialog, run), Cancelled);
    // A poll that only says no ends it as well; the answer comes in the second iteration.
    calls = 0;
    goOn = [&](int64_t) { return ++calls < 8; };
    Set(dialog, {{"explicit", "0"}, {"iterations", "2"}});
    const Smoothed ended = Memory(dialog, run);
    EXPECT_FALSE(ended.outcome.isDone);
    EXPECT_STREQ(ended.outcome.message, "");
    EXPECT_EQ(calls, 8);
}

}  // namespace
}  // namespace kymora::test
