// Bins from a summary are held against bins from every sample, which display_cache_test.cpp holds against a
// scan sample by sample.

#include "summaries/summary_bins.h"

#include "summaries/coarse_bins.h"
#include "support/bin_checks.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

using SummaryBinsTest = ViewTest;

std::unique_ptr<SummaryBuilder> BuildAll(CDataDoc& doc, int baseShift) {
    auto builder =
        std::make_unique<SummaryBuilder>(SummaryShape::Make(doc.traceCount, doc.GetLength(), baseShift));
    // From the end to the start: the order must not matter.
    for (int64_t chunk = builder->ChunkCount() - 1; chunk >= 0; --chunk) builder->BuildChunk(doc, chunk);
    EXPECT_TRUE(builder->IsComplete());
    return builder;
}

void ExpectSame(CDataDoc& doc, Summary& summary, int64_t from, int level) {
    Bins plain, quick;
    ASSERT_TRUE(ReadBins(doc, from, level, nullptr, plain));
    ASSERT_TRUE(ReadBinsFromSummary(doc, summary, from, level, nullptr, quick));
    ExpectSameBins(quick, plain, "from " + std::to_string(from) + " level " + std::to_string(level));
}

TEST_F(SummaryBinsTest, EqualThePlainBinsOverRandomStretchesGapsAndNotANumbers) {
    std::mt19937 random(7);
    const NoiseRecipe recipes[] = {
        {1, 100000, false, 0.0, 0}, {3, 262144, false, 0.0, 0},   {3, 300001, true, 0.0, 0},
        {4, 250000, true, 0.3, 3},  {2, 300000, false, 0.001, 5}, {3, 200000, false, 0.999, 40},
        {2, 255, true, 0.0, 1},     {1, 1, false, 0.0, 0},
    };
    for (const NoiseRecipe& recipe : recipes) {
        const auto doc = MakeNoise(session, recipe, random);
        if (doc->GetLength() == 0) continue;
        const auto builder = BuildAll(*doc, 8);
        Summary& summary = *builder->GetSummary();
        for (int round = 0; round < 25; ++round) {
            const int level = 8 + static_cast<int>(random() % 7);
            int64_t from = static_cast<int64_t>(random()) % (doc->GetLength() + 10);
            if (round % 3 == 0) from = from / 256 * 256;
            ExpectSame(*doc, summary, from, level);
            if (HasFatalFailure()) return;
        }
        ExpectSame(*doc, summary, 0, 20);
    }
}

TEST_F(SummaryBinsTest, TheFirstNotANumberBehindTheStartEndsTheBins) {
    std::vector<std::vector<float>> samples(2, std::vector<float>(200000));
    for (size_t i = 0; i < 200000; ++i) samples[0][i] = samples[1][i] = static_cast<float>(i % 977);
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    for (const size_t at : {size_t{1000}, size_t{1001}, size_t{102400}, size_t{199999}}) samples[0][at] = nan;
    samples[1][5000] = nan;
    const auto doc = MemoryDoc::Make(session, samples);
    const auto builder = BuildAll(*doc, 8);
    for (const int64_t from :
         {0, 999, 1000, 1001, 1002, 1024, 102399, 102400, 102401, 102656, 199998, 199999})
        for (const int level : {8, 10, 11, 14}) ExpectSame(*doc, *builder->GetSummary(), from, level);
}

TEST_F(SummaryBinsTest, ReadsFewSamplesWhereBinsBeginWithinBlocks) {
    const auto doc = Ramp(1, 3000000);
    const auto builder = BuildAll(*doc, 8);
    doc->samplesRead = 0;
    Bins bins;
    ASSERT_TRUE(ReadBinsFromSummary(*doc, *builder->GetSummary(), 0, 13, nullptr, bins));
    EXPECT_EQ(doc->samplesRead, 0);
    ASSERT_TRUE(ReadBinsFromSummary(*doc, *builder->GetSummary(), 100, 13, nullptr, bins));
    EXPECT_EQ(bins.min[0][1], 8292.0f);      // 100 + 8192
    EXPECT_LE(doc->samplesRead, 368 * 256);  // 367 bins with an edge each
    EXPECT_FALSE(SummaryServes(builder->GetSummary()->Shape(), 100, 8));
    EXPECT_TRUE(SummaryServes(builder->GetSummary()->Shape(), 512, 8));
}

TEST_F(SummaryBinsTest, APartIsEnoughForBinsWithinIt) {
    std::mt19937 random(3);
    const auto doc = MakeNoise(session, {1, 5000000}, random);
    SummaryBuilder builder(SummaryShape::Make(1, doc->GetLength(), 8));
    ASSERT_GT(builder.ChunkCount(), 2);
    const int64_t from = builder.ChunkLength() + 12345;
    const int64_t to = from + 4000 * 512;
    for (int64_t chunk; (chunk = builder.FirstMissing(from, to)) >= 0;) builder.BuildChunk(*doc, chunk);
    EXPECT_FALSE(builder.IsComplete());
    EXPECT_GE(builder.FirstMissing(0, to), 0);
    ExpectSame(*doc, *builder.GetSummary(), from, 9);
}

TEST_F(SummaryBinsTest, CancelIsAskedAllTheWay) {
    struct StopAt : Progress {
        int left;
        explicit StopAt(int calls) : left(calls) {}
        bool Update(uint64_t) override { return --left > 0; }
    };
    const auto doc = Ramp(2, 2000000);
    const auto builder = BuildAll(*doc, 8);
    Bins bins;
    StopAt stop(5);
    EXPECT_FALSE(ReadBinsFromSummary(*doc, *builder->GetSummary(), 5, 10, &stop, bins));
}

TEST(SummaryShapeTest, TakesTheFinestBlocksThatFit) {
    const auto fine = SummaryShape::Plan(16, 30'000'000, 19'200'000);  // 2 % of an EDF of 960 MB
    ASSERT_TRUE(fine);
    EXPECT_EQ(fine->baseShift, 8);
    EXPECT_LE(fine->Bytes(), 19'200'000u);
    const auto coarse = SummaryShape::Plan(4, 671'088'640, uint64_t{64} << 20);
    ASSERT_TRUE(coarse);
    EXPECT_EQ(coarse->baseShift, 9);
    EXPECT_FALSE(SummaryShape::Plan(1, 1 << 30, 100));
    // By hand: 1,000 samples are 4 blocks of 256, and 1 above them.
    const SummaryShape small = SummaryShape::Make(3, 1000, 8);
    EXPECT_EQ(small.levels, 2);
    EXPECT_EQ(small.TotalBlocks(), 3 * 4 + 3 * 1);
    EXPECT_EQ(small.Offset(1, 2), 14);
}

TEST_F(SummaryBinsTest, ASparseLookShowsEndsAndGapsAndIsQuick) {
    std::vector<uint32_t> runs{400000, 800000, 800000};
    const auto doc = MemoryDoc::MakeWithRuns(session, {std::vector<float>(1200000, 3.0f)}, {runs});
    doc->samplesRead = 0;
    const auto later = std::chrono::steady_clock::now() + std::chrono::hours(1);
    const Bins bins = LookAtBins(*doc, 0, 10, later);
    EXPECT_LE(doc->samplesRead, 512 * 64);
    EXPECT_EQ(bins.max[0][10], 3.0f);
    EXPECT_EQ(bins.active[0][10], 1);
    EXPECT_EQ(bins.active[0][800], 0);
    EXPECT_EQ(bins.min[0][800], 0.0f);
    EXPECT_EQ(bins.min[0][1900], 3.0f);
    EXPECT_FALSE(std::isnan(bins.min[0][1953]));  // 2,000,000 / 1024 = 1953.1
    EXPECT_TRUE(std::isnan(bins.min[0][1954]));
    const Bins hasty = LookAtBins(*doc, 0, 10, std::chrono::steady_clock::now());
    EXPECT_EQ(hasty.max[0][1953], 3.0f);
}

}  // namespace
}  // namespace kymora::test
