// Events with other times: adjusted, shuffled, made points.

#include <algorithm>

#include "eventedit/event_adjust_times.h"
#include "eventedit/event_edit_fixture.h"
#include "eventedit/event_shuffle_resample.h"
#include "eventedit/make_point_process.h"
#include "eventedit/shuffle_intervals.h"

namespace kymora::test {
namespace {

class EventTimesTest : public EventEditTest {
  protected:
    // Samples by hand; the rest of the hundred is 0.
    void SetSamples(std::vector<float> samples) {
        samples.resize(100);
        doc = MemoryDoc::Make(session, {samples, std::vector<float>(100, 1.0f)}, 0.5);
        Chan(0).parentTrace = 0;
    }
    std::string Report() const {
        const size_t at = doc->historyLog.rfind("Destination event channel: ");
        return at == std::string::npos ? doc->historyLog
                                       : doc->historyLog.substr(doc->historyLog.find("\r\n", at) + 2);
    }
};

// --- adjusting ---

TEST_F(EventTimesTest, Adjustments) {
    struct Case {
        const char* what;
        Settings settings;  // a sample is 0.5 ms
        Spans events, found;
        const char* report;
    };
    const Case cases[] = {
        {"both ends move by one time, and what leaves the recording goes",
         {{"kind", "0"}, {"start", "2"}, {"end", "50"}},
         {{0, 2}, {10, 13}, {94, 98}, {96, 99}},
         {{4, 6}, {14, 17}, {98, 100}},
         "Offset adjustment (+/- ms)\r\n\tTime = T + 2.000000\tS.D. = 0.000000\r\n\t\r\n"},
        {"each end by its own, out of order at last",
         {{"kind", "1"}, {"start", "-10"}, {"end", "1"}},
         {{5, 6}, {30, 40}, {32, 33}},
         {{0, 8}, {10, 42}, {12, 35}},
         "Adjust start and/or end (+/- ms)\r\n\tStart time = T + -10.000000\r\n\tEnd time = T + "
         "1.000000\r\n\tS.D.  "
         "= 0.000000\r\n\t\r\n"},
        {"an end that is not after its start",
         {{"kind", "1"}, {"start", "1"}, {"end", "-1"}},
         {{10, 14}, {20, 25}},
         {{22, 23}},
         nullptr},
        {"a part that no float holds",
         {{"kind", "2"}, {"start", "0.35"}, {"end", "1"}},
         {{10, 20}},
         {{14, 20}},
         nullptr},
        {"parts of the duration, from the old start; later ones may overtake",
         {{"kind", "2"}, {"start", "-0.5"}, {"end", "0.5"}},
         {{10, 20}, {12, 13}, {14, 34}},
         {{4, 24}, {5, 15}, {12, 13}},
         "Adjust relative to event duration (+/- fraction)\r\n\tStart time = T + -0.500000\r\n\tEnd time = t "
         "+ "
         "0.500000 \r\n"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        Fill(0, one.events);
        CEventAdjustTimes adjust;
        Settings settings = one.settings;
        settings.emplace_back("destination", "c");
        Set(adjust, settings);
        ASSERT_TRUE(adjust.Run());
        EXPECT_EQ(Found(2), one.found);
        EXPECT_EQ(Count(adjust, "Deleted"), std::ssize(one.events) - std::ssize(one.found));
        if (one.report) {
            EXPECT_EQ(Report(), one.report + std::string("\r\n"));
        }
    }
}

// A value that nobody has set follows the kind, whatever became of the other one.
TEST_F(EventTimesTest, ValuesFollowTheKind) {
    struct Case {
        Settings settings;
        double start, end;
    };
    const Case cases[] = {
        {{{"kind", "2"}}, 0.0, 1.0},
        {{{"kind", "2"}, {"kind", "3"}}, 50.0, 50.0},
        {{{"start", "0.2"}, {"kind", "2"}}, 0.2, 1.0},
        {{{"end", "0.5"}, {"kind", "2"}}, 0.0, 0.5},
        {{{"start", "0"}, {"kind", "3"}}, 0.0, 50.0},
        {{{"start", "-5"}, {"end", "20000001"}, {"kind", "1"}}, -5.0, 20000001.0},
    };
    for (const Case& one : cases) {
        CEventAdjustTimes adjust;
        Set(adjust, one.settings);
        EXPECT_EQ(adjust.m_dStart, one.start);
        EXPECT_EQ(adjust.m_dEnd, one.end);
    }
    CEventAdjustTimes saved, loaded;
    saved.m_nKind = 1;
    saved.m_dStart = 50.0, saved.m_dEnd = 0.0;
    loaded.TakeSettings(saved.Settings());
    Set(loaded, {{"kind", "2"}});
    EXPECT_EQ(loaded.m_dStart, 50.0) << "ms of a file, and no half of a peak";
    EXPECT_EQ(loaded.m_dEnd, 1.0);
}

// One draw moves both ends of an event, or there is one for each; the session's seed gives them.
TEST_F(EventTimesTest, RandomAdjustments) {
    Spans events;
    for (int i = 1; i < 9; ++i) events.emplace_back(10 * i, 10 * i + 5);
    Fill(0, events);
    const auto run = [&](const char* kind, uint64_t seed) {
        session.Seed(seed);
        CEventAdjustTimes adjust;
        EXPECT_EQ(Run(adjust, {{"kind", kind}, {"sd", "1"}, {"destination", "c"}}), "");
        return Found(2);
    };
    const Spans moved = run("0", 4);
    EXPECT_NE(moved, events);
    for (const auto& [on, off] : moved) EXPECT_EQ(off - on, 5);
    const Spans stretched = run("1", 4);
    EXPECT_TRUE(
        std::any_of(stretched.begin(), stretched.end(), [](auto e) { return e.second - e.first != 5; }));
    EXPECT_EQ(run("1", 4), stretched) << "the same seed";
    EXPECT_NE(run("1", 5), stretched) << "another one";
    const std::mt19937 before = session.random;
    CEventAdjustTimes refused;
    EXPECT_NE(Run(refused, {{"sd", "1"}, {"destination", "a"}}), "");
    EXPECT_EQ(session.random, before) << "a run that is refused draws nothing";
}

TEST_F(EventTimesTest, BracketsThePeak) {
    struct Case {
        const char* what;
        std::vector<float> samples;
        const char *rising, *falling;  // %
        Spans events, found;
    };
    const std::vector<float> hill{0, 0, 2, 4, 8, 10, 8, 4, 4, 2, 2, 0};
    const Case cases[] = {
        {"half way up, from the trough within the event", hill, "50", "50", {{1, 9}}, {{4, 7}}},
        {"from the very trough", hill, "0", "0", {{0, 12}}, {{2, 11}}},
        {"the peak alone", hill, "100", "100", {{0, 12}}, {{5, 6}}},
        {"below the trough", hill, "-10", "-10", {{2, 8}}, {{2, 8}}},
        {"the first of two peaks; the last sample above counts, whatever lies between",
         {0, 5, 9, 2, 9, 7, 0, 3},
         "50",
         "50",
         {{0, 8}},
         {{1, 6}}},
        {"no left side", {9, 5, 1, 0}, "50", "50", {{0, 4}}, {{0, 2}}},
        {"level", {3, 3, 3, 3}, "50", "50", {{0, 4}}, {{0, 1}}},
        {"two events, the later one first in time", hill, "50", "50", {{1, 9}, {90, 95}}, {{4, 7}, {90, 91}}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        SetSamples(one.samples);
        Fill(0, one.events);
        CEventAdjustTimes adjust;
        ASSERT_EQ(
            Run(adjust, {{"kind", "3"}, {"start", one.rising}, {"end", one.falling}, {"destination", "c"}}),
            "");
        EXPECT_EQ(Found(2), one.found);
        EXPECT_EQ(Chan(2).parentTrace, 0);
    }
    EXPECT_EQ(Report(),
              "Bracket peak\r\n\tParent trace = 1\r\n\tRising slope % = 50.000000\r\n\tFalling slope % = "
              "50.000000\r\n\r\n");
    Chan(0).parentTrace = -1;
    CEventAdjustTimes adjust;
    EXPECT_EQ(Run(adjust, {{"kind", "3"}, {"destination", "c"}}),
              "Event channel a has no parent trace in which a peak could be bracketed.");
}

// --- points ---

TEST_F(EventTimesTest, Points) {
    const std::vector<float> samples{0, 1, 5, 5, 1, 0, 7, 7, 7, 7, -2, -3, -3, 10, 1e6f, 1e6f + 4, 1e6f};
    struct Case {
        const char *method, *fraction;
        Spans events;
        std::vector<int> points;
    };
    const Case cases[] = {
        {"0", "0", {{3, 9}, {20, 21}}, {3, 20}},
        {"0", "1", {{3, 9}, {20, 20}}, {8, 20}},
        {"0", "0.25", {{10, 20}, {50, 52}}, {13, 51}},
        {"0", "0.5", {{-4, 4}, {90, 120}}, {0, 105}},
        {"1", "0", {{0, 6}, {6, 10}, {10, 14}}, {3, 8, 13}},  // 30/12 = 2.5; level: 1.5; a far peak
        {"1", "0", {{14, 17}}, {15}},
        {"2", "0", {{0, 6}, {6, 10}, {11, 12}}, {2, 6, 11}},
        {"3", "0", {{0, 6}, {9, 14}, {-5, 1}}, {0, 0, 11}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(std::string("method ") + one.method + ", fraction " + one.fraction);
        SetSamples(samples);
        Fill(0, one.events);
        CMakePointProcess make;
        ASSERT_EQ(
            Run(make,
                {{"method", one.method}, {"trace", "1"}, {"fraction", one.fraction}, {"destination", "c"}}),
            "");
        std::vector<int> points;
        for (const auto& [on, off] : Found(2)) {
            points.push_back(on);
            EXPECT_EQ(off, on + 1);
        }
        EXPECT_EQ(points, one.points);
    }
}

TEST_F(EventTimesTest, PointsKeepWhatTheEventsHaveAndSayWhatTheyAreOf) {
    SetSamples({1, 2, 3});
    FillEvents(0, {CEventKM{0, 3, 7.5f, 3, 0x123456, "burst"}, CEventKM{120, 130}});
    CMakePointProcess make;
    EXPECT_TRUE((Set(make, {{"method", "2"}, {"trace", "1"}, {"destination", "c"}}), make.Run()));
    EXPECT_EQ(host.LastMessage(), "1 event without samples in trace 1 was left out.");
    ASSERT_EQ(Chan(2).GetNumEvents(), 1);
    EXPECT_EQ(Chan(2).Events()[0], (CEventKM{2, 3, 7.5f, 3, 0x123456, "burst"}));
    EXPECT_EQ(Chan(2).GetDetectionMethodName(), std::string("point process"));
    EXPECT_EQ(Chan(2).parentTrace, 0);
    EXPECT_EQ(Report(), "Max of trace 1\r\n\r\n");
    doc->Undo().Undo();
    EXPECT_EQ(Chan(2).GetNumEvents(), 0);
    EXPECT_EQ(Run(make, {{"trace", "3"}}), noSuchTraceText);
    EXPECT_EQ(Run(make, {{"method", "0"}, {"fraction", "0.5"}}), "") << "which needs no trace";
    EXPECT_EQ(Report(), "Relative fraction: 0.500000\r\n\r\n");
}

// --- surrogates ---

TEST(ReorderIntervalsTest, KeepsIntervals) {
    std::mt19937 random(3);
    const std::vector<int32_t> onsets{-2, 0, 0, 5, 30, 31};
    const auto intervals = [](const auto& of) {
        std::vector<int64_t> all;
        for (size_t i = 1; i < of.size(); ++i) all.push_back(int64_t{of[i]} - of[i - 1]);
        std::sort(all.begin(), all.end());
        return all;
    };
    bool repeats = false;
    for (int round = 0; round < 50; ++round) {
        const auto shuffled = ReorderIntervals(onsets, IntervalOrder::shuffle, random);
        EXPECT_EQ(shuffled.front(), -2);
        EXPECT_EQ(intervals(shuffled), intervals(onsets));
        const auto drawn = intervals(ReorderIntervals(onsets, IntervalOrder::resample, random));
        const auto all = intervals(onsets);
        for (const int64_t interval : drawn)
            EXPECT_TRUE(std::binary_search(all.begin(), all.end(), interval));
        repeats |= drawn.size() == 5 && drawn != all;
    }
    EXPECT_TRUE(repeats) << "drawn with replacement";
    EXPECT_TRUE(ReorderIntervals({}, IntervalOrder::resample, random).empty());
    const std::vector<int32_t> one{7};
    EXPECT_EQ(ReorderIntervals(one, IntervalOrder::shuffle, random), std::vector<int64_t>{7});
}

TEST_F(EventTimesTest, SurrogatesKeepTheEventsAndDropWhatPassesTheEnd) {
    FillEvents(0, {CEventKM{0, 0}, CEventKM{2, 5, 1.0f, 0, 0, "x"}, CEventKM{80, 83, 2.0f, 1},
                   CEventKM{90, 96, 3.0f}});
    Chan(0).SetEventExtra({{0, 0, 0}, {1, 1, 1}, {2, 2, 2}, {3, 3, 3}});
    CEventShuffleResample shuffle;
    ASSERT_EQ(Run(shuffle, {{"destination", "c"}}), "");
    ASSERT_EQ(Chan(2).GetNumEvents(), 4) << "the last one begins where it did";
    for (int i = 0; i < 4; ++i) {
        const CEventKM &was = Chan(0).Events()[static_cast<size_t>(i)],
                       &is = Chan(2).Events()[static_cast<size_t>(i)];
        EXPECT_EQ(is.offPosition - is.onPosition, was.offPosition - was.onPosition);
        EXPECT_EQ(is.eventValue, was.eventValue);
        EXPECT_EQ(is.eventLabel, was.eventLabel);
    }
    EXPECT_EQ(Chan(2).EventExtra(), Chan(0).EventExtra());
    EXPECT_EQ(Report(), "Shuffle source event channel.\r\n\r\n");
    // Two intervals of 78 do not fit.
    for (uint64_t seed = 0; seed < 20; ++seed) {
        session.Seed(seed);
        Set(shuffle, {{"kind", "1"}});
        host.Forget();
        ASSERT_TRUE(shuffle.Run());
        const int64_t dropped = Count(shuffle, "Dropped");
        EXPECT_EQ(Chan(2).GetNumEvents(), 4 - dropped);
        if (dropped == 1) {
            EXPECT_EQ(host.LastMessage(), "1 event passed the end of the recording and was left out.");
            return;
        }
    }
    FAIL() << "nothing passed the end";
}

}  // namespace
}  // namespace kymora::test
