// Peaks, noise and the waveforms of spikes.

#include "sorting/spike_waves.h"

#include <cmath>

#include "support/session_fixture.h"
#include "templates/raised_trace.h"

namespace kymora::test {
namespace {

TEST(SpikePeakTest, FollowsItsRule) {
    struct Case {
        const char* what;
        std::vector<float> wave;
        size_t centre;
        Polarity polarity;
        std::optional<size_t> peak;
    };
    constexpr Polarity up = Polarity::up, down = Polarity::down, either = Polarity::either;
    const Case cases[] = {
        {"the centre's own region", {0, 9, 0, 2, 3, 1, 0, 8}, 3, up, 4},
        {"the first of equals", {0, 2, 5, 3, 5, 0, 0, 0}, 3, up, 2},
        {"the nearer side", {5, 0, 0, 0, 0, 0, 4, 0}, 4, up, 6},
        {"the later of two as near", {0, 0, 7, 0, 0, 0, 4, 0}, 4, up, 6},
        {"the only side", {6, 1, 0, 0, 0, 0, 0, 0}, 7, up, 0},
        {"none above the level", {0, -1, 0, -3, 0, 0, 0, 0}, 3, up, std::nullopt},
        {"down, mirrored", {0, -9, 0, -2, -3, -1, 0, 8}, 3, down, 4},
        {"either, anywhere", {0, 2, 0, 3, 0, 0, 0, -7}, 3, either, 7},
        {"either, the first of equals", {0, -4, 0, 4, 0, 0, 0, 0}, 3, either, 1},
        {"either, flat", {0, 0, 0, 0}, 1, either, std::nullopt},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        EXPECT_EQ(FindSpikePeak(one.wave, one.centre, 0.0f, one.polarity), one.peak);
        std::vector<float> raised = one.wave;
        for (float& x : raised) x += 10.0f;
        EXPECT_EQ(FindSpikePeak(raised, one.centre, 10.0f, one.polarity), one.peak);
    }
}

class SpikeWavesTest : public SessionTest {
  protected:
    SpikeSource Source(const CDataDoc& doc, std::vector<int32_t> onsets) {
        SpikeSource source;
        source.onsets = onsets;
        for (const int32_t on : onsets) source.offsets.push_back(on + 1);
        for (int t = 0; t < doc.traceCount; ++t) source.stretches.push_back(UnbrokenStretches(doc, t));
        return source;
    }
    // Bells of one width at these places, 10 high.
    static std::vector<float> Bells(const std::vector<double>& places, size_t count, double height = 10.0) {
        std::vector<float> trace(count);
        for (size_t i = 0; i < count; ++i) {
            double sum = 1e-4 * static_cast<double>(i % 2);
            for (const double place : places)
                sum += height * std::exp(-0.5 * std::pow((static_cast<double>(i) - place) / 2.0, 2));
            trace[i] = static_cast<float>(sum);
        }
        return trace;
    }
};

TEST_F(SpikeWavesTest, NoiseLiesBetweenTheWindows) {
    std::vector<float> trace(60, 100.0f);
    // Windows of onsets 10, 20 and 40 are 8..13, 18..23 and 38..43.
    const std::vector<float> between{1, 2, 3, 4};  // 14..17
    std::copy(between.begin(), between.end(), trace.begin() + 14);
    for (size_t i = 24; i < 38; ++i) trace[i] = 5.0f;
    trace[30] = std::numeric_limits<float>::quiet_NaN();
    auto doc = MemoryDoc::Make(session, {trace});
    const std::vector<int32_t> onsets{10, 20, 40};
    const TraceStretch whole[] = {{0, 60}}, cut[] = {{0, 26}, {36, 60}};
    SpikeNoise noise = EstimateNoise(*doc, 0, whole, onsets, -2, 6);
    EXPECT_EQ(noise.count, 17);  // 4, and 14 without one
    EXPECT_NEAR(noise.mean, (10.0 + 13 * 5.0) / 17.0, 1e-12);
    noise = EstimateNoise(*doc, 0, cut, onsets, -2, 6);
    EXPECT_EQ(noise.count, 8);
    EXPECT_NEAR(noise.mean, 30.0 / 8.0, 1e-12);
    EXPECT_NEAR(noise.variance, (30.0 + 100.0 - 30.0 * 30.0 / 8.0) / 7.0, 1e-12);
    EXPECT_EQ(EstimateNoise(*doc, 0, whole, std::vector<int32_t>{10, 12}, -2, 6).count, 0);
    auto quiet = MemoryDoc::Make(session, {std::vector<float>(9000, 1.0f)});
    const TraceStretch all[] = {{0, 9000}};
    EXPECT_EQ(EstimateNoise(*quiet, 0, all, std::vector<int32_t>{10, 8000}, -2, 6).count, mostNoiseSamples);
}

TEST_F(SpikeWavesTest, RowsAreAlignedAndRefused) {
    std::vector<float> trace = Bells({50, 100, 150, 397}, 400);
    trace[250] = std::numeric_limits<float>::quiet_NaN();
    auto doc = MemoryDoc::Make(session, {trace});
    ReadSettings settings{{0}, -8, 16, 1, true, Polarity::up};
    // Out of order; late, early and exact; over a not-a-number; past the end; its peak on the first sample.
    const SpikeSource source = Source(*doc, {102, 47, 150, 252, 397, 158, 3});
    SpikeWaves waves = ReadSpikeWaves(*doc, source, settings, host);
    EXPECT_EQ(waves.places, (std::vector<int64_t>{100, 50, 150, 252, 397, 158, 3}));
    EXPECT_EQ(waves.isUsed, (std::vector<uint8_t>{1, 1, 1, 0, 0, 0, 0}));
    EXPECT_EQ(waves.withoutPeak, 1);
    EXPECT_EQ(waves.Used(), 3u);
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 16; ++j)
            EXPECT_EQ(waves.Row(i)[j], trace[static_cast<size_t>(waves.places[i]) + j - 8]);
    settings.alignPeaks = false;
    waves = ReadSpikeWaves(*doc, source, settings, host);
    EXPECT_EQ(waves.places[0], 102);
    EXPECT_EQ(waves.isUsed, (std::vector<uint8_t>{1, 1, 1, 0, 0, 1, 0}));
}

TEST_F(SpikeWavesTest, RaisedRowsLieOnTheRaisedGrid) {
    const std::vector<float> trace = Bells({50.25, 120.5}, 300);
    auto doc = MemoryDoc::Make(session, {trace, Bells({50.25, 120.5}, 300, -30.0)});
    const ReadSettings settings{{0}, -8, 16, 4, true, Polarity::up};
    const SpikeWaves waves = ReadSpikeWaves(*doc, Source(*doc, {50, 121}), settings, host);
    EXPECT_EQ(waves.places, (std::vector<int64_t>{201, 482}));
    RaisedTrace raised(*doc, 0, UnbrokenStretches(*doc, 0), 4, 64);
    for (size_t i = 0; i < 2; ++i) {
        std::vector<float> row(64);
        ASSERT_TRUE(raised.Read(waves.places[i] - 32, row));
        for (size_t j = 0; j < row.size(); ++j) EXPECT_NEAR(waves.Row(i)[j], row[j], 0.02);
    }
    // Of two traces the one that is farther from its noise aligns both.
    const ReadSettings both{{0, 1}, -8, 16, 1, true, Polarity::either};
    const SpikeWaves two = ReadSpikeWaves(*doc, Source(*doc, {48, 122}), both, host);
    EXPECT_EQ(two.places[0], 50);
    EXPECT_NEAR(two.Row(0)[16 + 8], -30.0f, 0.5f);
}

}  // namespace
}  // namespace kymora::test
