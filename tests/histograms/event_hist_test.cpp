#include "histograms/event_hist.h"

#include "eventanalysis/event_analysis_fixture.h"
#include "histograms/general_hist.h"
#include "histograms/hist_trace_val.h"
#include "support/memory_doc.h"

namespace kymora {
namespace {

using test::MemoryDoc;

struct EventHistTest : test::EventAnalysisTest {
    CEventHist hist;

    void SetUp() override {
        doc = MemoryDoc::MakeEmpty(session, 10000, 0.1);  // 1 s
        hist.CheckChangeDoc(doc.get());
    }
    void TearDown() override { hist.CheckChangeDoc(nullptr); }
    void Set(CBatchBaseDlg& block, std::initializer_list<std::pair<const char*, const char*>> settings) {
        ParamList params = block.Params();
        for (const auto& [key, text] : settings) {
            ASSERT_NE(params.Find(key), nullptr) << key;
            EXPECT_EQ(params.Find(key)->SetFromText(text), "") << key;
        }
    }
    static std::vector<double> Column(const std::vector<Result>& results, size_t which, size_t column) {
        std::vector<double> values;
        results.at(which).rows([&](std::span<const ResultValue> row) {
            const auto* number = std::get_if<double>(&row[column]);
            values.push_back(number ? *number : -1.0);
            return true;
        });
        return values;
    }
};

TEST_F(EventHistTest, EachParameterHasItsBarsAndItsAxis) {
    Fill(0, {{1000, 1010}, {2000, 2050}, {2500, 2501}, {9000, 9001}});
    Fill(1, {{900, 901}, {2400, 2401}});
    Channel(0).parentTrace = -1;
    const struct {
        const char *parameter, *minimum, *maximum, *bins;
        std::vector<double> counts;
        const char* axis;
    } cases[] = {
        // 100, 50 and 650 ms
        {"Interval", "0", "200", "4", {0, 1, 1, 0}, "interval (ms)"},
        // 1, 5, 0.1 and 0.1 ms
        {"On Dur", "0", "6", "3", {3, 0, 1}, "event dur (ms)"},
        // 10, 20 and 1.54 Hz
        {"Freq (inst)", "0", "30", "3", {1, 1, 1}, "event freq (Hz)"},
        // 10 and 110 ms after 90, 10 after 240; before and after those there is no event
        {"Lat 1 from prev 2", "0", "200", "2", {2, 1}, "latency (ms)"},
        // 100 - 90, 200 - 90, 250 - 90, 100 - 240, 200 - 240, 250 - 240
        {"CrossCorr 2->1", "-200", "200", "4", {1, 1, 2, 2}, "cross-correlogram (ms)"},
        // +-50, +-100, +-150; a bin holds its lower edge
        {"AutoCorr", "-200", "200", "4", {1, 2, 1, 2}, "auto-correlogram (ms)"},
        {"PSTH 1 from 2", "0", "20", "2", {0, 2}, "time (ms)"},
    };
    for (const auto& one : cases) {
        Set(hist, {{"parameter", one.parameter},
                   {"autoRange", "0"},
                   {"minimum", one.minimum},
                   {"maximum", one.maximum},
                   {"binCount", one.bins}});
        ASSERT_TRUE(hist.Run()) << one.parameter << host.LastMessage();
        EXPECT_EQ(Column(hist.Results(), 1, 2), one.counts) << one.parameter;
        EXPECT_EQ(hist.GetGraph()->panes[0].x.title, one.axis);
    }
}

TEST_F(EventHistTest, TimeBinsStandAtTheirOwnTimes) {
    Fill(0, {{1000, 1001}, {1100, 1101}, {2000, 2001}, {9990, 9991}});
    Fill(3, {{1000, 2500}, {8000, 10000}});
    Set(hist, {{"parameter", "Freq in time bin"}, {"timeBin", "50"}, {"region", "3"}, {"gateChannel", "d"}});
    ASSERT_TRUE(hist.Run()) << host.LastMessage();
    EXPECT_EQ(Column(hist.Results(), 1, 0), (std::vector<double>{100, 150, 200, 800, 850, 900, 950}));
    EXPECT_EQ(Column(hist.Results(), 1, 3), (std::vector<double>{40, 0, 20, 0, 0, 0, 20}));
    // A part of a bin is dropped, and a width between two samples told.
    Set(hist, {{"parameter", "Count in time bin"}, {"timeBin", "40.05"}});
    host.messages.clear();
    ASSERT_TRUE(hist.Run());
    EXPECT_EQ(host.LastMessage(), "The time bin is 40 ms, a whole number of samples, and not 40.05 ms.");
    EXPECT_EQ(Column(hist.Results(), 1, 2), (std::vector<double>{2, 0, 1, 0, 0, 0, 0, 1}));
    Set(hist, {{"parameter", "Distrib count"},
               {"autoRange", "0"},
               {"minimum", "0"},
               {"maximum", "4"},
               {"binCount", "4"}});
    ASSERT_TRUE(hist.Run());
    EXPECT_EQ(Column(hist.Results(), 1, 2), (std::vector<double>{5, 2, 1, 0}));
}

TEST_F(EventHistTest, SeveralChannelsStandOnOneRangeAndPairsInAGrid) {
    Fill(0, {{1000, 1001}, {2000, 2001}, {3000, 3001}});
    Fill(2, {{1500, 1501}, {1600, 1601}});
    Set(hist, {{"channels", "a c"}, {"binCount", "2"}});
    ASSERT_TRUE(hist.Run()) << host.LastMessage();
    Graph graph = *hist.GetGraph();
    ASSERT_EQ(graph.panes.size(), 2u);
    EXPECT_EQ(graph.panes[0].x.limits, graph.panes[1].x.limits);
    // The number of the first that is best belongs to the range of all; that there is none is told.
    Set(hist, {{"optimalBins", "1"}});
    ASSERT_TRUE(hist.Run()) << host.LastMessage();
    EXPECT_TRUE(host.LastMessage().starts_with("Histogram bin optimization has returned"));
    graph = *hist.GetGraph();
    EXPECT_EQ(graph.panes[0].layers[0].x, graph.panes[1].layers[0].x);
    Set(hist, {{"optimalBins", "0"}, {"binCount", "2"}});
    EXPECT_EQ(hist.m_nChannel1, 0);
    Set(hist, {{"parameter", "CrossCorr 2->1"}, {"autoRange", "0"}, {"minimum", "-100"}, {"maximum", "100"}});
    ASSERT_TRUE(hist.Run()) << host.LastMessage();
    std::vector<std::string> names;
    graph = *hist.GetGraph();
    for (const GraphPane& pane : graph.panes) names.push_back(pane.name);
    EXPECT_EQ(names, (std::vector<std::string>{"auto a", "c->a", "a->c", "auto c"}));
    EXPECT_EQ(graph.columns, 2);
    // 100 - 150, 100 - 160, 200 - 150, 200 - 160; the third is 140 and more away
    EXPECT_EQ(Column(hist.Results(), 4, 2), (std::vector<double>{2, 2}));
    EXPECT_EQ(Column(hist.Results(), 10, 2), (std::vector<double>{1, 1}));
}

TEST_F(EventHistTest, AJitterBandSaysWhatIsPreciserThanItsWindow) {
    Spans ones, twos;
    for (int i = 0; i < 90; ++i) {
        ones.emplace_back(100 + i * 100 + i * 37 % 60, 101 + i * 100 + i * 37 % 60);
        twos.emplace_back(ones.back().first - 5, ones.back().second - 5);  // 0.5 ms before each
    }
    Fill(0, ones);
    Fill(1, twos);
    Set(hist, {{"parameter", "CrossCorr 2->1"},
               {"autoRange", "0"},
               {"minimum", "-10"},
               {"maximum", "10"},
               {"binCount", "20"},
               {"jitter", "10"},
               {"bootstrapRuns", "200"}});
    ASSERT_TRUE(hist.Run()) << host.LastMessage();
    const Graph graph = *hist.GetGraph();
    EXPECT_EQ(graph.panes[0].layers[0].name, "99% jitter");
    EXPECT_EQ(graph.panes[0].layers[1].y[10], 90.0);
    std::vector<Result> results = hist.Results();
    const auto band = std::ranges::find(results, "Jitter band", &Result::name);
    ASSERT_NE(band, results.end());
    const std::vector<double> upper = Column({*band}, 0, 4);
    ASSERT_EQ(upper.size(), 20u);
    // Each event falls into 1 ms of 10 by chance.
    EXPECT_NEAR(Column({*band}, 0, 2)[10], 9.0, 1.5);
    EXPECT_LT(upper[10], 30.0);
    Set(hist, {{"bootstrapRuns", "1000000"}, {"binCount", "100"}});
    ASSERT_TRUE(hist.Run());
    EXPECT_TRUE(host.LastMessage().starts_with("There are too many bins and runs"));
}

TEST_F(EventHistTest, WhatIsKeptStaysBesideAnotherRecording) {
    Fill(0, {{1000, 1001}, {2000, 2001}, {3000, 3001}});
    doc->filePath = "/data/first.kymr-dat";
    Set(hist, {{"autoRange", "0"}, {"minimum", "0"}, {"maximum", "200"}, {"binCount", "2"}});
    ASSERT_TRUE(hist.Run());
    hist.Params().Find("keep")->action(*std::make_unique<Form>(""));
    auto other = MemoryDoc::MakeEmpty(session, 10000, 0.1);
    for (const int on : {0, 500, 5500}) other->eventChannels[0].AddEvent(on, on + 1);
    hist.CheckChangeDoc(other.get());
    ASSERT_TRUE(hist.Run());
    const Graph graph = *hist.GetGraph();
    EXPECT_EQ(graph.panes[0].layers[0].y, (std::vector<double>{1, 0}));
    EXPECT_EQ(graph.panes[0].layers[1].y, (std::vector<double>{0, 0, 2, 2}));
    EXPECT_EQ(graph.panes[0].layers[1].name, "first a");
    hist.CheckChangeDoc(doc.get());
}

TEST_F(EventHistTest, ARasterHasARowForEachStimulus) {
    Fill(0, {{1010, 1011}, {1020, 1021}, {2030, 2031}});
    Fill(1, {{1000, 1001}, {2000, 2001}});
    Set(hist, {{"parameter", "PSTH 1 from 2"},
               {"raster", "1"},
               {"autoRange", "0"},
               {"minimum", "-50"},
               {"maximum", "50"}});
    ASSERT_TRUE(hist.Run()) << host.LastMessage();
    const Graph graph = *hist.GetGraph();
    const GraphLayer& points = graph.Find("raster")->layers[0];
    EXPECT_EQ(points.y, (std::vector<double>{1, 1, 2}));
    EXPECT_EQ(points.events, (std::vector<int32_t>{0, 1, 2}));
    EXPECT_TRUE(graph.sharesX);
}

TEST_F(EventHistTest, RefusalsNameWhatLacks) {
    EXPECT_FALSE(hist.Run());
    EXPECT_EQ(host.LastMessage(), "There are no events in channel a.");
    Fill(0, {{1000, 1001}});
    Set(hist, {{"parameter", "Maximum"}});
    Channel(0).parentTrace = -1;
    EXPECT_FALSE(hist.Run());
    EXPECT_EQ(host.LastMessage(), "Event channel a has no parent trace. \"Maximum\" is measured in one.");
    Channel(0).parentTrace = 0;
    Set(hist, {{"parameter", "PC1 wt"}});
    EXPECT_FALSE(hist.Run());
    EXPECT_TRUE(host.LastMessage().starts_with("The events of channel a have no weights"));
    Set(hist, {{"parameter", "Interval"}, {"file", "/none.txt"}});
    EXPECT_FALSE(hist.Run());
    EXPECT_EQ(host.LastMessage(), unreadableFileText);
    // A limit that is typed is the range.
    Set(hist, {{"minimum", "3"}});
    EXPECT_FALSE(hist.m_hist.autoRange);
    // What cannot stand together goes back, whichever of the two was set last, and without a recording in
    // silence.
    Set(hist, {{"file", ""}, {"display", "density"}, {"log", "1"}});
    EXPECT_EQ(host.LastMessage(), logWithDensityText);
    Set(hist, {{"display", "0"}, {"log", "1"}, {"display", "density"}});
    EXPECT_EQ(host.LastMessage(), densityOfLogText);
    EXPECT_EQ(hist.m_hist.display, displayCount);
    CEventHist lone;
    Set(lone, {{"log", "1"}, {"display", "density"}, {"bars", "0"}});
    EXPECT_TRUE(hist.TakesDrop("/some.dat"));
    EXPECT_EQ(host.LastMessage(), onlyTextFileText);
}

TEST_F(EventHistTest, SettingsComeBackFromTheirRecord) {
    Set(hist, {{"parameter", "AutoCorr"},
               {"minimum", "-7"},
               {"maximum", "9"},
               {"binCount", "12"},
               {"kde", "1"},
               {"bandwidthRule", "AMISE safe"},
               {"fit", "2"},
               {"mean2", "4.5"},
               {"bootstrap", "1"},
               {"bootstrapRuns", "33"}});
    CEventHist other;
    other.CheckChangeDoc(doc.get());
    other.TakeSettings(hist.Settings());
    EXPECT_TRUE(other.m_hist.isByCount);
    ParamList was = hist.Params(), is = other.Params();
    for (const auto& field : was) EXPECT_EQ(field.ValueText(), is.Find(field.key)->ValueText()) << field.key;
}

TEST_F(EventHistTest, NumbersComeFromTextsOfAnyMaking) {
    const struct {
        std::string text;
        std::vector<double> counts;  // 0 to 4 in bins of 1
    } cases[] = {
        {"1 2\t3\r\n1.5", {0, 2, 1, 1}},
        {"time;value\r\n0,5;1,5\r\n2,5;x\r\n", {1, 1, 1, 0}},
        {"t,s;v,mV\r\n0,5;1,5\r\n2,5;x\r\n", {1, 1, 1, 0}},
        {"Times, in s\r\n0,5\r\n2,5\r\n", {1, 0, 1, 0}},
        {"a,b\n0,2\n1,3\n", {1, 1, 1, 1}},
        {"0,2\n1,3,1\n", {1, 2, 1, 1}},
        {"\"0.5\",\"2.5\"\n\"3\"\n", {1, 0, 1, 1}},
        {"0.5,1.5,2.5\n", {1, 1, 1, 0}},
        {std::string("\xFF\xFE"
                     "1\0 \0"
                     "2\0",
                     8),
         {0, 1, 1, 0}},
    };
    CGeneralHist general;
    general.CheckChangeDoc(doc.get());
    Set(general, {{"file", "/numbers.txt"},
                  {"autoRange", "0"},
                  {"minimum", "0"},
                  {"maximum", "4"},
                  {"binCount", "4"}});
    for (const auto& one : cases) {
        PutText("/numbers.txt", one.text);
        ASSERT_TRUE(general.Run()) << host.LastMessage();
        EXPECT_EQ(Column(general.Results(), 1, 2), one.counts) << one.text;
    }
    for (const std::string words : {"", "only words here\n"}) {
        PutText("/numbers.txt", words);
        EXPECT_FALSE(general.Run());
        EXPECT_EQ(host.LastMessage(), noNumbersText);
    }
    general.CheckChangeDoc(nullptr);
}

TEST_F(EventHistTest, SamplesInGapsAndWhatIsNoNumberDoNotCount) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    auto samples = MemoryDoc::MakeWithRuns(session, {{1, 2, none, 3, 3}}, {{2, 3, 3}});
    CHistTraceVal trace;
    trace.CheckChangeDoc(samples.get());
    Set(trace, {{"trace", "1"}, {"autoRange", "0"}, {"minimum", "0"}, {"maximum", "4"}, {"binCount", "4"}});
    ASSERT_TRUE(trace.Run()) << host.LastMessage();
    EXPECT_EQ(Column(trace.Results(), 1, 2), (std::vector<double>{0, 1, 1, 2}));
    std::string text;
    trace.WriteResult([&](std::string_view piece) { return text += piece, true; });
    // (1.25^2 + 0.25^2 + 0.75^2 + 0.75^2) / 3
    EXPECT_TRUE(text.starts_with("number of points: 8\nmean = 2.250000, s.d. = 0.957427, n = 4\n")) << text;
    EXPECT_EQ(host.notices.size(), 1u);
    // An end after that of the recording takes its last sample too, and the start after the end.
    Set(trace, {{"region", "2"}, {"regionStart", "3"}, {"regionEnd", "100"}});
    ASSERT_TRUE(trace.Run()) << host.LastMessage();
    EXPECT_EQ(Column(trace.Results(), 1, 2), (std::vector<double>{0, 0, 0, 2}));
    Set(trace, {{"region", "2"}, {"regionEnd", "100"}, {"regionStart", "200"}});
    host.messages.clear();
    EXPECT_FALSE(trace.Run());
    EXPECT_EQ(host.messages.at(0).text, "Start time must be before end time. Adjusting");
    EXPECT_EQ(host.messages.at(1).text, "The specified end time is after the end of the file: truncating.");
    trace.CheckChangeDoc(nullptr);

    auto flat = MemoryDoc::Make(session, {{2, 2, 2}});
    trace.CheckChangeDoc(flat.get());
    Set(trace, {{"region", "0"}});
    host.messages.clear();
    ASSERT_TRUE(trace.Run());
    EXPECT_TRUE(host.LastMessage().starts_with("The data in this trace have no variability"));
    trace.CheckChangeDoc(nullptr);
}

}  // namespace
}  // namespace kymora
