// The cache is held against a sample-by-sample scan written here.

#include "display/display_cache.h"

#include <cfloat>
#include <cmath>
#include <limits>

#include "numerics/min_max.h"
#include "support/bin_checks.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

// What the bins should hold: a scan of single samples through the sequential read.
struct PlainBins {
    std::vector<std::vector<float>> low, high;
    std::vector<std::vector<uint8_t>> active;

    PlainBins(CDataDoc& doc, int64_t first, int64_t samplesPerBin) {
        const auto traces = static_cast<size_t>(doc.traceCount);
        low.assign(traces, std::vector<float>(binCount, nan32));
        high = low;
        active.assign(traces, std::vector<uint8_t>(binCount, 0));
        std::vector<float> values(traces);
        std::vector<uint8_t> flags(traces);
        doc.SetReadPosition(static_cast<int32_t>(first));
        for (size_t bin = 0; bin < binCount; ++bin)
            if (!Scan(doc, bin, samplesPerBin, values, flags)) return;
    }

    bool Scan(CDataDoc& doc, size_t bin, int64_t samplesPerBin, std::vector<float>& values,
              std::vector<uint8_t>& flags) {
        for (int64_t i = 0; i < samplesPerBin; ++i) {
            doc.ReadNextAll(values, flags);
            if (std::isnan(values[0])) {
                if (i > 0) Close(doc, bin);
                return false;
            }
            for (size_t t = 0; t < values.size(); ++t) {
                if (i == 0) low[t][bin] = FLT_MAX, high[t][bin] = -FLT_MAX;
                if (doc.hasGaps && !flags[t]) continue;
                active[t][bin] = 1;
                if (values[t] < low[t][bin]) low[t][bin] = values[t];
                if (values[t] > high[t][bin]) high[t][bin] = values[t];
            }
        }
        Close(doc, bin);
        return true;
    }

    void Close(CDataDoc& doc, size_t bin) {
        if (!doc.hasGaps) return;
        for (size_t t = 0; t < low.size(); ++t)
            if (!active[t][bin]) low[t][bin] = high[t][bin] = 0.0f;
    }
};

void ExpectBins(CDataDoc& doc, int64_t first, int level) {
    DisplayCache cache;
    cache.Reset(doc);
    ASSERT_TRUE(cache.ReadDisplayData(doc, doc.TimeOf(first), level, false));
    const PlainBins plain(doc, first, SamplesPerBin(level));
    for (int t = 0; t < doc.traceCount; ++t) {
        const auto i = static_cast<size_t>(t);
        for (size_t bin = 0; bin < binCount; ++bin) {
            SCOPED_TRACE(testing::Message() << "trace " << t << " bin " << bin);
            ASSERT_TRUE(SameValue(cache.Min(t)[bin], plain.low[i][bin]));
            ASSERT_TRUE(SameValue(cache.Max(t)[bin], plain.high[i][bin]));
            if (!doc.hasGaps) continue;
            ASSERT_EQ(cache.Active(t)[bin], plain.active[i][bin]);
        }
    }
}

class DisplayCacheTest : public ViewTest {
  protected:
    DisplayCache& Read(CDataDoc& doc, double start, int level, bool showProgress = false) {
        cache.Reset(doc);
        EXPECT_TRUE(cache.ReadDisplayData(doc, start, level, showProgress));
        return cache;
    }
    DisplayCache cache;
};

// Deterministic noise with values of both signs.
float Noise(int trace, int64_t index) {
    const uint32_t hash = static_cast<uint32_t>(index + 77 * trace) * 2654435761u;
    return static_cast<float>(hash >> 8) / 65536.0f - 100.0f;
}

TEST(WidenRange, AgreesWithAPlainLoopForEveryLength) {
    for (size_t length = 0; length < 200; ++length) {
        std::vector<float> values;
        for (size_t i = 0; i < length; ++i) values.push_back(Noise(3, static_cast<int64_t>(i * 31)));
        if (length > 10) values[length / 2] = nan32, values[length - 3] = inf32;
        float low = FLT_MAX, high = -FLT_MAX, plainLow = FLT_MAX, plainHigh = -FLT_MAX;
        WidenRange(values, low, high);
        for (const float v : values) {
            if (v < plainLow) plainLow = v;
            if (v > plainHigh) plainHigh = v;
        }
        EXPECT_EQ(low, plainLow) << length;
        EXPECT_EQ(high, plainHigh) << length;
        EXPECT_EQ(FindNotANumber(values), length > 10 ? length / 2 : length);
    }
}

TEST_F(DisplayCacheTest, EnvelopeEqualsAPlainScanAtEveryKindOfLevel) {
    auto doc = MemoryDoc::Generate(session, 3, 150000, Noise);
    ExpectBins(*doc, 0, -5);
    ExpectBins(*doc, 12345, 0);
    ExpectBins(*doc, 7, 1);
    ExpectBins(*doc, 1001, 3);
    ExpectBins(*doc, 100, 5);     // the end of the data lies within a bin
    ExpectBins(*doc, 149999, 0);  // one sample left
    ExpectBins(*doc, 150000, 0);  // none
    ExpectBins(*doc, 0, 16);      // bins longer than a piece of the reading
}

TEST_F(DisplayCacheTest, GapsAreLeftOutOfBinsAndFlagged) {
    std::vector<std::vector<float>> stored(3);
    const std::vector<std::vector<uint32_t>> runs{
        {100, 900, 5, 3, 20000, 4000, 7000}, {0, 50, 31958}, {32008}};
    for (size_t t = 0; t < 3; ++t) {
        int64_t count = 0;
        for (size_t i = 0; i < runs[t].size(); i += 2) count += runs[t][i];
        for (int64_t i = 0; i < count; ++i) stored[t].push_back(Noise(static_cast<int>(t), i) + 500.0f);
    }
    auto doc = MemoryDoc::MakeWithRuns(session, stored, runs);
    ASSERT_TRUE(doc->hasGaps);
    for (const int level : {0, 1, 2, 3, 6}) ExpectBins(*doc, 0, level);
    ExpectBins(*doc, 990, 1);
}

TEST_F(DisplayCacheTest, NotANumberInTheFirstTraceEndsTheScanOfAll) {
    std::vector<std::vector<float>> samples(2, std::vector<float>(9000, 1.0f));
    samples[0][4101] = nan32;
    samples[1][8] = samples[1][9] = nan32;  // a whole bin of another trace
    samples[1][20] = nan32;                 // half of one
    samples[1][30] = inf32;
    auto doc = MemoryDoc::Make(session, samples);
    ExpectBins(*doc, 0, 1);

    Read(*doc, 0.0, 1);
    EXPECT_EQ(cache.Min(1)[2050], 1.0f);  // position 4100 came before the end
    EXPECT_TRUE(std::isnan(cache.Min(1)[2051]));
    EXPECT_GT(cache.Min(1)[4], cache.Max(1)[4]);  // nothing to paint
    EXPECT_EQ(cache.Min(1)[10], 1.0f);
    EXPECT_EQ(cache.Max(1)[15], inf32);
}

TEST_F(DisplayCacheTest, EventOnlyRecordingIsInactiveEverywhere) {
    auto doc = MemoryDoc::MakeEmpty(session, 100000);
    ASSERT_TRUE(doc->noData);
    Read(*doc, 0.0, 3);
    EXPECT_EQ(cache.Min(0)[0], 0.0f);
    EXPECT_EQ(cache.Max(0)[3999], 0.0f);
    EXPECT_EQ(cache.Active(0)[0], 0);
}

TEST_F(DisplayCacheTest, ExtentBeginsAtTheFirstSampleRead) {
    auto doc = Ramp(1, 100000, 0.5);
    cache.Reset(*doc);
    EXPECT_EQ(cache.m_DatStartTime, -1.0);
    EXPECT_TRUE(cache.NeedsReload({0.0, 1.0}, -5));
    Read(*doc, 10.3, 2);
    EXPECT_EQ(cache.m_DatStartTime, 10.0);  // sample 20: truncated, not rounded
    EXPECT_EQ(cache.m_DatEndTime, 10.0 + 4000 * 0.5 * 4);
    EXPECT_EQ(cache.BinTime(), 2.0);
    EXPECT_EQ(cache.BinOf(10.0), 0);
    EXPECT_EQ(cache.BinOf(1e9), 3999);
    EXPECT_EQ(cache.BinOf(13.0), 2);  // 1.5 bins, away from zero
    EXPECT_EQ(Read(*doc, 10.3, -4).m_DatEndTime, 10.0 + 4000 * 0.5);
}

TEST_F(DisplayCacheTest, PaintedBinsAreThoseOfAScanOfAllBins) {
    auto doc = Ramp(1, 100000, 0.1);
    Read(*doc, 100.0, 1);
    for (const Viewport& viewport : {Viewport{100.0, 900.0}, Viewport{333.37, 400.1}, Viewport{899.9, 950.0},
                                     Viewport{0.0, 10.0}, Viewport{2000.0, 3000.0}, Viewport{500.0, 500.0}}) {
        const double binTime = (cache.m_DatEndTime - cache.m_DatStartTime) / 4000.0;
        int first = binCount, end = binCount;
        for (int i = 0; i < binCount; ++i) {
            const double t = i * binTime + cache.m_DatStartTime;
            if (t < viewport.start - binTime) continue;
            if (t > viewport.end + binTime) {
                end = i;
                break;
            }
            first = std::min(first, i);
        }
        SCOPED_TRACE(viewport.start);
        const auto range = cache.BinsOf(viewport);
        EXPECT_EQ(std::min(range.first, range.end), std::min(first, end));
        EXPECT_EQ(range.end, end);
    }
}

TEST_F(DisplayCacheTest, ReloadsOnlyOutsideOfTheCacheOrAtAnotherLevel) {
    auto doc = Ramp(1, 100000);
    Read(*doc, 1000.0, 0);
    EXPECT_FALSE(cache.NeedsReload({1000.0, 5000.0}, 0));
    EXPECT_FALSE(cache.NeedsReload({2000.0, 2500.0}, -3));  // both levels hold one sample a bin
    EXPECT_TRUE(cache.NeedsReload({999.0, 2000.0}, 0));
    EXPECT_TRUE(cache.NeedsReload({1000.0, 5001.0}, 0));
    EXPECT_TRUE(cache.NeedsReload({2000.0, 2500.0}, 1));
    EXPECT_TRUE(Read(*doc, 1000.0, 1).NeedsReload({1000.0, 2000.0}, 0));
}

TEST_F(DisplayCacheTest, ProgressIsPolledEvery40BinsAboveLevel7Only) {
    auto doc = Ramp(2, 3000000);
    Read(*doc, 0.0, 7, true);
    EXPECT_TRUE(host.progress.empty());
    Read(*doc, 0.0, 9, true);
    ASSERT_EQ(host.progress.size(), 1u);
    EXPECT_EQ(host.progress[0].label, "Reading data");
    ASSERT_EQ(host.progress[0].updates.size(), 100u);
    for (size_t i = 0; i < 100; ++i) EXPECT_EQ(host.progress[0].updates[i], 40 * i);
}

}  // namespace
}  // namespace kymora::test
