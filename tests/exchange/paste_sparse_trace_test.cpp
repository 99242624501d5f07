// Points in time become a trace of a recording, beside all that the recording has.

#include "exchange/paste_sparse_trace.h"

#include <cmath>

#include "document/float_doc.h"
#include "import/open_document.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

using Samples = std::vector<float>;
using Runs = std::vector<uint32_t>;

class PasteSparseTraceTest : public SessionTest {
  protected:
    PasteSparseTraceTest() {
        doc->traces[0].traceLabel = "a";
        doc->traces[1].traceLabel = "b";
        doc->traces[1].traceUnits = "mV";
        doc->AddEvent(2, {1, 2});
        doc->eventChannels[2].parentTrace = 1;
        doc->eventChannels[2].SetEventExtra({{1.0f, 2.0f, 3.0f}});
        paste.m_sFile = "/p.txt";
    }
    bool Write(const char* points) {
        PutText("/p.txt", points);
        host.messages.clear();
        paste.CheckChangeDoc(doc.get());
        files.Put(out, {});
        files.Remove(out);
        const bool isDone = paste.WriteFile(session, out, false).isDone;
        EXPECT_EQ(isDone, files.Has(out));
        if (isDone) made = OpenDocument(session, out, OpenFor::reading);
        return isDone;
    }
    Runs RunsOf(int trace) const {
        const auto runs = made->validRuns[static_cast<size_t>(trace)].Runs();
        return {runs.begin(), runs.end()};
    }

    const std::filesystem::path out = "/out.kymr-dat";
    std::unique_ptr<MemoryDoc> doc =
        MemoryDoc::Make(session, {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}, 0.5);
    CPasteSparseTrace paste;
    std::unique_ptr<CDataDoc> made;
};

TEST_F(PasteSparseTraceTest, KindsFillWhatLiesBetweenThePoints) {
    // At 0.5 ms the points stand on the samples 2, 4 and 7.
    const char* points = "t\tglucose\n1\t2\n2\t4\n3.5\t1\n";
    const struct {
        int kind;
        bool extrapolates;
        Runs runs;
        Samples samples;
        const char* report;
    } cases[] = {
        {0, true, {0, 2, 1, 1, 1, 2, 1, 2}, {0, 0, 2, 0, 4, 0, 0, 1, 0, 0}, "Inactive gap\r\n\r\n"},
        {1,
         false,
         {0, 2, 6, 2},
         {0, 0, 2, 3, 4, 3, 2, 1, 0, 0},
         "Linear interpolation\r\n\tExtrapolate OoR: no\r\n\r\n"},
        {1,
         true,
         {10},
         {0, 1, 2, 3, 4, 3, 2, 1, 0, -1},
         "Linear interpolation\r\n\tExtrapolate OoR: yes\r\n\r\n"},
        {2, false, {0, 2, 6, 2}, {}, "Cubic spline interpolation\r\n\tExtrapolate OoR: no\r\n\r\n"},
    };
    for (const auto& [kind, extrapolates, runs, samples, report] : cases) {
        SCOPED_TRACE(report);
        paste.m_Fill = {kind, extrapolates};
        ASSERT_TRUE(Write(points)) << host.LastMessage();
        EXPECT_TRUE(host.messages.empty());
        ASSERT_EQ(made->traceCount, 3);
        EXPECT_EQ(RunsOf(1), runs);
        if (!samples.empty()) {
            EXPECT_EQ(SamplesOf(*made, 1), samples);
        }
        EXPECT_EQ(made->historyLog, std::string("Paste sparse trace\r\n\tAdd after trace 1\r\n") + report);
        EXPECT_EQ(made->GetLength(), 10) << "the recording stays as long as it was";
        Samples written(9);
        std::vector<uint8_t> valid(9);
        made->ReadBlock(1, 1, written, valid);
        PreviewData data;
        data.start = 1;
        data.count = 9;
        paste.OnNeedData(data);
        ASSERT_TRUE(data.isTransformed) << data.message;
        for (size_t i = 0; i < 9; ++i) {
            EXPECT_EQ(std::isnan(data.transformed[i]), valid[i] == 0) << i;
            if (valid[i] != 0) {
                EXPECT_EQ(data.transformed[i], written[i]) << i;
            }
        }
    }
    EXPECT_EQ(made->traces[1].traceLabel, "glucose");
    EXPECT_EQ(made->traces[1].axisTop, SamplesOf(*made, 1)[4]);
    EXPECT_EQ(SamplesOf(*made, 0), SamplesOf(*doc, 0));
    EXPECT_EQ(SamplesOf(*made, 2), SamplesOf(*doc, 1));
    EXPECT_EQ(made->eventChannels[2].parentTrace, 2);
    EXPECT_EQ(made->eventChannels[2].EventExtra().size(), 1u);
    paste.m_Fill.kind = 6;
    std::string report;
    paste.GetParamText(report);
    EXPECT_TRUE(report.ends_with("PCHIP spline interpolation\r\n\t\tExtrapolate OoR: no\r\n"));
}

TEST_F(PasteSparseTraceTest, ReplacesATrace) {
    paste.m_nAddMode = CPasteSparseTrace::replaceTrace;
    paste.m_nTrace = 1;
    paste.m_nTimeUnit = 1;
    paste.m_sFile.clear();
    host.clipboardText = "0.001\t2\n0.002\t4\n0.003\t4\n";
    ASSERT_TRUE(Write("")) << host.LastMessage();
    ASSERT_EQ(made->traceCount, 2);
    EXPECT_EQ(SamplesOf(*made, 1), (Samples{0, 0, 2, 0, 4, 0, 4, 0, 0, 0}));
    EXPECT_EQ(made->traces[1].traceLabel, "Paste sparse");
    EXPECT_EQ(made->traces[1].traceUnits, "");
    EXPECT_TRUE(made->eventChannels[2].EventExtra().empty()) << "measured of samples that are gone";
    EXPECT_EQ(made->historyLog, "Paste sparse trace\r\n\tReplace trace 2\r\nInactive gap\r\n\r\n");
}

TEST_F(PasteSparseTraceTest, PointsBehindTheEndAreLeftOutAndCounted) {
    paste.m_Fill.kind = 1;
    ASSERT_TRUE(Write("0\t0\n4.5\t9\n4.8\t1\n1e300\tnan\n"));
    EXPECT_EQ(host.LastMessage(), "2 of the 4 points lie behind the end of the recording and are left out.");
    EXPECT_EQ(SamplesOf(*made, 1), (Samples{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(PasteSparseTraceTest, WhatDoesNotFitIsRefused) {
    const struct {
        int kind;
        const char *points, *words;
    } cases[] = {
        {0, "0\t1\n1\t1\n1.1\t1\n3\t1\n",
         "The sample interval must be less than or equal to the smallest time interval between samples.\nThe "
         "largest "
         "acceptable sample interval is 0.100000."},
        {4, "0\t1\n1\t1\n1.0666668\t1\n3\t1\n",
         "The sample interval must be less than the time interval between samples.\nThe largest acceptable "
         "sample "
         "interval is 0.066666."},
        {0, "0\t1\n1\t1\n1.0000003\t1\n3\t1\n",
         "The sample interval must be less than or equal to the smallest time interval between samples.\nThe "
         "largest acceptable sample interval is 3e-07."},
        {4, "0\t1\n1\t1\n3\t1\n", "Must be at least four data points."},
        {3, "0\t1\n1\t1\n3\t1\n70\t1\n",
         "CatmullRomSpline: x and y must have the same size and at least four points."},
        {1, "5\t1\n6\t1\n7\t1\n",
         "None of the points lies within the recording, which ends at 4.5 ms. Is the unit of the times "
         "right?"},
        {1, "0\t1\n1\tnan\n2\t1\n",
         "Row 2 holds a value that is infinite or not a number, through which no curve goes. Leave that row "
         "out, or "
         "mark the gaps as inactive."},
        {0, "0\t1\t2\n1\t1\t2\n2\t1\t2\n",
         "The table has 2 columns of values, and a trace takes one. Copy the times and one of the columns."},
        {0, "1\t1\n1\t2\n2\t1\n",
         "Time at row 2 (1.000) is not greater than previous time (1.000). Time must be strictly increasing. "
         "Abandoning paste."},
    };
    for (const auto& [kind, points, words] : cases) {
        paste.m_Fill.kind = kind;
        EXPECT_FALSE(Write(points)) << points;
        EXPECT_EQ(host.LastMessage(), words);
        const size_t told = host.messages.size();
        PreviewData data;
        data.count = 10;
        paste.OnNeedData(data);
        EXPECT_TRUE(data.message.ends_with(words)) << data.message;
        EXPECT_TRUE(data.isRefused && data.transformed.empty());
        EXPECT_EQ(host.messages.size(), told) << "a preview tells nobody else";
    }
    paste.m_nTrace = 2;
    EXPECT_FALSE(Write("0\t1\n1\t1\n2\t1\n"));
    EXPECT_EQ(host.LastMessage(), "The selected data trace does not exist");
    paste.m_nTrace = 0;
    paste.m_sFile.clear();
    host.clipboardText.reset();
    EXPECT_FALSE(Write(""));
    EXPECT_EQ(host.LastMessage(), "Unable to read text from clipboard.");
    paste.m_sFile = "/none.txt";
    EXPECT_FALSE(Write(""));
    EXPECT_EQ(files.Count(), 1u) << "nothing half-written";
}

}  // namespace
}  // namespace kymora::test
