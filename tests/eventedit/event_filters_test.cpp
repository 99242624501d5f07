// The filters of events as a user or a terminal runs them.

#include <cmath>
#include <random>

#include "archive/case_folding.h"
#include "eventedit/event_adjust_times.h"
#include "eventedit/event_edit_fixture.h"
#include "eventedit/event_freq_filter.h"
#include "eventedit/event_label_filter.h"
#include "eventedit/event_time_filter.h"
#include "eventedit/event_value_filter.h"
#include "eventedit/interval_filter.h"

namespace kymora::test {
namespace {

class EventFilterTest : public EventEditTest {
  protected:
    // What the last entry of the history says below its title.
    std::string Report() const {
        const size_t at = doc->historyLog.rfind("\r\n\r\n", doc->historyLog.size() - 5);
        const size_t begin = at == std::string::npos ? 0 : at + 4;
        const size_t line = doc->historyLog.find("\r\n", begin) + 2;
        return doc->historyLog.substr(line, doc->historyLog.size() - line - 2);
    }
};

// --- by time ---

TEST_F(EventFilterTest, Times) {
    struct Case {
        const char* what;
        const char *off, *on, *most;  // ms; a sample is 0.5 ms
        Spans events, found;
        const char* summary;
    };
    const Case cases[] = {
        {"as it is", "0", "0", "100000", {{0, 2}, {2, 4}, {5, 5}}, {{0, 2}, {2, 4}, {5, 5}}, "of 3 events"},
        {"a gap of just the minimum stays",
         "1.5",
         "0",
         "100",
         {{0, 2}, {4, 6}, {9, 12}, {15, 16}},
         {{0, 6}, {9, 12}, {15, 16}},
         "of 4 events, 1 joined"},
        {"limits are inclusive",
         "0",
         "1",
         "2",
         {{0, 1}, {10, 12}, {20, 24}, {30, 35}},
         {{10, 12}, {20, 24}},
         "of 4 events, 1 too short, 1 too long"},
        {"what is joined is measured whole",
         "2",
         "3",
         "100",
         {{0, 2}, {4, 6}, {20, 22}},
         {{0, 6}},
         "of 3 events, 1 joined, 1 too short"},
        {"out of order",
         "1",
         "0",
         "100",
         {{20, 22}, {0, 2}, {3, 5}},
         {{0, 5}, {20, 22}},
         "of 3 events, 1 joined"},
        {"nothing", "1", "1", "1", {}, {}, "of 0 events"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        Fill(0, one.events);
        CEventTimeFilter filter;
        ASSERT_EQ(Run(filter, {{"minimumOffTime", one.off},
                               {"minimumOnTime", one.on},
                               {"maximumOnTime", one.most},
                               {"destination", "c"}}),
                  "");
        EXPECT_EQ(Found(2), one.found);
        EXPECT_EQ(filter.RunSummary(), one.summary);
    }
    EXPECT_EQ(Report(), "Source channel: a\r\nDestination channel: c\r\n\tMinimum off time = 1.000000\r\n"
                        "\tMinimum on time = 1.000000\r\n\tMaximum on time = 1.000000\r\n");
}

// Times are told apart to the sample in long recordings, too, where a float has no digits left.
TEST_F(EventFilterTest, LongTimes) {
    doc = MemoryDoc::MakeEmpty(session, 100'000'000, 1.0);
    Fill(0, {{0, 20'000'000}, {30'000'000, 50'000'001}, {60'000'000, 80'000'002}});
    CEventTimeFilter filter;
    ASSERT_EQ(
        Run(filter, {{"minimumOnTime", "20000001"}, {"maximumOnTime", "20000001"}, {"destination", "c"}}),
        "");
    EXPECT_EQ(Found(2), (Spans{{30'000'000, 50'000'001}}));
    EXPECT_NE(Run(filter, {{"minimumOnTime", "20000002"}}), "") << "none could be as long";
}

// --- settings of version 1 ---

// The record with these of its numbers as the floats of version 1, which stands so many bytes before them.
std::vector<std::byte> OfVersion1(std::vector<std::byte> record, const std::vector<double>& numbers,
                                  size_t versionBefore) {
    const auto doubles = std::as_bytes(std::span(numbers));
    const auto at = std::ranges::search(record, doubles).begin();
    EXPECT_NE(at, record.end());
    const auto place = at - record.begin();
    record[static_cast<size_t>(place) - versionBefore] = std::byte{1};
    const std::vector<float> narrow(numbers.begin(), numbers.end());
    const auto floats = std::as_bytes(std::span(narrow));
    record.erase(at, at + std::ssize(doubles));
    record.insert(record.begin() + place, floats.begin(), floats.end());
    return record;
}

TEST_F(EventFilterTest, SettingsOfVersion1KeepTheirFloats) {
    CEventAdjustTimes adjust, oldAdjust;
    adjust.m_nKind = 2;
    adjust.m_dStart = 0.35, adjust.m_dEnd = 0.9, adjust.m_dSd = 0.1;
    oldAdjust.TakeSettings(OfVersion1(adjust.Settings(), {0.35, 0.9, 0.1}, 8));
    EXPECT_EQ(oldAdjust.m_dStart, double{0.35f});
    EXPECT_EQ(oldAdjust.m_dSd, double{0.1f});
    Fill(0, {{10, 20}});
    EXPECT_EQ(Run(oldAdjust, {{"destination", "c"}}), "");
    EXPECT_EQ(Found(2), (Spans{{13, 19}})) << "as it was then";

    CEventTimeFilter time, oldTime;
    time.m_dMinimumOff = 0.7, time.m_dMinimumOn = 1.3, time.m_dMaximumOn = 2147483547.0;
    oldTime.TakeSettings(OfVersion1(time.Settings(), {0.7, 1.3, 2147483547.0}, 4));
    EXPECT_EQ(oldTime.m_dMinimumOn, double{1.3f});
    EXPECT_EQ(oldTime.Validate(), "") << "the greatest time was rounded up";

    CEventValueFilter value, oldValue;
    value.m_dMultiplier = {0.3, 2.5};
    value.m_dPercentile = {0.1, 99.9};
    value.m_nTagChannel = 7;
    oldValue.TakeSettings(OfVersion1(value.Settings(), {0.3, 2.5, 0.1, 99.9}, 24));
    EXPECT_EQ(oldValue.m_dMultiplier[0], double{0.3f});
    EXPECT_EQ(oldValue.m_dPercentile[1], double{99.9f});
    EXPECT_EQ(oldValue.m_nTagChannel, 7);
    for (auto [settings, again] : {std::pair<CBatchBaseDlg*, CBatchBaseDlg*>{&adjust, &oldAdjust},
                                   {&time, &oldTime},
                                   {&value, &oldValue}}) {
        again->TakeSettings(settings->Settings());
        EXPECT_EQ(again->Settings(), settings->Settings()) << "those of today lose no digit";
    }
}

// --- what every filter keeps ---

TEST_F(EventFilterTest, KeptEventsAndTheirChannel) {
    const CEventKM kept{10, 20, 7.5f, 3, 0x123456, "burst Ä"};
    FillEvents(0, {CEventKM{50, 60}, CEventKM{30, 40, 1.0f, 0, 0, "noise"}, kept});
    Chan(0).SetEventExtra({{1, 1, 1}, {2, 2, 2}, {3, 3, 3}});
    Chan(0).parentTrace = 0;
    Chan(0).detectionMethod = methodFixedTemplate;
    Chan(0).templateData = {1.0f, 2.0f};
    Chan(0).detection.templateTrace = 4;
    Chan(0).channelComment = "found";
    CEventLabelFilter filter;
    filter.CheckChangeDoc(doc.get());
    EXPECT_EQ(filter.m_nDestination, 1) << "the first free channel";
    ASSERT_EQ(Run(filter, {{"channel1", "a"}, {"search", "BURST ä"}, {"mode", "1"}, {"searchAsLabel", "1"}}),
              "");
    ASSERT_EQ(Chan(1).GetNumEvents(), 1);
    EXPECT_EQ(Chan(1).Events()[0], kept);
    EXPECT_EQ(Chan(1).EventExtra(), (std::vector<std::array<float, 3>>{{3, 3, 3}})) << "the row of the event";
    EXPECT_EQ(Chan(1).parentTrace, 0);
    EXPECT_EQ(Chan(1).detectionMethod, methodFixedTemplate);
    EXPECT_EQ(Chan(1).templateData, Chan(0).templateData);
    EXPECT_EQ(Chan(1).detection, Chan(0).detection);
    EXPECT_EQ(Chan(1).channelLabel, "BURST ä");
    EXPECT_EQ(Chan(1).channelComment, "found");
    EXPECT_EQ(Count(filter, "Dropped"), 2);
    EXPECT_EQ(Found(0), (Spans{{50, 60}, {30, 40}, {10, 20}})) << "the source stays as it is";
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Chan(1).GetNumEvents(), 0);
    EXPECT_EQ(Chan(1).channelLabel, "");
    EXPECT_EQ(Run(filter, {{"destination", "a"}}), channelIsSourceText);
}

// --- by label ---

TEST_F(EventFilterTest, Labels) {
    FillEvents(0, {CEventKM{0, 1, 0, 0, 0, "Spike"}, CEventKM{2, 3, 0, 0, 0, "spikes"}, CEventKM{4, 5},
                   CEventKM{6, 7, 0, 0, 0, "no SPIKE here"}});
    struct Case {
        const char *search, *mode, *sensitive;
        Spans found;
        const char* report;
    };
    const Case cases[] = {
        {"spike",
         "0",
         "0",
         {{0, 1}, {2, 3}, {6, 7}},
         "Search string:\tspike\r\nLabel must contain search string (case insensitive)\r\n"},
        {"spike",
         "0",
         "1",
         {{2, 3}},
         "Search string:\tspike\r\nLabel must contain search string (case sensitive)\r\n"},
        {"SPIKE",
         "1",
         "0",
         {{0, 1}},
         "Search string:\tSPIKE\r\nLabel must match search string (case insensitive)\r\n"},
        {"spike",
         "1",
         "1",
         {},
         "Search string:\tspike\r\nLabel must match search string (case sensitive)\r\n"},
        {"no SPIKE here",
         "1",
         "1",
         {{6, 7}},
         "Search string:\tno SPIKE here\r\nLabel must match search string (case sensitive)\r\n"},
    };
    for (const Case& one : cases) {
        CEventLabelFilter filter;
        const Settings settings{{"search", one.search},
                                {"mode", one.mode},
                                {"caseSensitive", one.sensitive},
                                {"destination", "b"}};
        ASSERT_EQ(Run(filter, settings), "");
        EXPECT_EQ(Found(1), one.found) << one.report;
        EXPECT_EQ(Report(),
                  std::string("Source event channel: a\r\nDestination event channel: b\r\n") + one.report);
    }
    CEventLabelFilter filter;
    EXPECT_EQ(Run(filter, {{"destination", "b"}}),
              "You need text to search for in the source event labels. CANCEL to abandon");
}

TEST(CaseFoldingTest, OneLetterForOne) {
    for (const auto& [text, folded] : {std::pair<std::string, std::string>{"Az09_é", "az09_é"},
                                       {"ÄÖÜ ẞß", "äöü ßß"},
                                       {"ΣΊΣΥΦΟΣ ς", "σίσυφοσ σ"},
                                       {"ЖЩЫ Ѐ", "жщы ѐ"},
                                       {"K\xE2\x84\xAA Ω\xE2\x84\xA6", "kk ωω"},  // Kelvin, ohm
                                       {"ĀāĂ İıIi", "āāă İıii"},
                                       {"ﬀ ǅ ꭰ", "ﬀ ǆ Ꭰ"},
                                       {"\xF0\x90\x90\x80 脳 𝄞", "\xF0\x90\x90\xA8 脳 𝄞"},
                                       {"A\xFF\xC3", "a\xFF\xC3"},
                                       {"\xE2\x84Q", "\xE2\x84q"},
                                       {"", ""}}) {
        std::string found = "left from before";
        FoldUnicodeCase(text, found);
        EXPECT_EQ(found, folded);
        FoldUnicodeCase(folded, found);
        EXPECT_EQ(found, folded) << "folded already";
    }
}

// --- by frequency ---

TEST_F(EventFilterTest, Frequencies) {
    // Intervals of 2, 2, 2 and 2, 6 and 4 samples, and none; a sample is 0.5 ms.
    Fill(0, {{0, 10}, {20, 30}, {40, 50}, {60, 70}, {80, 90}});
    Fill(1, {{1, 2},
             {3, 4},
             {5, 6},
             {7, 30},
             {20, 21},
             {22, 23},
             {28, 29},
             {45, 46},
             {49, 50},
             {65, 66},
             {90, 91}});
    struct Case {
        const char *count, *most, *least, *cv;
        Spans found;
    };
    const Case cases[] = {
        {"1", "100", "0", "1000", {{0, 10}, {20, 30}, {40, 50}}},
        {"2", "100", "0", "1000", {{0, 10}, {20, 30}}},
        {"3", "100", "0", "1000", {{0, 10}}},
        {"1", "1", "0", "1000", {{0, 10}}},
        {"1", "2", "2", "1000", {{20, 30}, {40, 50}}},
        {"1", "100", "0", "70.72", {{0, 10}, {20, 30}, {40, 50}}},  // s.d. 2.828, mean 4
        {"1", "100", "0", "70.7", {{0, 10}, {40, 50}}},
        {"1", "100", "0", "0", {{0, 10}, {40, 50}}},
    };
    for (const Case& one : cases) {
        CEventFreqFilter filter;
        ASSERT_EQ(Run(filter, {{"minIntervalCount", one.count},
                               {"maxAverageInterval", one.most},
                               {"minAverageInterval", one.least},
                               {"maxCv", one.cv},
                               {"destination", "c"}}),
                  "");
        EXPECT_EQ(Found(2), one.found) << one.count << " " << one.most << " " << one.least << " " << one.cv;
    }
    EXPECT_EQ(Report(), "Enclosing  channel: a\r\nFilter channel: b\r\nDestination channel: c\r\n"
                        "\tMinimum interval count = 1\r\n\tMaximum average interval = 100.000000\r\n"
                        "\tMinimum average interval = 0.000000\r\n"
                        "\tMaximum coefficient of variation = 0.000000\r\n");
    CEventFreqFilter filter;
    EXPECT_EQ(Run(filter, {{"minAverageInterval", "200"}, {"maxAverageInterval", "100"}}), averageOrderText);
    EXPECT_EQ(Run(filter, {{"minAverageInterval", "0"}, {"destination", "b"}}), channelIsSourceText);
}

// Whatever order, overlap and length the events have, as one by one.
TEST(IntervalFilterTest, AsOneByOne) {
    std::mt19937 random(5);
    const auto events = [&](int count, int longest) {
        CEventChan chan;
        for (int i = 0; i < count; ++i) {
            const auto on = static_cast<int32_t>(random() % 60) - 3;
            chan.AppendLoaded({on, on + static_cast<int32_t>(random() % static_cast<unsigned>(longest)) - 1});
        }
        return chan;
    };
    for (int round = 0; round < 500; ++round) {
        const CEventChan enclosing = events(6, 40), others = events(12, 3);
        const IntervalLimits limits{static_cast<int32_t>(random() % 4), static_cast<float>(random() % 3),
                                    static_cast<float>(random() % 8), static_cast<float>(random() % 150)};
        const EventsByOnset sorted(enclosing), sortedOthers(others);
        const auto chosen = ChooseByIntervals(sorted, sortedOthers, limits, 0.5);
        for (int rank = 0; rank < sorted.Size(); ++rank) {
            std::vector<double> onsets, intervals;
            for (int i = 0; i < sortedOthers.Size(); ++i)
                if (sortedOthers.On(i) >= sorted.On(rank) && sortedOthers.On(i) < sorted.Off(rank))
                    onsets.push_back(0.5 * sortedOthers.On(i));
            for (size_t i = 1; i < onsets.size(); ++i) intervals.push_back(onsets[i] - onsets[i - 1]);
            double mean = 0.0, squares = 0.0;
            for (const double one : intervals) mean += one / static_cast<double>(intervals.size());
            for (const double one : intervals) squares += (one - mean) * (one - mean);
            const double sd =
                intervals.size() < 2 ? 0.0 : std::sqrt(squares / static_cast<double>(intervals.size() - 1));
            const bool meets = !intervals.empty() && std::ssize(intervals) >= limits.minimumCount &&
                               mean > limits.minimumAverage - 1e-9 && mean < limits.maximumAverage + 1e-9 &&
                               (mean == 0.0 ? 0.0 : 100.0 * sd / mean) < limits.maximumCv + 1e-6;
            ASSERT_EQ(chosen[static_cast<size_t>(rank)] != 0, meets) << round;
        }
    }
}

// --- by value ---

TEST_F(EventFilterTest, Values) {
    // Durations of 1, 2, 3, 4 and 10 ms; the tagged ones are those of 2 and 4 ms.
    FillEvents(0, {CEventKM{0, 2}, CEventKM{10, 14, 0, 7}, CEventKM{20, 26}, CEventKM{30, 38, 0, 9},
                   CEventKM{50, 70}, CEventKM{100, 104}});
    struct Case {
        const char* what;
        Settings settings;
        Spans found;
        std::string report;
    };
    const Case cases[] = {
        {"beyond the minimum, and not at it",
         {{"minimum", "3"}},
         {{30, 38}, {50, 70}},
         "Minimum = 3.000000\r\n\tLimit source: direct value\r\n\t\t"},
        {"below the maximum",
         {{"limit", "1"}, {"maximum", "3"}},
         {{0, 2}, {10, 14}},
         "Maximum = 3.000000\r\n\tLimit source: direct value\r\n\t\t"},
        {"between both",
         {{"limit", "both"}, {"minimum", "1"}, {"maximum", "4"}},
         {{10, 14}, {20, 26}},
         "Minimum = 1.000000 and maximum = 4.000000\r\n\tLimit source: direct value\r\n\t\t"},
        {"mean 4, s.d. sqrt(12.5)",
         {{"limit", "2"}, {"limitSource", "1"}, {"minimumMultiplier", "0.5"}},
         {{20, 26}, {30, 38}},
         "Minimum = 2.232233 and maximum = 7.535534\r\n\tLimit source: mean +/- s.d. * mult\r\n"
         "\t\tmult: min 0.500000, max 1.000000\r\n"},
        {"median 3, MAD 1",
         {{"limit", "1"}, {"limitSource", "2"}, {"maximumMultiplier", "0.5"}},
         {{0, 2}, {10, 14}, {20, 26}},
         "Maximum = 3.741290\r\n\tLimit source: median +/- robust s.d. * mult\r\n"
         "\t\tmult: min 1.000000, max 0.500000\r\n"},
        {"the second and the fourth",
         {{"limit", "2"}, {"limitSource", "3"}, {"minimumPercentile", "40"}, {"maximumPercentile", "80"}},
         {{20, 26}},
         "Minimum = 2.000000 and maximum = 4.000000\r\n\tLimit source: value percentile\r\n"
         "\t\tpercentile: on 40.000000, off 80.000000\r\n"},
        {"tagged",
         {{"limit", "2"},
          {"limitSource", "4"},
          {"minimumTag", "7"},
          {"maximumTag", "9"},
          {"maximumMultiplier", "2"}},
         {{20, 26}, {30, 38}},
         "Minimum = 2.000000 and maximum = 8.000000\r\n\tLimit source: tagged event\r\n"
         "\t\tmin tag: 7, id a\tmax tag: 9, id a\r\n\t\tmult: min 1.000000, max 2.000000\r\n"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        CEventValueFilter filter;
        ASSERT_EQ(Run(filter, {{"destination", "c"}, {"parameter", "On Dur"}}), "");
        ASSERT_EQ(Run(filter, one.settings), "");
        EXPECT_EQ(Found(2), one.found) << "an event outside the recording has no value";
        std::string report =
            "Source event channel: a\r\nDestination event channel: c\r\nFilter by: On Dur\r\n\tLimit: ";
        report += one.report;
        EXPECT_EQ(Report(), report.ends_with("\r\n") ? report : report + "\r\n");
        CEventValueFilter again;
        again.TakeSettings(filter.Settings());
        EXPECT_EQ(again.Settings(), filter.Settings());
    }
}

TEST_F(EventFilterTest, OtherParametersAndRefusals) {
    Fill(0, {{10, 20}, {30, 40}, {80, 90}});
    Fill(1, {{0, 1}, {35, 36}});
    CEventValueFilter filter;
    const Settings base{{"destination", "c"}, {"parameter", "Interval"}, {"minimum", "20"}};
    ASSERT_EQ(Run(filter, base), "");
    EXPECT_EQ(Found(2), (Spans{{30, 40}})) << "the last event has no interval";
    ASSERT_EQ(Run(filter, {{"parameter", "Lat 1 from prev 2"}, {"channel2", "b"}, {"minimum", "10"}}), "");
    EXPECT_EQ(Found(2), (Spans{{30, 40}, {80, 90}}));
    EXPECT_NE(Report().find("Event channel 2: b\r\n"), std::string::npos);
    EXPECT_EQ(Run(filter, {{"destination", "b"}}), channelIsSourceText);
    EXPECT_EQ(Run(filter, {{"destination", "c"}, {"parameter", "Maximum"}}),
              "Event channel a has no parent trace. \"Maximum\" is measured in one.");
    Chan(0).parentTrace = 0;
    ASSERT_EQ(Run(filter, {{"minimum", "39"}}), "");
    EXPECT_EQ(Found(2), (Spans{{80, 90}}));
    EXPECT_EQ(Run(filter, {{"limit", "2"}, {"maximum", "39"}}),
              "The minimum limit must be less than the maximum limit.");
    EXPECT_EQ(Run(filter, {{"limitSource", "3"}, {"minimumPercentile", "90"}, {"maximumPercentile", "10"}}),
              "The minimum limit must be less than the maximum limit.");
    EXPECT_EQ(Run(filter, {{"limitSource", "4"}, {"minimumTag", "5"}}),
              "No event of channel a has the tag '5'. Choose another tag or channel for the limit.");
    EXPECT_EQ(Found(2), (Spans{{80, 90}})) << "what was refused has changed nothing";
    ParamList params = filter.Params();
    for (const std::string& name : params.Find("parameter")->choices)
        EXPECT_TRUE(name != "None" && name != "DWT A" && name != "AutoCorr" && name != "Val at time A")
            << name;
}

}  // namespace
}  // namespace kymora::test
