// Folds of an EDF recording are held against the values that it reads.

#include <cfloat>
#include <random>

#include "import/edf_fixture.h"
#include "support/fold_check.h"

namespace kymora::test {
namespace {

class EdfFoldTest : public EdfTest {
  protected:
    static EdfBuilderSignal Noise(int samplesPerRecord, int records, uint32_t seed) {
        std::mt19937 random(seed);
        EdfBuilderSignal signal;
        signal.samplesPerRecord = samplesPerRecord;
        for (int i = 0; i < samplesPerRecord * records; ++i)
            signal.samples.push_back(static_cast<int16_t>(random()));
        return signal;
    }
};

TEST_F(EdfFoldTest, EqualTheValuesReadForAllScalesGainsAndRates) {
    EdfBuilder builder;
    builder.recordCount = 40;
    builder.Add(Noise(120, 40, 1)).Add(Noise(120, 40, 2)).Add(Noise(40, 40, 3)).Add(Noise(7, 40, 4));
    builder.signalRows[1].physicalMin = "250.5", builder.signalRows[1].physicalMax = "-3.25";  // upside down
    const auto doc = Open(builder);
    ASSERT_TRUE(doc);
    ExpectFolds(*doc, 60);
    doc->traces[0].traceGain = 3.7;
    doc->traces[1].traceGain = -0.01;
    doc->traces[2].traceGain = -5.0;
    ExpectFolds(*doc, 60);
}

TEST_F(EdfFoldTest, EqualTheValuesReadFromLongRecordsSliceBySlice) {
    EdfBuilder builder;
    builder.recordCount = 4;
    builder.duration = "20";
    builder.Add(Noise(40000, 4, 5)).Add(Noise(40000, 4, 6));
    const auto doc = Open(builder);
    ASSERT_TRUE(doc);
    ExpectFolds(*doc, 20);
}

// Both ends of a bin are stretches of their own, and many of them are folded on two threads.
TEST_F(EdfFoldTest, ManyStretchesGiveTheExtremesOfTheirSamples) {
    EdfBuilder builder;
    builder.recordCount = 50;
    builder.Add(Noise(1000, 50, 12));
    const auto doc = Open(builder);
    ASSERT_TRUE(doc);
    constexpr size_t bins = 801;
    std::vector<float> low(bins, FLT_MAX), high(bins, -FLT_MAX);
    std::vector<uint8_t> active(bins, 0);
    std::vector<FoldStretch> stretches;
    for (size_t b = 0; b < bins; ++b)
        for (const int64_t from : {static_cast<int64_t>(b) * 62 + 3, static_cast<int64_t>(b) * 62 + 40})
            stretches.push_back({from, 9 + static_cast<int64_t>(b % 7), &low[b], &high[b], &active[b]});
    ASSERT_TRUE(doc->FoldStretches(0, stretches));
    std::vector<float> values(static_cast<size_t>(doc->GetLength()));
    doc->ReadBlock(0, 0, values);
    for (size_t b = 0; b < bins; ++b) {
        float least = FLT_MAX, greatest = -FLT_MAX;
        for (const FoldStretch& stretch : std::span(stretches).subspan(2 * b, 2))
            for (int64_t i = stretch.from; i < stretch.from + stretch.count; ++i) {
                least = std::min(least, values[static_cast<size_t>(i)]);
                greatest = std::max(greatest, values[static_cast<size_t>(i)]);
            }
        ASSERT_EQ(low[b], least) << b;
        ASSERT_EQ(high[b], greatest) << b;
        ASSERT_EQ(active[b], 1) << b;
    }
}

TEST_F(EdfFoldTest, LeaveGapsOut) {
    EdfBuilder builder;
    builder.reserved = "EDF+D";
    builder.recordCount = 5;
    builder.Add(Noise(100, 5, 7)).Add(Noise(50, 5, 8));
    builder.AddAnnotations({"+0||$", "+1||$", "+7.5||$", "+8.5||$", "+20||$"});
    const auto doc = Open(builder);
    ASSERT_TRUE(doc && doc->hasGaps);
    ExpectFolds(*doc, 100);
}

TEST_F(EdfFoldTest, WhatTheFileHasLostIsAnErrorAndNotZeros) {
    EdfBuilder builder;
    builder.recordCount = 6;
    builder.Add(Noise(100, 6, 9)).Add(Noise(20, 6, 10));
    const auto bytes = builder.Build();
    const auto doc = Open(bytes);
    ASSERT_TRUE(doc);
    files.Open("/x.edf", OpenMode::readWrite)->Truncate(bytes.size() - 3 * 240);
    std::vector<float> values(300);
    EXPECT_NO_THROW(doc->ReadBlock(0, 0, values));
    for (const int trace : {0, 1}) EXPECT_THROW(doc->ReadBlock(trace, 350, {values.data(), 50}), FileError);
    std::vector<float> low(2, 1e9f), high(2, -1e9f);
    const TraceFold fold{0, low, high, {}};
    EXPECT_THROW(doc->FoldBlocks(250, 200, {0, 100}, {&fold, 1}), FileError);
}

TEST_F(EdfFoldTest, ReopeningSettingsNameTheChoice) {
    EdfBuilder builder;
    builder.AddRamp("a", 10).AddRamp("b", 10).AddRamp("c", 10);
    session.importSettings["signals"] = "3,1";
    const auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->SettingsToReopen().at("signals"), "1,3");
}

}  // namespace
}  // namespace kymora::test
