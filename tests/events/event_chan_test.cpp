// Edits of an event channel and the look-ups in it.

#include "events/event_chan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include "support/event_owner.h"

namespace kymora {
namespace {

using test::EventOwner;
using Spans = std::vector<std::pair<int32_t, int32_t>>;

Spans SpansOf(const CEventChan& channel) {
    Spans spans;
    for (const CEventKM& event : channel.Events()) spans.emplace_back(event.onPosition, event.offPosition);
    return spans;
}

CEventKM MakeEvent(int32_t on, int32_t off, float value = 0.0f) {
    CEventKM event;
    event.onPosition = on;
    event.offPosition = off;
    event.eventValue = value;
    return event;
}

// A channel whose events stand as a damaged file would give them.
CEventChan AsLoaded(const Spans& spans, EventChanOwner* owner = nullptr) {
    CEventChan channel(owner);
    for (const auto& [on, off] : spans) channel.AppendLoaded(MakeEvent(on, off));
    return channel;
}

void GiveExtra(CEventChan& channel) {
    ASSERT_TRUE(channel.SetEventExtra(std::vector<std::array<float, 3>>(channel.Events().size(), {1, 2, 3})));
}

// The event that holds a position, as the words say it.
int PlainFind(const CEventChan& channel, int32_t position) {
    for (int i = 0; i < channel.GetNumEvents(); ++i) {
        const CEventKM& event = channel.Events()[static_cast<size_t>(i)];
        if (event.onPosition <= position && position < event.offPosition) return i;
    }
    return -1;
}

bool PlainInOrder(const CEventChan& channel) {
    return std::is_sorted(channel.Events().begin(), channel.Events().end(),
                          [](const auto& a, const auto& b) { return a.onPosition < b.onPosition; });
}

TEST(EventChan, KeepsOrderAndArrivalOfEqualStarts) {
    CEventChan channel;
    float arrival = 0.0f;
    for (const int32_t on : {50, 10, 50, 30, 10, 50, 0, 30})
        EXPECT_TRUE(channel.AddEvent(on, on + 1, arrival++));
    std::vector<std::pair<int32_t, float>> seen;
    for (const CEventKM& event : channel.Events()) seen.emplace_back(event.onPosition, event.eventValue);
    const std::vector<std::pair<int32_t, float>> expected = {{0, 6},  {10, 1}, {10, 4}, {30, 3},
                                                             {30, 7}, {50, 0}, {50, 2}, {50, 5}};
    EXPECT_EQ(seen, expected);
}

TEST(EventChan, AppendsAnEventWithoutPosition) {
    CEventChan channel;
    channel.AddEvent(10, 20);
    channel.AddEvent(-1, -1);
    EXPECT_EQ(SpansOf(channel), (Spans{{10, 20}, {-1, -1}}));
    EXPECT_FALSE(channel.IsInOrder());
    EXPECT_EQ(channel.FindEventAt(15), 0);
    channel.DeleteEvent(1);
    EXPECT_TRUE(channel.IsInOrder());
}

TEST(EventChan, InsertionIntoDisorderLosesNothing) {
    CEventChan channel = AsLoaded({{40, 41}, {10, 11}, {60, 61}, {20, 21}});
    channel.AddEvent(20, 25);  // not below the last one: to the end
    EXPECT_EQ(SpansOf(channel), (Spans{{40, 41}, {10, 11}, {60, 61}, {20, 21}, {20, 25}}));
    channel.DeleteEvent(4);
    channel.AddEvent(15, 16);  // the first event that starts later is the one at 40
    EXPECT_EQ(SpansOf(channel), (Spans{{15, 16}, {40, 41}, {10, 11}, {60, 61}, {20, 21}}));
    channel.AddEvent(50, 51);  // not before the last one
    channel.AddEvent(45, 46);
    EXPECT_EQ(SpansOf(channel),
              (Spans{{15, 16}, {40, 41}, {10, 11}, {45, 46}, {60, 61}, {20, 21}, {50, 51}}));
    EXPECT_FALSE(channel.IsInOrder());
}

TEST(EventChan, LockRefusesEveryEditAndSaysSo) {
    EventOwner owner;
    CEventChan source(&owner);
    source.AddEvent(7, 8);
    source.channelLabel = "source";
    CEventChan channel(&owner);
    channel.AddEvent(10, 20, 1.5f, 1);
    channel.AddEvent(30, 40);
    channel.SetLabelAndTag(0, "kept", 1);
    channel.channelComment = "kept";
    GiveExtra(channel);
    channel.channelLocked = true;
    const auto before = channel.Events();

    const std::vector<std::function<bool()>> edits = {
        [&] { return channel.AddEvent(1, 2); },
        [&] { return channel.ReplaceEvent(0, MakeEvent(1, 2)); },
        [&] { return channel.DeleteEvent(0); },
        [&] { return channel.DeleteAll(); },
        [&] { return channel.Clear(); },
        [&] { return channel.DeleteRange(0, 100); },
        [&] { return channel.KeepTagged(); },
        [&] { return channel.DeleteTagged(); },
        [&] { return channel.ClearLabels(); },
        [&] { return channel.SetLabelAndTag(0, "x", 0); },
        [&] { return channel.FilterByGap(1000, 0, INT32_MAX); },
        [&] { return channel.CopySettings(source); },
        [&] { return channel.CopyEvents(source); },
        [&] { return channel.Copy(source); },
    };
    for (const auto& edit : edits) EXPECT_FALSE(edit());
    EXPECT_EQ(owner.host.messages.size(), edits.size());
    EXPECT_EQ(owner.host.LastMessage(),
              "The target channel for writing events has been locked and cannot be edited.\n"
              "Is it the episode-marker channel?");
    channel.SetComment("%d", 5);
    channel.AppendComment("%d", 5);

    owner.host.Forget();
    channel.suppressLockWarning = true;
    EXPECT_FALSE(channel.AddEvent(1, 2));
    EXPECT_TRUE(channel.IsLocked());
    EXPECT_TRUE(owner.host.WasSilent());
    EXPECT_EQ(channel.Events(), before);
    EXPECT_EQ(channel.EventExtra().size(), 2u);
    EXPECT_EQ(channel.channelComment, "kept");
    EXPECT_EQ(channel.channelLabel, "");
}

TEST(EventChan, ExtraTableGoesWithTheEventsOnly) {
    const auto fresh = [] {
        CEventChan channel;
        for (int i = 0; i < 4; ++i) channel.AddEvent(i * 10, i * 10 + 5, 0.0f, i % 2);
        GiveExtra(channel);
        return channel;
    };
    const std::vector<std::function<void(CEventChan&)>> droppers = {
        [](CEventChan& c) { c.AddEvent(35, 36); },
        [](CEventChan& c) { c.AddEvent(5, 6); },
        [](CEventChan& c) { c.ReplaceEvent(1, MakeEvent(10, 12)); },
        [](CEventChan& c) { c.DeleteEvent(3); },
        [](CEventChan& c) { c.DeleteAll(); },
        [](CEventChan& c) { c.DeleteRange(0, 1); },
        [](CEventChan& c) { c.KeepTagged(); },
        [](CEventChan& c) { c.DeleteTagged(); },
        [](CEventChan& c) { c.FilterByGap(6, 0, INT32_MAX); },
        [](CEventChan& c) { c.CopyEvents(CEventChan()); },
    };
    for (size_t i = 0; i < droppers.size(); ++i) {
        CEventChan channel = fresh();
        droppers[i](channel);
        EXPECT_TRUE(channel.EventExtra().empty()) << i;
    }
    CEventChan channel = fresh();
    channel.SetLabelAndTag(1, "x", 1);
    channel.ClearLabels();
    channel.DeleteRange(500, 600);
    EXPECT_EQ(channel.EventExtra().size(), 4u);
    EXPECT_FALSE(channel.SetEventExtra(std::vector<std::array<float, 3>>(3)));
    EXPECT_EQ(channel.EventExtra().size(), 4u);
}

TEST(EventChan, RefusesIndicesOutsideTheChannel) {
    CEventChan channel;
    channel.AddEvent(1, 2);
    for (const int index : {-1, 1, INT32_MAX, INT32_MIN}) {
        EXPECT_FALSE(channel.DeleteEvent(index));
        EXPECT_FALSE(channel.ReplaceEvent(index, {}));
        EXPECT_FALSE(channel.SetLabelAndTag(index, "x", 1));
    }
    EXPECT_EQ(SpansOf(channel), (Spans{{1, 2}}));
}

TEST(EventChan, DeleteRangeLooksAtBothEnds) {
    // Starts in [100, 200), or ends strictly inside; the event that spans the range stays.
    CEventChan channel;
    const Spans all = {{50, 100}, {60, 101},  {70, 199},  {80, 200},
                       {90, 300}, {100, 300}, {199, 400}, {200, 201}};
    for (const auto& [on, off] : all) channel.AddEvent(on, off);
    EXPECT_TRUE(channel.DeleteRange(100, 200));
    EXPECT_EQ(SpansOf(channel), (Spans{{50, 100}, {80, 200}, {90, 300}, {200, 201}}));
}

TEST(EventChan, CountsAndDeletesByTagAndLabel) {
    CEventChan channel;
    for (int i = 0; i < 5; ++i) channel.AddEvent(i, i + 1);
    channel.SetLabelAndTag(1, " ", 0);
    channel.SetLabelAndTag(2, "", -3);
    channel.SetLabelAndTag(3, "text", 1);
    EXPECT_EQ(channel.GetCount(EventKind::all), 5);
    EXPECT_EQ(channel.GetCount(EventKind::tagged), 2);
    EXPECT_EQ(channel.GetCount(EventKind::labelled), 2);
    CEventChan tagged = channel;
    tagged.KeepTagged();
    EXPECT_EQ(SpansOf(tagged), (Spans{{2, 3}, {3, 4}}));
    channel.DeleteTagged();
    EXPECT_EQ(SpansOf(channel), (Spans{{0, 1}, {1, 2}, {4, 5}}));
    EXPECT_FALSE(channel.HasEvents(EventKind::tagged));
    EXPECT_TRUE(channel.HasEvents(EventKind::labelled));
    channel.ClearLabels();
    EXPECT_FALSE(channel.HasEvents(EventKind::labelled));
    EXPECT_TRUE(channel.HasEvents(EventKind::all));
    channel.DeleteAll();
    EXPECT_FALSE(channel.HasEvents(EventKind::all));
}

TEST(EventChan, FilterByGapJoinsThenDrops) {
    const auto filtered = [](const Spans& spans, int32_t gap, int32_t least, int32_t most) {
        CEventChan channel = AsLoaded(spans);
        EXPECT_TRUE(channel.FilterByGap(gap, least, most));
        EXPECT_EQ(channel.IsInOrder(), PlainInOrder(channel));
        return SpansOf(channel);
    };
    // A gap of exactly minGap stays, one sample less joins.
    EXPECT_EQ(filtered({{0, 10}, {20, 30}, {39, 50}, {60, 61}}, 10, 0, INT32_MAX),
              (Spans{{0, 10}, {20, 50}, {60, 61}}));
    // A chain is joined as far as the first event's own end reaches, and begins anew behind that.
    EXPECT_EQ(filtered({{0, 10}, {12, 20}, {14, 30}, {22, 40}, {42, 50}, {52, 60}}, 5, 0, INT32_MAX),
              (Spans{{0, 30}, {22, 50}, {52, 60}}));
    // The larger end counts: a short event inside does not shorten the long one.
    EXPECT_EQ(filtered({{0, 100}, {10, 20}, {95, 120}, {120, 130}}, 0, 0, INT32_MAX),
              (Spans{{0, 120}, {120, 130}}));
    // Limits are inclusive and see the joined events.
    EXPECT_EQ(filtered({{0, 5}, {6, 10}, {20, 29}, {40, 52}, {60, 73}}, 2, 10, 12),
              (Spans{{0, 10}, {40, 52}}));
    // A least duration of 1 restricts nothing: events of no length stay.
    EXPECT_EQ(filtered({{0, 0}, {5, 5}}, 0, 1, INT32_MAX), (Spans{{0, 0}, {5, 5}}));
    EXPECT_EQ(filtered({{0, 0}, {5, 5}, {7, 9}}, 0, 2, INT32_MAX), (Spans{{7, 9}}));
    // Sums beyond the range of a position.
    EXPECT_EQ(filtered({{0, INT32_MAX}, {INT32_MAX, INT32_MAX}}, INT32_MAX, 0, INT32_MAX),
              (Spans{{0, INT32_MAX}}));
    EXPECT_EQ(filtered({{INT32_MIN, INT32_MAX}}, 0, 2, INT32_MAX - 1), Spans{});
    // Out of order, an event that starts earlier is no part of the one before it in the list.
    EXPECT_EQ(filtered({{100, 110}, {10, 20}, {22, 30}}, 5, 0, INT32_MAX), (Spans{{100, 110}, {10, 30}}));
    EXPECT_EQ(filtered({}, 5, 2, 3), Spans{});
}

TEST(EventChan, FilterByGapKeepsWhatTheAbsorberHad) {
    CEventChan channel;
    channel.AddEvent(0, 10, 1.0f, 7, 0x123456);
    channel.AddEvent(11, 20, 2.0f, 8, 0x654321);
    channel.SetLabelAndTag(0, "first", 7);
    channel.SetLabelAndTag(1, "second", 8);
    channel.AddEvent(40, 50, 3.0f);
    channel.SetLabelAndTag(2, "third", 9);
    channel.FilterByGap(5, 0, INT32_MAX);
    ASSERT_EQ(channel.GetNumEvents(), 2);
    CEventKM joined = MakeEvent(0, 20, 1.0f);
    joined.eventTag = 7;
    joined.eventColour = 0x123456;
    joined.eventLabel = "first";
    EXPECT_EQ(channel.Events()[0], joined);
    EXPECT_EQ(channel.Events()[1].eventLabel.View(), "third");
}

TEST(EventChan, CopiesWhatBelongsToACopy) {
    EventOwner owner;
    EventOwner other;
    CEventChan source = AsLoaded({{30, 31}, {10, 11}}, &owner);
    source.SetLabelAndTag(0, "label", 3);
    GiveExtra(source);
    source.detectionMethod = methodScaledTemplate;
    source.parentTrace = 4;
    source.channelLabel = "label";
    source.channelComment = "comment";
    source.channelColour = 1;
    source.channelColourAlt = 2;
    source.channelVisible = 0;
    source.channelDrawMode = 9;
    source.templateData = {1, 2, 3};
    source.detection.templateThreshold = 0.5f;
    source.channelFlag = 5;
    source.channelOptionB = 6;
    source.SetDisplayPosition(0.7);
    source.channelLocked = true;

    CEventChan copy(&other);
    copy.AddEvent(1, 2);
    EXPECT_TRUE(copy.Copy(source));
    EXPECT_EQ(copy.Events(), source.Events());
    EXPECT_FALSE(copy.IsInOrder());
    EXPECT_EQ(copy.EventExtra(), source.EventExtra());
    EXPECT_EQ(copy.detectionMethod, methodScaledTemplate);
    EXPECT_EQ(copy.parentTrace, 4);
    EXPECT_EQ(copy.channelLabel + copy.channelComment, "labelcomment");
    EXPECT_EQ(copy.channelColour, 1u);
    EXPECT_EQ(copy.channelColourAlt, 2u);
    EXPECT_EQ(copy.channelVisible, 0);
    EXPECT_EQ(copy.channelDrawMode, 9);
    EXPECT_EQ(copy.templateData, source.templateData);
    EXPECT_EQ(copy.detection, source.detection);
    // The place in the document and what is the channel's own stay.
    EXPECT_EQ(copy.ownerDoc, &other);
    EXPECT_EQ(copy.channelFlag, 0);
    EXPECT_EQ(copy.channelOptionB, 1);
    EXPECT_EQ(copy.GetDisplayPosition(), 0.1);
    EXPECT_FALSE(copy.channelLocked);
    EXPECT_TRUE(copy.Copy(copy));
    EXPECT_EQ(copy.Events(), source.Events());
    EXPECT_EQ(copy.EventExtra().size(), 2u);

    EXPECT_TRUE(copy.Clear());
    EXPECT_EQ(copy.GetNumEvents(), 0);
    EXPECT_EQ(copy.parentTrace, -1);
    EXPECT_EQ(copy.channelLabel + copy.channelComment, "");
    EXPECT_EQ(copy.detectionMethod, methodManual);
    EXPECT_TRUE(copy.templateData.empty());
    EXPECT_EQ(copy.channelDrawMode, 2);
    EXPECT_EQ(copy.channelVisible, 0);
    EXPECT_EQ(copy.channelColour, 1u);
}

TEST(EventChan, HoldsTheDisplayPositionInside) {
    CEventChan channel;
    EXPECT_EQ(channel.GetDisplayPosition(), 0.1);
    const std::vector<std::pair<double, double>> cases = {
        {1.0, 0.95}, {7.0, 0.95},  {0.0, 0.05},  {-0.0, 0.05},     {-1.0, 0.05},
        {NAN, 0.05}, {0.99, 0.99}, {0.01, 0.01}, {INFINITY, 0.95}, {-INFINITY, 0.05}};
    for (const auto& [set, got] : cases) {
        channel.SetDisplayPosition(set);
        EXPECT_EQ(channel.GetDisplayPosition(), got) << set;
    }
}

TEST(EventChan, FormatsCommentsIntoAFixedLength) {
    CEventChan channel;
    channel.SetComment("%s %d%%\r\n", "level", 50);
    channel.AppendComment("%.2f", 1.5);
    EXPECT_EQ(channel.channelComment, "level 50%\r\n1.50");
    // Two bytes a character: the cut falls between characters, and counts them, not bytes.
    std::string text;
    for (int i = 0; i < 3000; ++i) text += "\xC2\xB5";
    channel.SetComment("%s", text.c_str());
    EXPECT_EQ(channel.channelComment, text.substr(0, 2 * 1999));
    channel.AppendComment("%s", "end");
    EXPECT_EQ(channel.channelComment.size(), 2u * 1999 + 3);
    channel.SetComment("%s", "");
    EXPECT_EQ(channel.channelComment, "");
}

TEST(EventChan, MeasuresIntervalsAndDurations) {
    CEventChan channel;
    EXPECT_FALSE(channel.GetDurationRange().exists);
    channel.AddEvent(0, 10);
    EXPECT_FALSE(channel.GetIntervalRange().exists);
    EXPECT_TRUE(channel.GetDurationRange().exists);
    channel.AddEvent(15, 16);
    channel.AddEvent(14, 30);  // goes before the last; overlaps it
    const auto gaps = channel.GetIntervalStats();
    EXPECT_EQ(gaps.minimum, -15);  // 30 to 15
    EXPECT_EQ(gaps.maximum, 4);    // 10 to 14
    EXPECT_EQ(gaps.mean, -5.5f);
    const auto durations = channel.GetDurationStats();
    EXPECT_EQ(durations.minimum, 1);
    EXPECT_EQ(durations.maximum, 16);
    EXPECT_EQ(durations.mean, 9.0f);
    // Distances that no position holds stop at its range.
    const auto wide = AsLoaded({{INT32_MIN, INT32_MAX}, {INT32_MIN, 0}});
    EXPECT_EQ(wide.GetDurationRange().maximum, INT32_MAX);
    EXPECT_EQ(wide.GetIntervalRange().minimum, INT32_MIN);
}

TEST(EventChan, FindsTheFirstEventThatHoldsAPosition) {
    CEventChan channel;
    channel.AddEvent(10, 100);
    channel.AddEvent(20, 30);
    channel.AddEvent(150, 150);
    channel.AddEvent(200, 210);
    EXPECT_EQ(channel.FindEventAt(25), 0);
    EXPECT_EQ(channel.FindEventAt(9), -1);
    EXPECT_EQ(channel.FindEventAt(99), 0);
    EXPECT_EQ(channel.FindEventAt(100), -1);
    EXPECT_EQ(channel.FindEventAt(150), -1);
    EXPECT_EQ(channel.FindEventAt(209), 3);
    EXPECT_EQ(channel.FindEventAt(210), -1);
    EXPECT_EQ(CEventChan().FindEventAt(0), -1);
}

TEST(EventChan, CountsStartsInRuns) {
    CEventChan channel;
    for (const int32_t on : {0, 5, 9, 10, 10, 19, 30, 99}) channel.AddEvent(on, on + 100);
    const Spans runs = {{0, 10}, {10, 10}, {20, 5}, {30, 0}, {30, 1}, {90, INT32_MAX}};
    EXPECT_EQ(channel.CountInRuns(runs), (std::vector<int>{3, 3, 0, 0, 1, 1}));
    EXPECT_TRUE(channel.CountInRuns({}).empty());
    const CEventChan disorder =
        AsLoaded({{99, 0}, {10, 0}, {30, 0}, {0, 0}, {10, 0}, {5, 0}, {19, 0}, {9, 0}});
    EXPECT_EQ(disorder.CountInRuns(runs), (std::vector<int>{3, 3, 0, 0, 1, 1}));
}

// Random edits against the plain words of each operation, in order and out of order.
TEST(EventChan, StaysConsistentUnderRandomEdits) {
    for (uint32_t seed = 0; seed < 40; ++seed) {
        std::mt19937 random(seed);
        const auto draw = [&](int n) { return static_cast<int>(random() % static_cast<uint32_t>(n)); };
        CEventChan channel;
        if (seed % 2 == 1)
            for (int i = 0; i < 10; ++i) channel.AppendLoaded(MakeEvent(draw(200), draw(200)));
        for (int step = 0; step < 200; ++step) {
            const int32_t on = draw(200);
            const CEventKM event =
                MakeEvent(on, on + draw(draw(8) == 0 ? 150 : 12), static_cast<float>(step));
            const bool wasInOrder = channel.IsInOrder();
            const int choice = draw(12);
            if (choice < 8) {
                channel.AddEvent(event);
                EXPECT_TRUE(!wasInOrder || channel.IsInOrder());
            } else if (choice < 10) {
                channel.DeleteEvent(draw(channel.GetNumEvents() + 1));
            } else if (choice == 10 && channel.GetNumEvents() > 0 && seed % 3 == 0) {
                channel.ReplaceEvent(draw(channel.GetNumEvents()), event);
            } else if (draw(10) == 0) {
                channel.FilterByGap(draw(4) - 1, 0, 100);
            }
            ASSERT_EQ(channel.IsInOrder(), PlainInOrder(channel)) << seed << " " << step;
            for (int probe = 0; probe < 4; ++probe) {
                const int32_t position = draw(360) - 5;
                ASSERT_EQ(channel.FindEventAt(position), PlainFind(channel, position)) << seed << " " << step;
            }
        }
    }
}

TEST(EventNames, OfChannels) {
    EXPECT_EQ(ChannelName(0), "a");
    EXPECT_EQ(ChannelName(25), "z");
    EXPECT_EQ(ChannelName(26), "26");
    EXPECT_EQ(ChannelDisplayName(0), "a (1)");
    EXPECT_EQ(ChannelDisplayName(25), "z (26)");
    EXPECT_EQ(ChannelDisplayName(998), "998");
    EXPECT_EQ(ChannelListName(1), "b / 2");
    EXPECT_EQ(ChannelListName(26), "26");
}

TEST(EventNames, OfMethods) {
    CEventChan channel;
    const auto names = [&](int32_t method) {
        channel.detectionMethod = method;
        return std::string(channel.GetDetectionMethodName()) + "|" + channel.GetValueName();
    };
    EXPECT_EQ(names(3), "scaled template|Template error");
    EXPECT_EQ(names(6), "Rank surprise|Surprise");
    EXPECT_EQ(names(14), "rhythm in data|Rhythm period");
    EXPECT_EQ(names(15), "carrier frequency|Carrier freq");
    EXPECT_EQ(names(19), "detect phase|Variable");
    for (const int32_t unknown : {-1, 20, INT32_MAX, INT32_MIN})
        EXPECT_EQ(names(unknown), "default/manual|Variable");
}

}  // namespace
}  // namespace kymora
