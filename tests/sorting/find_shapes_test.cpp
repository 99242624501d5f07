// The spike sorter as a user or a terminal runs it.

#include "sorting/find_shapes.h"

#include "document/undo.h"
#include "sorting/compare_sortings.h"
#include "sorting/two_units_fixture.h"
#include "support/operation_results.h"

namespace kymora::test {
namespace {

class FindShapesTest : public TwoUnitsTest {
  protected:
    Settings With(Settings more = {}) {
        Settings all{{"polarity", "either"},
                     {"destination", "f"},
                     {"desiredClusters", "3"},
                     {"minimumClusterShare", "15"}};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    // How many of the known spikes of a unit have an event within two samples in the channel.
    int Recovered(size_t unit, int channel) {
        int count = 0;
        for (const int at : truth_[unit])
            count += std::ranges::any_of(Chan(channel).Events(), [&](const CEventKM& event) {
                return std::abs(event.onPosition - at) <= 2;
            });
        return count;
    }
    // The channel that the unit went to.
    int ChannelOf(size_t unit) { return Recovered(unit, firstUnit) > 100 ? firstUnit : firstUnit + 1; }
};

TEST_F(FindShapesTest, FindsTheUnitsAndTakesOverlapsApart) {
    CFindShapes sorter;
    ASSERT_EQ(Run(sorter, With()), "");
    const int first = ChannelOf(0), second = ChannelOf(1);
    EXPECT_NE(first, second);
    EXPECT_EQ(Recovered(0, first), 200);
    EXPECT_GE(Recovered(1, second), 176);
    EXPECT_LE(Chan(first).GetNumEvents(), 202);
    EXPECT_LE(Chan(second).GetNumEvents(), 184);
    EXPECT_EQ(Chan(firstUnit).channelLabel, "wavType 1");
    EXPECT_EQ(Chan(firstUnit).channelFlag, sortedChannelFlag);
    EXPECT_EQ(Chan(firstUnit).parentTrace, 0);
    EXPECT_EQ(Chan(firstUnit).detectionMethod, methodManual);
    EXPECT_NE(Chan(firstUnit).channelColour, Chan(firstUnit + 1).channelColour);
    const CEventKM& alone = Chan(first).Events()[1];
    EXPECT_EQ(alone.offPosition - alone.onPosition, 4);
    EXPECT_GT(alone.eventValue, 0.0f);
    EXPECT_TRUE(alone.eventLabel.empty());
    EXPECT_EQ(Chan(first).Events()[0].eventLabel, "1+2");
    EXPECT_EQ(Chan(candidates).EventExtra().size(), 380u);
    EXPECT_EQ(Count(sorter, "pure") + Count(sorter, "decomposed") + Count(sorter, "unassigned"), 380);
    EXPECT_GE(Count(sorter, "decomposed"), 36);
    EXPECT_EQ(ResultText(sorter).substr(0, 36), "#ID\ttime (ms)\tvariance ratio\ttype\r\n1");

    CCompareSortings compare;
    ASSERT_EQ(Run(compare, {{"truth", "b-c"}, {"sorted", "f-g"}, {"tolerance", "0.1"}}), "");
    EXPECT_GT(std::get<double>(compare.Results()[0].values[0].second), 0.98);

    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Chan(firstUnit).GetNumEvents(), 0);
    EXPECT_TRUE(Chan(candidates).EventExtra().empty());
}

TEST_F(FindShapesTest, StepsStopAndFlagsCount) {
    CFindShapes sorter;
    for (const auto& [stop, tables] : {std::pair{"read", 2u}, {"cluster", 9u}, {"templates", 9u}}) {
        SCOPED_TRACE(stop);
        ASSERT_EQ(Run(sorter, With({{"stopAfter", stop}})), "");
        EXPECT_EQ(sorter.Results().size(), tables);
        EXPECT_EQ(Chan(firstUnit).GetNumEvents(), 0);
    }
    ASSERT_EQ(Run(sorter, With({{"stopAfter", "templates"}, {"ignore", "1"}, {"errThresholds", "0 7.5"}})),
              "");
    std::vector<std::vector<ResultValue>> rows = RowsOf(sorter, "clusters");
    EXPECT_EQ(std::get<int64_t>(rows[0][6]), 1);
    EXPECT_EQ(std::get<float>(rows[1][3]), 7.5f);
    const auto clusters = static_cast<int64_t>(rows.size());
    EXPECT_GE(std::get<int64_t>(rows[0][1]), std::get<int64_t>(rows[1][1]));

    ASSERT_EQ(Run(sorter, With({{"ignore", "1"}, {"stopAfter", "all"}, {"writeUnassigned", "1"}})), "");
    EXPECT_EQ(Chan(firstUnit).GetNumEvents(), 0);
    EXPECT_GT(Chan(firstUnit + 1).GetNumEvents(), 100);
    const CEventChan& left = Chan(firstUnit + static_cast<int>(clusters));
    EXPECT_EQ(left.channelLabel, "unassigned wavType");
    EXPECT_EQ(left.GetNumEvents(), Count(sorter, "unassigned"));

    const auto similar = RowsOf(sorter, "similarity");
    EXPECT_EQ(static_cast<int64_t>(similar.size()), clusters * (clusters - 1));
    for (size_t i = 1; i < similar.size(); ++i)
        EXPECT_GE(std::get<double>(similar[i][2]), std::get<double>(similar[i - 1][2]));

    CFindShapes merged;
    ASSERT_EQ(Run(merged, With({{"merge", "1+2"}, {"stopAfter", "templates"}})), "");
    rows = RowsOf(merged, "clusters");
    EXPECT_EQ(static_cast<int64_t>(rows.size()), clusters - 1);
    EXPECT_EQ(std::get<int64_t>(rows[0][0]), 1);
    EXPECT_GT(std::get<int64_t>(rows[0][1]), 300);
    // Groups that share a cluster are one.
    for (const char* groups : {"1+2 2+3", "1+2 3+2", "2+1 1+3"}) {
        ASSERT_EQ(
            Run(merged, With({{"desiredClusters", "3"}, {"merge", groups}, {"stopAfter", "templates"}})), "");
        EXPECT_EQ(RowsOf(merged, "clusters").size(), 1u) << groups;
    }
}

// Against the events that the units have got, and the sizes that they were made with.
TEST_F(FindShapesTest, UnitsAreMeasured) {
    CFindShapes sorter;
    ASSERT_EQ(Run(sorter, With({{"refractory", "15"}, {"mergeWithin", "0.2"}})), "");
    const auto quality = RowsOf(sorter, "quality"), amplitudes = RowsOf(sorter, "amplitudes");
    ASSERT_EQ(quality.size(), 2u);
    int64_t all = 0;
    for (const auto& row : quality) {
        const int channel = firstUnit + static_cast<int>(std::get<int64_t>(row[0])) - 1;
        SCOPED_TRACE(channel);
        const bool isSharp = channel == ChannelOf(0);
        const auto& events = Chan(channel).Events();
        EXPECT_EQ(std::get<int64_t>(row[1]), std::ssize(events));
        int64_t violations = 0;
        for (size_t i = 1; i < events.size(); ++i)
            violations += events[i].onPosition - events[i - 1].onPosition < 300;
        EXPECT_EQ(std::get<int64_t>(row[3]), violations);
        EXPECT_DOUBLE_EQ(std::get<double>(row[4]),
                         100.0 * static_cast<double>(violations) / static_cast<double>(events.size() - 1));
        EXPECT_NEAR(std::get<double>(row[2]), isSharp ? (29.0 + 6.4) / 0.6 : 20.0 / 0.6, 2.5);
        EXPECT_NEAR(std::get<double>(row[8]), isSharp ? -29.0 : 20.0, 0.3);
        EXPECT_NEAR(std::get<double>(row[9]), 0.3, 0.15);
        EXPECT_LT(std::get<double>(row[6]), 0.01);
        EXPECT_GT(std::get<double>(row[7]), 0.9);
        all += std::ssize(events);
    }
    EXPECT_EQ(std::ssize(amplitudes), all);

    const auto merges = RowsOf(sorter, "merges"), lags = RowsOf(sorter, "correlograms");
    ASSERT_EQ(merges.size(), 1u);
    ASSERT_EQ(lags.size(), 100u);
    std::vector<int> merged;
    std::array<int64_t, 100> counts{};
    for (const CEventKM& one : Chan(firstUnit).Events()) {
        merged.push_back(one.onPosition);
        for (const CEventKM& other : Chan(firstUnit + 1).Events())
            if (const int lag = other.onPosition - one.onPosition; lag >= -500 && lag < 500)
                ++counts[static_cast<size_t>((lag + 500) / 10)];
    }
    for (const CEventKM& other : Chan(firstUnit + 1).Events()) merged.push_back(other.onPosition);
    std::ranges::sort(merged);
    int64_t violations = 0;
    for (size_t i = 1; i < merged.size(); ++i) violations += merged[i] - merged[i - 1] < 300;
    EXPECT_EQ(std::get<int64_t>(merges[0][3]), all);
    EXPECT_EQ(std::get<int64_t>(merges[0][4]), violations);
    for (size_t i = 0; i < 100; ++i) EXPECT_EQ(std::get<int64_t>(lags[i][3]), counts[i]) << i;
    const Graph graph = *sorter.GetGraph();
    EXPECT_EQ(std::ssize(graph.Find("amplitudes")->layers[0].x), std::get<int64_t>(quality[0][1]));
    EXPECT_EQ(graph.Find("merges")->layers[0].y.size(), 100u);
}

TEST_F(FindShapesTest, TheTraceIsTheParentUnlessItIsSet) {
    std::vector<float> own(60000);
    doc->ReadBlock(0, 0, own);
    doc = MemoryDoc::Make(session, {std::vector<float>(own.size(), 1.0f), own}, 0.05);
    for (const int at : truth_[0]) Chan(candidates).AddEvent(at, at + 4);
    const auto run = [&](Settings settings) {
        RunMessages messages;
        CFindShapes sorter;
        sorter.SendMessagesTo(&messages);
        settings.emplace_back("stopAfter", "cluster");
        Run(sorter, With(settings));
        return messages.empty() ? RowsOf(sorter, "templates").empty() ? "none" : "found" : messages[0].text;
    };
    Chan(candidates).parentTrace = 1;
    EXPECT_EQ(run({}), "found");
    EXPECT_NE(run({{"trace", "1"}}), "found");
    Chan(candidates).parentTrace = -1;
    EXPECT_EQ(run({}), "Event channel a has no parent trace. Set the trace.");
    EXPECT_EQ(run({{"trace", "2"}}), "found");
    EXPECT_EQ(run({{"traces", "2"}}), "found");
}

TEST_F(FindShapesTest, TemplatesAreKeptForOtherRecordings) {
    CFindShapes sorter;
    ASSERT_EQ(Run(sorter, With({{"saveSet", "units.kymr-cfg"}, {"saveLibrary", "library.txt"}})), "");
    const Spans first = Found(firstUnit), second = Found(firstUnit + 1);
    const auto entries = std::get<int64_t>(sorter.Results()[3].values[1].second);
    const auto file = files.Open("library.txt", OpenMode::readOnly);
    std::string text(static_cast<size_t>(file->Length()), ' ');
    ReadWhole(*file, 0, std::as_writable_bytes(std::span(text)));
    EXPECT_EQ(std::ranges::count(text, '\n'), entries + 1);
    EXPECT_EQ(text.substr(text.find('\n') + 1, 14), "1\t-1\t-1\t0\t0\t0\t");

    CFindShapes again;
    ASSERT_EQ(Run(again, {{"polarity", "up"}, {"destination", "p"}, {"loadSet", "units.kymr-cfg"}}), "");
    EXPECT_EQ(Found(15), first);
    EXPECT_EQ(Found(16), second);
    EXPECT_EQ(Run(again, {{"loadSet", "library.txt"}}).substr(0, 43),
              "Unrecognized configuration file format. Exp");
    doc->sampleInterval = 0.1;
    EXPECT_NE(Run(again, {{"loadSet", "units.kymr-cfg"}}), "");
}

TEST_F(FindShapesTest, SpikesAreUnassigned) {
    CFindShapes sorter;
    ASSERT_EQ(Run(sorter, With({{"unassign", "1 5"}})), "");
    const auto rows = RowsOf(sorter, "spikes");
    EXPECT_EQ(std::get<std::string>(rows[0][3]), "0");
    EXPECT_EQ(std::get<std::string>(rows[4][3]), "0");
    EXPECT_EQ(Run(sorter, With({{"unassign", "381"}})), "There is no spike 381.");

    // Two candidates that are aligned at one peak are one spike, which is taken back whole.
    const int at = truth_[0][3];
    const auto isThere = [&](int channel) {
        return std::ranges::any_of(Chan(channel).Events(), [&](const CEventKM& event) {
            return std::abs(event.onPosition - at) <= 2;
        });
    };
    Chan(candidates).AddEvent(at + 1, at + 5);
    CFindShapes twins;
    ASSERT_EQ(Run(twins, With()), "");
    EXPECT_TRUE(isThere(ChannelOf(0)));
    const auto found = std::ranges::find_if(Chan(candidates).Events(),
                                            [&](const CEventKM& event) { return event.onPosition == at; });
    const auto spike = found - Chan(candidates).Events().begin() + 1;
    ASSERT_EQ(Run(twins, With({{"unassign", std::to_string(spike)}})), "");
    EXPECT_FALSE(isThere(firstUnit) || isThere(firstUnit + 1));

    // A candidate in the noise behind each of a few spikes, which a high threshold takes for the second unit.
    CFindShapes plain, tested;
    ASSERT_EQ(Run(plain, With({{"unassign", ""}, {"multiplier", "40"}})), "");
    ASSERT_EQ(Run(tested, With({{"multiplier", "40"}, {"unassignOutliers", "1"}, {"confidence", "3"}})), "");
    const int second = ChannelOf(1);
    for (int i = 1; i < Chan(second).GetNumEvents(); ++i)
        EXPECT_GT(Chan(second).Events()[static_cast<size_t>(i)].onPosition -
                      Chan(second).Events()[static_cast<size_t>(i) - 1].onPosition,
                  6);
}

TEST_F(FindShapesTest, RefusesWhatCannotBeSorted) {
    struct Case {
        const char* what;
        Settings settings;
        const char* says;
    };
    const Case cases[] = {
        {"empty source", {{"channel1", "z"}}, "No events in source channel.\r\n"},
        {"a cluster that is not there", {{"ignore", "40"}}, "There is no cluster 40"},
        {"merged with itself", {{"merge", "1+1"}}, "The primary and comparison templates must be different"},
        {"merged with nothing", {{"merge", "2"}}, "You need a comparison template to merge with."},
        {"merged and ignored",
         {{"merge", "1+2"}, {"ignore", "2"}},
         "You can't merge templates flagged as Ignore or Mixed."},
        {"no list", {{"mixed", "one"}}, "\"one\" is no list of clusters."},
        {"multiplier", {{"frequencyMultiplier", "3"}}, ""},
        {"short window", {{"windowStart", "-0.1"}, {"windowEnd", "0.1"}}, "The display window holds fewer"},
        {"analysis outside",
         {{"analysisStart", "-2"}, {"analysisEnd", "0.5"}},
         "The analysis window does not"},
        {"PCA turned round", {{"pcaStart", "0.5"}, {"pcaEnd", "0.2"}}, "The PCA window does not lie"},
        {"one file for two",
         {{"saveLibrary", "both.txt"}, {"saveSet", "both.txt"}},
         "The library and the set need a file each."},
        {"a library that is not built",
         {{"saveLibrary", "l.txt"}, {"stopAfter", "templates"}},
         "There is no mixture library yet"},
        {"a set before templates",
         {{"saveSet", "s.txt"}, {"stopAfter", "cluster"}},
         "There are no templates"},
        {"a set that is merged", {{"loadSet", "s.txt"}, {"merge", "1+2"}}, "The templates of a loaded set"},
        {"past the last channel", {{"destination", "998"}}, "The "},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        CFindShapes sorter;
        const std::string said = Run(sorter, With(one.settings));
        EXPECT_NE(said, "");
        EXPECT_EQ(said.substr(0, std::string_view(one.says).size()), one.says);
    }
    for (const int count : {1, 2, 3, 4, 19, 21}) {
        SCOPED_TRACE(count);
        CFindShapes few;
        Run(few, With({{"spikesToProcess", std::to_string(count)}}));
        const bool warns = std::ranges::any_of(
            host.messages, [](const Shown& shown) { return shown.text == fewSpikesText; });
        EXPECT_EQ(warns, count < 20);
    }
    doc = MemoryDoc::Make(session, {std::vector<float>(5000, 2.0f)}, 0.05);
    for (int i = 0; i < 40; ++i) Chan(candidates).AddEvent(100 + 100 * i, 104 + 100 * i);
    CFindShapes flat;
    EXPECT_EQ(Run(flat, With()), noNoiseText);
    EXPECT_EQ(Run(flat, With({{"alignPeaks", "0"}})), noNoiseText);
}

TEST_F(FindShapesTest, AsksBeforeItOverwritesAndLosesNothingWhenCancelled) {
    CFindShapes sorter;
    Chan(firstUnit).AddEvent(7, 9);
    host.cancelAtCall = 3;
    EXPECT_NE(Run(sorter, With({{"saveLibrary", "library.txt"}})), "");
    host.cancelAtCall = 0;
    EXPECT_EQ(Found(firstUnit), (Spans{{7, 9}}));
    EXPECT_FALSE(files.Stamp("library.txt"));
    EXPECT_TRUE(sorter.Results().empty());
    host.answer = false;
    EXPECT_NE(Run(sorter, With({{"saveLibrary", ""}})), "");
    EXPECT_EQ(host.questions.back().text, overwriteEventsText);
    EXPECT_EQ(Found(firstUnit), (Spans{{7, 9}}));
    host.answer = true;
    ASSERT_EQ(Run(sorter, With()), "");
    const Spans units = Found(firstUnit);
    files.Put("kept.txt", {});
    host.answer = false;
    EXPECT_NE(Run(sorter, With({{"destination", "m"}, {"saveSet", "kept.txt"}})), "");
    EXPECT_EQ(host.questions.back().text, "The file kept.txt exists. Replace it?");
    EXPECT_EQ(files.Stamp("kept.txt")->length, 0u);
    host.answer = false;
    EXPECT_NE(Run(sorter, With()), "");
    EXPECT_EQ(host.questions.back().text, sortedChannelText);
    EXPECT_EQ(Found(firstUnit), units);
    EXPECT_NE(Run(sorter, With({{"destination", "a"}})), "");
    EXPECT_EQ(host.questions.back().text, sourceInRangeText);
    Chan(firstUnit + 1).channelLocked = true;
    EXPECT_EQ(Run(sorter, With({{"destination", "f"}})), lockedChannelText);
}

}  // namespace
}  // namespace kymora::test
