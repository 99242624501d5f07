// The spike rules, by hand and against walks over the whole series that know no blocks and no short cuts.

#include "detection/spike_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "detection/spike_series.h"

namespace kymora {
namespace {

using Indices = std::vector<int64_t>;

Indices Abs(const std::vector<float>& x, int64_t refractory,
            OutlierDirection direction = OutlierDirection::both, size_t block = 1000000) {
    AbsSpikeRule rule({5, -5}, direction, refractory);
    for (size_t at = 0; at < x.size(); at += block)
        rule.Take(std::span(x).subspan(at, std::min(block, x.size() - at)));
    return rule.Finish();
}

Indices PlainAbs(const std::vector<float>& x, int64_t refractory) {
    const auto beyond = [&](size_t i) { return x[i] > 5 || x[i] < -5; };
    Indices spikes;
    size_t i = 0;
    while (i < x.size() && beyond(i)) ++i;
    int64_t last = -(refractory - 1);
    bool inside = false, accepted = false;
    for (; i < x.size(); ++i) {
        if (!beyond(i)) {
            inside = false;
        } else if (!inside) {
            inside = true;
            accepted = static_cast<int64_t>(i) - last > refractory;
            if (accepted) spikes.push_back(last = static_cast<int64_t>(i));
        }
    }
    if (inside && accepted) spikes.pop_back();
    return spikes;
}

Indices PkToPk(const std::vector<float>& x, float difference, int64_t window, int64_t refractory,
               size_t block = 1000000) {
    PeakToPeakSpikeRule rule({difference, 0}, window, refractory);
    for (size_t at = 0; at < x.size(); at += block)
        rule.Take(std::span(x).subspan(at, std::min(block, x.size() - at)));
    return rule.Finish();
}

Indices PlainPkToPk(const std::vector<float>& x, float difference, int64_t window, int64_t refractory) {
    const auto n = static_cast<int64_t>(x.size());
    const auto at = [&](int64_t i) { return x[static_cast<size_t>(i)]; };
    Indices spikes;
    std::vector<int64_t> queue;
    int64_t last = -(refractory - 1);
    for (int64_t i = 1; i <= n - 3; ++i) {
        const bool maximum = at(i) > at(i - 1) && at(i) > at(i + 1);
        const bool minimum = at(i) < at(i - 1) && at(i) < at(i + 1);
        if (!maximum && !minimum) continue;
        queue.push_back(i);
        if (i - queue.front() < window) continue;
        size_t largest = 0, smallest = 0;
        for (size_t k = 1; k + 1 < queue.size(); ++k) {
            if (at(queue[k]) > at(queue[largest])) largest = k;
            if (at(queue[k]) < at(queue[smallest])) smallest = k;
        }
        const int64_t spike = std::min(queue[largest], queue[smallest]);
        if (at(queue[largest]) - at(queue[smallest]) > difference && spike - last > refractory)
            spikes.push_back(last = spike);
        while (!queue.empty() && i - queue.front() >= window) queue.erase(queue.begin());
    }
    return spikes;
}

TEST(SpikeRules, AbsByHand) {
    EXPECT_EQ(Abs({0, 0, 6, 7, 0, -6, 0, 6, 0}, 0), (Indices{2, 5, 7}));
    EXPECT_EQ(Abs({0, 0, 6, 7, 0, -6, 0, 6, 0}, 0, OutlierDirection::above), (Indices{2, 7}));
    EXPECT_EQ(Abs({0, 0, 6, 7, 0, -6, 0, 6, 0}, 0, OutlierDirection::below), (Indices{5}));
    // A distance equal to the refractory time is not enough; it counts from the last accepted one.
    EXPECT_EQ(Abs({0, 0, 6, 0, 0, 6, 0, 6, 0}, 3), (Indices{2, 7}));
    // The first spike counts from -(R - 1): an entry at 1 comes too early, at 2 it does not.
    EXPECT_EQ(Abs({0, 6, 0, 0, 0, 0}, 4), Indices{});
    EXPECT_EQ(Abs({0, 0, 6, 0, 0, 0}, 4), (Indices{2}));
    // Beyond the levels from the start, to the end, and throughout.
    EXPECT_EQ(Abs({6, 6, 6, 0, 6, 0}, 0), (Indices{4}));
    EXPECT_EQ(Abs({0, 0, 6, 0, 6, 6}, 0), (Indices{2}));
    EXPECT_EQ(Abs({6, 6, 6, -6}, 0), Indices{});
    EXPECT_EQ(Abs({}, 0), Indices{});
    // The last entry was refused: the spike before it stays.
    EXPECT_EQ(Abs({0, 0, 6, 0, 6, 6}, 9), (Indices{2}));
}

TEST(SpikeRules, PkToPkByHand) {
    // Extrema at 2 (10), 4 (-10), 9 (1), 10 (0). The one at 9 is 7 after the oldest and closes the window of
    // 5; 10 - -10 = 20 is more than 15, and the earlier of the two lies at 2.
    const std::vector<float> x{0, 0, 10, 0, -10, -5, -2, -1, 0, 1, 0, 2, 3, 4, 5};
    EXPECT_EQ(PkToPk(x, 15, 5, 0), (Indices{2}));
    EXPECT_EQ(PkToPk(x, 20, 5, 0), Indices{}) << "a difference that is no more than the levels'";
    // The extremum that closes the window does not take part: here it is the trough.
    EXPECT_EQ(PkToPk({0, 0, 10, 0, 0, 0, 0, -10, 0, 0, 0}, 15, 5, 0), Indices{});
    // The last sample with neighbours at n - 2 is no extremum, so that nothing closes the window.
    EXPECT_EQ(PkToPk({0, 0, 10, 0, -10, 0, 0, 1, 0}, 15, 5, 0), Indices{});
    EXPECT_EQ(PkToPk({0, 0, 10, 0, -10, 0, 0, 1, 0, 0}, 15, 5, 0), (Indices{2}));
}

TEST(SpikeRules, AgreeWithPlainWalksInBlocksOfAnySize) {
    std::mt19937 random(21);
    for (int round = 0; round < 200; ++round) {
        std::normal_distribution<float> normal(0.0f, 4.0f);
        std::vector<float> x(random() % 700);
        for (float& value : x)
            value =
                random() % 100 == 0 ? std::numeric_limits<float>::quiet_NaN() : std::round(normal(random));
        const auto refractory = static_cast<int64_t>(random() % 12);
        const auto window = static_cast<int64_t>(random() % 30);
        const auto difference = static_cast<float>(random() % 25);
        for (const size_t block : {size_t{1}, size_t{5}, size_t{100}, size_t{1000}}) {
            ASSERT_EQ(Abs(x, refractory, OutlierDirection::both, block), PlainAbs(x, refractory)) << round;
            ASSERT_EQ(PkToPk(x, difference, window, refractory, block),
                      PlainPkToPk(x, difference, window, refractory))
                << round;
        }
    }
}

TEST(SpikeSeries, RectifiesSmoothsAndFilters) {
    const auto make = [](const SpikeSeriesSettings& settings, const std::vector<float>& samples,
                         size_t piece) {
        SpikeSeries series(settings, static_cast<int64_t>(samples.size()), GetMeanSd(samples).mean);
        std::vector<float> made;
        for (size_t at = 0; at < samples.size(); at += piece)
            series.Take(std::span(samples).subspan(at, std::min(piece, samples.size() - at)), made);
        series.Finish(made);
        return made;
    };
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    SpikeSeriesSettings settings;
    EXPECT_TRUE(std::isnan(make(settings, {1, nan, 3}, 2)[1])) << "samples as they are";
    // Mean 3; deviations -3 -1 4, made positive, then averaged in threes.
    settings.rectifies = true;
    EXPECT_EQ(make(settings, {0, 2, 7}, 1), (std::vector<float>{2, 8.0f / 3.0f, 2.5f}));
    // What is no number does not count in the mean, and stands for the sample before it: 3 1 1 4.
    EXPECT_EQ(make(settings, {0, 2, nan, 7}, 3), (std::vector<float>{2, 5.0f / 3.0f, 2, 2.5f}));
    // Twice: the passes one behind the other, and the filter behind both.
    settings.iterations = 2;
    settings.halfWindow = 3;
    settings.filters = true;
    settings.cutoff = 40.0f;
    settings.sampleInterval = 0.1;
    std::vector<float> samples;
    for (int i = 0; i < 200; ++i) samples.push_back(static_cast<float>(i * 37 % 101));
    const auto mean = static_cast<float>(GetMeanSd(samples).mean);
    std::vector<float> plain = samples;
    for (float& v : plain) v = std::fabs(v - mean);
    plain = GetMovingAverageIter(plain, 2, 3);
    SinglePoleHighPass filter(0.1, 1000.0 / (2 * 3.14159265 * 40.0));
    for (float& v : plain) v = filter.Next(v);
    for (const size_t piece : {size_t{1}, size_t{7}, size_t{200}}) {
        const std::vector<float> made = make(settings, samples, piece);
        ASSERT_EQ(made.size(), plain.size());
        for (size_t i = 0; i < made.size(); ++i) EXPECT_NEAR(made[i], plain[i], 1e-4f) << i;
    }
    settings.halfWindow = 300;
    EXPECT_EQ(make(settings, samples, 50).size(), 200u) << "shorter than a window";
}

TEST(SpikeRules, StatisticsAndLevels) {
    // 1 .. 100: mean and median 50.5, s.d. sqrt(100 * 101 / 12), deviations 0.5 .. 49.5 in pairs.
    std::vector<float> ramp(100);
    for (size_t i = 0; i < 100; ++i) ramp[i] = static_cast<float>(100 - i);
    const SpikeStatistics statistics = GetSpikeStatistics(ramp, 0.05f);
    EXPECT_FLOAT_EQ(statistics.mean, 50.5f);
    EXPECT_FLOAT_EQ(statistics.sd, std::sqrt(100.0f * 101.0f / 12.0f));
    EXPECT_FLOAT_EQ(statistics.median, 50.5f);
    EXPECT_FLOAT_EQ(statistics.robustSd, 25.0f / 0.6745f);
    EXPECT_EQ(statistics.lowerPercentile, 5.0f);
    EXPECT_EQ(statistics.upperPercentile, 96.0f);
    const auto levels = [&](SpikeLevelSource source) {
        return GetSpikeLevels(source, statistics, 2.0f, {7, -7});
    };
    EXPECT_EQ(levels(SpikeLevelSource::user).upper, 7.0f);
    EXPECT_EQ(levels(SpikeLevelSource::user).lower, -7.0f);
    EXPECT_FLOAT_EQ(levels(SpikeLevelSource::meanSd).upper, 50.5f + 2 * statistics.sd);
    EXPECT_FLOAT_EQ(levels(SpikeLevelSource::meanSd).lower, 50.5f - 2 * statistics.sd);
    EXPECT_FLOAT_EQ(levels(SpikeLevelSource::medianRobustSd).upper, 50.5f + 2 * 25.0f / 0.6745f);
    EXPECT_EQ(levels(SpikeLevelSource::percentile).upper, 96.0f);
    EXPECT_EQ(levels(SpikeLevelSource::percentile).lower, 5.0f);
}

}  // namespace
}  // namespace kymora
