// Spikes and stretches at a multiple of their rate, as a user sets them.

#include "eventanalysis/freq_mult.h"

#include <cmath>

#include "eventanalysis/event_analysis_fixture.h"
#include "spectra/interpolate_fft.h"

namespace kymora::test {
namespace {

struct FreqMultTest : EventAnalysisTest {
    CFreqMult dialog;

    void SetUp() override {
        std::vector<float> wave;
        for (int i = 0; i < 400; ++i) wave.push_back(std::sin(0.5f * static_cast<float>(i)));
        doc = MemoryDoc::MakeWithRuns(session, {wave}, {{200, 100, 200}}, 0.5);
        Fill(1, {{100, 104}, {198, 199}, {250, 251}, {499, 500}});
        dialog.CheckChangeDoc(doc.get());
    }
    void Set(const std::vector<std::pair<const char*, const char*>>& settings) {
        for (const auto& [key, value] : settings) {
            ParamList params = dialog.Params();
            ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
        }
    }
    std::vector<std::vector<ResultValue>> Rows() {
        std::vector<std::vector<ResultValue>> rows;
        for (const Result& result : dialog.Results())
            result.rows([&](auto row) {
                rows.emplace_back(row.begin(), row.end());
                return true;
            });
        return rows;
    }
};

TEST_F(FreqMultTest, SpikesWithTheirSamples) {
    Set({{"channel1", "b"}, {"halfWindow", "8"}});
    const struct {
        const char* spike;
        int64_t first, count;  // of the given samples; a stretch ends at a gap
    } cases[] = {{"1", 94, 16}, {"2", 190, 10}, {"4", 491, 9}};
    for (const auto& [spike, first, count] : cases) {
        SCOPED_TRACE(spike);
        Set({{"spikeId", spike}});
        ASSERT_TRUE(dialog.Run());
        const auto rows = Rows();
        std::vector<float> given(static_cast<size_t>(count));
        doc->ReadBlock(0, first, given);
        const std::vector<float> raised = InterpolateExtended(given, 4);
        ASSERT_EQ(rows.size(), raised.size());
        for (size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(std::get<double>(rows[i][0]), (static_cast<double>(first) * 0.5) + 0.125 * i);
            EXPECT_EQ(std::get<float>(rows[i][1]), raised[i]);
            EXPECT_EQ(rows[i][2].index() != 0, i % 4 == 0);
            if (i % 4 != 0) continue;
            EXPECT_EQ(std::get<float>(rows[i][2]), given[i / 4]);
        }
        const Graph graph = *dialog.GetGraph();
        EXPECT_EQ(graph.panes[0].layers[0].x.size(), raised.size());
        EXPECT_EQ(graph.panes[0].layers[1].x.size(), given.size());
    }
    Set({{"spikeId", "3"}});
    EXPECT_FALSE(dialog.Run()) << "it lies in the gap";
}

TEST_F(FreqMultTest, RegionsAndMultipliers) {
    // Setting a region chooses it.
    Set({{"region", "2"}, {"regionStart", "10"}, {"regionEnd", "60"}, {"frequencyMultiplier", "2"}});
    EXPECT_EQ(dialog.m_nSource, CFreqMult::ofRegion);
    ASSERT_TRUE(dialog.Run());
    EXPECT_EQ(Rows().size(), 200u);
    Set({{"extended", "0"}});
    std::string report;
    dialog.GetParamText(report);
    EXPECT_TRUE(report.ends_with("Frequency multiplier: 2\r\nNot extended\r\n")) << report;
    ASSERT_TRUE(dialog.Run());
    std::vector<float> given(100);
    doc->ReadBlock(0, 20, given);
    EXPECT_EQ(std::get<float>(Rows()[33][1]), InterpolateFFT(given, 2)[33]);
    // No power of two: the stretch as it is.
    Set({{"frequencyMultiplier", "3"}});
    ASSERT_TRUE(dialog.Run());
    EXPECT_EQ(Rows().size(), 100u);
    EXPECT_EQ(host.messages.back().text, "can only InterpolateFFT with a multiplier power of 2");
    // A stretch with a gap is none.
    Set({{"regionEnd", "130"}});
    EXPECT_FALSE(dialog.Run());
    Set({{"regionStart", "110"}, {"regionEnd", "140"}});
    EXPECT_FALSE(dialog.Run());
}

TEST_F(FreqMultTest, SpikesThatAreNone) {
    EXPECT_EQ(dialog.Validate(), "Event channel a (1) has no events. Choose another one, or a region.");
    Set({{"channel1", "b"}, {"spikeId", "5"}});
    EXPECT_EQ(dialog.Validate(), "Event channel b (2) has no spike 5. Choose one from 1 to 4.");
    Set({{"spikeId", "4"}});
    EXPECT_EQ(dialog.Validate(), "");
    doc = MemoryDoc::Generate(session, 1, 5'000'000, [](int, int64_t) { return 0.0f; });
    dialog.CheckChangeDoc(doc.get());
    Set({{"region", "0"}});
    EXPECT_FALSE(dialog.Run()) << "that many values would take minutes and gigabytes";
}

}  // namespace
}  // namespace kymora::test
