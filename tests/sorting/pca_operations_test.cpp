// The operations that find principal components: which windows they read, what they keep, what they refuse.

#include "sorting/pca_nipals.h"

#include <cmath>

#include "sorting/operation_fixture.h"

namespace kymora::test {
namespace {

TEST(WaveformRowsTest, ReadsWholeWindowsWhereverTheyStand) {
    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};
    // Positions 0 to 9 and 20 to 39; the second trace has no gap.
    std::vector<float> first, second;
    for (int i = 0; i < 30; ++i) first.push_back(static_cast<float>(i < 10 ? i : i + 10));
    for (int i = 0; i < 40; ++i) second.push_back(static_cast<float>(100 + i));
    first[12] = std::numeric_limits<float>::infinity();  // at 22
    const auto doc = MemoryDoc::MakeWithRuns(session, {first, second}, {{10, 10, 20}, {40}});
    const WaveformTrace one{0, UnbrokenStretches(*doc, 0)}, two{1, UnbrokenStretches(*doc, 1)};
    const std::vector<int64_t> starts{30, -1, 0, 7, 8, 20, 23, 37, 38};
    const WaveformRows alone = ReadWaveformRows(*doc, {&one, 1}, starts, 3);
    EXPECT_EQ(alone.read, (std::vector<size_t>{0, 2, 3, 6, 7}));
    EXPECT_EQ(std::vector<float>(alone.values.begin(), alone.values.begin() + 9),
              (std::vector<float>{30, 31, 32, 0, 1, 2, 7, 8, 9}));
    const std::vector<WaveformTrace> both{one, two};
    const WaveformRows joined = ReadWaveformRows(*doc, both, starts, 2);
    EXPECT_EQ(joined.columns, 4u);
    EXPECT_EQ(joined.read, (std::vector<size_t>{0, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(std::vector<float>(joined.values.end() - 4, joined.values.end()),
              (std::vector<float>{38, 39, 138, 139}));
}

// Waveforms of four samples at every tenth one, and noise that a formula makes.
struct PcaTest : SortingTest {
    static constexpr int events = 40;
    std::vector<float> samples = std::vector<float>(10 * (events + 1));

    void SetUp() override {
        for (size_t i = 0; i < samples.size(); ++i) {
            const auto k = static_cast<double>(i / 10), at = static_cast<double>(i % 10);
            samples[i] = static_cast<float>(std::sin(1.7 * k) * std::sin(at) + 0.3 * std::cos(2.9 * k) * at +
                                            0.01 * std::sin(37.0 * static_cast<double>(i)));
        }
        doc = MemoryDoc::Make(session, {samples}, 0.5);
        Spans spans;
        for (int k = 0; k < events; ++k) spans.emplace_back(10 * k, 10 * k + 4);
        Fill(0, spans);
        Channel(0).parentTrace = 0;
    }
    const std::vector<std::array<float, 3>>& Table() { return Channel(0).EventExtra(); }
};

TEST_F(PcaTest, BothWaysFindTheSameAndKeepItWithTheEvents) {
    CPCANipals nipals;
    ASSERT_EQ(Run(nipals, {{"tolerance", "1e-20"}}), "");
    EXPECT_TRUE(host.WasSilent());
    EXPECT_NE(host.LogText().find("iter = 1, sum = "), std::string::npos);
    EXPECT_NE(host.LogText().find(" iterations for PC 2\n"), std::string::npos);
    const auto kept = Table();
    ASSERT_EQ(kept.size(), 40u);
    const auto variances = RowsOf(nipals, "components");
    CPrincipalComponentAnalysis covariance;
    ASSERT_EQ(Run(covariance, {}), "");
    // The largest loading is positive there; here the sign of the scores is reversed.
    for (size_t c = 0; c < 3; ++c) {
        const float sign = std::signbit(kept[0][c]) == std::signbit(Table()[0][c]) ? 1.0f : -1.0f;
        for (size_t k = 0; k < 40; ++k) EXPECT_NEAR(sign * kept[k][c], Table()[k][c], 1e-5) << c;
        EXPECT_NEAR(std::get<double>(variances[c][1]),
                    std::get<double>(RowsOf(covariance, "components")[c][1]), 1e-9);
    }
    EXPECT_EQ(std::get<double>(RowsOf(covariance, "weights")[7][1]), 35.0);
    // Undo brings back the table of the first run, and then none.
    doc->Undo().Undo();
    EXPECT_EQ(Table(), kept);
    doc->Undo().Undo();
    EXPECT_TRUE(Table().empty());
    // Of four rows of eight samples, from the products of the rows.
    ASSERT_EQ(Run(covariance, {{"eventCount", "4"}, {"windowEnd", "4"}}), "");
    const auto few = Table();
    ASSERT_EQ(Run(nipals, {{"eventCount", "4"}, {"windowEnd", "4"}}), "");
    for (size_t k = 0; k < 4; ++k)
        for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(std::fabs(few[k][c]), std::fabs(Table()[k][c]), 1e-4);
}

TEST_F(PcaTest, WindowsAndRanges) {
    CPCANipals pca;
    ASSERT_EQ(Run(pca, {{"firstEvent", "3"}, {"eventCount", "6"}}), "");
    EXPECT_TRUE(std::isnan(Table()[1][0]));
    EXPECT_FALSE(std::isnan(Table()[2][0]));
    EXPECT_FALSE(std::isnan(Table()[7][2]));
    EXPECT_TRUE(std::isnan(Table()[8][0]));
    // More events than there are become all, and so do components.
    ASSERT_EQ(
        Run(pca, {{"firstEvent", "35"}, {"eventCount", "99"}, {"setComponents", "1"}, {"components", "9"}}),
        "");
    const std::vector<std::byte>& copied = host.clipboard["text/plain"];
    const std::string text(reinterpret_cast<const char*>(copied.data()), copied.size());
    EXPECT_EQ(text, ResultText(pca));
    EXPECT_EQ(text.substr(0, 24), "Weighting coefficients\r\n");
    EXPECT_EQ(std::ranges::count(text, '\n'), 7);
    EXPECT_EQ(std::ranges::count(text, '\t'), 36);
    // The window of the first event begins before the recording.
    ASSERT_EQ(
        Run(pca, {{"firstEvent", "1"}, {"eventCount", "-1"}, {"windowStart", "-1"}, {"windowEnd", "1"}}), "");
    EXPECT_EQ(host.LastMessage().substr(0, 28), "1 of 40 events have no weigh");
    EXPECT_TRUE(std::isnan(Table()[0][0]));
    EXPECT_EQ(pca.GetGraph()->panes[0].layers[0].events.front(), 1);
    EXPECT_EQ(pca.GetGraph()->panes[1].layers[0].x, (std::vector<double>{-1.0, -0.5, 0.0, 0.5}));
    // Unequal durations: the shortest.
    Channel(0).ReplaceEvent(3, {30, 33});
    ASSERT_EQ(Run(pca, {{"windowStart", "0"}, {"windowEnd", "0"}}), "");
    EXPECT_EQ(host.LastMessage(),
              "The durations of the events differ. The first 3 samples of each, those of the "
              "shortest, are used.");
    EXPECT_EQ(RowsOf(pca, "loadings").size(), 3u);
}

TEST_F(PcaTest, RefusesAndLeavesTheTable) {
    CPCANipals pca;
    ASSERT_EQ(Run(pca, {}), "");
    const auto kept = Table();
    const struct {
        SortingTest::Settings settings;
        const char* words;
    } cases[] = {
        {{{"firstEvent", "0"}}, noFirstEventText},
        {{{"firstEvent", "38"}}, fewEventsText},
        {{{"firstEvent", "41"}}, fewEventsText},
        {{{"firstEvent", "1"}, {"eventCount", "3"}}, fewEventsText},
        {{{"eventCount", "4"}, {"windowStart", "-200"}, {"windowEnd", "-199"}}, fewEventsText},
        {{{"windowStart", "2"}, {"windowEnd", "1"}}, "The end of the window must be after its start."},
        {{{"windowStart", "0"}, {"windowEnd", "0.5"}},
         "The waveforms have 1 samples. PCA needs at least 2: lengthen the events, or set a window."},
    };
    for (const auto& [settings, words] : cases) {
        EXPECT_EQ(Run(pca, settings), words);
        EXPECT_EQ(Table(), kept);
    }
    Channel(0).channelLocked = true;
    EXPECT_EQ(Run(pca, {{"windowEnd", "2"}, {"eventCount", "-1"}}), lockedChannelText);
}

TEST_F(PcaTest, AsksAfterFiveHundredPasses) {
    // Two variances that differ by less than a thousandth.
    const std::vector<float> waves{1, 1, 0, -1, -1, 0, 1.0005f, -1, 0, -1.0005f, 1, 0};
    doc = MemoryDoc::Make(session, {waves});
    Fill(0, {{0, 2}, {3, 5}, {6, 8}, {9, 11}});
    CPCANipals pca;
    host.nextAnswers = {true, true, false};
    EXPECT_EQ(Run(pca, {{"tolerance", "0"}}), "refused without a word");
    ASSERT_EQ(host.questions.size(), 3u);
    EXPECT_EQ(host.questions[2].text, noConvergenceText);
    EXPECT_TRUE(Table().empty());
    // In a batch nobody can be asked.
    Channel(0).parentTrace = 0;
    RunMessages messages;
    pca.SendMessagesTo(&messages);
    EXPECT_FALSE(pca.Run());
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(messages[0].text.starts_with("The components have not converged in 500 iterations."));
    pca.SendMessagesTo(nullptr);
    EXPECT_EQ(Run(pca, {{"tolerance", "0.001"}}), "");
    EXPECT_TRUE(host.WasSilent());
}

}  // namespace
}  // namespace kymora::test
