// Levels, rectification and double averages of runs, against the rules word by word.

#include "kernels/conditioning.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "kernels/local_dc.h"
#include "kernels/smooth_fixture.h"
#include "numerics/moving_average.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

// The mean of the window around each sample, by a running sum.
std::vector<double> WindowMeans(const Samples& in, size_t h) {
    const size_t n = in.size();
    std::vector<double> means(n);
    double sum = 0.0;
    for (size_t i = 0; i <= h; ++i) sum += in[i];
    for (size_t i = 0; i < n; ++i) {
        const size_t first = i < h ? 0 : i - h, end = std::min(n, i + h + 1);
        means[i] = sum / static_cast<double>(end - first);
        if (i >= h) sum -= in[i - h];
        if (i + h + 1 < n) sum += in[i + h + 1];
    }
    return means;
}

Smoothed MemoryDC(const Samples& run, int64_t half) {
    return InMemory(run, [&](auto in, auto out) { return RemoveLocalDC(in, half, out); });
}

Smoothed StreamDC(const Samples& run, int64_t half) {
    Smoothed result;
    VectorSink sink;
    const SourceMaker source = [&] { return std::make_unique<VectorSource>(run); };
    result.outcome = RemoveLocalDC(source, static_cast<int64_t>(run.size()), half, sink);
    result.values = sink.samples;
    return result;
}

TEST(LocalDC, BothFormsFollowTheRulesBitByBit) {
    for (const size_t n : runLengths)
        for (const size_t h : {0, 1, 2, 3, 50, 4096, 5000}) {
            const Samples run = NoiseRun(n);
            Samples told(n);
            const bool isShort = n <= 2 * h + 1;
            double total = 0.0;
            for (const float value : run) total += value;
            const std::vector<double> means = isShort ? std::vector<double>() : WindowMeans(run, h);
            for (size_t i = 0; i < n; ++i)
                told[i] = static_cast<float>(run[i] - (isShort ? total / static_cast<double>(n) : means[i]));
            ASSERT_EQ(MemoryDC(run, static_cast<int64_t>(h)).values, told) << n << " " << h;
            ASSERT_EQ(StreamDC(run, static_cast<int64_t>(h)).values, told) << n << " " << h;
        }
    EXPECT_EQ(MemoryDC({1, 2, 6}, int64_t{1} << 40).values, (Samples{-2, -1, 3}));
    // A window of one sample leaves nothing.
    EXPECT_EQ(MemoryDC({1, 2, 6}, 0).values, (Samples{0, 0, 0}));
}

Smoothed Memory(const Samples& run, const ConditioningSettings& settings) {
    return InMemory(run, [&](auto in, auto out) { return Condition(in, settings, out); });
}

Smoothed Stream(const Samples& run, const ConditioningSettings& settings) {
    CountingRoom room;
    return Streamed(run, [&](auto& source, int64_t count, auto& sink) {
        return Condition(source, count, settings, sink, room);
    });
}

TEST(Conditioning, LevelThenRectifierThenAverages) {
    const Samples run = {-3, 1, -0.0f, 7, notANumber};
    const auto settings = [](float level, std::optional<RectifyType> rectify) {
        ConditioningSettings made;
        made.level = level;
        made.rectify = rectify;
        return made;
    };
    const struct {
        ConditioningSettings settings;
        Samples values;
    } cases[] = {{settings(0, {}), run},
                 {settings(1, {}), {-4, 0, -1, 6, notANumber}},
                 {settings(1, RectifyType::fullWave), {4, 0, 1, 6, notANumber}},
                 {settings(1, RectifyType::halfWave), {0, 0, 0, 6, notANumber}}};
    for (const auto& [given, values] : cases) {
        EXPECT_TRUE(AreSame(Memory(run, given).values, values));
        EXPECT_TRUE(AreSame(Stream(run, given).values, values));
    }
    for (const size_t n : runLengths)
        for (const int iterations : {1, 3})
            for (const size_t h : {1, 50, 5000}) {
                if (n < 2 * h + 1) continue;
                ConditioningSettings smooths = settings(5.0f, RectifyType::halfWave);
                smooths.smooths = true;
                smooths.halfWindow = static_cast<int64_t>(h);
                smooths.iterations = iterations;
                for (const bool isStream : {false, true}) {
                    Samples told = NoiseRun(n);
                    for (float& value : told) {
                        value -= 5.0f;
                        // Long runs are always rectified full wave.
                        if (value < 0.0f) value = isStream ? -value : 0.0f;
                    }
                    for (int i = 0; i < iterations; ++i) {
                        const std::vector<double> means = WindowMeans(told, h);
                        for (size_t k = 0; k < n; ++k) told[k] = static_cast<float>(means[k]);
                    }
                    const Smoothed found =
                        isStream ? Stream(NoiseRun(n), smooths) : Memory(NoiseRun(n), smooths);
                    ASSERT_EQ(found.values, told) << n << " " << h << " " << iterations << " " << isStream;
                    EXPECT_STREQ(found.outcome.note, isStream ? fullWaveText : "");
                }
            }
}

TEST(Conditioning, WindowsThatAreNone) {
    ConditioningSettings settings;
    settings.level = 1.0f;
    settings.smooths = true;
    settings.halfWindow = 0;
    EXPECT_EQ(Memory({1, 2, 6}, settings).values, (Samples{0, 1, 5}));
    settings.halfWindow = 5;
    for (const Smoothed& found : {Memory({1, 2, 6}, settings), Stream({1, 2, 6}, settings)}) {
        EXPECT_EQ(found.values, (Samples{2, 2, 2}));
        EXPECT_STREQ(found.outcome.note, notEnoughSamplesText);
    }
    EXPECT_TRUE(Memory({}, settings).values.empty());
}

TEST(Conditioning, MeansAreSumsInSinglePrecision) {
    LevelMean mean;
    const Samples run = {16777216.0f, 1.0f, notANumber, 1.0f, std::numeric_limits<float>::infinity()};
    mean.Add(run);
    EXPECT_EQ(mean.Count(), 3);
    EXPECT_EQ(mean.Mean(), 16777216.0f / 3.0f);
    EXPECT_EQ(mean.Exact(), 16777218.0 / 3.0);
    EXPECT_FALSE(mean.IsOff());
    // A membrane potential over minutes.
    LevelMean potential;
    Samples samples = NoiseRun(1000);
    for (float& sample : samples) sample = -65.0f + sample / 20.0f;
    for (int i = 0; i < 10; ++i) potential.Add(samples);
    EXPECT_FALSE(potential.IsOff());
    for (int i = 0; i < 3000; ++i) potential.Add(samples);
    EXPECT_TRUE(potential.IsOff());
    EXPECT_NEAR(potential.Exact(), -64.75, 0.05);
}

}  // namespace
}  // namespace kymora
