#include "templates/template_error_hist.h"

#include "template_fixture.h"

namespace kymora::test {
namespace {

struct TemplateErrorHistTest : TemplateTest {
    TemplateErrorHistTest() {
        Samples samples = Noise(3000);
        for (size_t at = 100; at < 2900; at += 200) Put(samples, at, Wave(at == 500 ? 0.85f : 1.0f));
        doc = Named({samples});
        CPatternRecognition analysis;
        analysis.CheckChangeDoc(doc.get());
        Set(analysis,
            {{"templateStart", "150"}, {"templateEnd", "160"}, {"allowedError", "9"}, {"destination", "b"}});
        EXPECT_TRUE(analysis.Run());
        block.CheckChangeDoc(doc.get());
        Set(block, {{"channel1", "b"}});
    }
    std::pair<int64_t, int64_t> PassOf() {
        for (const Result& result : block.Results())
            if (result.name == "threshold")
                return {std::get<int64_t>(result.values[1].second),
                        std::get<int64_t>(result.values[2].second)};
        return {-1, -1};
    }
    std::unique_ptr<MemoryDoc> doc;
    CTemplateErrorHist block;
};

TEST_F(TemplateErrorHistTest, ShowsTheErrorsOfTheEventsWithTheThresholdOfTheChannel) {
    EXPECT_EQ(doc->GetNumEvents(1), 13);
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    EXPECT_EQ(block.m_fAllowedError, 9.0f);
    EXPECT_EQ(PassOf(), (std::pair<int64_t, int64_t>{13, 13}));
    const std::optional<Graph> graph = block.GetGraph();
    const GraphPane& pane = graph->Named("histogram");
    ASSERT_FALSE(pane.lines.empty());
    EXPECT_EQ(pane.lines.back().parameter, "allowedError");
    EXPECT_EQ(pane.lines.back().at, 9.0);
}

// The copy that is too small for the threshold stands between the others and what is no match at all.
TEST_F(TemplateErrorHistTest, ShowsAllCandidatesWhateverTheThreshold) {
    Set(block, {{"allCandidates", "1"}});
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    const auto [within, all] = PassOf();
    EXPECT_EQ(within, 13);
    EXPECT_GT(all, 100);
    Set(block, {{"allowedError", "13"}});
    ASSERT_TRUE(block.Run());
    EXPECT_EQ(PassOf().first, 14);
    // At that threshold the channel is made anew.
    ParamList params = block.Params();
    params.Find("findEvents")->action(params);
    EXPECT_EQ(doc->GetNumEvents(1), 14);
    EXPECT_EQ(doc->eventChannels[1].detection.templateThreshold, 13.0f);
}

TEST_F(TemplateErrorHistTest, TheRangeStaysWhileTheThresholdMovesInIt) {
    for (const char* all : {"0", "1"}) {
        Set(block, {{"allCandidates", all}, {"allowedError", "1.5"}});
        ASSERT_TRUE(block.Run()) << host.LastMessage();
        const double top = block.m_hist.maximum;
        for (const char* threshold : {"0.5", "2.5"}) {
            Set(block, {{"allowedError", threshold}});
            ASSERT_TRUE(block.Run());
            EXPECT_EQ(block.m_hist.maximum, top) << all << " at " << threshold;
        }
        Set(block, {{"allowedError", "900"}});
        ASSERT_TRUE(block.Run());
        EXPECT_GT(block.m_hist.maximum, 900.0) << "the line is seen";
    }
    // All errors of events are in it.
    Set(block, {{"allCandidates", "0"}, {"allowedError", "1"}});
    ASSERT_TRUE(block.Run());
    for (const CEventKM& event : doc->eventChannels[1].Events())
        EXPECT_LT(event.eventValue, block.m_hist.maximum);
}

TEST_F(TemplateErrorHistTest, SuggestsTheFirstChannelThatHoldsATemplate) {
    CTemplateErrorHist opened;
    opened.CheckChangeDoc(doc.get());
    opened.SuggestSettings();
    EXPECT_EQ(opened.m_nChannel1, 1);
    EXPECT_EQ(opened.m_fAllowedError, 9.0f);
    CTemplateErrorHist named;
    named.CheckChangeDoc(doc.get());
    named.SettingsWereChosen();
    named.SuggestSettings();
    EXPECT_EQ(named.m_nChannel1, 0);
    // One that holds a template without any event comes after one with events.
    doc->eventChannels[3] = doc->eventChannels[1];
    doc->eventChannels[1].DeleteAll();
    CTemplateErrorHist other;
    other.CheckChangeDoc(doc.get());
    other.SuggestSettings();
    EXPECT_EQ(other.m_nChannel1, 3);
}

TEST_F(TemplateErrorHistTest, RefusesOtherChannels) {
    Set(block, {{"channel1", "d"}});
    EXPECT_EQ(Refusal(block), foreignChannelText);
}

}  // namespace
}  // namespace kymora::test
