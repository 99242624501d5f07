// The calculator for curves through fixed points.

#include "exchange/interpolate_gen.h"

#include "document/blank_doc.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class InterpolateGenTest : public SessionTest {
  protected:
    InterpolateGenTest() { gen.CheckChangeDoc(&blank); }
    void Set(const char* key, const std::string& value) {
        ParamList params = gen.Params();
        ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
    }
    std::string Shown(const char* key) {
        ParamList params = gen.Params();
        return params.Find(key)->shown();
    }
    std::string Text() {
        std::string text;
        gen.WriteResult([&](std::string_view piece) {
            text += piece;
            return true;
        });
        return text;
    }
    // What is said of points; empty when they have a curve.
    std::string Fault(const std::string& points) {
        Set("points", points);
        host.messages.clear();
        return gen.Run() ? std::string() : host.LastMessage();
    }

    BlankDoc blank{session};
    CInterpolateGen gen;
};

TEST_F(InterpolateGenTest, TheTextHasTheKindAndTheCurve) {
    const struct {
        const char *type, *heading, *middle;
    } kinds[] = {{"1", "Linear:\n", "1.500000\t1.500000\n"},
                 {"2", "Cubic Spline:\n", "1.500000\t1.500000\n"},
                 {"3", "Catmull-Rom Spline:\n", "1.500000\t1.500000\n"},
                 {"4", "Modified Akima Spline:\n", "1.500000\t1.500000\n"},
                 {"5", "Bezier (3rd order) Spline:\n", "1.500000\t1.500000\n"},
                 {"6", "PCHIP Spline:\n", "1.500000\t1.500000\n"},
                 // Nothing lies between the points but the points.
                 {"0", "Unknown Spline Type\n", "1.000000\t1.000000\n"}};
    Set("points", "0\t0\n1,1\n\n 2\t2\n3 3\n");
    Set("pointsInGraph", "3");
    for (const auto& [type, heading, middle] : kinds) {
        Set("type", type);
        ASSERT_TRUE(gen.Run()) << host.LastMessage();
        const std::string text = Text();
        EXPECT_TRUE(text.starts_with(std::string(heading) + "0.000000\t0.000000\n" + middle)) << text;
        EXPECT_TRUE(text.ends_with("\n3.000000\t3.000000\n")) << text;
    }
    EXPECT_EQ(gen.GetGraph()->panes[0].layers.size(), 1u) << "the points alone";
}

TEST_F(InterpolateGenTest, ExtrapolatesToTheEndsOfTheAxis) {
    Set("points", "0\t0\n1\t1\n2\t2\n4\t4\n");
    Set("pointsInGraph", "2");
    Set("query", "0.5, 5");
    ASSERT_TRUE(gen.Run());
    EXPECT_EQ(host.LastMessage(), "at 0.5: 0.5; at 5: outside the fixed points");
    EXPECT_EQ(Text(), "Linear:\n0.000000\t0.000000\n4.000000\t4.000000\n");
    Set("extrapolate", "1");
    ASSERT_TRUE(gen.Run());
    EXPECT_EQ(Text(), "Linear:\n-0.400000\t-0.400000\n4.400000\t4.400000\n") << "a tenth beyond them";
    Set("axisLeft", "-3");
    Set("axisRight", "3");
    ASSERT_TRUE(gen.Run());
    EXPECT_EQ(Text(), "Linear:\n-3.000000\t-3.000000\n4.000000\t4.000000\n") << "and to no point less";
    EXPECT_EQ(Shown("value"), "at 0.5: 0.5; at 5: 5");
    const auto limits = gen.GetGraph()->panes[0].x.limits;
    EXPECT_EQ(limits, std::pair(-3.0, 3.0));
    Set("axisRight", "-3");
    EXPECT_EQ(gen.Validate(), "The left end of the axis must be less than its right end.");
    Set("axisAuto", "1");
    Set("query", "1 x");
    EXPECT_EQ(gen.Validate(), "The query takes X values, for example 1.5 2.25.");
}

TEST_F(InterpolateGenTest, WhatIsWrongWithThePointsIsSaid) {
    const char* increasing = "Fixed points must be in strictly increasing time order.";
    const std::pair<const char*, const char*> faults[] = {
        {"", "No valid data in Fixed points list."},
        {"a\tb\n1\t\nnan\t2\n", "No valid data in Fixed points list."},
        {"1\t2\n2\t3\n3\t4\n", "Please enter at least 4 fixed points."},
        {"1\t2\n2\t3\n2\t4\n3\t4\n", increasing},
        {"1\t2\n3\t3\n2\t4\n4\t4\n", increasing},
        {"t\tv\n1\t2\n2\t3\n3\t4\n4\t5\t6\n", ""}};
    for (const auto& [points, words] : faults) EXPECT_EQ(Fault(points), words) << points;
    ASSERT_FALSE(host.notices.empty());
    EXPECT_EQ(host.notices.back().key, "XYGraphDlgIgnoreRow");
    EXPECT_EQ(host.notices.back().text, "Note: a data row contains non-numeric values and will be ignored.");
}

TEST_F(InterpolateGenTest, DecimalCommasAndPointsAreToldApart) {
    session.decimalSeparator = ',';
    Set("pointsInGraph", "2");
    const struct {
        const char *points, *query, *curve, *value;
        size_t ignored;
    } cases[] = {
        {"0,5;1\n1,5;2\n2,5;3\n3,5;4\n", "0,75 1,5;2", "0.500000\t1.000000\n3.500000\t4.000000\n",
         "at 0.75: 1.25; at 1.5: 2; at 2: 2.5", 0},
        {"1 1\n2 2\n3 3\n4.5 4\n", "1.5, 2", "1.000000\t1.000000\n4.500000\t4.000000\n",
         "at 1.5: 1.5; at 2: 2", 0},
        // 1,5 would be two numbers, were it read with points.
        {"1,5 1\n2 2\n3 3\n3.5 3\n4 4\n", "3", "1.500000\t1.000000\n4.000000\t4.000000\n", "at 3: 3", 1},
    };
    for (const auto& [points, query, curve, value, ignored] : cases) {
        SCOPED_TRACE(points);
        Set("points", points);
        Set("query", query);
        host.notices.clear();
        ASSERT_TRUE(gen.Run()) << host.LastMessage();
        EXPECT_EQ(Text(), std::string("Linear:\n") + curve);
        EXPECT_EQ(Shown("value"), value);
        EXPECT_EQ(host.notices.size(), ignored);
    }
    Set("query", "1,5,2");
    EXPECT_EQ(gen.Validate(), "") << "three numbers with points";
    Set("query", "1,5x");
    EXPECT_NE(gen.Validate(), "");
}

TEST_F(InterpolateGenTest, SourcesOfThePoints) {
    gen.SuggestSettings();
    EXPECT_EQ(Shown("source"), "internal source");
    EXPECT_TRUE(gen.Run());
    Set("points", "1 2");
    gen.SuggestSettings();
    EXPECT_EQ(gen.m_strPoints, "1 2") << "what the user entered stays";
    EXPECT_EQ(Shown("source"), "from manual entry or paste");
    host.clipboardText = "0;0,5\n1;1\n2;2\n3;7,5\n";
    session.decimalSeparator = ',';
    {
        ParamList params = gen.Params();
        params.Find("paste")->action(params);
    }
    EXPECT_EQ(Shown("source"), "from clipboard");
    Set("pointsInGraph", "2");
    ASSERT_TRUE(gen.Run());
    EXPECT_EQ(Text(), "Linear:\n0.000000\t0.500000\n3.000000\t7.500000\n");
    // A file of another locale.
    PutText("/p.csv", "0,0.25\n1,1\n2,2\n3,3\n");
    EXPECT_TRUE(gen.TakesDrop("/p.csv"));
    EXPECT_EQ(Shown("source"), "from file /p.csv");
    ASSERT_TRUE(gen.Run());
    EXPECT_TRUE(Text().starts_with("Linear:\n0.000000\t0.250000\n"));
    EXPECT_TRUE(gen.TakesDrop("/none.txt"));
    EXPECT_EQ(host.LastMessage(), "Unable to open dropped file.");
    EXPECT_TRUE(gen.TakesDrop("/p.doc"));
    EXPECT_EQ(host.LastMessage(), "You can only drop a text file (.txt) or CSV (*.csv) onto this dialog.");
    EXPECT_EQ(Shown("source"), "from file /p.csv") << "what was there stays";
}

}  // namespace
}  // namespace kymora::test
