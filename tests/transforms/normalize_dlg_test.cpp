// Normalisation as a user sets it.

#include "transforms/normalize_dlg.h"

#include <cmath>

#include "document/native_writer.h"
#include "transforms/dialog_fixture.h"

namespace kymora::test {
namespace {

class NormalizeDlgTest : public DialogTest {
  protected:
    CNormalize dialog;
};

TEST_F(NormalizeDlgTest, ParametersFollowTheMethod) {
    const std::vector<const char*> keys = {"f0Start", "f0Value", "halfWindow", "percentile", "background"};
    EXPECT_EQ(Enabled(dialog, keys), "");
    EXPECT_FALSE(dialog.SplitsRuns());
    EXPECT_EQ(dialog.ResultUnits("mV"), "");
    EXPECT_TRUE(Report(dialog).ends_with("Type: min : max -> 0 : 1\r\nAll sections together\r\n"));
    Set(dialog, {{"normType", "3"}, {"perSection", "true"}, {"background", "0.5"}, {"f0Offset", "2"}});
    EXPECT_TRUE(dialog.SplitsRuns());
    EXPECT_EQ(dialog.ResultUnits("mV"), "dF/F0");
    const std::string corrections = "Background 0.500000\r\nF0 offset 2.000000\r\n";
    const std::string window = "Half window time 1.000000\r\n";
    const std::pair<const char*, std::string> methods[] = {
        {"background", "average of the whole recording or episode\r\n" + corrections},
        {"f0Start background",
         "average over user times\r\nF0 start 0.000000\r\nF0 duration 100.000000\r\n" + corrections},
        {"f0Value", "explicit value\r\nF0 value 1.000000\r\n"},
        {"halfWindow percentile background",
         "percentile filter\r\n" + window + "Percentile 50\r\n" + corrections},
        {"halfWindow background", "region of lowest average\r\n" + window + corrections}};
    for (size_t method = 0; method < std::size(methods); ++method) {
        const auto& [enabled, report] = methods[method];
        Set(dialog, {{"f0Method", std::to_string(method).c_str()}});
        EXPECT_EQ(Enabled(dialog, keys), enabled);
        EXPECT_TRUE(Report(dialog).ends_with("F0 method: " + report)) << enabled;
    }
}

TEST_F(NormalizeDlgTest, TheF0ThatWasUsedIsKept) {
    const std::vector<float> run = {1, 3, 2, 6, 4, 8};
    Set(dialog, {{"normType", "3"}, {"background", "1"}, {"f0Offset", "1"}});
    EXPECT_EQ(dialog.Params().Find("f0Used")->shown(), "");
    // Mean 4, F0 3, denominator 4.
    EXPECT_EQ(Memory(dialog, run).values, (std::vector<float>{-0.5f, 0, -0.25f, 0.75f, 0.25f, 1.25f}));
    EXPECT_EQ(dialog.m_fF0Used, 3.0f);
    EXPECT_EQ(dialog.Params().Find("f0Used")->shown(), "3");
    // 1 ms and 1.5 ms at 0.5 ms: samples 2 to 4, mean 4.
    Set(dialog, {{"f0Method", "1"}, {"f0Start", "1"}, {"f0Duration", "1.5"}, {"background", "0"}});
    EXPECT_EQ(Memory(dialog, run).values[5], 0.8f);
    EXPECT_EQ(dialog.m_fF0Used, 4.0f);
    Set(dialog, {{"f0Start", "3"}});
    EXPECT_STREQ(Memory(dialog, run).outcome.message, durationTooLongText);
    EXPECT_TRUE(std::isnan(dialog.m_fF0Used));
    // The lowest of windows of 3: 1 + 3 + 2.
    Set(dialog, {{"f0Method", "4"}, {"halfWindowTime", "0.5"}});
    EXPECT_EQ(Memory(dialog, run).values[5], 2.0f);
    EXPECT_EQ(dialog.m_fF0Used, 2.0f);
    // A percentile filter has no single F0.
    Set(dialog, {{"f0Method", "3"}});
    const Smoothed filtered = Memory(dialog, run);
    EXPECT_EQ(filtered.values[1], 1.0f / 3.0f);  // (3 - 2) / (2 + 1)
    EXPECT_TRUE(std::isnan(dialog.m_fF0Used));
    EXPECT_FALSE(Memory(dialog, {1, 2}).outcome.isDone);
}

TEST_F(NormalizeDlgTest, UserTimesCountTheGaps) {
    Set(dialog, {{"normType", "3"}, {"f0Method", "1"}, {"f0Start", "3"}, {"f0Duration", "1"}});
    TransformRun run = RunOf(6);
    run.validRuns = {2, 4, 4};  // sample 6 of the recording is the third of the run
    const std::vector<float> input = {1, 1, 4, 6, 9, 9};
    std::vector<float> output(6);
    EXPECT_TRUE(dialog.TransformBlock(run, input, output).isDone);
    EXPECT_EQ(dialog.m_fF0Used, 5.0f);
}

TEST_F(NormalizeDlgTest, TheSearchOfALongRunShowsItself) {
    const std::vector<float> run = NoiseRun(20000);
    Set(dialog, {{"normType", "3"}});
    EXPECT_FALSE(dialog.HasOwnProgress());
    Stream(dialog, run);
    EXPECT_TRUE(host.progress.empty());
    Set(dialog, {{"f0Method", "4"}, {"halfWindowTime", "10"}});
    EXPECT_TRUE(dialog.HasOwnProgress());
    const Smoothed streamed = Stream(dialog, run);
    ASSERT_EQ(streamed.values.size(), run.size());
    EXPECT_EQ(host.progress[0].label, "Searching for max and/or min active regions");
    EXPECT_EQ(host.progress.back().updates.back(), run.size());
    const Smoothed memory = Memory(dialog, run);
    for (size_t i = 0; i < run.size(); i += 997) EXPECT_NEAR(streamed.values[i], memory.values[i], 1e-4);
    host.cancelAtCall = 1;
    EXPECT_THROW(Stream(dialog, run), Cancelled);
}

}  // namespace
}  // namespace kymora::test
