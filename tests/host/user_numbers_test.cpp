#include "host/user_numbers.h"

#include <gtest/gtest.h>

namespace kymora {
namespace {

std::string TraceFault(std::string_view text, int count) {
    try {
        ParseTraceList(text, count);
        return "";
    } catch (const ListError& error) {
        return error.what();
    }
}

TEST(Lists, EveryFormOfATraceList) {
    using Slots = std::vector<int>;
    EXPECT_EQ(ParseTraceList("1-3 5", 8), (Slots{0, 1, 2, 4}));
    EXPECT_EQ(ParseTraceList("5,1:3", 8), (Slots{0, 1, 2, 4}));
    EXPECT_EQ(ParseTraceList("\t8 ", 8), (Slots{7}));
    EXPECT_EQ(ParseTraceList("1 - 3", 8), (Slots{0, 1, 2})) << "blanks around a hyphen leave a range";
    EXPECT_EQ(ParseTraceList("3-1", 8), (Slots{0, 1, 2})) << "a range may be written backwards";
    EXPECT_EQ(ParseTraceList("2 2 1-2", 8), (Slots{0, 1})) << "each trace once";
    EXPECT_EQ(ParseTraceList("1-", 8), (Slots{0})) << "a hyphen without a second number is a separator";
    EXPECT_EQ(ParseTraceList("1-2,4", 8), (Slots{0, 1, 3}));
    EXPECT_EQ(ParseTraceList("1-128", 128).size(), 128u);
}

TEST(Lists, FaultsOfATraceListAreNamed) {
    EXPECT_EQ(TraceFault("1;2", 8), traceListCharactersText);
    EXPECT_EQ(TraceFault("a", 8), traceListCharactersText);
    EXPECT_EQ(TraceFault("", 8), emptyListText);
    EXPECT_EQ(TraceFault(" ,- ", 8), emptyListText);
    EXPECT_EQ(TraceFault("0", 8), noSuchTraceText);
    EXPECT_EQ(TraceFault("7-9", 8), noSuchTraceText);
    EXPECT_EQ(TraceFault("99999999999999999999", 8), noSuchTraceText) << "a number beyond any integer";
    // Where it matters whether anything is left of the list.
    const auto faultOf = [](std::string_view text) -> std::string {
        try {
            ParseTraceList(text, 8, emptyListText);
            return "";
        } catch (const ListError& error) {
            return error.what();
        }
    };
    EXPECT_EQ(faultOf("0 9-12"), emptyListText);
    EXPECT_EQ(faultOf("8-9"), noSuchTraceText);
    EXPECT_EQ(faultOf("0-200"), noSuchTraceText) << "the range has traces in it";
}

TEST(Lists, ChannelsInTheirOrder) {
    using Channels = std::vector<int>;
    for (const auto& [text, channels, told] : {std::tuple{"c a", Channels{2, 0}, "c a"},
                                               {"e-c,a-b", {4, 3, 2, 0, 1}, "e d c a b"},
                                               {"b,30,b", {1, 30, 1}, "b 30 b"},
                                               {"d a-c", {3, 0, 1, 2}, "d a-c"}}) {
        EXPECT_EQ(ParseOrderedChannels(text), channels) << text;
        EXPECT_EQ(ListText(channels, ChannelName), told);
        EXPECT_EQ(ParseOrderedChannels(told), channels) << told;
    }
    EXPECT_THROW(ParseOrderedChannels("a 998-1000"), ListError);
}

TEST(Lists, ChannelsAreLettersOrNumbersFromZero) {
    using Channels = std::vector<int>;
    EXPECT_EQ(ParseChannelList("a-c 30"), (Channels{0, 1, 2, 30}));
    EXPECT_EQ(ParseChannelList("0 z,C"), (Channels{0, 2, 25}));
    EXPECT_EQ(ParseChannelList("y-27"), (Channels{24, 25, 26, 27})) << "a range from a letter to a number";
    EXPECT_EQ(ParseChannelList("998"), (Channels{998}));
    EXPECT_THROW(ParseChannelList("999"), ListError);
    EXPECT_THROW(ParseChannelList("ab"), ListError);
    EXPECT_THROW(ParseChannelList("a1"), ListError);
    EXPECT_THROW(ParseChannelList("1a"), ListError);
    EXPECT_THROW(ParseChannelList(""), ListError);
}

}  // namespace
}  // namespace kymora
