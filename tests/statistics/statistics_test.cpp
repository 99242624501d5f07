// Statistics of samples, against values worked by hand and against sorted copies and long double sums.

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

#include "numerics/band.h"
#include "statistics/statistics.h"

namespace kymora {
namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float inf = std::numeric_limits<float>::infinity();

std::vector<float> Noise(size_t count, float offset, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(offset, 1.0f);
    std::vector<float> samples(count);
    for (float& value : samples) value = normal(random);
    return samples;
}

TEST(Statistics, MeanAndSdByHand) {
    // 2 4 4 4 5 5 7 9: mean 5, squares 9 1 1 1 0 0 4 16, sum 32.
    const std::vector<float> samples{2, 4, 4, 4, 5, 5, 7, 9};
    const MeanSd result = GetMeanSd(samples);
    EXPECT_EQ(result.count, 8);
    EXPECT_DOUBLE_EQ(result.mean, 5.0);
    EXPECT_DOUBLE_EQ(result.sd, std::sqrt(32.0 / 7.0));
    EXPECT_EQ(GetMeanSd(std::vector<float>{3}).sd, 0.0);
    EXPECT_EQ(GetMeanSd(std::vector<float>{3}).mean, 3.0);
}

TEST(Statistics, MeanAndSdByBlocksAgreeWithLongDouble) {
    // The offset is a million times the spread; a sum of squares would lose all digits of it.
    std::vector<float> samples = Noise(100003, 1e6f, 1);
    samples[50000] = -3e6f;
    long double sum = 0, squares = 0;
    for (const float value : samples) sum += value;
    const long double mean = sum / samples.size();
    for (const float value : samples) squares += (value - mean) * (value - mean);
    const auto sd = static_cast<double>(std::sqrt(squares / (samples.size() - 1)));
    for (const size_t block : {size_t{1}, size_t{7}, size_t{5000}, samples.size()}) {
        MeanSdSum blocks;
        for (size_t at = 0; at < samples.size(); at += block)
            blocks.Add(std::span(samples).subspan(at, std::min(block, samples.size() - at)));
        EXPECT_NEAR(blocks.Result().mean, static_cast<double>(mean), 1e-13 * 1e6) << block;
        EXPECT_NEAR(blocks.Result().sd, sd, 1e-12 * sd) << block;
    }
}

TEST(Statistics, MedianAndRobustSdByHand) {
    // Median 3, deviations 2 1 0 1 97, their median 1.
    MedianRobustSd result = GetMedianRobustSd({100, 4, 2, 1, 3});
    EXPECT_EQ(result.count, 5);
    EXPECT_EQ(result.median, 3.0);
    EXPECT_EQ(result.mad, 1.0);
    EXPECT_EQ(result.robustSd, 1.0 / 0.6745f);
    // Even counts: median (2 + 3) / 2, deviations 1.5 0.5 0.5 7.5, their median (0.5 + 1.5) / 2.
    result = GetMedianRobustSd({10, 2, 1, 3});
    EXPECT_EQ(result.median, 2.5);
    EXPECT_EQ(result.mad, 1.0);
    // More than half of the samples equal: mean absolute deviation 30 / 5, over 0.8.
    result = GetMedianRobustSd({7, 7, 7, 27, -3});
    EXPECT_EQ(result.mad, 0.0);
    EXPECT_DOUBLE_EQ(result.robustSd, 6.0 / 0.8);
    // All equal, and a spread that is below every normal float.
    EXPECT_EQ(GetMedianRobustSd({7, 7, 7}).robustSd, FLT_MIN);
    EXPECT_EQ(GetMedianRobustSd({0, 1e-40f, 3e-40f}).robustSd, FLT_MIN);
}

TEST(Statistics, PercentilesAgreeWithSorting) {
    const std::vector<float> samples = Noise(20011, 0.0f, 4);
    std::vector<float> sorted = samples;
    std::sort(sorted.begin(), sorted.end());
    for (const double percent : {0.0, 0.001, 1.0, 5.0, 37.5, 50.0, 99.0, 100.0}) {
        const auto k = std::clamp<int64_t>(std::llround(20011 * percent / 100.0), 1, 20011);
        PercentileSearch search(20011, percent);
        for (size_t at = 0; at < samples.size(); at += 777)
            search.Add(std::span(samples).subspan(at, std::min<size_t>(777, samples.size() - at)));
        const PercentileValues result = search.Result();
        EXPECT_EQ(result.low, sorted[static_cast<size_t>(k - 1)]) << percent;
        EXPECT_EQ(result.high, sorted[static_cast<size_t>(20011 - k)]) << percent;
    }
    // Ranks: rounded half away from zero, at least 1, at most the count.
    EXPECT_EQ(PercentileRank(10, 25.0), 3);
    EXPECT_EQ(PercentileRank(10, 0.0), 1);
    EXPECT_EQ(PercentileRank(10, 100.0), 10);
    EXPECT_EQ(PercentileRank(3, 10.0), 1);
    // The worst orders for the heaps, and equal samples.
    std::vector<float> ramp(1000);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i / 2);
    EXPECT_EQ(GetPercentileValues(ramp, 10.0).low, 49.0f);
    EXPECT_EQ(GetPercentileValues(ramp, 10.0).high, 450.0f);
    std::reverse(ramp.begin(), ramp.end());
    EXPECT_EQ(GetPercentileValues(ramp, 10.0).low, 49.0f);
    EXPECT_EQ(GetPercentileValues(ramp, 10.0).high, 450.0f);
}

TEST(Statistics, WhatIsNoFiniteNumberDoesNotCount) {
    std::vector<float> clean = Noise(9000, 2.0f, 5);
    std::vector<float> spoiled;
    for (size_t i = 0; i < clean.size(); ++i) {
        if (i % 3 == 0) spoiled.push_back(i % 2 == 0 ? nan : i % 4 == 1 ? inf : -inf);
        spoiled.push_back(clean[i]);
    }
    EXPECT_EQ(GetMeanSd(spoiled).count, 9000);
    EXPECT_NEAR(GetMeanSd(spoiled).mean, GetMeanSd(clean).mean, 1e-12);
    EXPECT_NEAR(GetMeanSd(spoiled).sd, GetMeanSd(clean).sd, 1e-12);
    EXPECT_EQ(GetMedianRobustSd(spoiled).median, GetMedianRobustSd(clean).median);
    EXPECT_EQ(GetMedianRobustSd(spoiled).robustSd, GetMedianRobustSd(clean).robustSd);
    // The k counts the 9000 only, although 12000 samples were announced.
    EXPECT_EQ(GetPercentileValues(spoiled, 10.0).low, GetPercentileValues(clean, 10.0).low);
    EXPECT_EQ(GetPercentileValues(spoiled, 10.0).high, GetPercentileValues(clean, 10.0).high);
    EXPECT_EQ(GetPercentileValues(spoiled, 100.0).low, *std::max_element(clean.begin(), clean.end()));

    const std::vector<float> nothing{nan, inf};
    for (const auto& samples : {nothing, std::vector<float>{}}) {
        EXPECT_EQ(GetMeanSd(samples).count, 0);
        EXPECT_TRUE(std::isnan(GetMeanSd(samples).mean));
        EXPECT_TRUE(std::isnan(GetMeanSd(samples).sd));
        EXPECT_TRUE(std::isnan(GetMedianRobustSd(samples).median));
        EXPECT_TRUE(std::isnan(GetMedianRobustSd(samples).robustSd));
        EXPECT_EQ(GetPercentileValues(samples, 5.0).count, 0);
        EXPECT_TRUE(std::isnan(GetPercentileValues(samples, 5.0).low));
    }
}

TEST(Statistics, BandSearchesAgreeWithAPlainLoop) {
    std::vector<float> samples = Noise(500, 0.0f, 6);
    samples[70] = samples[300] = nan;
    samples[130] = inf;
    const std::pair<float, float> bands[] = {{-2, 2}, {-inf, 2}, {-1, inf}, {1, -1}, {-inf, inf}, {nan, 1}};
    for (const auto& [low, high] : bands)
        for (size_t from = 0; from < samples.size(); from += 3) {
            const auto rest = std::span(samples).subspan(from);
            size_t outside = 0, inside = 0;
            while (outside < rest.size() && !(rest[outside] > high || rest[outside] < low)) ++outside;
            while (inside < rest.size() && (rest[inside] > high || rest[inside] < low)) ++inside;
            ASSERT_EQ(FindOutside(rest, low, high), outside);
            ASSERT_EQ(FindNotOutside(rest, low, high), inside);
        }
}

}  // namespace
}  // namespace kymora
