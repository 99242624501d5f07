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

// Every edit, and whether the table of coordinates, whose rows belong to the events, is lost by it.
struct Edit {
    const char* name;
    std::function<bool(CEventChan&)> run;
    bool dropsExtra = true;
};
const Edit edits[] = {
    {"append", [](CEventChan& c) { return c.AddEvent(35, 36); }},
    {"insert", [](CEventChan& c) { return c.AddEvent(5, 6); }},
    {"replace", [](CEventChan& c) { return c.ReplaceEvent(1, MakeEvent(10, 12)); }},
    {"delete", [](CEventChan& c) { return c.DeleteEvent(3); }},
    {"delete all", [](CEventChan& c) { return c.DeleteAll(); }},
    {"clear", [](CEventChan& c) { return c.Clear(); }},
    {"delete a range", [](CEventChan& c) { return c.DeleteRange(0, 1); }},
    {"keep tagged", [](CEventChan& c) { return c.KeepTagged(); }},
    {"delete tagged", [](CEventChan& c) { return c.DeleteTagged(); }},
    {"join", [](CEventChan& c) { return c.FilterByGap(6, 0, INT32_MAX); }},
    {"copy", [](CEventChan& c) { return c.Copy(CEventChan()); }},
    {"copy events", [](CEventChan& c) { return c.CopyEvents(CEventChan()); }},
    {"copy settings", [](CEventChan& c) { return c.CopySettings(CEventChan()); }, false},
    {"label", [](CEventChan& c) { return c.SetLabelAndTag(1, "x", 1); }, false},
    {"clear labels", [](CEventChan& c) { return c.ClearLabels(); }, false},
    {"delete an empty range", [](CEventChan& c) { return c.DeleteRange(500, 600); }, false}};

TEST(EventChan, LockRefusesEveryEditAndSaysSo) {
    EventOwner owner;
    for (const Edit& edit : edits) {
        SCOPED_TRACE(edit.name);
        CEventChan channel(&owner);
        for (int i = 0; i < 4; ++i) channel.AddEvent(i * 10, i * 10 + 5, 0.0f, i % 2);
        channel.SetLabelAndTag(0, "kept", 1);
        GiveExtra(channel);
        const CEventChan before = channel;
        channel.channelLocked = true;
        owner.host.Forget();
        EXPECT_FALSE(edit.run(channel));
        channel.SetComment("%d", 5);
        channel.AppendComment("%d", 5);
        EXPECT_EQ(owner.host.messages.size(), 3u);
        EXPECT_EQ(owner.host.LastMessage(), lockedChannelText);
        channel.suppressLockWarning = true;
        owner.host.Forget();
        EXPECT_FALSE(edit.run(channel));
        EXPECT_TRUE(owner.host.WasSilent());
        channel.channelLocked = false;
        EXPECT_EQ(channel.Events(), before.Events());
        EXPECT_EQ(channel.EventExtra().size(), 4u);
        EXPECT_TRUE(channel.HasSameSettings(before));

        EXPECT_TRUE(edit.run(channel));
        EXPECT_EQ(channel.EventExtra().size(), edit.dropsExtra ? 0u : 4u);
    }
    CEventChan channel;
    channel.AddEvent(1, 2);
    EXPECT_FALSE(channel.SetEventExtra(std::vector<std::array<float, 3>>(3)));
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
    CEventKM first{0, 10, 1.0f, 7, 0x123456, "first"};
    for (const CEventKM& event :
         {first, {11, 20, 2.0f, 8, 0x654321, "second"}, {40, 50, 3.0f, 9, 0, "third"}})
        channel.AddEvent(event);
    channel.FilterByGap(5, 0, INT32_MAX);
    first.offPosition = 20;
    EXPECT_EQ(channel.Events(), (std::vector<CEventKM>{first, {40, 50, 3.0f, 9, 0, "third"}}));
}

TEST(EventChan, CopiesWhatBelongsToACopy) {
    EventOwner owner;
    EventOwner other;
    CEventChan source = AsLoaded({{30, 31}, {10, 11}}, &owner);
    source.SetLabelAndTag(0, "label", 3);
    GiveExtra(source);
    source.detectionMethod = methodScaledTemplate;
    source.parentTrace = 4;
    source.channelLabel = source.channelComment = "text";
    source.channelColour = source.channelColourAlt = 2;
    source.channelVisible = 0;
    source.channelDrawMode = 9;
    source.templateData = {1, 2, 3};
    source.detection.templateThreshold = 0.5f;
    const CEventChan copied = source;
    // The place in the document and what is the channel's own stay.
    source.channelFlag = 5;
    source.channelOptionB = 6;
    source.SetDisplayPosition(0.7);
    source.channelLocked = true;

    CEventChan copy(&other);
    copy.AddEvent(1, 2);
    for (const CEventChan* from : {&source, &copy}) {
        EXPECT_TRUE(copy.Copy(*from));
        EXPECT_EQ(copy.Events(), source.Events());
        EXPECT_FALSE(copy.IsInOrder());
        EXPECT_EQ(copy.EventExtra(), source.EventExtra());
        EXPECT_TRUE(copy.HasSameSettings(copied));
        EXPECT_EQ(copy.ownerDoc, &other);
    }
    EXPECT_TRUE(copy.Clear());
    EXPECT_EQ(copy.GetNumEvents(), 0);
    CEventChan cleared(&other);
    cleared.channelVisible = 0;
    cleared.channelColour = cleared.channelColourAlt = 2;
    cleared.detection = copied.detection;
    EXPECT_TRUE(copy.HasSameSettings(cleared));
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
    EXPECT_EQ(ChannelName(25) + ChannelName(26), "z26");
    EXPECT_EQ(ChannelDisplayName(0), "a (1)");
    EXPECT_EQ(ChannelDisplayName(998), "998");
    EXPECT_EQ(ChannelListName(1), "b / 2");
    CEventChan channel;
    for (const int32_t unknown : {-1, 20, INT32_MAX, INT32_MIN}) {
        channel.detectionMethod = unknown;
        EXPECT_STREQ(channel.GetDetectionMethodName(), "default/manual") << unknown;
        EXPECT_STREQ(channel.GetValueName(), "Variable") << unknown;
    }
}

}  // namespace
}  // namespace kymora
