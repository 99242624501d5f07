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

TEST_F(GenSmoothTest, EachTypeHasItsParametersAndReport) {
    const std::vector<const char*> keys = {"halfWindow", "halfWindowTime", "iterations", "percentile",
                                           "explicit",   "cutoff",         "polyDegree", "outlierThreshold"};
    dialog.CheckChangeDoc(doc.get());
    const std::string head = "Smoothing transform parameters:\r\nTrace list: 1\r\nAdd trace mode\r\nType: ";
    const std::string window = "Half window time 1.000000\r\n", once = "Iterations 1\r\n";
    const std::string degree = "Polynomial degree: 2\r\n";
    struct Case {
        const char *type, *enabled;
        std::string report;
    };
    const Case cases[] = {
        {"0", "halfWindow halfWindowTime iterations", "moving average\r\n" + window + once},
        {"1", "halfWindow halfWindowTime iterations", "moving median\r\n" + window + once},
        {"2", "halfWindow halfWindowTime iterations percentile explicit",
         "moving percentile\r\n" + window + "Percentile 50\r\n" + once},
        {"3", "cutoff", "Gaussian\r\n-3 dB cutoff = 100.000000\r\n"},
        {"4", "halfWindow halfWindowTime iterations polyDegree outlierThreshold",
         "robust LOWESS\r\n" + window + once + degree + "Outlier threshold: 6.000000\r\n"},
        {"savitzky-golay", "halfWindow halfWindowTime polyDegree", "Savitzky-Golay\r\n" + window + degree}};
    for (const Case& each : cases) {
        Set(dialog, {{"type", each.type}});
        EXPECT_EQ(Enabled(dialog, keys), each.enabled);
        EXPECT_EQ(Report(dialog), head + each.report);
        EXPECT_EQ(dialog.Validate(), "");
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
    EXPECT_EQ(params.Find("percentile")->step, 5.0);
    EXPECT_EQ(params.Find("iterations")->toolTip,
              "Number of smoothing iterations: 1 = boxcar, 2 = triangular, 4+ = ~Gaussian");
    // Settings from elsewhere are made to fit in the same way.
    dialog.m_nIterations = 0;
    CGenSmooth other;
    other.TakeSettings(dialog.Settings());
    EXPECT_EQ(other.m_nIterations, 1);
}

TEST_F(GenSmoothTest, SettingsKeepEveryField) {
    Set(dialog, {{"traces", "1-3"}, {"addMode", "0"}, {"comment", "hum"}, {"newFile", "1"}});
    Set(dialog, {{"type", "2"}, {"halfWindowTime", "7"}, {"iterations", "3"}, {"percentile", "20"}});
    Set(dialog, {{"explicit", "1"}, {"cutoff", "33.5"}, {"polyDegree", "4"}, {"outlierThreshold", "2.5"}});
    CGenSmooth other;
    other.TakeSettings(dialog.Settings());
    const ParamList before = dialog.Params();
    ParamList after = other.Params();
    for (const Field& param : before)
        if (param.HasValue()) {
            EXPECT_EQ(after.Find(param.key)->ValueText(), param.ValueText()) << param.key;
        }
}

TEST_F(GenSmoothTest, ResultsAreThoseOfTheKernelsInBothForms) {
    const std::vector<float> run = NoiseRun(1000);
    // 2 ms at 0.5 ms are 4 samples, whatever the samples of the last recording were.
    Set(dialog, {{"halfWindowTime", "2"}, {"iterations", "2"}, {"polyDegree", "3"}, {"percentile", "30"}});
    const auto expect = [&](const Smoothed& memory, const Smoothed& stream) {
        const Smoothed made = Memory(dialog, run);
        EXPECT_TRUE(made.outcome.isDone);
        EXPECT_TRUE(AreSame(made.values, memory.values)) << dialog.m_nType;
        EXPECT_TRUE(AreSame(Stream(dialog, run).values, stream.values)) << dialog.m_nType;
    };
    expect(InMemory(run,
                    [](auto in, auto out) {
                        return SmoothAverage(in, {4, 2}, out);
                    }),
           Streamed(run, [&](auto& in, int64_t n, auto& out) {
               return SmoothAverage(in, n, {4, 2}, out, room);
           }));
    const auto order = [&](OrderSettings settings) {
        expect(InMemory(run, [&](auto in, auto out) { return SmoothOrder(in, settings, out); }),
               Streamed(run, [&](auto& in, int64_t n, auto& out) {
                   return SmoothOrder(in, n, settings, out, room);
               }));
    };
    dialog.m_nType = 1;
    order({OrderMode::median, 4, 30, 2});
    dialog.m_nType = 2;
    order({OrderMode::percentile, 4, 30, 2});
    dialog.m_bExplicit = true;
    order({OrderMode::explicitPercentile, 4, 30, 2});
    dialog.m_nType = 3;
    const Smoothed gauss = InMemory(run, [](auto in, auto out) {
        return SmoothGauss(in, {100.0f, 0.5}, out);
    });
    expect(gauss, gauss);
    dialog.m_nType = 4;
    const Smoothed lowess = InMemory(run, [&](auto in, auto out) {
        return SmoothLOWESS(in, {4, {3, 2, 6.0}}, out, host);
    });
    expect(lowess, lowess);
    EXPECT_TRUE(dialog.HasOwnProgress());
    EXPECT_EQ(host.progress.back().label, "LOWESS smoothing");
    dialog.m_nType = 5;
    EXPECT_FALSE(dialog.HasOwnProgress());
    const Smoothed savgol = InMemory(run, [](auto in, auto out) {
        return SmoothSavgol(in, {4, 3, 0, 0.5}, out);
    });
    expect(savgol, savgol);
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
