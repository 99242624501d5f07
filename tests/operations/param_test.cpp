#include "operations/param.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

namespace kymora::test {
namespace {

// A parameter of every kind, on members of its own.
struct Fields {
    double level = 1.5;
    float factor = 0.1f;
    int32_t count = 3, kind = 0, trace = 0, channel = 0;
    bool flag = false;
    std::string text = "old";
    std::vector<int> channels{1}, traces{0, 2};
    int changes = 0;
    bool isOn = true;

    ParamList Describe() {
        ParamList list;
        const auto count1 = [this] { ++changes; };
        list.Group("Numbers");
        list.Number("level", "Level", level).Limits(-10, 10).OnChange(count1);
        list.Number("factor", "Factor", factor).OnChange(count1);
        list.Integer("count", "Count", count).Limits(1, 9).OnChange(count1);
        list.Group("Others");
        list.Choice("kind", "Kind", kind, {"first", "Second kind", "7"}).OnChange(count1);
        list.Flag("flag", "Flag", flag).OnChange(count1);
        list.Text("text", "Text", text).OnChange(count1);
        list.Trace("trace", "Trace", trace).OnChange(count1);
        list.Channel("channel", "Channel", channel).OnChange(count1);
        list.Channels("channels", "Channels", channels).OnChange(count1);
        list.Traces("traces", "Traces", traces).OnChange(count1);
        list.Note("note", "Note", [] { return std::string("shown"); });
        list.Action("press", "Press", [] {});
        return list;
    }
};

class ParamTest : public ::testing::Test {
  protected:
    // As the members are now.
    Field& Of(const std::string& key) {
        params = fields.Describe();
        return *params.Find(key);
    }
    std::string Set(const std::string& key, std::string_view text) { return Of(key).SetFromText(text); }
    std::string Value(const std::string& key) { return Of(key).ValueText(); }

    Fields fields;
    ParamList params = fields.Describe();
};

// What --set takes, what it then says it is, and that both are the same value.
TEST_F(ParamTest, ValuesOfEveryKind) {
    const struct {
        const char *key, *text, *value;
    } good[] = {
        {"level", "-10", "-10"},
        {"level", " 2.5e0\t", "2.5"},
        {"level", "+3", "3"},
        {"level", ".5", "0.5"},
        {"factor", "0.1", "0.1"},
        {"factor", "-1e30", "-1e+30"},
        {"count", "9", "9"},
        {"count", "4.0", "4"},
        {"kind", "2", "2"},
        {"kind", "SECOND KIND", "1"},
        {"kind", "7", "2"},  // no such number, but these words
        {"flag", "TRUE", "true"},
        {"flag", "0", "false"},
        {"text", " kept  as it is ", " kept  as it is "},
        {"text", "", ""},
        {"trace", "128", "128"},
        {"channel", "c", "c"},
        {"channel", "25", "z"},
        {"channel", "998", "998"},
        {"channels", "d b-c 30", "b-d 30"},
        {"channels", "", ""},
        {"traces", "5,1-2", "1 2 5"},
        {"traces", "", ""},
    };
    for (const auto& [key, text, value] : good) {
        const int before = fields.changes;
        EXPECT_EQ(Set(key, text), "") << key << " " << text;
        EXPECT_EQ(Value(key), value) << text;
        EXPECT_EQ(fields.changes, before + 1) << "what follows is told once";
        EXPECT_EQ(Set(key, Value(key)), "") << value;
        EXPECT_EQ(Value(key), value);
        EXPECT_EQ(Of(key).Fault(), "");
    }
    EXPECT_EQ(fields.trace, 127);
    EXPECT_EQ(fields.channel, 998);
}

TEST_F(ParamTest, FaultsOfEveryKindChangeNothing) {
    const struct {
        const char *key, *text, *fault;
    } bad[] = {
        {"level", "10.001", "\"Level\" must be a number from -10 to 10."},
        {"level", "nan", "\"Level\" must be a number from -10 to 10."},
        {"level", "", "\"Level\" must be a number from -10 to 10."},
        {"level", "+-5", "\"Level\" must be a number from -10 to 10."},
        {"factor", "1e39", "\"Factor\" needs a number."},
        {"factor", "inf", "\"Factor\" needs a number."},
        {"factor", "one", "\"Factor\" needs a number."},
        {"count", "0", "\"Count\" must be a whole number from 1 to 9."},
        {"count", "2.5", "\"Count\" must be a whole number from 1 to 9."},
        {"kind", "3", "\"Kind\" takes one of 0 (first), 1 (Second kind), 2 (7)."},
        {"kind", "-1", "\"Kind\" takes one of 0 (first), 1 (Second kind), 2 (7)."},
        {"kind", "sec", "\"Kind\" takes one of 0 (first), 1 (Second kind), 2 (7)."},
        {"flag", "yes", "\"Flag\" takes 0, 1, true or false."},
        {"trace", "0", "\"Trace\" takes a trace number from 1 to 128."},
        {"trace", "129", "\"Trace\" takes a trace number from 1 to 128."},
        {"trace", "1.5", "\"Trace\" takes a trace number from 1 to 128."},
        {"channel", "999", "\"Channel\" takes a channel: a letter, or a number from 0 to 998."},
        {"channel", "a-b", "\"Channel\" takes a channel: a letter, or a number from 0 to 998."},
        {"channel", "-1", "\"Channel\" takes a channel: a letter, or a number from 0 to 998."},
        {"channel", "5-", "\"Channel\" takes a channel: a letter, or a number from 0 to 998."},
        {"channel", "", "\"Channel\" takes a channel: a letter, or a number from 0 to 998."},
        {"channels", "b;c",
         "The list should only contain letters or numbers, spaces or hyphens; e.g. \"a-c 5 30-40\"."},
        {"traces", "1-a", "The list should only contain digits, spaces or hyphens; e.g. \"1-5 7 10-12\"."},
        {"traces", "500", "The selected data trace does not exist"},
        {"note", "x", "\"Note\" has no value."},
        {"press", "1", "\"Press\" has no value."},
    };
    const auto values = [&] {
        std::string all;
        for (const Field& param : fields.Describe()) all += param.key + "=" + param.ValueText() + "\n";
        return all;
    };
    const std::string before = values();
    for (const auto& [key, text, fault] : bad) {
        EXPECT_EQ(Set(key, text), fault) << key << " " << text;
        EXPECT_EQ(values(), before) << key << " " << text;
    }
    EXPECT_EQ(fields.changes, 0);
}

// Numbers that came another way than by a text: from a file, or set by an operation.
TEST_F(ParamTest, StoredValuesOutsideTheirLimits) {
    const auto fault = [&](const char* key) { return Of(key).Fault(); };
    fields.level = std::nan("");
    fields.factor = INFINITY;
    fields.count = 10;
    fields.kind = 3;
    fields.trace = -1;
    fields.channel = 999;
    fields.channels = {3, 1000};
    fields.traces = {-1};
    EXPECT_EQ(fault("level"), "\"Level\" must be a number from -10 to 10.");
    EXPECT_NE(fault("factor"), "");
    EXPECT_EQ(fault("count"), "\"Count\" must be a whole number from 1 to 9.");
    EXPECT_EQ(fault("kind"), "\"Kind\" takes one of 0 (first), 1 (Second kind), 2 (7).");
    EXPECT_EQ(fault("trace"), "The selected data trace does not exist");
    EXPECT_EQ(fault("channel"), "The selected event channel does not exist");
    EXPECT_EQ(fault("channels"), "The selected event channel does not exist");
    EXPECT_EQ(fault("traces"), "The selected data trace does not exist");
}

TEST_F(ParamTest, OneLimitAndNone) {
    double least = 1.0, most = 1.0;
    int32_t whole = 1, any = 1;
    ParamList list;
    Field& from = list.Number("from", "From", least).Limits(0.0, DBL_MAX);
    Field& upTo = list.Number("upTo", "Up to", most).Limits(-DBL_MAX, 5.0);
    Field& positive = list.Integer("positive", "Positive", whole).Limits(1, INT32_MAX);
    Field& free = list.Integer("free", "Free", any);
    EXPECT_EQ(from.SetFromText("-1"), "\"From\" must be at least 0.");
    EXPECT_EQ(from.SetFromText("1e300"), "");
    EXPECT_EQ(upTo.SetFromText("6"), "\"Up to\" must be at most 5.");
    EXPECT_EQ(upTo.SetFromText("six"), "\"Up to\" needs a number.");
    EXPECT_EQ(positive.SetFromText("0"), "\"Positive\" must be at least 1.");
    EXPECT_EQ(positive.SetFromText("1.5"), "\"Positive\" needs a whole number.");
    EXPECT_EQ(positive.SetFromText("2147483648"), "\"Positive\" must be at most 2147483647.");
    EXPECT_EQ(positive.SetFromText("2147483647"), "");
    EXPECT_EQ(free.SetFromText("-2147483648"), "");
    EXPECT_EQ(any, INT32_MIN);
}

TEST_F(ParamTest, SinglesAreWrittenAsSingles) {
    EXPECT_EQ(Value("factor"), "0.1");
    fields.factor = FLT_MAX;
    EXPECT_EQ(Set("factor", Value("factor")), "");
    EXPECT_EQ(fields.factor, FLT_MAX);
    // 0.7 as a single is a little less than 0.7.
    float share = 1.0f;
    ParamList list;
    Field& limited = list.Number("share", "Share", share).Limits(0.7, 2.0);
    EXPECT_EQ(limited.SetFromText("0.7"), "");
    EXPECT_EQ(limited.Fault(), "");
    EXPECT_EQ(limited.SetFromText("0.69"), "\"Share\" must be a number from 0.7 to 2.");
    fields.level = 0.1 + 0.2;
    EXPECT_EQ(Set("level", Value("level")), "");
    EXPECT_EQ(fields.level, 0.1 + 0.2);
}

}  // namespace
}  // namespace kymora::test
