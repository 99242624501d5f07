// Channels that are moved, copied, shown and coloured.

#include "eventedit/channel_moves.h"

#include <algorithm>
#include <numeric>
#include <random>

#include "eventedit/event_edit_fixture.h"
#include "eventedit/event_map_999.h"
#include "eventedit/event_reorder.h"

namespace kymora::test {
namespace {

class ChannelMovesTest : public EventEditTest {
  protected:
    // Channels a to f hold 1 to 6 events and are labelled by their letters.
    void SetUp() override {
        EventEditTest::SetUp();
        for (int channel = 0; channel < 6; ++channel) {
            for (int i = 0; i <= channel; ++i) Chan(channel).AddEvent(10 * i, 10 * i + 1);
            Chan(channel).channelLabel = ChannelName(channel);
        }
    }
    // The labels of the first channels, "-" for none.
    std::string Labels(int count = 8) {
        std::string labels;
        for (int channel = 0; channel < count; ++channel)
            labels += Chan(channel).channelLabel.empty() ? "-" : Chan(channel).channelLabel;
        return labels;
    }
};

// Whatever is moved, no channel is lost and each named one stands where it was to go.
TEST(WithReturnsTest, IsAPermutation) {
    std::mt19937 random(23);
    for (int round = 0; round < 500; ++round) {
        std::vector<int> from(12), to(12), places(12);
        std::iota(from.begin(), from.end(), 0);
        to = from;
        std::shuffle(from.begin(), from.end(), random);
        std::shuffle(to.begin(), to.end(), random);
        std::vector<ChannelMove> moves;
        for (size_t i = 0; i < random() % 7; ++i) moves.emplace_back(from[i], to[i]);
        std::iota(places.begin(), places.end(), 0);
        for (const auto& [channel, place] : WithReturns(moves)) {
            EXPECT_NE(channel, place);
            places[static_cast<size_t>(place)] = channel;
        }
        for (const auto& [channel, place] : moves) EXPECT_EQ(places[static_cast<size_t>(place)], channel);
        std::sort(places.begin(), places.end());
        EXPECT_TRUE(std::adjacent_find(places.begin(), places.end()) == places.end());
    }
}

TEST_F(ChannelMovesTest, Reorders) {
    struct Case {
        const char *channels, *start, *labels, *history;
    };
    const Case cases[] = {
        {"c a", "a", "cabdef--", "c a b -> a-c"},       {"a-f", "b", "-abcdef-", "a-g -> b-g a"},
        {"f-a", "a", "fedcba--", "f e d c b a -> a-f"}, {"e", "b", "aecdbf--", "e b -> b e"},
        {"", "c", "--abcdef", "a-h -> c-h a b"},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.channels);
        CEventReorder reorder;
        ASSERT_EQ(Run(reorder, {{"channels", one.channels}, {"startChannel", one.start}}), "");
        EXPECT_EQ(Labels(), one.labels);
        for (int channel = 0; channel < 8; ++channel)
            EXPECT_EQ(Chan(channel).GetNumEvents(),
                      Chan(channel).channelLabel.empty() ? 0 : Chan(channel).channelLabel[0] - 'a' + 1);
        EXPECT_NE(
            doc->historyLog.find("Reorder event channels\r\nChannels: " + std::string(one.history) + "\r\n"),
            std::string::npos)
            << doc->historyLog;
        ASSERT_TRUE(doc->Undo().Undo());
        EXPECT_EQ(Labels(), "abcdef--") << "one step";
    }
    CEventReorder nothing;
    EXPECT_EQ(Run(nothing, {{"channels", "a-f"}}), "");
    EXPECT_EQ(Run(nothing, {{"channels", "a b a"}}), repeatedChannelText);
}

// The line is asked for whenever a setting changes, also with settings that a run refuses.
TEST_F(ChannelMovesTest, ALineTellsWhatARunWouldDo) {
    struct Case {
        const char *channels, *start, *reorder, *moved, *copied;
    };
    const Case cases[] = {
        {"a-f", "a", "all stay where they are", "all stay where they are", "all stay where they are"},
        {"a b a", "p", "", "a b p q -> p q a b", "a b -> p q"},
        {"a b a", "500", "", "a b 500 501 -> 500 501 a b", "a b -> 500 501"},
        {"a b", "998", "", "", ""},
        {"d e", "d", "all stay where they are", "all stay where they are", "all stay where they are"},
        {"a-c", "b", "a-d -> b-d a", "a-d -> b-d a", "a-c -> b-d; replaces 3 channels with 9 events"},
    };
    const auto line = [&](CBatchBaseDlg& operation, const Settings& settings) {
        Set(operation, settings);
        ParamList params = operation.Params();
        return params.Find("result")->shown();
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(std::string(one.channels) + " to " + one.start);
        CEventReorder reorder;
        EXPECT_EQ(line(reorder, {{"channels", one.channels}, {"startChannel", one.start}}), one.reorder);
        for (const auto& [action, says] : {std::pair{"move", one.moved}, {"copy", one.copied}}) {
            CEventMap999 map;
            EXPECT_EQ(line(map, {{"channels", one.channels}, {"action", action}, {"target", one.start}}),
                      says);
        }
    }
}

TEST_F(ChannelMovesTest, MovesTakeAllTheyHave) {
    CEventChan& c = Chan(2);
    c.SetEventExtra({{1, 1, 1}, {2, 2, 2}, {3, 3, 3}});
    c.channelLocked = true;
    c.SetDisplayPosition(0.77);
    c.channelColour = 0x123456;
    // f was made of the events of c.
    Chan(5).detectionMethod = methodPoissonSurprise;
    Chan(5).detection.burstSourceChannel = 2;
    const CEventChan before = c;
    CEventMap999 map;
    ASSERT_EQ(Run(map, {{"channels", "c"}, {"action", "2"}, {"target", "700"}}), "");
    EXPECT_TRUE(Chan(700).HasSameSettings(before));
    EXPECT_EQ(Chan(700).Events(), before.Events());
    EXPECT_EQ(Chan(700).EventExtra(), before.EventExtra());
    EXPECT_EQ(Chan(2).GetNumEvents(), 0);
    EXPECT_FALSE(Chan(2).channelLocked);
    EXPECT_EQ(Chan(5).detection.burstSourceChannel, 700);
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(Chan(2).HasSameSettings(before));
    EXPECT_EQ(Chan(5).detection.burstSourceChannel, 2);
    // The channel itself moves, and the one that follows it.
    ASSERT_EQ(Run(map, {{"channels", "c f"}, {"target", "700"}, {"compact", "1"}}), "");
    EXPECT_EQ(Chan(701).detection.burstSourceChannel, 700);
    EXPECT_EQ(Chan(701).channelLabel, "f");
    ASSERT_TRUE(doc->Undo().Undo());
    ASSERT_EQ(Run(map, {{"compact", "0"}}), "");
    EXPECT_EQ(Chan(703).channelLabel, "f") << "as far from c as before";
}

TEST_F(ChannelMovesTest, Copies) {
    Chan(0).channelLocked = true;
    CEventMap999 map;
    ASSERT_EQ(Run(map, {{"channels", "a-c"}, {"action", "copy"}, {"target", "b"}}), "");
    EXPECT_EQ(Labels(), "aabcef--") << "as they were before, also where they overlap";
    EXPECT_TRUE(Chan(0).channelLocked);
    EXPECT_FALSE(Chan(1).channelLocked);
    EXPECT_NE(Chan(1).GetDisplayPosition(), Chan(0).GetDisplayPosition());
    EXPECT_NE(doc->historyLog.find("Copied: a-c -> b-d; replaces 3 channels with 9 events\r\n"),
              std::string::npos);
    EXPECT_EQ(map.WrittenChannels(), (std::vector<int>{1, 2, 3}));
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Labels(), "abcdef--");
    doc->historyLog.clear();
    ASSERT_EQ(Run(map, {{"target", "a"}}), "") << "a lock of the place itself is no matter";
    EXPECT_TRUE(doc->historyLog.empty() && map.Results().empty() && map.WrittenChannels().empty())
        << "copied onto themselves";
}

TEST_F(ChannelMovesTest, ShowsHidesAndColours) {
    struct Case {
        const char *channels, *action;
        std::vector<int> hidden;
    };
    const Case cases[] = {{"b d", "1", {1, 3}},
                          {"b-e", "0", {}},
                          {"", "1", {0, 1, 2, 3, 4, 5}},
                          {"500", "1", {0, 1, 2, 3, 4, 5, 500}}};
    for (const Case& one : cases) {
        CEventMap999 map;
        ASSERT_EQ(Run(map, {{"channels", one.channels}, {"action", one.action}}), "");
        std::vector<int> hidden;
        for (int channel = 0; channel < maxEventChannels; ++channel)
            if (Chan(channel).channelVisible == 0) hidden.push_back(channel);
        EXPECT_EQ(hidden, one.hidden);
    }
    CEventMap999 map;
    ASSERT_EQ(Run(map, {{"channels", "b 40"}, {"action", "4"}, {"colour", "#ff8001"}}), "");
    EXPECT_EQ(Chan(1).channelColour, 0x0180FFu);
    EXPECT_EQ(Chan(40).channelColour, 0x0180FFu);
    EXPECT_EQ(map.Params().Find("colour")->ValueText(), "#ff8001");
    EXPECT_EQ(map.Params().Find("colour")->Parse("red"), "\"Base colour\" takes a colour, \"#rrggbb\".");
    EXPECT_EQ(doc->historyLog, "") << "nothing of the data has changed";
}

TEST_F(ChannelMovesTest, RefusesBeforeAnythingIsWritten) {
    Chan(4).channelLocked = true;
    struct Case {
        Settings settings;
        std::string says;
    };
    const std::string lockedE = "Event channel e is locked. Unlock it, or choose other places.";
    const Case cases[] = {
        {{{"channels", "a b"}, {"action", "move"}, {"target", "998"}, {"compact", "1"}},
         beyondLastChannelText},
        {{{"channels", "a b"}, {"action", "copy"}, {"target", "998"}}, beyondLastChannelText},
        {{{"channels", "b"}, {"action", "move"}, {"target", "e"}}, lockedE},
        {{{"channels", "b"}, {"action", "copy"}, {"target", "e"}}, lockedE},
        {{{"channels", "b"}, {"action", "copy"}, {"target", "a"}}, episodeChannelText},
        {{{"channels", "a"}, {"action", "move"}, {"target", "z"}}, episodeChannelText},
        {{{"channels", "b"}, {"action", "move"}, {"target", "a"}}, episodeChannelText},
    };
    doc->episodic = true;
    for (const Case& one : cases) {
        CEventMap999 map;
        EXPECT_EQ(Run(map, one.settings), one.says);
        EXPECT_EQ(Labels(), "abcdef--");
        EXPECT_FALSE(doc->Undo().CanUndo());
    }
    CEventReorder reorder;
    EXPECT_EQ(Run(reorder, {{"channels", "b e"}}), episodeChannelText) << "the default start is its place";
    doc->channelsAtWork.insert(1);
    EXPECT_NE(Run(reorder, {{"channels", "b c"}, {"startChannel", "c"}}), "")
        << "an operation will write into b";
    doc->channelsAtWork.clear();
    EXPECT_EQ(Run(reorder, {{"channels", "a-f"}, {"startChannel", "a"}}), "") << "a stays";
}

TEST_F(ChannelMovesTest, SettingsComeBack) {
    CEventReorder reorder;
    reorder.m_channels = {5, 2, 9};
    reorder.m_nStartChannel = 3;
    CEventReorder again;
    again.TakeSettings(reorder.Settings());
    EXPECT_EQ(again.m_channels, reorder.m_channels) << "in their order";
    EXPECT_EQ(again.m_nStartChannel, 3);
    CEventMap999 map, other;
    map.m_channels = {2, 700};
    map.m_nAction = 3;
    map.m_nTarget = 800;
    map.m_bCompact = true;
    map.m_nColour = 0x010203;
    other.TakeSettings(map.Settings());
    EXPECT_EQ(other.Settings(), map.Settings());
    EXPECT_EQ(other.m_nColour, 0x010203u);
}

}  // namespace
}  // namespace kymora::test
