// The hill-valley analysis as a user or a batch runs it.

#include "detection/event_hill_analysis.h"

#include <cmath>

#include "support/view_fixture.h"

namespace kymora::test {
namespace {

using Spans = std::vector<std::pair<int, int>>;

class EventHillAnalysisTest : public ViewTest {
  protected:
    void Use(std::unique_ptr<MemoryDoc> made) {
        doc = std::move(made);
        doc->filePath = "/data/cell.kymr-dat";
        operation.CheckChangeDoc(doc.get());
        operation.m_nDestination = 1;
    }
    // Triangles of these heights, ten samples up and ten down, between troughs of 0.
    static std::vector<float> Triangles(const std::vector<float>& heights) {
        std::vector<float> samples(5, 1.0f);
        for (const float height : heights)
            for (int i = 0; i < 20; ++i)
                samples.push_back(height * static_cast<float>(10 - std::abs(10 - i)) / 10);
        samples.push_back(0.0f);
        samples.resize(samples.size() + 5, 1.0f);
        return samples;
    }
    CEventChan& Channel(int channel) { return doc->eventChannels[static_cast<size_t>(channel)]; }
    Spans Found() {
        Spans spans;
        for (const CEventKM& event : Channel(1).Events())
            spans.emplace_back(event.onPosition, event.offPosition);
        return spans;
    }
    void Set(const char* key, const char* value) {
        ParamList params = operation.Params();
        ASSERT_NE(params.Find(key), nullptr) << key;
        ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
    }

    std::unique_ptr<MemoryDoc> doc;
    CEventHillAnalysis operation;
};

TEST_F(EventHillAnalysisTest, WritesTheHillsWithTheirHeights) {
    Use(MemoryDoc::Make(session, {Triangles({4, 10, 6})}, 0.5));
    Set("upSlope", "50");
    Set("downSlope", "0");
    ASSERT_TRUE(operation.Run());
    // From the sample behind that at half the height to the next trough.
    EXPECT_EQ(Found(), (Spans{{11, 25}, {31, 45}, {51, 65}}));
    EXPECT_EQ(Channel(1).Events()[1].eventValue, 10.0f);
    EXPECT_EQ(Channel(1).detectionMethod, methodHillValley);
    EXPECT_EQ(Channel(1).parentTrace, 0);
    EXPECT_EQ(Channel(1).channelComment,
              "Direction: peaks\r\nSlope thresh %: up = 50.0, down = 0.0\r\nFrom: centre\r\n"
              "Time filter: min dur 0.00, max dur = 1000000.00\r\n"
              "Amp filter: merge foothills 0.000, exclude molehills 0.000, abs 0.000\r\n");
    EXPECT_NE(doc->historyLog.find("Threshold %:\r\n\tup = 50.000000\r\n\tdown = 0.000000\r\n"),
              std::string::npos);

    Set("minimumDuration", "7");
    Set("maximumDuration", "7");
    Set("excludeMolehills", "6");
    Set("description", "mine");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), (Spans{{31, 45}, {51, 65}}));
    EXPECT_EQ(Channel(1).channelComment, "mine");
    Set("maximumDuration", "6.5");
    ASSERT_TRUE(operation.Run());
    EXPECT_TRUE(Found().empty());
    EXPECT_EQ(operation.RunSummary(),
              "none of 3 hills is left: 1 too low (molehills below 6), 2 too short or "
              "too long (7 to 6.5 ms)");
    const std::vector<Result> results = operation.Results();
    ASSERT_EQ(results.size(), 1u) << "what was applied is told all the same";
    EXPECT_EQ(std::get<double>(results[0].values[1].second), 6.0);
    EXPECT_EQ(host.notices.back().text, "Nothing was found: " + operation.RunSummary() + ".");
    Set("mergeFoothills", "50");
    RunMessages messages;
    operation.SendMessagesTo(&messages);
    ASSERT_TRUE(operation.Run());
    operation.SendMessagesTo(nullptr);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text,
              "Nothing was found: none of 3 hills is left: 3 merged with others (foothills below 50).");
    Set("mergeFoothills", "0");
    for (const char* percent : {"-1", "100.5"}) {
        Set("maximumDuration", "100");
        operation.m_dUpSlope = std::atof(percent);
        EXPECT_FALSE(operation.Run()) << percent;
    }
}

TEST_F(EventHillAnalysisTest, NoHillSpansAGap) {
    std::vector<float> stored = Triangles({4, 10, 6});
    // The gap lies in the middle of the second hill.
    Use(MemoryDoc::MakeWithRuns(session, {stored}, {{33, 100, static_cast<uint32_t>(stored.size() - 33)}}));
    Set("upSlope", "0");
    Set("downSlope", "0");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), (Spans{{5, 25}, {145, 165}}));
}

// Heights of 1 to 9 in turn, and small waves of 0.5: as multiples of the s.d., mean or median of the heights.
TEST_F(EventHillAnalysisTest, ThresholdsComeFromTheHeights) {
    Use(MemoryDoc::Make(session, {Triangles({1, 3, 5, 7, 9})}));
    Set("excludeBySd", "true");
    struct Case {
        const char *robust, *adds, *multiplier;
        double threshold;
        size_t hills;
    };
    // Mean and median 5; s.d. sqrt(40 / 4); MAD 2.
    for (const Case& one : {Case{"false", "true", "1", 5 + std::sqrt(10.0), 1},
                            {"false", "false", "2", 2 * std::sqrt(10.0), 2},
                            {"true", "true", "0", 5, 3},
                            {"true", "false", "1", 2 / 0.6745, 4}}) {
        Set("robustStatistics", one.robust);
        Set("addMean", one.adds);
        Set("excludeMultiplier", one.multiplier);
        ASSERT_TRUE(operation.Run());
        EXPECT_NEAR(operation.m_thresholds[CEventHillAnalysis::excludeMolehills].value, one.threshold, 1e-6);
        EXPECT_EQ(Found().size(), one.hills);
    }
    // Of valleys the peaks are the lowest values: their level lies as far on the other side.
    std::vector<float> samples = Triangles({1, 3, 5, 7, 9});
    for (float& sample : samples) sample = 20.0f - sample;
    Use(MemoryDoc::Make(session, {samples}));
    Set("excludeBySd", "false");
    Set("direction", "troughs");
    Set("useAbsolute", "true");
    Set("absoluteBySd", "true");
    Set("addMean", "true");
    Set("absoluteMultiplier", "1");
    Set("excludeMolehills", "0");
    ASSERT_TRUE(operation.Run());
    EXPECT_NEAR(operation.m_thresholds[CEventHillAnalysis::absolutePeak].value, 15 - 2 / 0.6745, 1e-5);
    EXPECT_EQ(Found().size(), 1u) << "11 alone";
    EXPECT_EQ(Channel(1).Events().back().eventValue, 9.0f);
}

TEST_F(EventHillAnalysisTest, ACancelTruncates) {
    Use(MemoryDoc::Make(session, {Triangles(std::vector<float>(300, 2.0f))}));
    host.cancelAtDone = 128;
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found().size(), 128u);
    EXPECT_EQ(host.progress.back().label, "Filtering peaks and troughs. Click Cancel to truncate analysis.");
    EXPECT_NE(doc->historyLog.find("Truncated after 128 hills"), std::string::npos);
    Use(MemoryDoc::Make(session, {Triangles(std::vector<float>(90, 2.0f))}));
    host.progress.clear();
    ASSERT_TRUE(operation.Run());
    EXPECT_TRUE(host.progress.empty());
}

TEST_F(EventHillAnalysisTest, TheHistogramsHoldAllHeightsAndDurations) {
    Use(MemoryDoc::Make(session, {Triangles({1, 9, 3, 9, 2, 9})}));
    Set("mergeFoothills", "2.5");
    Set("minimumDuration", "30");
    Set("binCount", "9");
    ASSERT_TRUE(operation.Run());
    const auto counts = [&](const char* pane, size_t layer) {
        const std::optional<Graph> graph = operation.GetGraph();
        return graph->Named(pane).layers.at(layer).y;
    };
    using Counts = std::vector<double>;
    // Bars from 0 to 1, 1 to 2, ...; the highest lies in the last.
    EXPECT_EQ(counts("heights", 0), (Counts{0, 1, 1, 1, 0, 0, 0, 0, 3}));
    EXPECT_EQ(counts("heights", 1), (Counts{0, 0, 0, 1, 0, 0, 0, 0, 3})) << "1 and 2 are foothills";
    double all = 0.0;
    for (const double count : counts("durations", 0)) all += count;
    EXPECT_EQ(all, 4.0) << "before the filter by time";
    Set("logCounts", "true");
    EXPECT_EQ(counts("heights", 0)[8], std::log(3.0));
    EXPECT_EQ(counts("heights", 0)[1], 0.0);
    EXPECT_TRUE(std::isnan(counts("heights", 0)[0]));
}

// A hill of 10 with a wiggle of 1 at each of its samples: no raw height is above 2.
TEST_F(EventHillAnalysisTest, TheAxisOfRawHeightsReachesWhatMergingLeaves) {
    std::vector<float> samples;
    for (int i = 0; i <= 40; ++i)
        samples.push_back(static_cast<float>(10.0 - 0.5 * std::abs(20 - i) + (i % 2 == 0 ? 0.0 : 1.0)));
    Use(MemoryDoc::Make(session, {samples}));
    ASSERT_TRUE(operation.Run());
    const GraphPane pane = operation.GetGraph()->Named("heights");
    ASSERT_EQ(pane.layers.size(), 2u);
    EXPECT_LT(operation.GetGraph()->Named("heights").layers[0].x[0], 1e-9);
    // The highest peak is 10.5 at samples 19 and 21; the lowest troughs beside it are 1 at samples 2 and 38.
    EXPECT_NEAR(pane.layers[0].x.back(), 9.5, 1e-6);
    EXPECT_EQ(pane.lines.back().parameter, "mergeFoothills") << "it is dragged first where both are 0";
}

TEST_F(EventHillAnalysisTest, HeightsOfAnotherRecordingAreNotTakenAlong) {
    Use(MemoryDoc::Make(session, {Triangles({4, 10, 6}), Triangles({4, 10, 6})}));
    Set("mergeFoothills", "5");
    // Into another recording and back.
    const auto other = MemoryDoc::Make(session, {Triangles({0.4f, 1, 0.6f})});
    other->filePath = "/data/other.kymr-dat";
    operation.CheckChangeDoc(other.get());
    auto& merge = operation.m_thresholds[CEventHillAnalysis::mergeFoothills];
    EXPECT_EQ(merge.value, 0.0);
    operation.CheckChangeDoc(nullptr);
    operation.CheckChangeDoc(doc.get());
    EXPECT_EQ(merge.value, 5.0);
    Set("trace", "2");
    EXPECT_EQ(merge.value, 5.0) << "it was set for this recording";
    // By s.d. it is found anew, and stays what it was there: the mean of 4, 6 and 10.
    operation.CheckChangeDoc(other.get());
    for (const auto& [key, value] :
         {std::pair{"mergeBySd", "true"}, {"mergeMultiplier", "0"}, {"robustStatistics", "false"}})
        Set(key, value);
    ASSERT_TRUE(operation.Run());
    Set("mergeBySd", "false");
    EXPECT_NEAR(merge.value, 2.0 / 3.0, 1e-6);
    // A file that the user names keeps its own.
    CEventHillAnalysis loaded;
    loaded.TakeSettings(operation.Settings());
    loaded.SettingsWereChosen();
    loaded.CheckChangeDoc(doc.get());
    EXPECT_NEAR(loaded.m_thresholds[0].value, 2.0 / 3.0, 1e-6);
}

// A threshold that is the height of all hills takes none of them, although 3.45 - 0.59 has more digits than a
// sample.
TEST_F(EventHillAnalysisTest, HillsAreAsHighAsTheirOwnMean) {
    std::vector<float> samples{9.0f};
    for (int i = 0; i < 20; ++i) samples.insert(samples.end(), {0.59f, 3.45f});
    samples.insert(samples.end(), {0.59f, 9.0f});
    Use(MemoryDoc::Make(session, {samples}));
    for (const auto& [key, value] : {std::pair{"excludeBySd", "true"},
                                     {"excludeMultiplier", "0"},
                                     {"mergeBySd", "true"},
                                     {"mergeMultiplier", "0"},
                                     {"minimumDuration", "0.25"}})
        Set(key, value);
    for (const char* isRobust : {"true", "false"}) {
        Set("robustStatistics", isRobust);
        ASSERT_TRUE(operation.Run());
        EXPECT_EQ(Found().size(), 20u) << isRobust;
    }
    EXPECT_NE(Channel(1).channelComment.find("min dur 0.25"), std::string::npos) << "as it was set";
}

TEST_F(EventHillAnalysisTest, SettingsComeBackAndALookChangesNone) {
    Use(MemoryDoc::Make(session, {Triangles({1, 9, 3, 9, 2, 9})}));
    doc->view.viewStart = 0.0;
    doc->view.viewEnd = 80.0;
    Set("mergeBySd", "true");
    Set("mergeMultiplier", "0");
    Set("measureFrom", "edge");
    Set("maximumDuration", "75.5");
    const auto settings = operation.Settings();
    CEventHillAnalysis other;
    other.TakeSettings(settings);
    EXPECT_EQ(other.Settings(), settings);
    EXPECT_EQ(other.m_dMaximumDuration, 75.5);
    const auto job = operation.PrepareLook();
    ASSERT_NE(job, nullptr);
    UnheardContext context;
    job->Compute(*doc, context);
    EXPECT_FALSE(operation.FoundAhead(*job).front().events.empty());
    EXPECT_EQ(operation.Settings(), settings);
    EXPECT_EQ(operation.GetGraph()->panes.size(), 2u);
    EXPECT_NE(operation.TooMuchToLookAt(5'000'001), nullptr);
    EXPECT_EQ(operation.TooMuchToLookAt(5'000'000), nullptr);
}

}  // namespace
}  // namespace kymora::test
