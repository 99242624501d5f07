#include "import/text_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;
constexpr double infinite = std::numeric_limits<double>::infinity();

// Keeps all that comes, rows as lists of values.
class Rows : public RowSink {
  public:
    std::vector<std::vector<double>> rows;
    std::vector<int64_t> numbers;
    Strings lines, labels;
    bool begun = false;

    bool TakeValues(int64_t row, std::span<const double> values, bool endsRow) override {
        if (!begun) rows.emplace_back(), numbers.push_back(row);
        begun = !endsRow;
        rows.back().insert(rows.back().end(), values.begin(), values.end());
        return true;
    }
    bool TakeLine(int64_t row, std::string_view line) override {
        lines.push_back(std::to_string(row) + ":" + std::string(line));
        return true;
    }
    bool TakeLabel(std::string_view label) override {
        labels.emplace_back(label);
        return true;
    }
};

struct Parsed {
    Rows rows;
    bool taken = false;
    int64_t faultRow = 0;
    std::string fault;
    bool seemsToUsePoints = false;
};

Parsed Parse(std::string_view text, const RowFormat& format = {}, size_t pieceSize = 1 << 20) {
    Parsed parsed;
    RowParser parser(format, parsed.rows);
    parsed.taken = true;
    for (; !text.empty() && parsed.taken; text.remove_prefix(std::min(pieceSize, text.size())))
        parsed.taken = parser.Take(text.substr(0, pieceSize));
    if (parsed.taken) parsed.taken = parser.Finish();
    parsed.faultRow = parser.FaultRow();
    parsed.fault = parser.FaultText();
    parsed.seemsToUsePoints = parser.SeemsToUsePoints();
    return parsed;
}

TEST(TextRows, NumbersAreReadAsPeopleWriteThem) {
    EXPECT_EQ(ReadNumber("12"), 12.0);
    EXPECT_EQ(ReadNumber("+2"), 2.0);
    EXPECT_EQ(ReadNumber(".5"), 0.5);
    EXPECT_EQ(ReadNumber("-5."), -5.0);
    EXPECT_EQ(ReadNumber("1e-3"), 0.001);
    EXPECT_EQ(ReadNumber("1.5E+2"), 150.0);
    EXPECT_TRUE(std::isnan(*ReadNumber("NaN")));
    EXPECT_EQ(ReadNumber("-inf"), -infinite);
    EXPECT_EQ(ReadNumber("1e999"), infinite);
    EXPECT_EQ(ReadNumber("-1e400"), -infinite);
    EXPECT_EQ(ReadNumber("0.001e-999"), 0.0);
    EXPECT_EQ(ReadNumber("0,25", ','), 0.25);
    for (const char* text :
         {"", "+", "-", ".", "+-2", "++2", "1.2.3", "1e", "0x10", "1,5", "12a", "a12", "1 2"})
        EXPECT_FALSE(ReadNumber(text)) << text;
    for (const char* text : {"1.5", "1,2,3", "1.000,5"}) EXPECT_FALSE(ReadNumber(text, ',')) << text;
}

// The quick way for plain numbers, against the library of C.
TEST(TextRows, EveryFormOfANumberHasTheNearestValue) {
    std::mt19937_64 random(7);
    std::string text;
    Strings cells{"9007199254740993",
                  "123456789012345678",
                  "1234567890123456789",
                  "0.06470576792063361",
                  "1e22",
                  "1e23",
                  "1e-22",
                  "1e-23",
                  "5e-324",
                  "1.7976931348623157e308",
                  "-0",
                  "4.35e0005",
                  "7e00000000001",
                  "0000000000000000000000012.5"};
    const char* formats[] = {"%.0f", "%.3f", "%.6f", "%.12f", "%g", "%.9g", "%.17g", "%e", "%.3E", "%+.4f"};
    for (int i = 0; i < 20000; ++i) {
        char buffer[512];
        const double value =
            std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 80) - 90);
        std::snprintf(buffer, sizeof buffer, formats[i % 10], i % 3 ? value : -value);
        cells.emplace_back(buffer);
    }
    for (const std::string& cell : cells) text += cell + "\n";
    const Parsed parsed = Parse(text);
    ASSERT_TRUE(parsed.taken) << parsed.fault;
    ASSERT_EQ(parsed.rows.rows.size(), cells.size());
    for (size_t i = 0; i < cells.size(); ++i) {
        const double expected = std::strtod(cells[i].c_str(), nullptr);
        ASSERT_EQ(parsed.rows.rows[i], std::vector<double>{expected}) << cells[i];
        ASSERT_EQ(std::signbit(parsed.rows.rows[i][0]), std::signbit(expected)) << cells[i];
    }
}

TEST(TextRows, CellsEndAtSeparatorsAndQuotesHoldThem) {
    EXPECT_EQ(SplitCells(" a,\t,b c,,", ",\t "), (Strings{"a", "b", "c"}));
    EXPECT_EQ(SplitCells("\"x, y\",\"say \"\"so\"\"\",5\"3,\"\"", ","),
              (Strings{"x, y", "say \"so\"", "5\"3", ""}));
    EXPECT_EQ(SplitCells("\"never ends, 1", ","), (Strings{"never ends, 1"}));
    EXPECT_TRUE(SplitCells(" ,, ", ", ").empty());
}

TEST(TextRows, TheTopEndsAtTheFirstLineOfNumbers) {
    const auto top = [](std::vector<std::string_view> lines, const RowFormat& format = {}) {
        return CountTopRows(lines, format);
    };
    EXPECT_EQ(top({"1,2", "3,4"}), 0u);
    EXPECT_EQ(top({"# x", "", " \t", "t,v", "1e-3,NaN", "words later"}), 4u) << "leading lines only";
    EXPECT_EQ(top({"+1 -inf 2E5"}), 0u);
    EXPECT_EQ(top({"\"1\",\"2\""}), 0u) << "quoted numbers are numbers";
    EXPECT_EQ(top({"e1", "1e", "nano 1", "x"}), 4u) << "none holds data";
    EXPECT_EQ(top({"2020-01-02;1"}), 0u) << "no character of a heading, though no number";
    EXPECT_EQ(top({"a;b", "1,5e-3;2"}, RowFormat::Of(',')), 1u);
    RowFormat dated;
    dated.skipColumns = 1;
    EXPECT_EQ(top({"time v", "12:30:05 1"}, dated), 1u);
}

TEST(TextRows, TheTableBeginsBehindTheLastHeadingWhereNumbersAboveBelongToIt) {
    const struct {
        const char* what;
        std::vector<std::string_view> lines;
        size_t top;
    } cases[] = {
        {"counts of another width",
         {"ATF\t1.0", "8\t3  ", "\"Comment=a b\"", "\"t\"\t\"a\"\t\"b\"", "0\t1\t2", "1\t2\t3"},
         4},
        {"counts at the very top", {"3", "some words", "1 2 3", "4 5 6"}, 2},
        {"counts as wide as the table",
         {"ATF\t1.0", "8\t2", "\"Comment=\"", "\"t\"\t\"a\"", "0\t1", "1\t2"},
         4},
        {"several tables of settings",
         {"gains", "1,2", "3,4", "", "limits", "5", "t,a,b", "", "0,1,2", "1,2,3", "2,3,4"},
         8},
        {"words within the table", {"t,a", "0,1", "1,2", "a break", "2,3", "3,4", "4,5"}, 1},
        {"a word for a number", {"t,a", "0,1", "1,none", "2,3", "3,4"}, 1},
        {"a word for the number", {"a", "0", "none", "1", "2"}, 1},
        {"words behind the first row", {"0,1", "pause", "1,2", "2,3"}, 0},
        {"a shorter table below", {"t,a", "0,1", "1,2", "Mean", "0.5"}, 1},
        {"words below", {"t,a", "0,1", "1,2", "the end"}, 1},
        {"blank rows are no words", {"0,1", "", " \t", "1,2,3", "4,5,6"}, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(CountTopRows(c.lines, {}), c.top) << c.what;
}

TEST(TextRows, RowsOfEverySortReadTheSameHoweverTheTextIsCut) {
    RowFormat format;
    format.skipRows = 2;
    format.skipColumns = 1;
    format.labelRow = 5;
    const std::string text = "head, \"ing\nsecond\n\n \"a, \"\"b\"\"\",1,2.5\t\t\"3\"  ,\nlabel row, x\n , "
                             "\nc 1e-3 NaN -.5\n\nd\ne,7";
    const Parsed whole = Parse(text, format);
    ASSERT_TRUE(whole.taken);
    EXPECT_EQ(whole.rows.lines, (Strings{"1:head, \"ing", "2:second", "5:label row, x"}));
    EXPECT_EQ(whole.rows.numbers, (std::vector<int64_t>{4, 7, 9, 10})) << "rows without a cell are none";
    ASSERT_EQ(whole.rows.rows.size(), 4u);
    EXPECT_EQ(whole.rows.rows[0], (std::vector<double>{1, 2.5, 3}));
    EXPECT_EQ(whole.rows.rows[1][0], 0.001);
    EXPECT_TRUE(std::isnan(whole.rows.rows[1][1]));
    EXPECT_EQ(whole.rows.rows[2], std::vector<double>{});
    EXPECT_EQ(whole.rows.rows[3], std::vector<double>{7});
    for (size_t size = 1; size < 12; ++size) {
        const Parsed cut = Parse(text, format, size);
        ASSERT_TRUE(cut.taken) << size;
        EXPECT_EQ(cut.rows.lines, whole.rows.lines) << size;
        EXPECT_EQ(cut.rows.numbers, whole.rows.numbers) << size;
        EXPECT_EQ(cut.rows.rows[0], whole.rows.rows[0]) << size;
        EXPECT_EQ(cut.rows.rows[3], whole.rows.rows[3]) << size;
    }
}

TEST(TextRows, LongRowsComeInPartsAndLabelsFromTheirColumn) {
    RowFormat format;
    format.labelColumn = 2;
    std::string text = "0.5 name";
    std::vector<double> expected{0.5};
    for (int i = 0; i < 10000; ++i) {
        text += " " + std::to_string(i);
        expected.push_back(i);
    }
    for (const size_t size : {size_t{1} << 20, size_t{1000}}) {
        const Parsed parsed = Parse(text + "\n", format, size);
        ASSERT_TRUE(parsed.taken);
        EXPECT_EQ(parsed.rows.rows, std::vector<std::vector<double>>{expected});
        EXPECT_EQ(parsed.rows.labels, Strings{"name"});
    }
}

TEST(TextRows, ACellThatIsNoNumberIsNamed) {
    for (const size_t size : {size_t{1} << 20, size_t{3}}) {
        const Parsed letters = Parse("1 2\n\n3 4x\n", {}, size);
        EXPECT_FALSE(letters.taken);
        EXPECT_EQ(letters.faultRow, 3);
        EXPECT_EQ(letters.fault, "4x");
        EXPECT_FALSE(letters.seemsToUsePoints);
    }
    EXPECT_EQ(Parse("\"\"").faultRow, 1) << "an empty cell in quotes is one";
    const Parsed endless = Parse("1\n" + std::string(1 << 20, '7'), {}, 50000);
    EXPECT_EQ(endless.faultRow, 2);
    EXPECT_EQ(endless.fault, std::string(60, '7') + "...");
    const Parsed open = Parse("1\n\"" + std::string(1 << 20, ','), {}, 50000);
    EXPECT_EQ(open.faultRow, 2);
    std::string accents;
    for (int i = 0; i < 100; ++i) accents += "\u00E9";
    EXPECT_EQ(Parse("x" + accents).fault, "x" + accents.substr(0, 58) + "...") << "no character is cut";
}

TEST(TextRows, PointsInAFileOfACommaLocaleAreNoticed) {
    const RowFormat comma = RowFormat::Of(',');
    EXPECT_EQ(Parse("1,5;2\t3,25", comma).rows.rows[0], (std::vector<double>{1.5, 2, 3.25}));
    for (const char* text :
         {"1.5;2", "0;0\n1;0.5", "0.5,1.5", "0,1.5", "-1.5e3", "0,0\n0.5,1", "1.5,2", "0.125,3"})
        EXPECT_TRUE(Parse(text, comma).seemsToUsePoints) << text;
    for (const char* text : {"1,5;2.5", "1;2;x.y", "1,2,3", "1.2.3", "1.234,5", "12.345.678,5"}) {
        EXPECT_FALSE(Parse(text, comma).seemsToUsePoints) << text;
        EXPECT_FALSE(Parse(text, comma).taken) << text;
    }
    EXPECT_EQ(Parse("0.5,1;2", RowFormat::Points()).rows.rows[0], (std::vector<double>{0.5, 1, 2}));
}

TEST(TextRows, LabelsFitTheColumnsInOneOfFourWays) {
    RowFormat format;
    EXPECT_EQ(LabelsOfLine("left leg, right leg", format, 2), (Strings{"left leg", "right leg"}));
    EXPECT_EQ(LabelsOfLine("left right", format, 2), (Strings{"left", "right"}));
    EXPECT_EQ(LabelsOfLine("\"a, b\"\tc", format, 2), (Strings{"a, b", "c"}));
    EXPECT_TRUE(LabelsOfLine("a,,b", format, 3).empty());
    format.skipColumns = 1;
    EXPECT_EQ(LabelsOfLine("Time (s),V,I", format, 2), (Strings{"V", "I"}));
    EXPECT_EQ(LabelsOfLine("t V I", format, 2), (Strings{"V", "I"}));
    EXPECT_EQ(LabelsOfLine("V,I", format, 2), (Strings{"V", "I"})) << "the skipped column has no label";
    EXPECT_EQ(LabelsOfLine("a b;c", RowFormat::Of(','), 2), (Strings{"a b", "c"}));
}

}  // namespace
}  // namespace kymora::test
