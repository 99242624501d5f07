// Logic and merging of event channels: against bitmaps, and as operations.

#include "eventedit/event_logic.h"

#include <random>

#include "eventedit/event_edit_fixture.h"
#include "eventedit/event_merge_overlap.h"
#include "eventedit/merge_overlaps.h"

namespace kymora::test {
namespace {

constexpr int bits = 24;

std::vector<CEventKM> RandomEvents(std::mt19937& random) {
    const auto draw = [&](int from, int to) {
        return static_cast<int>(random() % static_cast<unsigned>(to - from + 1)) + from;
    };
    std::vector<CEventKM> events(static_cast<size_t>(draw(0, 5)));
    for (CEventKM& event : events) {
        event.onPosition = draw(-3, bits + 2);
        event.offPosition = event.onPosition + draw(-1, 8);  // also none at all, and damaged ones
    }
    return events;
}

std::vector<bool> BitmapOf(std::span<const CEventKM> events) {
    std::vector<bool> map(bits, false);
    for (const CEventKM& event : events)
        for (int i = std::max(0, event.onPosition); i < std::min(bits, event.offPosition); ++i)
            map[static_cast<size_t>(i)] = true;
    return map;
}

Spans RunsOf(const std::vector<bool>& map) {
    Spans runs;
    for (int i = 0; i < bits; ++i) {
        if (!map[static_cast<size_t>(i)]) continue;
        if (runs.empty() || runs.back().second < i)
            runs.emplace_back(i, i + 1);
        else
            runs.back().second = i + 1;
    }
    return runs;
}

Spans SpansOf(const std::vector<SampleSpan>& stretches) {
    Spans spans;
    for (const SampleSpan& stretch : stretches) spans.emplace_back(stretch.first, stretch.end);
    return spans;
}

TEST(LogicOfEventsTest, AsBitmaps) {
    std::mt19937 random(17);
    for (int round = 0; round < 3000; ++round) {
        const size_t count = 1 + random() % 4;
        std::vector<std::vector<SampleSpan>> sets;
        std::vector<std::vector<bool>> maps;
        for (size_t k = 0; k < count; ++k) {
            const auto events = RandomEvents(random);
            sets.push_back(StretchesOf(events, bits));
            maps.push_back(BitmapOf(events));
            ASSERT_EQ(SpansOf(sets.back()), RunsOf(maps.back()));
        }
        const auto expected = [&](const std::function<bool(size_t)>& holds) {
            std::vector<bool> map(bits);
            for (size_t i = 0; i < bits; ++i) {
                size_t inside = 0;
                for (const auto& one : maps) inside += one[i];
                map[i] = holds(inside);
            }
            return RunsOf(map);
        };
        const auto found = [&](EventLogic logic) { return SpansOf(Combine(sets, logic, bits)); };
        ASSERT_EQ(found(EventLogic::logicAnd), expected([&](size_t n) { return n == count; }));
        ASSERT_EQ(found(EventLogic::logicOr), expected([](size_t n) { return n > 0; }));
        ASSERT_EQ(found(EventLogic::logicXor), expected([](size_t n) { return n % 2 == 1; }));
        ASSERT_EQ(found(EventLogic::logicNot), expected([](size_t n) { return n == 0; }));
        ASSERT_EQ(found(EventLogic::equals), expected([&](size_t n) { return n == 0 || n == count; }));
        if (count < 2) continue;
        std::vector<bool> both(bits);
        for (size_t i = 0; i < bits; ++i) both[i] = maps[0][i] && maps[1][i];
        ASSERT_EQ(SpansOf(Common(sets[0], sets[1])), RunsOf(both));
    }
    EXPECT_TRUE(Combine(std::vector<std::vector<SampleSpan>>(2), EventLogic::logicNot, 0).empty());
}

TEST(LogicOfEventsTest, AndNotByEveryPair) {
    std::mt19937 random(18);
    for (int round = 0; round < 3000; ++round) {
        const std::vector<CEventKM> source = RandomEvents(random), a = RandomEvents(random),
                                    b = RandomEvents(random);
        const EventSpan others[] = {a, b};
        const auto keeps = LieInNone(source, others);
        for (size_t i = 0; i < source.size(); ++i) {
            bool isWithin = false;
            for (const EventSpan& other : others)
                for (const CEventKM& event : other)
                    isWithin = isWithin || (source[i].onPosition >= event.onPosition &&
                                            source[i].offPosition <= event.offPosition);
            ASSERT_EQ(keeps[i] != 0, !isWithin);
        }
    }
}

TEST(MergeOverlapsTest, HandWorked) {
    struct Case {
        const char* what;
        std::vector<Spans> sources;
        Spans merged;
    };
    const Case cases[] = {
        {"nothing", {{}, {}}, {}},
        {"touching events stay two", {{{0, 5}}, {{5, 9}}}, {{0, 5}, {5, 9}}},
        {"a chain goes on from the end so far", {{{0, 5}, {4, 9}, {8, 12}, {12, 13}}}, {{0, 12}, {12, 13}}},
        {"what lies within does not shorten", {{{0, 20}, {30, 31}}, {{3, 4}, {19, 20}}}, {{0, 20}, {30, 31}}},
        {"out of order", {{{10, 15}, {0, 4}}, {{12, 20}, {3, 5}}}, {{0, 5}, {10, 20}}},
        {"of no length", {{{5, 5}, {5, 5}, {5, 8}, {6, 6}}}, {{5, 5}, {5, 5}, {5, 8}}},
        {"three channels", {{{0, 2}}, {{1, 4}}, {{3, 6}, {-5, -1}}}, {{-5, -1}, {0, 6}}},
    };
    for (const Case& one : cases) {
        std::vector<std::vector<CEventKM>> events;
        for (const Spans& spans : one.sources) events.push_back(EventsAt(spans));
        const std::vector<EventSpan> sources(events.begin(), events.end());
        EXPECT_EQ(test::SpansOf(MergeOverlaps(sources)), one.merged) << one.what;
    }
}

class EventLogicTest : public EventEditTest {};

TEST_F(EventLogicTest, EachKind) {
    Fill(0, {{10, 20}, {30, 40}, {90, 120}});
    Fill(1, {{15, 35}, {-5, 3}});
    Fill(2, {{18, 32}});
    struct Case {
        const char *logic, *channels;
        Spans found;
        const char* title;
    };
    const Case cases[] = {
        {"AND", "", {{15, 20}, {30, 35}}, "Event Logical AND"},
        {"AND", "a-c", {{18, 20}, {30, 32}}, "Event Logical AND"},
        {"OR", "", {{0, 3}, {10, 40}, {90, 100}}, "Event Logical OR"},
        {"2", "", {{0, 3}, {10, 15}, {20, 30}, {35, 40}, {90, 100}}, "Event Logical XOR"},
        {"3", "", {{0, 10}, {20, 30}, {40, 90}}, "Event Logical NOT"},
        {"NOT", "a b", {{3, 10}, {40, 90}}, "Event Logical NOT"},
        {"4", "", {{3, 10}, {15, 20}, {30, 35}, {40, 90}}, "Event Logical EQUALS"},
        {"5", "", {{10, 20}, {30, 40}, {90, 120}}, "Event Logical AND NOT"},
        {"5", "c,b,a", {}, "Event Logical AND NOT"},
        {"5", "b c", {{-5, 3}, {15, 35}}, "Event Logical AND NOT"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(std::string(one.logic) + " of " + one.channels);
        CEventLogic logic;
        ASSERT_EQ(Run(logic, {{"logic", one.logic}, {"channels", one.channels}, {"destination", "d"}}), "");
        EXPECT_EQ(Found(3), one.found);
        EXPECT_STREQ(logic.Title(), one.title);
        EXPECT_EQ(doc->Undo().UndoName(), one.title);
    }
}

TEST_F(EventLogicTest, WhatIsWritten) {
    CEventKM event{10, 20, 7.5f, 3, 0x123456, "mine"};
    FillEvents(0, {event});
    Fill(1, {{0, 5}});
    Chan(0).parentTrace = Chan(1).parentTrace = 0;
    Chan(0).detectionMethod = methodThreshold;
    Chan(0).channelLabel = "spikes";
    CEventLogic logic;
    logic.CheckChangeDoc(doc.get());
    EXPECT_EQ(logic.m_nDestination, 2) << "the first free channel";
    logic.SuggestSettings();
    ASSERT_EQ(Run(logic, {{"channels", "b,a"}, {"label", "both"}}), "");
    EXPECT_TRUE(Found(2).empty());
    ASSERT_EQ(Run(logic, {{"logic", "AND NOT"}, {"channels", "a b"}}), "");
    ASSERT_EQ(Chan(2).GetNumEvents(), 1);
    EXPECT_EQ(Chan(2).Events()[0], event) << "a whole event keeps all it has";
    EXPECT_EQ(Chan(2).detectionMethod, methodManual);
    EXPECT_EQ(Chan(2).parentTrace, 0) << "of all sources";
    EXPECT_EQ(Chan(2).channelLabel, "both");
    EXPECT_EQ(doc->historyLog,
              "Event Logical AND\r\nSource channel(s): b a\r\nDestination event channel: c\r\n\r\n"
              "Event Logical AND NOT\r\nSource followed by NOT channel(s): a b\r\n"
              "Destination event channel: c\r\n\r\n");
    EXPECT_EQ(Count(logic, "Source events"), 1) << "those of the NOT channels are only looked at";
    EXPECT_EQ(Count(logic, "Events"), 1);
    Chan(1).parentTrace = -1;
    ASSERT_EQ(Run(logic, {{"logic", "OR"}}), "");
    EXPECT_EQ(Chan(2).parentTrace, -1);
    EXPECT_EQ(Chan(2).Events()[1].eventValue, 0.0f);
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Chan(2).Events()[0], event) << "one step back";

    // The order of the list is part of the settings.
    ASSERT_EQ(Run(logic, {{"logic", "AND NOT"}, {"channels", "b a"}}), "");
    CEventLogic again;
    again.TakeSettings(logic.Settings());
    EXPECT_EQ(again.m_channels, (std::vector<int>{1, 0}));
    EXPECT_STREQ(again.Title(), "Event Logical AND NOT");
}

TEST_F(EventLogicTest, GapsAndRecordingsOfEventsAlone) {
    const auto notOf = [&](std::unique_ptr<MemoryDoc> other, const char* logic) {
        doc = std::move(other);
        Fill(0, {{5, 15}, {42, 44}});
        Fill(1, {{5, 15}});
        CEventLogic operation;
        EXPECT_EQ(Run(operation, {{"logic", logic}, {"channels", "a b"}, {"destination", "c"}}), "");
        return Found(2);
    };
    const auto gapped = [&] {
        return MemoryDoc::MakeWithRuns(session, {std::vector<float>(40)}, {{20, 20, 20, 5}});
    };
    EXPECT_EQ(notOf(gapped(), "NOT"), (Spans{{0, 5}, {15, 20}, {40, 42}, {44, 60}}));
    EXPECT_EQ(notOf(gapped(), "EQUALS"), (Spans{{0, 20}, {40, 42}, {44, 60}}));
    EXPECT_EQ(notOf(MemoryDoc::MakeEmpty(session, 50), "NOT"), (Spans{{0, 5}, {15, 42}, {44, 50}}));
}

TEST_F(EventLogicTest, Refusals) {
    Fill(0, {{1, 2}});
    Chan(4).channelLocked = true;
    struct Case {
        const char *logic, *channels, *destination, *text;
    };
    const Case cases[] = {
        {"AND", "a,b,a", "d", sameSourcesText},    {"AND", "a b", "a", sourceIsDestinationText},
        {"NOT", "", "a", sourceIsDestinationText}, {"OR", "a", "d", fewSourcesText},
        {"NOT", "a", "e", lockedChannelText},
    };
    for (const Case& one : cases) {
        CEventLogic logic;
        EXPECT_EQ(
            Run(logic, {{"logic", one.logic}, {"channels", one.channels}, {"destination", one.destination}}),
            one.text);
    }
    EXPECT_EQ(doc->historyLog, "");
    EXPECT_EQ(Found(0), (Spans{{1, 2}}));
}

TEST_F(EventLogicTest, ItRunsAtOnceWhereverEventsAre) {
    struct Case {
        std::vector<int> filled;
        int channel1, channel2;
    };
    const Case cases[] = {{{0, 1}, 0, 1}, {{0, 4}, 0, 4}, {{1, 4}, 4, 1}, {{7, 9}, 7, 9}, {{}, 0, 1}};
    for (const Case& one : cases) {
        for (int channel = 0; channel < 10; ++channel) Chan(channel).DeleteAll();
        for (const int channel : one.filled) Fill(channel, {{1, 5}});
        CEventLogic logic;
        logic.CheckChangeDoc(doc.get());
        logic.SuggestSettings();
        EXPECT_EQ(logic.m_nChannel1, one.channel1);
        EXPECT_EQ(logic.m_nChannel2, one.channel2);
        EXPECT_EQ(logic.m_nDestination, 2) << "empty, and no source";
        EXPECT_TRUE(logic.Run());
        // What the user has chosen stays.
        ParamList params = logic.Params();
        EXPECT_EQ(params.Find("channel1")->SetFromText("i"), "");
        EXPECT_EQ(params.Find("destination")->SetFromText("j"), "");
        logic.SuggestSettings();
        EXPECT_EQ(logic.m_nChannel1, 8);
        EXPECT_EQ(logic.m_nDestination, 9);
    }
    // A channel that the list stands for is not looked at.
    CEventLogic logic;
    logic.m_nChannel1 = 5000;
    EXPECT_EQ(Run(logic, {{"channels", "a b"}, {"destination", "c"}}), "");
}

TEST_F(EventLogicTest, MergedChannels) {
    FillEvents(0, {CEventKM{10, 20, 1.0f, 3, 0x123456, "first"}, CEventKM{40, 50, 2.0f}});
    FillEvents(1, {CEventKM{15, 45, 9.0f, 4, 0, "second"}});
    Chan(0).parentTrace = 0;
    CEventMergeOverlap merge;
    ASSERT_EQ(Run(merge, {{"channels", "a b"}, {"destination", "c"}}), "");
    ASSERT_EQ(Found(2), (Spans{{10, 50}}));
    EXPECT_EQ(Chan(2).Events()[0], (CEventKM{10, 50, 1.0f, 3, 0x123456, "first"}));
    EXPECT_EQ(Chan(2).parentTrace, -1);
    EXPECT_EQ(merge.RunSummary(), "of 3 events, 2 joined");
    EXPECT_EQ(doc->historyLog, "Event Merge Overlaps\r\nSource channel(s): a b\r\n"
                               "Destination event channel: c\r\n\r\n");
    EXPECT_EQ(Run(merge, {{"destination", "b"}}), channelIsSourceText);
}

}  // namespace
}  // namespace kymora::test
