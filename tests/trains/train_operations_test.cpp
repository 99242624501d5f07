#include "document/undo.h"
#include "eventanalysis/event_analysis_fixture.h"
#include "support/memory_doc.h"
#include "support/operation_results.h"
#include "trains/event_correl_idx.h"
#include "trains/event_sojourn_analysis.h"
#include "trains/jpsth.h"
#include "trains/stim_resp_raster.h"

namespace kymora {
namespace {

using test::MemoryDoc;
using test::ResultText;
using test::RowsOf;
using Settings = std::vector<std::pair<const char*, const char*>>;

struct TrainOperationsTest : test::EventAnalysisTest {
    void SetUp() override { doc = MemoryDoc::MakeEmpty(session, 10000, 0.1); }  // 1 s

    static void Set(CBatchBaseDlg& block, const Settings& settings) {
        for (const auto& [key, text] : settings) {
            ParamList params = block.Params();
            ASSERT_NE(params.Find(key), nullptr) << key;
            EXPECT_EQ(params.Find(key)->SetFromText(text), "") << key;
        }
    }
    template <typename Operation>
    std::unique_ptr<Operation> Make(const Settings& settings = {}) {
        auto block = std::make_unique<Operation>();
        block->CheckChangeDoc(doc.get());
        Set(*block, settings);
        return block;
    }
    void FillEvery(int channel, int step, int length, int count, int from = 0) {
        Channel(channel).Clear();
        for (int i = 0; i < count; ++i) Channel(channel).AddEvent(from + i * step, from + i * step + length);
    }
    // Whether each run is done, and the last word that it says.
    template <typename Operation>
    void ExpectWords(const char* what, const Settings& settings, bool isDone, const std::string& word) {
        auto block = Make<Operation>(settings);
        host.messages.clear();
        EXPECT_EQ(block->Run(), isDone) << what;
        EXPECT_EQ(host.messages.empty() ? "" : host.LastMessage(), word) << what;
        const Graph graph = *block->GetGraph();
        for (const GraphPane& pane : graph.panes) EXPECT_FALSE(pane.name.empty());
        block->Results();
        ResultText(*block);
    }
};

TEST_F(TrainOperationsTest, AJointHistogramTellsItsFormsItsVectorsAndItsWindow) {
    // Stimuli at 100 and 500 ms; the target 1 ms after both, the reference 5 ms after the second.
    Fill(4, {{1000, 1001}, {5000, 5001}});
    Fill(1, {{1010, 1011}, {5010, 5011}});
    Fill(0, {{5050, 5051}});
    auto block = Make<CJPSTH>({{"stimulusChannel", "e"}, {"targetChannel", "b"}, {"referenceChannel", "a"}});
    ParamList params = block->Params();
    EXPECT_EQ(params.Find("postStimulusTime")->shown ? params.Find("postStimulusTime")->shown() : "",
              "200 ms");
    EXPECT_EQ(ResultText(*block), "Set params and click Analyse\r\n");
    Set(*block,
        {{"binNumber", "4"}, {"binWidth", "4.04"}, {"preStimulusTime", "5"}, {"smoothHalfWindow", "0"}});
    EXPECT_EQ(block->m_fBinWidth, 4.0f);
    EXPECT_EQ(block->m_fPreStimulusTime, 4.0f);
    // Another width asks again for what was typed, so that the order of both is of no account.
    auto turned = Make<CJPSTH>({{"preStimulusTime", "5"}, {"binWidth", "2.5"}, {"binNumber", "4"}});
    EXPECT_EQ(turned->m_fPreStimulusTime, 5.0f);
    // What does not come through the parameters is adjusted by the run.
    auto stored = Make<CJPSTH>({{"stimulusChannel", "e"}});
    stored->m_fBinWidth = 4.04f;
    stored->m_fPreStimulusTime = 5.0f;
    ASSERT_TRUE(stored->Run()) << host.LastMessage();
    EXPECT_EQ(stored->m_fBinWidth, 4.0f);
    EXPECT_EQ(stored->m_fPreStimulusTime, 4.0f);
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    EXPECT_TRUE(ResultText(*block).starts_with(
        "Stimuli:\t2\r\nBins:\t4 of 4 ms\r\nPre-stimulus:\t4 ms\r\nPost-stimulus:"
        "\t12 ms\r\n\r\nTime (ms)\tTarget PSTH\tReference PSTH\tCoincidence (raw)"
        "\r\n-4\t0\t0\t0\r\n0\t2\t0\t0\r\n4\t0\t1\t1\r\n8\t0\t0\t0\r\n"));
    Graph graph = *block->GetGraph();
    ASSERT_EQ(graph.panes.size(), 5u);
    const GraphLayer& matrix = graph.Named("matrix").layers[0];
    EXPECT_EQ(matrix.y[2 * 4 + 1], 1.0);
    EXPECT_EQ(matrix.x, (std::vector<double>{-4, 12}));
    EXPECT_EQ(graph.Named("target").layers[0].y, (std::vector<double>{0, 2, 0, 0}));
    // Lags of -4, 0 and 4 ms, each with a whole bar.
    EXPECT_EQ(graph.Named("correlogram").layers[0].x, (std::vector<double>{-6, -2, 2, 6}));
    EXPECT_EQ(graph.Named("correlogram").x.limits, (std::pair<double, double>(-6, 6)));
    // Half a coincidence a stimulus less 1 x 1/2 by chance; the s.d. of the target is 0.
    Set(*block, {{"normaliseByStimulus", "1"}, {"show", "corrected"}});
    ASSERT_TRUE(block->Run());
    EXPECT_EQ(block->GetGraph()->Named("matrix").layers[0].y[2 * 4 + 1], 0.0);
    Set(*block, {{"show", "surprise"}});
    graph = *block->GetGraph();
    EXPECT_EQ(graph.Named("matrix").layers[0].range, (std::pair<double, double>(-3.0, 4.6)));
    EXPECT_TRUE(std::isnan(graph.Named("matrix").layers[0].y[0]));
    EXPECT_EQ(RowsOf(block->Results()[2]).size(), 16u);
    Set(*block, {{"show", "normalized"}, {"normaliseByStimulus", "0"}});
    EXPECT_NE(ResultText(*block).find("no correlation coefficient"), std::string::npos);
}

TEST_F(TrainOperationsTest, JointHistogramsTakeWhateverComes) {
    Fill(0, {{10, 10}, {10, 20}, {5000, 5001}, {9990, 12000}});
    FillEvery(1, 100, 5, 100);
    FillEvery(5, 1, 100, 3, 5000);  // a gate whose events overlap
    const Settings channels{{"targetChannel", "b"}, {"referenceChannel", "b"}, {"binNumber", "4"}};
    const auto with = [&](Settings more) {
        more.insert(more.begin(), channels.begin(), channels.end());
        return more;
    };
    const std::string close =
        "WARNING: the minimum time between stimuli is 0.0\r\nwhich is less than the histogram "
        "range of 16.0\r\nThe results will be distored. Decrease histogram width.";
    const struct {
        const char* what;
        Settings settings;
        bool isDone;
        std::string word;
    } cases[] = {
        {"windows before 0 and past the end, equal onsets", with({{"preStimulusTime", "8"}}), true, close},
        {"a stimulus channel without events", with({{"stimulusChannel", "h"}}), true,
         "There are no events of channel h in the analysis region."},
        {"a target without events", with({{"targetChannel", "g"}}), true,
         "There are no events in channel g."},
        {"one stimulus", with({{"region", "2"}, {"regionStart", "400"}, {"regionEnd", "600"}}), true, ""},
        {"one channel for all", with({{"stimulusChannel", "b"}}), true,
         "WARNING: the minimum time between stimuli is 10.0\r\nwhich is less than the histogram range of "
         "16.0\r\nThe results will be distored. Decrease histogram width."},
        {"an empty gate", with({{"region", "3"}, {"gateChannel", "z"}}), false,
         "There are no events in gate channel z."},
        {"an overlapping gate", with({{"region", "3"}, {"gateChannel", "f"}}), true, ""},
        {"a width of nothing", with({{"binWidth", "0"}}), false,
         "Bin width must be at least 0.100000. Restoring previous value."},
        {"a window before the stimulus alone", with({{"preStimulusTime", "17"}}), true, close},
        {"none of the stimulus's time", with({{"preStimulusTime", "40"}}), false,
         "The pre-stimulus time is longer than all bins together. Choose a shorter one, or more bins."},
        {"diagonals beyond the bins", with({{"upperDiagonal", "900"}, {"smoothHalfWindow", "1000"}}), true,
         close},
    };
    for (const auto& one : cases) ExpectWords<CJPSTH>(one.what, one.settings, one.isDone, one.word);
    auto overlapping = Make<CJPSTH>(with({{"region", "3"}, {"gateChannel", "f"}}));
    ASSERT_TRUE(overlapping->Run());
    EXPECT_TRUE(ResultText(*overlapping).starts_with("Stimuli:\t1\r\n"));
    auto block = Make<CJPSTH>();
    EXPECT_NE(block->Params().Find("binNumber")->Parse("1"), "");
    // A whole count keeps its digits: 1,100 stimuli at one place with 1,000 spikes each.
    Channel(0).Clear();
    Channel(1).Clear();
    for (int i = 0; i < 1100; ++i) Channel(0).AddEvent(5000, 5001);
    for (int i = 0; i < 1000; ++i) Channel(1).AddEvent(5001, 5002);
    auto many = Make<CJPSTH>(with({{"show", "corrected"}}));
    ASSERT_TRUE(many->Run());
    EXPECT_NE(ResultText(*many).find("\r\n0\t1100000\t1100000\t0\r\n"), std::string::npos)
        << ResultText(*many);
    EXPECT_EQ(ResultText(*many).find("-0\t"), std::string::npos);
}

TEST_F(TrainOperationsTest, CorrelationsOfAListAreATable) {
    FillEvery(0, 100, 1, 100);     // every 10 ms
    FillEvery(1, 100, 1, 100, 3);  // 0.3 ms later
    FillEvery(2, 500, 1, 4, 250);
    auto block = Make<CEventCorrelIdx>({{"channels", "d c b a b"}, {"start", "0"}, {"end", "0.9"}});
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    // 10 samples of 100 around each: all 100 of b where 10 are expected. Of a none: chi-squared is
    // 9.5^2 (1 / 10 + 1 / 90) = 10.03.
    EXPECT_EQ(ResultText(*block),
              "Reference\tother\tIndex\tp\tsig\r\n"
              "a\tb\t10.0000\t0.0000\t***\r\n"
              "a\tc\ttoo few c events expected within window of a events \r\n"
              "a\td\tno events in chan d\r\n"
              "b\ta\t0.0000\t0.0015\t**\r\n"
              "b\tc\ttoo few c events expected within window of b events \r\n"
              "b\td\tno events in chan d\r\n"
              "c\ta\ttoo few a events expected within window of c events \r\n"
              "c\tb\ttoo few b events expected within window of c events \r\n"
              "c\td\tno events in chan d\r\n"
              "d\ta\tno events in chan d\r\nd\tb\tno events in chan d\r\nd\tc\tno events in chan d\r\n");
    const auto rows = RowsOf(block->Results()[0]);
    ASSERT_EQ(rows.size(), 12u);
    EXPECT_EQ(rows[0][3], ResultValue(int64_t{100}));
    EXPECT_EQ(rows[11][7], ResultValue(std::string("no events in chan d")));
    session.options.eventChannelMode = 999;
    Set(*block, {{"mode", "STTC"}, {"halfWindow", "0.5"}, {"lagRange", "1"}, {"lagStep", "0.1"}});
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    const std::string text = ResultText(*block);
    EXPECT_TRUE(text.starts_with("\t1\t2\t3\t\r\n0\t1.000000\t")) << text;
    EXPECT_NE(text.find("No events\t\r\n1\t\t"), std::string::npos) << text;
    EXPECT_EQ(block->GetGraph()->panes.size(), 2u);
    EXPECT_EQ(RowsOf(block->Results()[1]).size(), 6u * 21u);
    const GraphPane pairs = block->GetGraph()->panes[0];
    EXPECT_EQ(pairs.x.names, (std::vector<std::string>{"0", "1", "2", "3"}));
    EXPECT_EQ(pairs.layers[0].y[1], 1.0);
    EXPECT_EQ(pairs.layers[0].y[4], 1.0);

    const struct {
        const char* what;
        Settings settings;
        bool isDone;
        std::string word;
    } cases[] = {
        {"no channels", {}, false, "Select at least two event channels."},
        {"one channel, twice", {{"channels", "a a"}}, false, "Select at least two event channels."},
        {"no window",
         {{"channels", "a b"}, {"start", "5"}, {"end", "5"}},
         false,
         "The start time must be before the end time."},
        {"a window beyond the recording", {{"channels", "a b"}, {"start", "-1e9"}, {"end", "1e9"}}, true, ""},
        {"a half window beyond it", {{"channels", "a b"}, {"mode", "1"}, {"halfWindow", "1e9"}}, true, ""},
        {"a half window of nothing", {{"channels", "a b"}, {"mode", "1"}, {"halfWindow", "0"}}, true, ""},
        {"an empty gate",
         {{"channels", "a b"}, {"region", "3"}, {"gateChannel", "z"}},
         false,
         "There are no events in gate channel z."},
        {"too fine lags",
         {{"channels", "a b"}, {"mode", "1"}, {"lagRange", "5"}, {"lagStep", "0.01"}},
         false,
         "The step of the lags must be a sample or more, and no more than the range."},
    };
    for (const auto& one : cases) ExpectWords<CEventCorrelIdx>(one.what, one.settings, one.isDone, one.word);
    auto all = Make<CEventCorrelIdx>({{"channels", "0-998"}});
    ASSERT_TRUE(all->Run());
    int64_t lines = 0;
    all->WriteResult([&](std::string_view piece) {
        lines += std::count(piece.begin(), piece.end(), '\n');
        return true;
    });
    EXPECT_EQ(lines, 1 + 999 * 998);
    host.cancelAtCall = 1;
    EXPECT_FALSE(all->Run());
    EXPECT_TRUE(all->WasCancelled());
}

TEST_F(TrainOperationsTest, SelectedResponsesAreTaggedAndColouredInOneStep) {
    Fill(0, {{1000, 1001}, {4000, 4001}, {6000, 6001}});
    Fill(1, {{1050, 1051}, {1100, 1101}, {4100, 4101}, {6300, 6301}, {9000, 9001}});
    auto block = Make<CStimRespRaster>();
    EXPECT_EQ(block->WhatItAffects(), Affects::nothing);
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    // To the shortest time between stimuli: 200 ms.
    EXPECT_EQ(block->m_dLatencyEnd, 200.0);
    Graph graph = *block->GetGraph();
    ASSERT_EQ(graph.panes.size(), 2u);
    EXPECT_TRUE(graph.sharesX);
    EXPECT_EQ(graph.panes[1].layers[0].x, (std::vector<double>{5, 10, 10, 30}));
    EXPECT_EQ(graph.panes[1].layers[0].y, (std::vector<double>{1, 1, 2, 3}));
    double counted = 0.0;
    for (const double count : graph.panes[0].layers[0].y) counted += count;
    EXPECT_EQ(counted, 4.0);
    // The rows are the stimuli, and need no other numbers.
    EXPECT_TRUE(graph.panes[1].rowNumbers.numbers.empty());
    ASSERT_EQ(graph.panes[1].readouts.size(), 2u);
    EXPECT_EQ(graph.panes[1].readouts[0].tip,
              "Shows the stimulus number of the current mouse location on the plot");
    EXPECT_EQ(graph.panes[1].readouts[1].tip, "Shows the latency of the current mouse location on the plot");
    EXPECT_EQ(graph.panes[0].x.limits, graph.panes[1].x.limits);
    // By chance: 5 responses a second in 4 ms around each of so many stimuli, whatever the region of those
    // is.
    const auto expected = [&] { return std::get<double>(block->Results()[2].values[3].second); };
    EXPECT_NEAR(expected(), 5.0 * 0.004 * 3.0, 1e-12);
    Set(*block, {{"region", "2"}, {"regionStart", "300"}, {"regionEnd", "700"}});
    ASSERT_TRUE(block->Run());
    EXPECT_NEAR(expected(), 5.0 * 0.004 * 2.0, 1e-12);
    EXPECT_EQ(block->GetGraph()->panes[1].rowNumbers.numbers, (std::vector<int32_t>{2, 3}));
    Set(*block, {{"region", "0"}});
    ASSERT_TRUE(block->Run());
    Set(*block, {{"selectStart", "5"}, {"selectEnd", "10"}, {"lastStimulus", "2"}});
    EXPECT_EQ(ResultText(*block), "Stimuli:\t3\r\nResponses in the windows:\t4\r\n"
                                  "Stim:\t1\tOn time\t100.000000\r\n\t\t\t\tResp:\t1\tLat\t5.000000\r\n"
                                  "\t\t\t\t\t2\tLat\t10.000000\r\n"
                                  "Stim:\t2\tOn time\t400.000000\r\n\t\t\t\tResp:\t3\tLat\t10.000000\r\n");
    EXPECT_EQ(block->GetGraph()->panes[1].layers[1].x.size(), 3u);
    const std::vector<CEventKM> stimuli = Channel(0).Events(), responses = Channel(1).Events();

    Set(*block, {{"tag", "1"}, {"colour", "1"}, {"targetColour", "#00ff00"}});
    EXPECT_EQ(block->WhatItAffects(), Affects::events);
    Channel(1).channelLocked = true;
    EXPECT_FALSE(block->Run());
    EXPECT_EQ(host.LastMessage(), lockedChannelText);
    Channel(1).channelLocked = false;
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    EXPECT_EQ(block->WrittenChannels(), (std::vector<int>{0, 1}));
    const auto marked = [&](int channel) {
        std::string marks;
        for (const CEventKM& event : Channel(channel).Events())
            marks += event.eventTag != 0 && event.eventColour == 0x00FF00 ? 'x' : '.';
        return marks;
    };
    EXPECT_EQ(marked(0), "xx.");
    EXPECT_EQ(marked(1), "xxx..");
    EXPECT_NE(doc->historyLog.find(
                  "Stimulus-response latency raster: 5 selected events coloured in stimulus channel "
                  "a and response channel b\r\n"),
              std::string::npos);
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Channel(0).Events(), stimuli);
    EXPECT_EQ(Channel(1).Events(), responses);
    EXPECT_FALSE(doc->Undo().CanUndo());

    // All three are stimuli and responses.
    auto same = Make<CStimRespRaster>({{"responseChannel", "a"},
                                       {"latencyStart", "0"},
                                       {"latencyEnd", "301"},
                                       {"selectEnd", "301"},
                                       {"lastStimulus", "3"},
                                       {"tag", "1"}});
    ASSERT_TRUE(same->Run()) << host.LastMessage();
    EXPECT_NE(doc->historyLog.find("raster: 3 selected events tagged"), std::string::npos);
    ASSERT_TRUE(doc->Undo().Undo());

    Set(*block, {{"lastStimulus", "0"}});
    EXPECT_FALSE(block->Run());
    EXPECT_TRUE(host.LastMessage().starts_with("No response is selected."));
    // The raster stands all the same, so that something can be selected in it.
    EXPECT_EQ(block->GetGraph()->panes[1].layers[0].x.size(), 4u);
    EXPECT_EQ(block->GetGraph()->panes[1].layers[0].colours.size(), 4u);
    // By latency: 5, 10, 30 ms; the second stimulus of two that are equal stays behind the first.
    Set(*block, {{"tag", "0"}, {"colour", "0"}, {"order", "1"}, {"latencyStart", "6"}, {"latencyEnd", "30"}});
    ASSERT_TRUE(block->Run());
    EXPECT_EQ(block->GetGraph()->panes[1].layers[0].x, (std::vector<double>{10, 10}));
    Set(*block, {{"latencyStart", "11"}, {"latencyEnd", "31"}});
    ASSERT_TRUE(block->Run());
    // Only the third has a response now.
    EXPECT_EQ(block->GetGraph()->panes[1].rowNumbers.numbers, (std::vector<int32_t>{3, 1, 2}));
    const std::pair<Settings, std::string> words[] = {
        {{{"latencyStart", "5"}, {"latencyEnd", "5"}}, "The end of the latencies must be after their start."},
        {{{"region", "3"}, {"gateChannel", "z"}}, "There are no events in gate channel z."},
    };
    for (const auto& [settings, word] : words)
        ExpectWords<CStimRespRaster>(word.c_str(), settings, false, word);
    ExpectWords<CStimRespRaster>("no stimuli", {{"stimulusChannel", "k"}}, true,
                                 "There are no events of channel k in the analysis region.");
    ExpectWords<CStimRespRaster>("one channel twice", {{"responseChannel", "a"}, {"smoothHalfWindow", "3"}},
                                 true, "");
}

TEST_F(TrainOperationsTest, SojournsAreFittedOnTheirDurations) {
    // Twenty events of 1 to 20 ms, 5 ms apart.
    const auto fill = [&](int count) {
        Channel(0).Clear();
        for (int i = 0, at = 0; i < count; at += (i + 1) * 10 + 50, ++i)
            Channel(0).AddEvent(at, at + (i + 1) * 10);
    };
    fill(19);
    ExpectWords<CEventSojournAnalysis>("19 events", {}, false, "Need at least 20 events for this analysis");
    fill(20);
    auto block = Make<CEventSojournAnalysis>({{"binNumber", "4"}});
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    // One exponential: the mean of the durations, and -n (ln mean + 1).
    EXPECT_NEAR(block->m_means[0], 10.5, 1e-3);
    const double logLikelihood = -20.0 * (std::log(10.5) + 1.0);
    const Result fit = block->Results()[0];
    EXPECT_NEAR(std::get<double>(fit.values[1].second), logLikelihood, 1e-4);
    EXPECT_NEAR(std::get<double>(fit.values[2].second), 2.0 - 2.0 * logLikelihood + 4.0 / 18.0, 1e-3);
    EXPECT_EQ(block->GetGraph()->panes[0].layers[0].y, (std::vector<double>{4, 5, 5, 6}));
    Set(*block, {{"display", "ln(n)"}});
    ASSERT_TRUE(block->Run());
    EXPECT_EQ(block->GetGraph()->panes[0].layers[0].y[3], std::log(6.0));
    EXPECT_EQ(block->GetGraph()->panes[0].y.title, "ln(n)");
    Set(*block, {{"display", "2"}, {"binNumber", "1"}});
    ASSERT_TRUE(block->Run());
    EXPECT_EQ(block->GetGraph()->panes[0].layers[0].y, (std::vector<double>{std::sqrt(20.0)}));
    EXPECT_EQ(block->GetGraph()->panes[0].x.title, "log(ms)");
    EXPECT_EQ(block->GetGraph()->panes[0].x.limits->first, 0.0);  // log of 1 ms
    // 19 intervals, all of 5 ms; what is set is where a fit starts, or is shown as it is.
    Set(*block, {{"sojourn", "Closed time"}, {"display", "0"}, {"exponentials", "2"}, {"fit", "0"}});
    Set(*block, {{"proportion1", "0.25"}, {"mean1", "2"}, {"proportion2", "0.75"}, {"mean2", "8"}});
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    const double density = 0.25 / 2.0 * std::exp(-2.5) + 0.75 / 8.0 * std::exp(-5.0 / 8.0);
    EXPECT_NEAR(std::get<double>(block->Results()[0].values[1].second), 19.0 * std::log(density), 1e-9);
    EXPECT_EQ(block->m_means[0], 2.0);
    block->Params().Find("update")->action(*std::make_unique<Form>(""));
    ASSERT_TRUE(block->Run()) << host.LastMessage();
    EXPECT_NEAR(std::get<double>(block->Results()[0].values[1].second), -19.0 * (std::log(5.0) + 1.0), 1e-3);
    ExpectWords<CEventSojournAnalysis>("a mixture that is none", {{"fit", "0"}, {"mean1", "0"}}, false,
                                       "Proportions must be from 0 to 1 and not all 0, means above 0.");
    // Events of no length have no sojourn, overlapping ones leave no closed time between them.
    FillEvery(0, 20, 0, 25);
    ExpectWords<CEventSojournAnalysis>(
        "no lengths", {}, false, "None of these times is longer than 0 and not shorter than the dead time.");
    FillEvery(0, 20, 30, 25);
    ExpectWords<CEventSojournAnalysis>(
        "overlaps", {{"sojourn", "1"}}, false,
        "None of these times is longer than 0 and not shorter than the dead time.");
    ExpectWords<CEventSojournAnalysis>("equal durations", {{"exponentials", "4"}, {"display", "2"}}, true,
                                       "");
    host.cancelAtCall = 2;
    auto cancelled = Make<CEventSojournAnalysis>({{"exponentials", "3"}});
    EXPECT_FALSE(cancelled->Run());
    EXPECT_TRUE(cancelled->WasCancelled());
}

}  // namespace
}  // namespace kymora
