// Bursts, rhythm and the helper as a user or a terminal runs them.

#include <algorithm>
#include <cmath>

#include "eventedit/event_edit_fixture.h"
#include "rhythms/event_burst_detect.h"
#include "rhythms/event_rhythm_detect.h"
#include "rhythms/event_rhythm_helper.h"
#include "support/operation_results.h"

namespace kymora::test {
namespace {

class EventGroupTest : public EventEditTest {
  protected:
    // Ten thousand samples of half a millisecond, the events of channel a a sample long.
    void SetUp() override {
        doc = MemoryDoc::Make(session, {std::vector<float>(10000, 1.0f)}, 0.5);
        Train(regular_);
    }
    void Train(const std::vector<int>& intervals, int first = 100) {
        Spans spans{{first, first + 1}};
        for (const int interval : intervals) spans.emplace_back(spans.back().first + interval, 0);
        for (auto& [on, off] : spans) off = on + 1;
        Fill(0, spans);
    }
    // Two bursts of four events 10 samples apart, among singles.
    const std::vector<int> bursty_{400, 600, 10, 10, 10, 700, 500, 10, 10, 10, 300, 900};
    const std::vector<int> regular_ = std::vector<int>(30, 100);
    Settings With(Settings more) {
        more.emplace_back("destination", "b");
        return more;
    }
    // Of a rhythm of 250 samples that is not quite regular.
    static int OnsetOf(int cycle) {
        static constexpr int early[] = {3, 0, 5, 7, 1, 4, 6, 2, 0, 5, 3, 7, 2, 6, 1, 4, 7};
        return cycle * 250 + early[cycle % 17];
    }
    const Spans bothBursts_{{1100, 1131}, {2330, 2361}};
};

TEST_F(EventGroupTest, MethodsFindTheSameBursts) {
    Train(bursty_);
    struct Case {
        const char* method;
        int code;
    };
    for (const Case& one : {Case{"Poisson surprise", 5}, Case{"Rank surprise", 6}, Case{"Manual", 7}}) {
        SCOPED_TRACE(one.method);
        CEventBurstDetect detect;
        ASSERT_EQ(Run(detect, With({{"method", one.method},
                                    {"surpriseLevel", "1"},
                                    {"maxInBurstInterval", "50"},
                                    {"maxIntervalWithinBurst", "50"}})),
                  "");
        EXPECT_EQ(Found(1), bothBursts_);
        EXPECT_EQ(Chan(1).detectionMethod, one.code);
        EXPECT_EQ(Chan(1).detection.burstSourceChannel, 0);
        EXPECT_EQ(Chan(1).detection.burstSurprise, 1.0);
        for (const CEventKM& burst : Chan(1).Events())
            EXPECT_EQ(burst.eventValue > 1.0f, one.code != methodManualBurst);
        std::vector<std::vector<ResultValue>> rows;
        for (const Result& result : detect.Results())
            result.rows([&](auto row) {
                rows.emplace_back(row.begin(), row.end());
                return true;
            });
        ASSERT_EQ(rows.size(), 2u);
        EXPECT_EQ(std::get<double>(rows[0][0]), 550.0);
        EXPECT_EQ(std::get<double>(rows[0][1]), 15.5);
        EXPECT_EQ(std::get<int64_t>(rows[0][2]), 4);
        EXPECT_EQ(std::get<double>(rows[0][3]), 200.0);  // 3 intervals in 15 ms
    }
}

TEST_F(EventGroupTest, RejectedBurstsAreDeleted) {
    Train(bursty_);
    CEventBurstDetect detect;
    ASSERT_EQ(
        Run(detect, With({{"method", "2"}, {"maxInBurstInterval", "50"}, {"maxIntervalWithinBurst", "50"}})),
        "");
    Findings bursts = detect.GetFindings();
    ASSERT_EQ(bursts.rows.size(), 2u);
    bursts.rows[0].verdict = Verdict::rejected;
    EXPECT_EQ(detect.RejectFindings(bursts), "1 event deleted from channel b");
    EXPECT_EQ(Found(1), (Spans{bothBursts_[1]}));
    EXPECT_EQ(detect.GetFindings().rows.size(), 1u);
    doc->Undo().Undo();
    EXPECT_EQ(Found(1), bothBursts_);
}

// A long event reaches over others, which lie within its burst as well.
TEST_F(EventGroupTest, EventsWithinABurstCount) {
    Fill(0, {{0, 1}, {5, 1000}, {500, 501}, {505, 506}});
    CEventBurstDetect detect;
    const auto least = [&](const char* events) {
        return With({{"method", "2"},
                     {"maxInBurstInterval", "50"},
                     {"maxIntervalWithinBurst", "50"},
                     {"minEvents", events}});
    };
    ASSERT_EQ(Run(detect, least("4")), "");
    EXPECT_EQ(Found(1), (Spans{{0, 1000}}));
    ASSERT_EQ(Run(detect, least("5")), "");
    EXPECT_TRUE(Found(1).empty());
}

TEST_F(EventGroupTest, LogIntervalsCutByThemselves) {
    std::vector<int> intervals;
    for (int i = 0; i < 60; ++i)
        for (const int interval : {8 + i % 5, 11, 9 + i % 3, 100 + i % 40}) intervals.push_back(interval);
    Train(intervals, 0);
    CEventBurstDetect detect;
    ASSERT_EQ(Run(detect, With({{"method", "3"}})), "");
    EXPECT_EQ(Found(1).size(), 60u);
    Train(regular_);
    EXPECT_EQ(Run(detect, With({{"method", "3"}})), noCutText);
    EXPECT_EQ(Found(1).size(), 60u);
}

TEST_F(EventGroupTest, NothingSpansAGapOrAGate) {
    // 5,000 samples, a gap of 1,000, and 4,000 more.
    doc = MemoryDoc::MakeWithRuns(session, {std::vector<float>(9000, 1.0f)}, {{5000, 1000, 4000}}, 0.5);
    Spans spans{{100, 101}, {2000, 2001}};
    for (const int on : {4980, 4985, 4990, 4995, 6000, 6005, 6010, 6015, 5500, 8000})
        spans.emplace_back(on, on + 1);
    std::ranges::sort(spans);
    Fill(0, spans);
    CEventBurstDetect detect;
    ASSERT_EQ(Run(detect,
                  With({{"method", "2"}, {"maxInBurstInterval", "1000"}, {"maxIntervalWithinBurst", "600"}})),
              "");
    // Intervals below 2,000 samples open, those above 1,200 close; at 5500 there are no samples.
    EXPECT_EQ(Found(1), (Spans{{4980, 4996}, {6000, 6016}}));
    // Within events of a gate channel.
    Fill(2, {{4984, 4992}, {6000, 6011}});
    ASSERT_EQ(Run(detect, With({{"method", "2"}, {"region", "3"}, {"gateChannel", "c"}, {"minEvents", "2"}})),
              "");
    EXPECT_EQ(Found(1), (Spans{{4985, 4991}, {6000, 6011}}));
    // A gate without events is no region: nothing is replaced by nothing.
    Fill(2, {});
    CEventRhythmDetect rhythm;
    CEventRhythmHelper helper;
    for (CBatchBaseDlg* any : std::initializer_list<CBatchBaseDlg*>{&detect, &rhythm, &helper})
        EXPECT_NE(Run(*any, With({{"region", "3"}, {"gateChannel", "c"}}))
                      .find("There are no events in gate channel c."),
                  std::string::npos)
            << any->Title();
    EXPECT_EQ(Found(1), (Spans{{4985, 4991}, {6000, 6011}}));
}

TEST_F(EventGroupTest, RefusalsAndEmptyResults) {
    CEventBurstDetect detect;
    Fill(0, {});
    EXPECT_NE(Run(detect, With({})).find("Burst detect: No events in source channel.\r\n"),
              std::string::npos);
    EXPECT_EQ(Run(detect, With({{"usePercentile", "1"}})).find(tooFewSourceEventsText), std::string::npos);
    Fill(1, {{5, 6}});
    Fill(0, {{100, 101}, {110, 111}});
    // Too few for the manual method: told, and the channel is cleared.
    ASSERT_EQ(Run(detect, With({{"method", "2"}, {"usePercentile", "0"}})), "");
    EXPECT_NE(host.LastMessage().find(tooFewForManualText), std::string::npos);
    EXPECT_EQ(Found(1), Spans());
    // No burst is no error.
    Train(regular_);
    ASSERT_EQ(Run(detect, With({{"method", "0"}})), "");
    EXPECT_EQ(Found(1), Spans());
    Fill(0, {{7, 8}, {7, 8}, {7, 8}, {7, 8}, {7, 8}});
    ASSERT_EQ(Run(detect, With({{"method", "0"}})), "");
    EXPECT_EQ(host.LastMessage(), oneSampleText);
}

// Blocks of which all events begin at one sample have neither a rate nor ranks; that is told once.
TEST_F(EventGroupTest, BlocksAtOneSampleAreLeftOut) {
    Train({0, 0, 0, 0, 0, 1000, 0, 0, 0, 0, 0});
    Fill(2, {{0, 500}, {1000, 1200}});
    for (const char* method : {"0", "1"}) {
        SCOPED_TRACE(method);
        CEventBurstDetect detect;
        ASSERT_EQ(
            Run(detect,
                With({{"method", method}, {"surpriseLevel", "0"}, {"region", "3"}, {"gateChannel", "c"}})),
            "");
        EXPECT_EQ(host.messages.size(), 1u);
        EXPECT_EQ(host.LastMessage(), oneSampleText);
        EXPECT_TRUE(Found(1).empty());
    }
}

// A fit of very many events is ended between its rounds.
TEST_F(EventGroupTest, AutofixIsCancelled) {
    Spans pattern;
    for (int i = 0; i < 1500; ++i) pattern.emplace_back(6 * i + i * i % 5, 6 * i + i * i % 5 + 1);
    Fill(1, pattern);
    CEventRhythmHelper helper;
    Set(helper, With({{"route", "3"}, {"autofix", "1"}, {"outlierLimit", "0"}}));
    host.cancelAtDone = 0;
    EXPECT_FALSE(helper.Run());
    EXPECT_EQ(host.progress.back().label, "Fixing outliers");
    EXPECT_EQ(Found(1), pattern) << "nothing is written";
}

TEST_F(EventGroupTest, PercentileOfTheIntervals) {
    Train({10, 20, 30, 40, 50, 60, 70, 80, 90, 100});
    CEventBurstDetect detect;
    // k = round(10 x 85 / 100) = 9 (half away from zero): 90 samples are 45 ms.
    ASSERT_EQ(Run(detect, With({{"percentile", "85"}, {"usePercentile", "1"}})), "");
    EXPECT_EQ(detect.m_fMaxInBurst, 45.0f);
    EXPECT_EQ(detect.m_fMaxWithin, 45.0f);
    std::string report;
    detect.GetParamText(report);
    const char* line = "Max in-burst interval from %ile: 85.000000\r\n";
    EXPECT_NE(report.find(line), std::string::npos);
    detect.m_nMethod = 2;
    report.clear();
    detect.GetParamText(report);
    EXPECT_EQ(report.find(line), std::string::npos) << "the manual method has a line of its own";
    Train({10, 20});
    Fill(1, {{5, 6}});
    EXPECT_EQ(Run(detect, With({})), tooFewIntervalsText);
    EXPECT_EQ(Found(1), (Spans{{5, 6}})) << "what was refused changes nothing";
}

TEST_F(EventGroupTest, Reports) {
    Train(bursty_);
    CEventBurstDetect detect;
    Set(detect, With({{"method", "2"}}));
    std::string report;
    detect.GetParamText(report);
    EXPECT_EQ(
        report,
        "Analysis region:\twhole file\r\nSource event channel: a\r\nDestination event channel: b\r\n"
        "Method: Manual\r\nMax interval to trigger burst = 100.000000\r\nMax interval allowed within burst = "
        "100.000000\r\nMin inter-burst interval = 0.000000\r\nMin burst duration = 0.000000\r\nMin number of "
        "source events within burst = 3\r\n");
    Set(detect, {{"method", "1"}, {"filter", "0"}});
    report.clear();
    detect.GetParamText(report);
    EXPECT_EQ(report.substr(report.find("Method")),
              "Method: Rank surprise\r\nSurprise level = 2.000000\r\nMax in-burst interval = 100.000000\r\n");
}

TEST_F(EventGroupTest, AConfigurationKeepsAll) {
    CEventBurstDetect burst, otherBurst;
    Set(burst, {{"surpriseLevel", "3.5"},
                {"method", "1"},
                {"maxInBurstInterval", "7"},
                {"maxIntervalWithinBurst", "8"},
                {"percentile", "12"},
                {"minInterBurstInterval", "9"},
                {"minBurstDuration", "10"},
                {"minEvents", "6"},
                {"filter", "0"},
                {"logHistogram", "0"},
                {"showLimits", "0"},
                {"showCut", "0"},
                {"destination", "e"}});
    otherBurst.TakeSettings(burst.Settings());
    EXPECT_EQ(otherBurst.Settings(), burst.Settings());
    EXPECT_EQ(otherBurst.m_fMaxInBurst, 7.0f);
    EXPECT_EQ(otherBurst.m_nMinEvents, 6);
    CEventRhythmHelper helper, otherHelper;
    Set(helper, {{"route", "1"}, {"degree", "4"}, {"outlierLimit", "7"}, {"autofix", "1"}, {"mergeTo", "5"}});
    otherHelper.TakeSettings(helper.Settings());
    EXPECT_EQ(otherHelper.Settings(), helper.Settings());
    EXPECT_EQ(otherHelper.m_dMergeTo, 5.0);
}

TEST_F(EventGroupTest, ACancelledSearchLeavesWhatItFound) {
    std::vector<int> intervals;
    for (int i = 0; i < 400; ++i)
        for (const int interval : {2, 2, 2, 18}) intervals.push_back(interval);
    Train(intervals, 0);
    CEventBurstDetect detect;
    host.cancelAtDone = 800;
    Set(detect, With({{"maxInBurstInterval", "4"}, {"surpriseLevel", "1"}}));
    ASSERT_TRUE(detect.Run());
    EXPECT_EQ(host.progress.back().label, "Finding bursts");
    EXPECT_EQ(host.LastMessage(), endedEarlyText);
    EXPECT_GT(Found(1).size(), 150u);
    EXPECT_LT(Found(1).size(), 250u);
    EXPECT_EQ(Chan(1).detectionMethod, methodPoissonSurprise);
}

TEST_F(EventGroupTest, GraphHasADraggedLine) {
    Train(bursty_);
    CEventBurstDetect detect;
    Set(detect, With({{"method", "2"}, {"maxIntervalWithinBurst", "30"}, {"showCut", "0"}}));
    for (const char* log : {"0", "1"}) {
        Set(detect, {{"logHistogram", log}});
        const GraphPane pane = detect.GetGraph()->panes.front();
        EXPECT_EQ(pane.x.Label(), log[0] == '1' ? "log interval (ms)" : "interval (ms)");
        ASSERT_EQ(pane.lines.size(), 2u);
        EXPECT_EQ(pane.lines[0].parameter, "maxInBurstInterval");
        EXPECT_EQ(pane.lines[1].at, 30.0);
        double counted = 0.0;
        for (const double count : pane.layers.front().y) counted += count;
        // The linear axis ends at the 95th percentile, 350 ms, which is beyond three times the longest in
        // bursts.
        EXPECT_EQ(counted, log[0] == '1' ? 12.0 : 10.0);
    }
}

// --- rhythm ---

TEST_F(EventGroupTest, Rhythm) {
    std::vector<int> intervals{30, 400, 90, 250, 20};
    intervals.insert(intervals.end(), 12, 100);
    intervals.insert(intervals.end(), {700, 30, 400, 60});
    Train(intervals);
    CEventRhythmDetect detect;
    ASSERT_EQ(Run(detect, With({{"slidingWindow", "4"}, {"maxCv", "0.1"}})), "");
    EXPECT_EQ(Found(1), (Spans{{890, 2091}}));
    EXPECT_EQ(Chan(1).detectionMethod, methodRhythmInEvents);
    EXPECT_EQ(Chan(1).channelComment,
              "Rhythm in events\r\nRolling count 4\r\nMax coeff var 0.100000\r\n\r\n");
    EXPECT_EQ(Run(detect, With({{"slidingWindow", "11"}})),
              "There must be at least 2 x the sliding window event intervals in the analysis region (i.e. 22 "
              "intervals or more).\nReduce sliding window count or increase analysis region.");
    EXPECT_EQ(detect.GetGraph()->panes[1].lines.front().parameter, "maxCv");
}

// --- the helper ---

TEST_F(EventGroupTest, HelperFillsAndMends) {
    // Cycles of three events every 250 samples, one of which is missing and one comes twice.
    Spans spans;
    for (int cycle = 0; cycle < 36; ++cycle)
        for (const int at : {0, 10, 20 + cycle % 3})
            if (cycle != 10) spans.emplace_back(OnsetOf(cycle) + at, OnsetOf(cycle) + at + 1);
    for (const int at : {0, 10, 20}) spans.emplace_back(5120 + at, 5121 + at);
    std::ranges::sort(spans);
    Fill(0, spans);
    for (const char* route : {"1", "2"}) {
        SCOPED_TRACE(route);
        CEventRhythmHelper helper;
        Settings settings = With({{"route", route},
                                  {"minimumOffTime", "20"},
                                  {"maxInBurstInterval", "20"},
                                  {"surpriseLevel", "1"},
                                  {"outlierLimit", "10"}});
        ASSERT_EQ(Run(helper, settings), "");
        EXPECT_EQ(Found(1).size(), 36u);
        const Findings outliers = helper.GetFindings();
        ASSERT_EQ(outliers.rows.size(), 3u);  // the gap, and both sides of what is too many
        EXPECT_EQ(std::get<std::string>(outliers.rows[0].values[2]), "low frequency");
        EXPECT_EQ(std::get<std::string>(outliers.rows[0].values[5]), "add");
        settings.emplace_back("autofix", "1");
        ASSERT_EQ(Run(helper, settings), "");
        EXPECT_EQ(Found(1).size(), 36u);
        EXPECT_TRUE(helper.GetFindings().rows.empty());
        EXPECT_NE(doc->historyLog.find("Rhythm analysis helper: Autofix outliers in event channel b\r\n"),
                  std::string::npos);
        EXPECT_NE(doc->historyLog.find(
                      "Rhythm analysis helper: Accept low frequency fix\r\nAdd event to channel b: on "
                      "time = 12"),
                  std::string::npos);
        EXPECT_NE(doc->historyLog.find("Accept high frequency fix\r\nDelete event 22 from channel b\r\n"),
                  std::string::npos);
    }
}

TEST_F(EventGroupTest, HelperTakesTheHillsOfATrace) {
    // Triangles of 100 samples, of which nine tenths of each slope lie from 5 to 95, with a gap within one.
    std::vector<float> samples;
    for (int i = 0; i < 9000; ++i) samples.push_back(static_cast<float>(std::min(i % 100, 100 - i % 100)));
    doc = MemoryDoc::MakeWithRuns(session, {samples}, {{450, 1000, 8550}}, 0.5);
    CEventRhythmHelper helper;
    ASSERT_EQ(Run(helper, With({{"route", "0"}})), "");
    const Spans found = Found(1);
    ASSERT_GT(found.size(), 80u);
    EXPECT_EQ(found[0], (std::pair{106, 195}));
    for (const auto& [on, off] : found) {
        EXPECT_FALSE(on < 1450 && off > 450);
        EXPECT_EQ(off - on, 89);
    }
    EXPECT_TRUE(helper.GetFindings().rows.empty());
    EXPECT_EQ(Chan(1).detectionMethod, methodHillValley);
    EXPECT_EQ(Chan(1).parentTrace, 0);
}

TEST_F(EventGroupTest, HelperFixesWhatIsRejected) {
    Spans spans;
    for (int cycle = 0; cycle < 30; ++cycle)
        if (cycle != 10 && cycle != 20) spans.emplace_back(OnsetOf(cycle), OnsetOf(cycle) + 40 + cycle % 3);
    Fill(1, spans);
    CEventRhythmHelper helper;
    Set(helper, With({{"route", "3"}, {"outlierLimit", "10"}}));
    helper.m_nChannel1 = helper.m_nDestination;
    EXPECT_EQ(helper.Validate(), "") << "a channel that stays needs no source";
    helper.m_nChannel1 = 0;
    Findings outliers = helper.GetFindings();
    ASSERT_EQ(outliers.rows.size(), 2u);
    outliers.rows[1].verdict = Verdict::rejected;
    EXPECT_EQ(helper.RejectFindings(outliers), "1 fix in channel b");
    EXPECT_EQ(helper.GetFindings().rows.size(), 1u);
    EXPECT_NEAR(Found(1)[19].first, 5000, 10);
    doc->Undo().Undo();
    EXPECT_EQ(Found(1), spans);
}

TEST_F(EventGroupTest, HelperEditsByARunAndExportsTheFit) {
    Fill(1, {{100, 110}, {200, 210}, {300, 310}, {390, 400}, {500, 510}});
    CEventRhythmHelper helper;
    const Settings merge = With({{"route", "3"}, {"mergeFrom", "149"}, {"mergeTo", "201"}});
    ASSERT_EQ(Run(helper, merge), "");
    EXPECT_EQ(Found(1), (Spans{{100, 110}, {200, 210}, {300, 400}, {500, 510}}));
    EXPECT_NE(doc->historyLog.find("Merge event 3 with following in channel b\r\n"), std::string::npos);
    // Again there are no two.
    EXPECT_EQ(Run(helper, merge).substr(0, 40), "You have not placed the cursors around 2");
    const std::string text = ResultText(helper);
    EXPECT_EQ(text.substr(0, text.find("CC0")).substr(0, 16), "\tFreq\tDur\r\nMAD\t0");
    EXPECT_NE(text.find("\r\nTime\tFreq raw\tFreq fit\tDur raw\tDur fit\r\n50.000000\t20.000000\t"),
              std::string::npos);
}

}  // namespace
}  // namespace kymora::test
