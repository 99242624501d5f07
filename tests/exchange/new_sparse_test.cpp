// Points in time on the clipboard become recordings with gaps.

#include "exchange/new_sparse.h"
#include "host/form.h"

#include "exchange/paste_fixture.h"

namespace kymora {
namespace {

using test::PasteTest;

struct NewSparseTest : PasteTest {
    NewSparseTest() : PasteTest(PasteSparseData) {}
    static std::vector<uint32_t> Runs(const CDataDoc& doc, int trace) {
        std::vector<uint32_t> runs;
        for (int i = 0; i < doc.GetNumRuns(trace); ++i) runs.push_back(doc.GetRun(trace, i));
        return runs;
    }
};

TEST_F(NewSparseTest, PointsBecomeSamplesAndTheRestGaps) {
    // At 20 ms: 1.5 rounds to 2, then 2.6 to 3 beside it, 7, and 9.49 to 9.
    ASSERT_TRUE(Paste("t (s)\tA\tB\n0.03\t1\t-1\n0.052\t2\t-2\n0.14\t3\t-3\n0.1898\t4\t-4\n",
                      [](Form& form) {
                          form["timeUnit"].choice = 1;
                          form.onChange(form);
                          form["sampleInterval"].number = 20.0;
                          form.onChange(form);
                          EXPECT_EQ(form.Text("samples"), "10 samples");
                          EXPECT_EQ(form.Text("step"), "22 ms");
                      }))
        << host.LastMessage() << host.formFault;
    const CFloatDoc& made = Opened();
    ASSERT_EQ(made.traceCount, 2);
    EXPECT_EQ(made.sampleInterval, 20.0);
    EXPECT_EQ(Runs(made, 0), (std::vector<uint32_t>{0, 2, 2, 3, 1, 1, 1}));
    EXPECT_EQ(Runs(made, 1), Runs(made, 0));
    EXPECT_TRUE(made.hasGaps);
    EXPECT_EQ(Samples(1), (std::vector<float>{0, 0, -1, -2, 0, 0, 0, -3, 0, -4}));
    EXPECT_EQ(made.traces[0].traceLabel, "A");
    EXPECT_TRUE(
        made.historyLog.ends_with("File: New: From clipboard: Sparse data\r\n\tGap fill: Inactive gap\r\n"));
}

TEST_F(NewSparseTest, TheOfferedIntervalKeepsThePointsApart) {
    double offered = 0.0;
    const auto look = [&](Form& form) {
        offered = form.Number("sampleInterval");
        form["timeUnit"].choice = 1;
        form.onChange(form);
        EXPECT_EQ(form.Number("sampleInterval"), 100.0) << "what was offered follows the unit";
        form["sampleInterval"].number = 30.0;
        form["timeUnit"].choice = 0;
        form.onChange(form);
        EXPECT_EQ(form.Number("sampleInterval"), 30.0) << "what was set stays";
        form["sampleInterval"].number = offered;
    };
    ASSERT_TRUE(Paste("0\t1\n0.1\t1\n0.2\t1\n0.3\t1\n", look));
    EXPECT_EQ(offered, 0.1);
    EXPECT_EQ(Runs(Opened(), 0), std::vector<uint32_t>{4});
    EXPECT_FALSE(doc->hasGaps);
    // 2.5, 3.4999999999999996, 4.5 and 5.500000000000001 samples.
    ASSERT_TRUE(Paste("0.25\t1\n0.35\t2\n0.45\t3\n0.55\t4\n",
                      [](Form& form) { EXPECT_EQ(form.Number("sampleInterval"), 0.1); }));
    EXPECT_EQ(Runs(Opened(), 0), (std::vector<uint32_t>{0, 3, 4}));
}

TEST_F(NewSparseTest, IntervalsThatDoNotFitAreRefusedInTheDialog) {
    const std::string text = "t\tA\n10\t1\n11\t2\n20\t3\n";
    EXPECT_FALSE(Paste(text, [](Form& form) { form["sampleInterval"].number = 4.0; }));
    EXPECT_EQ(
        host.formFault,
        "The times at rows 2 and 3 (10 and 11 ms) fall on the same sample. A sample interval of 1 ms or "
        "less keeps all points apart.");
    // 2147483647 samples end with the position 2147483646.
    const std::string far = "0\t1\n1\t2\n2147483647\t3\n";
    EXPECT_FALSE(Paste(far, [](Form& form) { form["sampleInterval"].number = 1.0; }));
    EXPECT_NE(host.formFault.find("A sample interval of 1.00001 ms or more"), std::string::npos)
        << host.formFault;
    EXPECT_TRUE(Paste("0\t1\n1\t2\n2147483646\t3\n"));
    EXPECT_EQ(Opened().GetLength(), longestRecording);
}

TEST_F(NewSparseTest, WhatIsWrongWithATableIsSaid) {
    const std::string tooFew =
        "Clipboard data must contain at least 3 valid time and data values. Abandoning paste.";
    const std::pair<const char*, std::string> refusals[] = {
        {"-1\t2\n", "Time values in clipboard data must be non-negative. Abandoning paste."},
        {"t\tA\n0\t1\n1\t2\t3\n",
         "Number of columns (3) in row 3 of clipboard data does not match first data "
         "row with 2 columns. Abandoning paste."},
        {"0\t1\n1.5\t2\n1.5\t3\n2\t4\n",
         "Time at row 3 (1.500) is not greater than previous time (1.500). Time "
         "must be strictly increasing. Abandoning paste."},
        {"t\tA\n0\t1\n1\t2\n\n", tooFew},
        {"0\n1\n2\n", tooFew},
        {"", tooFew},
        {"0\tx\n", "Error reading datum as float: row 1, text: 'x'"},
        {"0\t1\nnan\t1\n", "Error reading datum as float: row 2, text: 'nan'"}};
    for (const auto& [text, words] : refusals) EXPECT_EQ(Refusal(text), words);
    host.clipboardText.reset();
    EXPECT_FALSE(PasteSparseData(session, {}));
    EXPECT_EQ(host.LastMessage(), "Unable to read text from clipboard.");
    EXPECT_EQ(files.Count(), 0u);
}

TEST_F(NewSparseTest, HeadersOfAnotherWidthAreLeftOut) {
    ASSERT_TRUE(Paste("t\tA\tB\n0\t1\n1\t2\n2\t3\n"));
    EXPECT_EQ(
        host.LastMessage(),
        "Number of trace labels in header line does not match number of data columns. Trace labels will "
        "not be used.");
    EXPECT_EQ(Opened().traces[0].traceLabel, "");
    // The cell above the times may be empty.
    host.messages.clear();
    ASSERT_TRUE(Paste("\tA\n0\t1\n1\t2\n2\t3\n"));
    EXPECT_TRUE(host.messages.empty());
    EXPECT_EQ(Opened().traces[0].traceLabel, "A");
}

TEST_F(NewSparseTest, CurvesFillWhatLiesBetween) {
    const std::string text = "t\tA\tB\n2\t4\t1\n4\t8\t0\n5\t8\t0\n7\t2\t0\n";
    const struct {
        int kind;
        bool extrapolates;
        std::vector<uint32_t> runs;
        std::vector<float> samples;
        const char* history;
    } cases[] = {
        {1,
         false,
         {0, 2, 6},
         {0, 0, 4, 6, 8, 8, 5, 2},
         "Linear interpolation\r\n\t\tExtrapolate OoR: no\r\n"},
        {1, true, {8}, {0, 2, 4, 6, 8, 8, 5, 2}, "Linear interpolation\r\n\t\tExtrapolate OoR: yes\r\n"},
        {6, false, {0, 2, 6}, {}, "PCHIP spline interpolation\r\n\t\tExtrapolate OoR: no\r\n"},
    };
    for (const auto& [kind, extrapolates, runs, samples, history] : cases) {
        SCOPED_TRACE(history);
        ASSERT_TRUE(Paste(text, [&](Form& form) {
            form["sampleInterval"].number = 1.0;
            form["fill"].choice = kind;
            form["extrapolate"].flag = extrapolates;
        })) << host.LastMessage();
        EXPECT_EQ(Runs(Opened(), 0), runs);
        EXPECT_EQ(Runs(*doc, 1), runs);
        EXPECT_EQ(Samples(1)[2], 1.0f);
        if (!samples.empty()) {
            EXPECT_EQ(Samples(0), samples);
        }
        EXPECT_TRUE(doc->historyLog.ends_with(std::string("\tGap fill: ") + history));
    }
    const auto fills = [](int kind) { return [kind](Form& form) { form["fill"].choice = kind; }; };
    EXPECT_FALSE(Paste("0\t1\n1\t2\n2\t3\n", fills(6)));
    EXPECT_EQ(host.formFault, "Must be at least four data points.");
    EXPECT_FALSE(Paste("0\t1\n1\tinf\n2\t3\n", fills(1)));
    EXPECT_TRUE(host.formFault.starts_with("Row 2 holds a value that is infinite")) << host.formFault;
}

TEST_F(NewSparseTest, TheTerminalRefusesAnIntervalThatDoesNotFit) {
    CPasteSparseData paste;
    paste.m_sFile = "/t.txt";
    PutText("/t.txt", "0\t1\n1\t2\n2\t3\n");
    paste.m_Settings.timeUnit = 2;
    paste.m_Settings.sampleInterval = 30000.0;
    ASSERT_TRUE(paste.WriteFile(session, name, true).isDone) << host.LastMessage();
    EXPECT_EQ(Runs(Opened(), 0), (std::vector<uint32_t>{1, 1, 1, 1, 1}));
    paste.m_Settings.sampleInterval = 200000.0;
    EXPECT_FALSE(paste.WriteFile(session, name, true).isDone);
    EXPECT_TRUE(host.LastMessage().starts_with("The times at rows 1 and 2 (0 and 60000 ms) fall"));
}

}  // namespace
}  // namespace kymora
