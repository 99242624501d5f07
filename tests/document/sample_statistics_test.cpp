// Statistics of stretches of a recording: gaps, ends and damage do not count, and the reader's place stays.

#include "document/sample_statistics.h"
#include "support/session_fixture.h"

#include <algorithm>
#include <cmath>

namespace kymora {
namespace {

using test::MemoryDoc;

struct SampleStatistics : test::SessionTest {
    static float Value(int64_t i) { return static_cast<float>((i * 7919) % 10007) - 3000.0f; }
    static std::vector<float> Values(int64_t from, int64_t count) {
        std::vector<float> values;
        for (int64_t i = from; i < from + count; ++i) values.push_back(Value(i));
        return values;
    }
};

TEST_F(SampleStatistics, OfAStretchOverManyBlocks) {
    const auto doc =
        MemoryDoc::Generate(session, 2, 200000, [](int t, int64_t i) { return t == 1 ? Value(i) : 0.0f; });
    doc->SetReadPosition(1234);
    std::vector<float> sorted = Values(1001, 90001);
    std::sort(sorted.begin(), sorted.end());
    const auto plain = GetMeanSd(sorted);
    const auto meanSd = GetMeanSd(*doc, 1, 1001, 90001);
    EXPECT_EQ(meanSd.count, 90001);
    EXPECT_NEAR(meanSd.mean, plain.mean, 1e-9);
    EXPECT_NEAR(meanSd.sd, plain.sd, 1e-9);
    EXPECT_EQ(GetMedianRobustSd(*doc, 1, 1001, 90001).median, sorted[45000]);
    EXPECT_EQ(GetPercentileValues(*doc, 1, 1001, 90001, 1.0).low, sorted[899]);
    EXPECT_EQ(GetPercentileValues(*doc, 1, 1001, 90001, 1.0).high, sorted[90001 - 900]);
    EXPECT_EQ(doc->readPosition, 1234);
    // Past the end nothing counts.
    EXPECT_EQ(GetMeanSd(*doc, 1, 199990, 5000).count, 10);
    EXPECT_EQ(GetMeanSd(*doc, 1, -5, 10).count, 5);
    EXPECT_EQ(GetMeanSd(*doc, 1, 300000, 10).count, 0);
    EXPECT_EQ(GetMedianRobustSd(*doc, 1, 100, 0).count, 0);
    EXPECT_EQ(GetPercentileValues(*doc, 1, 199990, 5000, 100.0).count, 10);
}

TEST_F(SampleStatistics, GapsDoNotCount) {
    // Samples 1 2 3, a gap of four, 4 5 6.
    const auto doc = MemoryDoc::MakeWithRuns(session, {{1, 2, 3, 4, 5, 6}}, {{3, 4, 3}});
    EXPECT_EQ(GetMeanSd(*doc, 0, 0, 10).count, 6);
    EXPECT_EQ(GetMeanSd(*doc, 0, 0, 10).mean, 3.5);
    EXPECT_EQ(GetMedianRobustSd(*doc, 0, 0, 10).median, 3.5);
    EXPECT_EQ(GetPercentileValues(*doc, 0, 0, 10, 0.0).low, 1.0f);
    EXPECT_EQ(GetPercentileValues(*doc, 0, 2, 6, 50.0).high, 4.0f);
    EXPECT_EQ(GetMeanSd(*doc, 0, 3, 4).count, 0);
    const auto empty = MemoryDoc::MakeEmpty(session, 100);
    EXPECT_EQ(GetMedianRobustSd(*empty, 0, 0, 100).count, 0);
    EXPECT_EQ(GetPercentileValues(*empty, 0, 0, 100, 5.0).count, 0);
}

TEST_F(SampleStatistics, LeastActiveWindowOfARecording) {
    // Quiet from 70000 on, and quieter still at 90000, behind the span that is searched.
    const auto doc = MemoryDoc::Generate(session, 1, 100000, [](int, int64_t i) {
        const float swing = i < 70000 ? 1.0f : i < 70500 ? 0.1f : i < 90000 ? 1.0f : 0.01f;
        return i % 2 == 0 ? swing : -swing;
    });
    doc->SetReadPosition(77);
    EXPECT_EQ(FindLeastActiveWindow(*doc, 0, 100, 80000, 400), 70000);
    EXPECT_EQ(FindLeastActiveWindow(*doc, 0, 100, 99900, 400), 90000);
    EXPECT_EQ(FindLeastActiveWindow(*doc, 0, 70100, 300, 301), 70100) << "no window fits";
    test::TestHost scripted;
    scripted.cancelAtDone = 65536;
    const auto progress = scripted.StartProgress("", 80000);
    EXPECT_EQ(FindLeastActiveWindow(*doc, 0, 100, 80000, 400, progress.get()), noWindow);
    EXPECT_EQ(scripted.progress[0].updates.size(), 65u);
    EXPECT_EQ(doc->readPosition, 77);
    // The zeros of a gap are no quiet stretch.
    const auto gap = MemoryDoc::MakeWithRuns(session, {{1, 9, 1, 9, 2, 3, 2}}, {{4, 5, 3}});
    EXPECT_EQ(FindLeastActiveWindow(*gap, 0, 0, 12, 3), 9);
    EXPECT_EQ(FindLeastActiveWindow(*gap, 0, 3, 5, 3), 3) << "no window without a gap";
}

}  // namespace
}  // namespace kymora
