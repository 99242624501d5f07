#include "host/form.h"
#include "import/asc_doc.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "import/reader_fixture.h"

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;

class AscDocTest : public ReaderTest {
  protected:
    std::unique_ptr<CDataDoc> Open(std::string_view text, const char* path = "/x.csv") {
        const auto bytes = std::as_bytes(std::span(text));
        files.Put(path, {bytes.begin(), bytes.end()});
        return Reopen(path);
    }
    static Strings Labels(const CDataDoc& doc) {
        Strings labels;
        for (int t = 0; t < doc.traceCount; ++t)
            labels.push_back(doc.traces[static_cast<size_t>(t)].traceLabel);
        return labels;
    }
    void Refuses(std::string_view text, const std::string& message) {
        host.Forget();
        EXPECT_FALSE(Open(text)) << text.substr(0, 80);
        EXPECT_EQ(host.LastMessage(), message);
    }
};

TEST_F(AscDocTest, TheTopIsTheCommentAndAnyNumberASample) {
    request.settings = {{"sampleInterval", "0.1"}};
    auto doc = Open("made by hand\r\nV,I\r\n1,-.5\r\n2,1e-3\r\n3,+4\r\n\r\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{-0.5f, 0.001f, 4}));
    EXPECT_EQ(doc->fileComment, "made by hand\r\nV,I\r\n");
    ASSERT_TRUE(doc = Open("1 2 3", "/x.ASC")) << "one row without its end";
    EXPECT_EQ(doc->traceCount, 3);
    EXPECT_EQ(doc->GetLength(), 1);
    ASSERT_TRUE(doc = Open("1\n2\nNaN\n-inf\n1e300\n", "/x.txt"));
    EXPECT_TRUE(std::isnan(All(*doc, 0)[2]));
    EXPECT_EQ(All(*doc, 0)[4], std::numeric_limits<float>::infinity());
}

TEST_F(AscDocTest, TheSettingsChooseWhatIsRead) {
    request.settings = {{"sampleInterval", "2"}, {"skipRows", "1"}, {"skipColumns", "1"}, {"labelRow", "3"}};
    auto doc = Open("# x\n0 1 2\ntime,\"V, soma\",I\n1 3 4\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 3})) << "the row of labels is no data, wherever it stands";
    EXPECT_EQ(Labels(*doc), (Strings{"V, soma", "I"}));
    EXPECT_EQ(doc->fileComment, "# x\r\n");
    EXPECT_EQ(session.textFile.skipColumns, 0) << "settings are no defaults";

    request.settings = {{"sampleInterval", "2"}, {"labelRow", "1"}};
    ASSERT_TRUE(doc = Open("a,,b,c\n1,2\n"));
    EXPECT_EQ(Labels(*doc), (Strings{"", ""}));
    EXPECT_EQ(
        host.LastMessage(),
        "The number of trace labels read from the specified label row does not match the number of data "
        "columns.\nCheck that there are no empty cells or separator tokens ('tab' or ',') within the "
        "labels.");

    request.settings = {{"sampleInterval", "2"}, {"skipColumns", "1"}};
    ASSERT_TRUE(doc = Open("time,V\n12:30:05,1\n12:30:06,2\n"));
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 2})) << "times in a skipped column are no heading";
    ASSERT_TRUE(doc = Open("Time,1,2\n0,8,9\n"));
    EXPECT_EQ(All(*doc, 1), std::vector<float>{9}) << "numbers as labels are";
}

TEST_F(AscDocTest, RowsBecomeTraces) {
    request.settings = {
        {"sampleInterval", "1"}, {"dataInColumns", "false"}, {"skipColumns", "1"}, {"labelRow", "1"}};
    auto doc = Open("Ch1 1 2\nCh2 3 4\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(Labels(*doc), (Strings{"Ch1", "Ch2"}));
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{3, 4}));
    request.settings["skipColumns"] = request.settings["labelRow"] = "0";
    std::string tall;
    for (int i = 0; i < 128; ++i) tall += "1 2\n";
    ASSERT_TRUE(doc = Open(tall));
    EXPECT_EQ(doc->traceCount, 128);
    Refuses("1 2 3\n4 5\n",
            fmt::format("The number of samples in file row 2 is different from previous "
                        "rows.\nAll rows must have the same number of samples. Aborting load."));
    Refuses("1 2 3\n4 5 6 7\n8\n",
            fmt::format("The number of samples in file row 2 is different from previous "
                        "rows.\nAll rows must have the same number of samples. Aborting load."));
    Refuses(tall + "1 2\n1 2\n",
            "WARNING: There appear to be 130 traces in this file, Kymora cannot handle more than 128.\n(Make "
            "sure your traces are in column format, with each row a sample.)");
}

TEST_F(AscDocTest, TablesThatAreNoneAreRefused) {
    constexpr const char* none = "WARNING: no data channels read. Check skip rows or skip columns.";
    for (const char* text : {"", "\n\n", "Once upon a time\nthere were no numbers.\n", "\xEF\xBB\xBF"})
        Refuses(text, none);
    Refuses("1 2\n3 x4\n", "Error reading datum as float: row 2, text: 'x4'");
    Refuses("h\n1 2\n\n3\n",
            "The number of samples in file row 4 is different from previous rows.\nAll rows must "
            "have the same number of samples. Aborting load.");
    Refuses("1\n" + std::string(200000, '1'),
            "Error reading datum as float: row 2, text: '" + std::string(60, '1') + "...'");
    std::string wide;
    for (int i = 0; i < 128; ++i) wide += "1,";
    auto doc = Open(wide);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 128);
    for (const size_t count : {129u, 100000u}) {
        std::string row;
        for (size_t i = 0; i < count; ++i) row += "1 ";
        Refuses(
            row + "\n1",
            fmt::format("WARNING: There appear to be {} traces in this file, Kymora cannot handle more than "
                        "128.\n(Make sure your traces are in column format, with each row a sample.)",
                        count));
    }
    request.settings = {{"skipColumns", "2"}};
    Refuses("1 2\n3 4\n", none);
    CAscDoc other(session);
    EXPECT_FALSE(other.OnOpenDocument("/x.dat"));
    EXPECT_EQ(host.LastMessage(), "You must select a .asc, .csv or .txt file");
}

TEST_F(AscDocTest, TheDialogShowsTheFileAndItsAnswersAreKept) {
    request.talk = OpenTalk::asks;
    host.fillForms.push_back([](Form& form) {
        EXPECT_EQ(form.title, "Text File Properties");
        EXPECT_EQ(form.Text("preview"), "# head\nt,V\n12:01 1\n12:02 2");
        EXPECT_EQ(form.Integer("skipRows"), 4) << "nothing looks like data";
        form["skipColumns"].number = 1;
        form.onChange(form);
        EXPECT_EQ(form.Integer("skipRows"), 2) << "the guess follows";
        form["widenTabs"].action(form);
        EXPECT_EQ(form["preview"].tabWidth, 10);
        for (int i = 0; i < 20; ++i) form["narrowTabs"].action(form);
        EXPECT_EQ(form["preview"].tabWidth, 2);
        form["labelRow"].number = 2;
        form["sampleInterval"].number = 60000;
        return true;
    });
    auto doc = Open("# head  \nt,V\n12:01 1\n12:02 2\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->sampleInterval, 60000.0);
    EXPECT_EQ(Labels(*doc), Strings{"V"});
    EXPECT_EQ(session.textFile.skipRows, 2);
    EXPECT_EQ(session.textFile.labelRow, 2);
    // The next file starts with the answers, and what is settled is not asked for.
    request.settings = {{"sampleInterval", "5"}};
    host.fillForms.push_back([](Form& form) {
        EXPECT_EQ(form.Integer("skipRows"), 2);
        EXPECT_EQ(form.Integer("skipColumns"), 1);
        EXPECT_EQ(form.Integer("labelRow"), 2);
        EXPECT_THROW(form["sampleInterval"], std::out_of_range);
        return true;
    });
    ASSERT_TRUE(doc = Open("# x\nt I\n3 3\n4 4\n"));
    EXPECT_EQ(doc->sampleInterval, 5.0);
    EXPECT_EQ(session.textFile.sampleInterval, 60000.0);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{3, 4}));
    // The same file opens again without a question.
    request.settings = doc->ToReopen().settings;
    host.Forget();
    ASSERT_TRUE(doc = Reopen("/x.csv"));
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{3, 4}));
    request.settings.clear();
    host.Forget();
    EXPECT_FALSE(Open("1\n")) << "cancelled";
    EXPECT_TRUE(host.messages.empty());
}

// What the last file had is proposed where this one can be read so.
TEST_F(AscDocTest, TheProposalFitsTheFile) {
    request.talk = OpenTalk::asks;
    struct Layout {
        int rows, columns, labels;
    };
    const struct {
        const char* what;
        TextFileDefaults last;
        const char* text;
        Layout proposed;
    } cases[] = {
        {"alike", {3, false, 0, 3}, "a\nb\nV I\n1 2\n3 4\n", {3, 0, 3}},
        {"no heading here", {3, false, 0, 3}, "1 2\n3 4\n5 6\n7 8\n", {0, 0, 0}},
        {"a longer heading", {1, false, 0, 1}, "a\nb\nV I\n1 2\n3 4\n", {3, 0, 3}},
        {"fewer labels than traces", {2, false, 0, 1}, "V\nmV\n1 2\n3 4\n", {2, 0, 0}},
        {"shorter than what is left out", {9, true, 0, 0}, "x\n1 2\n3 4\n", {1, 0, 0}},
        {"left out on purpose", {2, true, 0, 0}, "1 2\n3 4\n5 6\n7 8\n", {2, 0, 0}},
        {"one column only", {1, false, 1, 0}, "V\n1\n2\n", {1, 0, 0}},
        {"labels among the data", {1, false, 0, 3}, "x\n1 2\nV I\n3 4\n", {1, 0, 3}},
    };
    for (const auto& c : cases) {
        session.textFile = c.last;
        host.fillForms.push_back([&](Form& form) {
            EXPECT_EQ(form.Integer("skipRows"), c.proposed.rows) << c.what;
            EXPECT_EQ(form.Integer("skipColumns"), c.proposed.columns) << c.what;
            EXPECT_EQ(form.Integer("labelRow"), c.proposed.labels) << c.what;
            return true;
        });
        EXPECT_TRUE(Open(c.text)) << c.what << host.LastMessage();
        EXPECT_TRUE(host.messages.empty()) << c.what << host.LastMessage();
    }
}

TEST_F(AscDocTest, WhatCannotBeReadIsAskedForAgain) {
    request.talk = OpenTalk::asks;
    host.fillForms.push_back([](Form& form) {
        EXPECT_EQ(form.fault, "");
        form["skipRows"].number = 0;
        form["sampleInterval"].number = 5;
        return true;
    });
    host.fillForms.push_back([this](Form& form) {
        EXPECT_EQ(form.fault, "Error reading datum as float: row 1, text: 'V'");
        EXPECT_EQ(form.Integer("skipRows"), 0) << "as the user left it";
        EXPECT_EQ(form.Number("sampleInterval"), 5.0);
        EXPECT_EQ(session.textFile.sampleInterval, 1.0) << "no default, it has not worked";
        form["skipRows"].number = 1;
        return true;
    });
    auto doc = Open("V\n1\n2\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 2}));
    EXPECT_EQ(session.textFile.sampleInterval, 5.0);
    EXPECT_TRUE(host.messages.empty()) << "the dialog says it";
    host.fillForms.push_back([](Form& form) {
        form["skipRows"].number = 0;
        return true;
    });
    EXPECT_FALSE(Open("V\n1\n2\n")) << "cancelled the second time";
    EXPECT_EQ(host.forms.size(), 4u);
}

TEST_F(AscDocTest, ACommaLocaleReadsCommasAndAsksAboutPoints) {
    session.decimalSeparator = ',';
    request.settings = {{"sampleInterval", "1"}, {"labelRow", "1"}};
    auto doc = Open("a;b c\n1,5;2\n-0,25 3,5e2\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1.5, -0.25}));
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{2, 350}));
    EXPECT_EQ(Labels(*doc), (Strings{"a", "b c"}));
    EXPECT_TRUE(host.questions.empty());
    EXPECT_EQ(doc->ToReopen().settings["decimalSeparator"], ",");
    ASSERT_TRUE(doc = Open("a,b\n0,0\n0.5,1e-3\n"));
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_EQ(
        host.questions[0].text,
        "This file seems to use '.' as the decimal separator (the locale uses ','). Continue, using '.' as "
        "separator?");
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{0, 0.001f}));
    EXPECT_EQ(doc->fileComment, "a,b\r\n");
    EXPECT_EQ(doc->ToReopen().settings["decimalSeparator"], ".");
    host.answer = false;
    EXPECT_FALSE(Open("h\n0.5;1\n"));
    EXPECT_TRUE(host.messages.empty()) << "the user knows";
    request.settings["decimalSeparator"] = ".";
    request.settings["labelRow"] = "0";
    EXPECT_TRUE(Open("0.5;1\n"));
    EXPECT_EQ(host.questions.size(), 2u);
}

TEST_F(AscDocTest, ASideCarHasNoLabelsForTracesThatItDoesNotKnow) {
    request.settings = {{"sampleInterval", "1"}, {"labelRow", "1"}};
    auto doc = Open("V\n1\n2\n3\n");
    ASSERT_TRUE(doc);
    doc->traces[0].traceLabel = "membrane";
    ASSERT_TRUE(doc->OnSaveDocument());
    ASSERT_TRUE(doc = Open("V,I\n1,4\n2,5\n3,6\n"));
    EXPECT_EQ(Labels(*doc), (Strings{"membrane", "I"}));
    EXPECT_EQ(doc->traces[1].traceAutoscale, 1) << "it was never scaled";
}

TEST_F(AscDocTest, LongFilesShowTheirProgressAndCanBeCancelled) {
    request.settings = {{"sampleInterval", "1"}};
    std::string text;
    for (int i = 0; i < 200000; ++i) text += fmt::format("{}.5,{}\n", i, -i);
    auto doc = Open(text);
    ASSERT_TRUE(doc);
    ASSERT_EQ(host.progress.size(), 1u);
    EXPECT_EQ(host.progress[0].total, text.size());
    EXPECT_EQ(host.progress[0].updates.back(), text.size());
    host.cancelAtCall = 2;
    EXPECT_FALSE(Open(text));
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(AscDocTest, HolesThatMoveValuesAreTold) {
    request.settings = {{"sampleInterval", "1"}};
    const auto told = [&](std::string_view text) {
        host.Forget();
        EXPECT_TRUE(Open(text)) << text;
        return host.LastMessage().substr(0, host.LastMessage().find(' ', 4));
    };
    EXPECT_EQ(told("a,b,c\n1,,7\n2,5,\n,6,8\n"), "Row 3");
    EXPECT_EQ(told("1,2\n,\n3,4\n"), "Row 2");
    // Alike in every row, blanks, or behind the last row: nothing has moved.
    for (const char* harmless : {"1,,2\n3,,4\n", ",1,2\n,3,4\n", "1, 2\n3 ,  4\n", "1  2\n3 4\n",
                                 "1,2,\n3,4\n", "1,2\n3,4\n,\n,\n", "1,2\n\n3,4\n"})
        EXPECT_EQ(told(harmless), "") << harmless;
}

TEST_F(AscDocTest, WithoutAnIntervalOneIsNamed) {
    ASSERT_TRUE(Open("1\n2\n"));
    ASSERT_EQ(host.notices.size(), 1u);
    EXPECT_NE(host.notices[0].text.find("x.csv; 1 ms"), std::string::npos) << host.notices[0].text;
}

}  // namespace
}  // namespace kymora::test
