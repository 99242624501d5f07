// Tables and native files on the clipboard become recordings.

#include "exchange/new_contiguous.h"
#include "host/form.h"

#include "exchange/paste_fixture.h"
#include "import/text_rows.h"

namespace kymora {
namespace {

using test::PasteTest;

struct NewContiguousTest : PasteTest {
    NewContiguousTest() : PasteTest(PasteContiguousData) {}
};

TEST_F(NewContiguousTest, ASpreadsheetWithHeadingsBecomesARecording) {
    const bool pasted = Paste("time\t\"V, mV\"\tI\r\n0\t1e-3\t-.5\r\n1\t+2\t4.\r\n\r\n", [](Form& form) {
        EXPECT_EQ(form.Integer("skipRows"), 1);  // as guessed
        form["labelRow"].number = 1;
        form["skipColumns"].number = 1;
        form["sampleInterval"].number = 0.25;
        form.onChange(form);
        EXPECT_EQ(form.Text("rowCount"), "2");
        EXPECT_EQ(form.Text("columnCount"), "2");
    });
    ASSERT_TRUE(pasted) << host.LastMessage();
    const CFloatDoc& made = Opened();
    ASSERT_EQ(made.traceCount, 2);
    EXPECT_EQ(made.sampleInterval, 0.25);
    EXPECT_EQ(Samples(0), (std::vector<float>{1e-3f, 2.0f}));
    EXPECT_EQ(Samples(1), (std::vector<float>{-0.5f, 4.0f}));
    EXPECT_EQ(made.traces[0].traceLabel, "V, mV");
    EXPECT_EQ(made.traces[1].axisLabel, "Ax 2");
    EXPECT_NE(made.traces[0].traceAutoscale, 0);
    EXPECT_EQ(made.fileComment, "Data from clipboard.\r\n");
    EXPECT_TRUE(made.historyLog.ends_with("File: New: From clipboard: Contiguous data\r\n\r\n"));
    EXPECT_FALSE(made.hasGaps);
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(NewContiguousTest, TheGridDimsWhatIsLeftOut) {
    const std::string text = "scorer,net,net,net\nbodyparts,nose,nose,nose\ncoords,x,y,likelihood\n"
                             "0,10.5,20,0.9\n1,11,21.5,0.8\n";
    const bool pasted = Paste(text, [](Form& form) {
        form["dlc"].action(form);
        form["labelRow"].number = 2;
        form.onChange(form);
        const Field& grid = form["data"];
        EXPECT_EQ(grid.choices, (std::vector<std::string>{"Row", "1", "2: Ax 1", "3: Ax 2", "4"}));
        std::string dims;
        for (size_t row = 0; row < grid.rows.size(); ++row)
            for (size_t column = 0; column < 5; ++column) dims += grid.dimmed(row, column) ? '-' : 'x';
        EXPECT_EQ(dims, "-----x-xx------x-xx-x-xx-");
    });
    ASSERT_TRUE(pasted) << host.LastMessage();
    EXPECT_EQ(Opened().traceCount, 2);
    EXPECT_EQ(Samples(0), (std::vector<float>{10.5f, 11.0f}));
    EXPECT_EQ(Samples(1), (std::vector<float>{20.0f, 21.5f}));
    EXPECT_EQ(doc->traces[1].traceLabel, "nose");
}

TEST_F(NewContiguousTest, ColumnsBetweenXAndYAreLeftOut) {
    ReadDataFormat format;
    EXPECT_EQ(format.Kept(4), (std::vector<size_t>{0, 1, 2, 3}));
    format.skipColumns = 1;
    format.beforeX = 1;
    format.beforeY = 2;
    format.behindY = 1;
    // t, then twice: - X - - Y -
    EXPECT_EQ(format.Kept(13), (std::vector<size_t>{2, 5, 8, 11}));
}

TEST_F(NewContiguousTest, WhatIsWrongWithATableIsSaid) {
    const auto set = [](const char* key, double number) {
        return [=](Form& form) { form[key].number = number; };
    };
    EXPECT_EQ(Refusal("1\t2\n3\t4\n", set("skipRows", 2)), "You have skipped all the data rows! Abandoning.");
    EXPECT_EQ(Refusal("1\t2\n3\t4\n", set("skipColumns", 2)),
              "You have skipped all the data columns! Abandoning.");
    EXPECT_EQ(Refusal("a\tb\n1\t2\n3\tx4\n"), "Error reading datum as float: row 3, text: 'x4'");
    for (const std::string found : {"1", "0"})
        EXPECT_EQ(Refusal("1\t2\n" + std::string(found == "1" ? "3\n" : "\n3\t4\n")),
                  "Row 2 has " + found +
                      " columns, previous rows had 2 columns. Need same number in each row. "
                      "Abandoning.");
    EXPECT_EQ(Refusal(" \r\n\t\r\n"), "No data were read from the clipboard.");
    std::string wide = "0";
    for (int i = 0; i < 128; ++i) wide += "\t" + std::to_string(i);
    EXPECT_EQ(Refusal(wide), "There are more than 128 traces in the data. Abandoning.");
    EXPECT_TRUE(Paste(wide, set("skipColumns", 1)));
    EXPECT_EQ(Opened().traceCount, 128);
    files.Remove(name);
    Refusal("1\n2\n", set("labelRow", 1));
    EXPECT_EQ(host.formFault, labelRowFault);
    ASSERT_TRUE(Paste("a\tb\tc\n1\t2\n", set("labelRow", 1)));
    EXPECT_EQ(host.LastMessage(), labelCountText);
    EXPECT_EQ(Opened().traces[0].traceLabel, "");
    host.clipboardText.reset();
    EXPECT_FALSE(PasteContiguousData(session, {}));
    EXPECT_EQ(host.LastMessage(), clipboardNoTextText);
}

TEST_F(NewContiguousTest, EmptyCellsThatWanderAreAskedAbout) {
    host.answer = false;
    EXPECT_FALSE(Paste("1\t\t3\n4\t5\t\n"));
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_TRUE(host.questions[0].text.starts_with("Row 2 "));
    EXPECT_TRUE(Paste("1\t\t3\n4\t\t5\t\n")) << "the same column is empty throughout";
    EXPECT_EQ(host.questions.size(), 1u);
}

TEST_F(NewContiguousTest, DecimalCommasOfTheLocale) {
    session.decimalSeparator = ',';
    ASSERT_TRUE(Paste("1,5\t-2\n,5\t1,0e1\n"));
    Opened();
    EXPECT_EQ(Samples(0), (std::vector<float>{1.5f, 0.5f}));
    EXPECT_EQ(Samples(1), (std::vector<float>{-2.0f, 10.0f}));
    // One column of decimal commas is no table between commas.
    for (const auto& [text, traces] : {std::pair("1,5\n2,5\n", 1), {"1,5;2\n2,5;3\n", 2}}) {
        ASSERT_TRUE(Paste(text));
        EXPECT_EQ(Opened().traceCount, traces);
    }
    EXPECT_TRUE(host.questions.empty());
    ASSERT_TRUE(Paste("0,1.5\n1,2.5\n"));
    EXPECT_EQ(host.questions.size(), 1u);
    EXPECT_EQ(Opened().traceCount, 2);
    EXPECT_EQ(Samples(1), (std::vector<float>{1.5f, 2.5f}));
    host.answer = false;
    EXPECT_FALSE(Paste("1.5\t2\n"));
}

TEST_F(NewContiguousTest, CancelLeavesNothing) {
    std::string text;
    for (int i = 0; i < 5000; ++i) text += "1\t2\n";
    for (const uint64_t call : {1, 3}) {
        host.cancelAtCall = call;
        EXPECT_EQ(Refusal(text), "");
    }
    host.cancelAtCall = 0;
    host.saveFile.reset();
    EXPECT_EQ(Refusal(text), "");
}

// --- a whole native file on the clipboard

TEST_F(NewContiguousTest, ANativeFileIsWrittenByteForByte) {
    ASSERT_TRUE(Paste("1\t2\n3\t4\n"));
    const std::vector<std::byte> block = files.Bytes(name);
    files.Remove(name);
    host.clipboard[recordingFormat] = block;
    ASSERT_TRUE(PasteContiguousData(session, {}));
    EXPECT_TRUE(files.Bytes(name) == block);
    EXPECT_NE(host.LogText().find("got Netlumen clipboard format\n"), std::string::npos);
    EXPECT_TRUE(host.messages.empty());

    // A damaged one does not take the place of what stands there.
    std::vector<std::byte> damaged(block.begin(), block.end() - 40);
    host.clipboard[recordingFormat] = damaged;
    EXPECT_FALSE(PasteContiguousData(session, {}));
    EXPECT_TRUE(host.LastMessage().starts_with("The file was not written.\n"));
    EXPECT_EQ(files.Count(), 1u);
    EXPECT_TRUE(files.Bytes(name) == block);
}

TEST_F(NewContiguousTest, TheTerminalTellsTextAndNativeFilesApart) {
    const auto made = [&](const char* file, int labelRow, const char* target) {
        CPasteContiguousData paste;
        paste.m_sFile = file;
        paste.m_Format.labelRow = labelRow;
        return paste.WriteFile(session, target, true).isDone;
    };
    PutText("/t.txt", "a\tb\n1\t2\n3\t4\n");
    ASSERT_TRUE(made("/t.txt", 1, name)) << host.LastMessage();
    EXPECT_EQ(Opened().traces[1].traceLabel, "b");
    EXPECT_EQ(Samples(1), (std::vector<float>{2.0f, 4.0f}));
    ASSERT_TRUE(made(name, 1, "/copy.kymr-dat")) << host.LastMessage();
    EXPECT_TRUE(files.Bytes("/copy.kymr-dat") == files.Bytes(name));
    // UTF-16 that begins with a digit looks like the version of a native file.
    using namespace std::string_view_literals;
    PutText("/wide.txt", "0\0\t\0"
                         "1\0\n\0"
                         "2\0\t\0"
                         "3\0\n\0"sv);
    ASSERT_TRUE(made("/wide.txt", 0, name)) << host.LastMessage();
    Opened();
    EXPECT_EQ(Samples(1), (std::vector<float>{1.0f, 3.0f}));
    EXPECT_FALSE(made("/none.txt", 0, name));
    EXPECT_NE(host.LastMessage().find("/none.txt"), std::string::npos);
}

}  // namespace
}  // namespace kymora
