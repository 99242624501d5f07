#include "host/form.h"
#include "import/asc_doc.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "archive/text_encoding.h"
#include "document/side_car.h"
#include "host/memory_file_system.h"
#include "import/open_document.h"
#include "summaries/summary_source.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;

class AscDocTest : public ::testing::Test {
  protected:
    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};

    // Null when it does not open.
    std::unique_ptr<CDataDoc> Open(std::string_view text, const char* path = "/x.csv") {
        const auto bytes = std::as_bytes(std::span(text));
        files.Put(path, {bytes.begin(), bytes.end()});
        return OpenDocument(session, path);
    }
    static std::vector<float> All(CDataDoc& doc, int trace) {
        std::vector<float> values(static_cast<size_t>(doc.GetLength()));
        doc.ReadBlock(trace, 0, values);
        return values;
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

TEST_F(AscDocTest, ColumnsBecomeTraces) {
    session.importSettings = {{"sampleInterval", "0.1"}};
    auto doc = Open("made by hand\r\nV,I\r\n1,-.5\r\n2,1e-3\r\n3,+4\r\n\r\n");
    ASSERT_TRUE(doc);
    EXPECT_TRUE(host.WasSilent());
    EXPECT_EQ(doc->GetFileType(), 1);
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->sampleInterval, 0.1);
    EXPECT_EQ(doc->GetLength(), 3);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{-0.5f, 0.001f, 4}));
    EXPECT_EQ(doc->traces[1].traceAutoscale, 1);
    EXPECT_EQ(doc->fileComment, "made by hand\r\nV,I\r\n");
    EXPECT_FALSE(doc->hasGaps || doc->noData || doc->IsModified());
    doc->SetReadPosition(2);
    EXPECT_EQ(doc->ReadNext(1), 4.0);
    EXPECT_TRUE(std::isnan(doc->ReadNext(1)));
    EXPECT_EQ(doc->FileBuffer(1)[3], 0.0f);
    ASSERT_TRUE(doc = Open("1 2 3", "/x.ASC")) << "one row without its end";
    EXPECT_EQ(doc->traceCount, 3);
    EXPECT_EQ(doc->GetLength(), 1);
    ASSERT_TRUE(doc = Open("1\n2\nNaN\n-inf\n1e300\n", "/x.txt"));
    EXPECT_EQ(doc->traceCount, 1);
    EXPECT_TRUE(std::isnan(All(*doc, 0)[2]));
    EXPECT_EQ(All(*doc, 0)[4], std::numeric_limits<float>::infinity());
}

TEST_F(AscDocTest, TheSettingsChooseWhatIsRead) {
    session.importSettings = {
        {"sampleInterval", "2"}, {"skipRows", "1"}, {"skipColumns", "1"}, {"labelRow", "3"}};
    auto doc = Open("# x\n0 1 2\ntime,\"V, soma\",I\n1 3 4\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 3})) << "the row of labels is no data, wherever it stands";
    EXPECT_EQ(Labels(*doc), (Strings{"V, soma", "I"}));
    EXPECT_EQ(doc->fileComment, "# x\r\n");
    EXPECT_EQ(session.textFile.skipColumns, 0) << "settings are no defaults";

    session.importSettings = {{"sampleInterval", "2"}, {"labelRow", "1"}};
    ASSERT_TRUE(doc = Open("a,,b,c\n1,2\n"));
    EXPECT_EQ(Labels(*doc), (Strings{"", ""}));
    EXPECT_EQ(
        host.LastMessage(),
        "The number of trace labels read from the specified label row does not match the number of data "
        "columns.\nCheck that there are no empty cells or separator tokens ('tab' or ',') within the "
        "labels.");

    session.importSettings = {{"sampleInterval", "2"}, {"skipColumns", "1"}};
    ASSERT_TRUE(doc = Open("time,V\n12:30:05,1\n12:30:06,2\n"));
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 2})) << "times in a skipped column are no heading";
    ASSERT_TRUE(doc = Open("Time,1,2\n0,8,9\n"));
    EXPECT_EQ(All(*doc, 1), std::vector<float>{9}) << "numbers as labels are";
}

TEST_F(AscDocTest, RowsBecomeTraces) {
    session.importSettings = {
        {"sampleInterval", "1"}, {"dataInColumns", "false"}, {"skipColumns", "1"}, {"labelRow", "1"}};
    std::string text, tall;
    for (int t = 0; t < 3; ++t) {
        text += fmt::format("Ch{}", t + 1);
        for (int i = 0; i < 300000; ++i) text += fmt::format(" {}", i + 1000000 * t);
        text += '\n';
    }
    auto doc = Open(text);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 3);
    EXPECT_EQ(Labels(*doc), (Strings{"Ch1", "Ch2", "Ch3"}));
    const auto values = All(*doc, 1);
    ASSERT_EQ(values.size(), 300000u);
    for (int i = 0; i < 300000; ++i)
        ASSERT_EQ(values[static_cast<size_t>(i)], static_cast<float>(i + 1000000));
    session.importSettings["skipColumns"] = session.importSettings["labelRow"] = "0";
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
    session.importSettings = {{"skipColumns", "2"}};
    Refuses("1 2\n3 4\n", none);
    CAscDoc other(session);
    EXPECT_FALSE(other.OnOpenDocument("/x.dat"));
    EXPECT_EQ(host.LastMessage(), "You must select a .asc, .csv or .txt file");
    EXPECT_FALSE(OpenDocument(session, "/gone.csv"));
    EXPECT_TRUE(host.LastMessage().starts_with("Couldn't open file"));
    EXPECT_FALSE(session.importSettingRefused);
}

TEST_F(AscDocTest, SettingsThatCannotBeAreRefused) {
    for (const auto& [key, value] : std::map<std::string, std::string>{{"sampleInterval", "0"},
                                                                       {"sampleInterval ", "nan"},
                                                                       {"sampleInterval  ", "-1"},
                                                                       {"skipRows", "-2"},
                                                                       {"skipColumns", "1.5"},
                                                                       {"labelRow", "x"},
                                                                       {"dataInColumns", "2"},
                                                                       {"decimalSeparator", ";"}}) {
        const std::string name = key.substr(0, key.find(' '));
        session.importSettings = {{name, value}};
        session.importSettingRefused = false;
        EXPECT_FALSE(Open("1\n"));
        EXPECT_TRUE(session.importSettingRefused);
        EXPECT_EQ(host.LastMessage().find(
                      fmt::format("The import setting \"{}\" is \"{}\". It takes ", name, value)),
                  0u);
    }
}

TEST_F(AscDocTest, EveryEncodingAndLineEndIsRead) {
    session.importSettings = {{"sampleInterval", "1"}, {"labelRow", "1"}};
    const std::string text = "\u00B5V,\u00E9\n1,2\n3,4\n";
    std::string wide = "\xFF\xFE", latin = "\xB5V,\xE9\r1,2\r3,4";
    for (const char16_t unit : TextToWide(text)) {
        wide += static_cast<char>(unit & 0xFF);
        wide += static_cast<char>(unit >> 8);
    }
    for (const std::string& file : {text, "\xEF\xBB\xBF" + text, wide, latin}) {
        auto doc = Open(file);
        ASSERT_TRUE(doc) << host.LastMessage();
        EXPECT_EQ(Labels(*doc), (Strings{"\u00B5V", "\u00E9"}));
        EXPECT_EQ(All(*doc, 1), (std::vector<float>{2, 4}));
    }
}

TEST_F(AscDocTest, TheDialogShowsTheFileAndItsAnswersAreKept) {
    session.askForDetails = true;
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
    session.importSettings = {{"sampleInterval", "5"}};
    host.fillForms.push_back([](Form& form) {
        EXPECT_EQ(form.Integer("skipRows"), 2) << "no guess any more";
        EXPECT_EQ(form.Integer("skipColumns"), 1);
        EXPECT_THROW(form["sampleInterval"], std::out_of_range);
        return true;
    });
    ASSERT_TRUE(doc = Open("1 1\n2 2\n3 3\n4 4\n"));
    EXPECT_EQ(doc->sampleInterval, 5.0);
    EXPECT_EQ(session.textFile.sampleInterval, 60000.0);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{3, 4}));
    // The same file opens again without a question.
    session.importSettings = doc->SettingsToReopen();
    host.Forget();
    ASSERT_TRUE(doc = OpenDocument(session, "/x.csv"));
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{3, 4}));
    session.importSettings.clear();
    host.Forget();
    EXPECT_FALSE(Open("1\n")) << "cancelled";
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(AscDocTest, ACommaLocaleReadsCommasAndAsksAboutPoints) {
    session.decimalSeparator = ',';
    session.importSettings = {{"sampleInterval", "1"}, {"labelRow", "1"}};
    auto doc = Open("a;b c\n1,5;2\n-0,25 3,5e2\n");
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1.5, -0.25}));
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{2, 350}));
    EXPECT_EQ(Labels(*doc), (Strings{"a", "b c"}));
    EXPECT_TRUE(host.questions.empty());
    EXPECT_EQ(doc->SettingsToReopen()["decimalSeparator"], ",");
    ASSERT_TRUE(doc = Open("a,b\n0,0\n0.5,1e-3\n"));
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_EQ(
        host.questions[0].text,
        "This file seems to use '.' as the decimal separator (the locale uses ','). Continue, using '.' as "
        "separator?");
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{0, 0.001f}));
    EXPECT_EQ(doc->fileComment, "a,b\r\n");
    EXPECT_EQ(doc->SettingsToReopen()["decimalSeparator"], ".");
    host.answer = false;
    EXPECT_FALSE(Open("h\n0.5;1\n"));
    EXPECT_TRUE(host.messages.empty()) << "the user knows";
    session.importSettings["decimalSeparator"] = ".";
    session.importSettings["labelRow"] = "0";
    EXPECT_TRUE(Open("0.5;1\n"));
    EXPECT_EQ(host.questions.size(), 2u);
}

TEST_F(AscDocTest, WhatTheUserAddsComesBackFromTheSideCar) {
    session.importSettings = {{"sampleInterval", "1"}, {"labelRow", "1"}};
    auto doc = Open("V\n1\n2\n3\n");
    ASSERT_TRUE(doc);
    doc->AddEvent(3, {1, 2});
    doc->traces[0].traceLabel = "membrane";
    doc->traces[0].traceGain = 2.0;
    doc->fileComment = "mine";
    ASSERT_TRUE(doc->OnSaveDocument());
    ASSERT_TRUE(doc = OpenDocument(session, "/x.csv"));
    EXPECT_EQ(doc->GetNumEvents(3), 1);
    EXPECT_EQ(doc->traces[0].traceLabel, "membrane");
    EXPECT_EQ(doc->fileComment, "mine");
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{0.5, 1, 1.5}));
    ASSERT_TRUE(doc = Open("V,I\n1,4\n2,5\n3,6\n"));
    EXPECT_EQ(Labels(*doc), (Strings{"membrane", "I"}));
    EXPECT_EQ(doc->traces[1].traceAutoscale, 1) << "the side-car does not know it: it was never scaled";
    files.Put("/x.kymr-hdr", std::vector<std::byte>(40, std::byte{7}));
    ASSERT_TRUE(doc = Open("V\n1\n2\n3\n"));
    EXPECT_EQ(Labels(*doc), Strings{"V"});
    EXPECT_EQ(doc->fileComment, "V\r\n");
    EXPECT_EQ(doc->GetLength(), 3);
}

TEST_F(AscDocTest, LongFilesShowTheirProgressAndCanBeCancelled) {
    session.importSettings = {{"sampleInterval", "1"}};
    std::string text;
    for (int i = 0; i < 200000; ++i) text += fmt::format("{}.5,{}\n", i, -i);
    auto doc = Open(text);
    ASSERT_TRUE(doc);
    ASSERT_EQ(host.progress.size(), 1u);
    EXPECT_EQ(host.progress[0].total, text.size());
    EXPECT_EQ(host.progress[0].updates.back(), text.size());
    const auto first = All(*doc, 0), second = All(*doc, 1);
    for (size_t i = 0; i < 200000; ++i) {
        ASSERT_EQ(first[i], static_cast<float>(i) + 0.5f);
        ASSERT_EQ(second[i], -static_cast<float>(i));
    }
    // The summary's thread reads the same samples, and none of a file that has changed.
    const auto info = SourceInfo::Of(*doc, files);
    ASSERT_TRUE(info);
    const std::atomic<bool> stop = false;
    SummarySource source(files, *info, stop);
    ASSERT_TRUE(source.Document());
    EXPECT_EQ(All(*source.Document(), 0), first);
    host.cancelAtCall = 2;
    EXPECT_FALSE(Open(text));
    EXPECT_TRUE(host.messages.empty());
    EXPECT_FALSE(SourceInfo::Of(*doc, files)) << "the file was written anew";
}

TEST_F(AscDocTest, HolesThatMoveValuesAreTold) {
    session.importSettings = {{"sampleInterval", "1"}};
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
