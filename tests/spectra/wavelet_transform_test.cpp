// Wavelets against the published properties of their filters, against the transform by its definition, and
// thresholds worked by hand.

#include "spectra/wavelet_transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "spectra/wavelet_filters.h"
#include "spectra/wavelet_threshold.h"

namespace kymora::test {
namespace {

std::vector<double> WideNoise(size_t count) {
    std::mt19937 random(4);
    std::vector<double> values(count);
    for (double& value : values) value = static_cast<double>(random() % 20'001) / 1000.0 - 10.0;
    return values;
}

TEST(WaveletFilters, HavePublishedProperties) {
    ASSERT_EQ(WaveletNames().size(), 22u);
    for (int w = 0; w < 22; ++w) {
        const std::string& name = WaveletNames()[static_cast<size_t>(w)];
        SCOPED_TRACE(name);
        const auto h = ScalingFilter(w);
        const size_t length = h.size();
        EXPECT_EQ(std::to_string(length), name.substr(name.find('-') + 1));
        EXPECT_NEAR(std::accumulate(h.begin(), h.end(), 0.0), std::sqrt(2.0), 1e-14);
        for (size_t shift = 0; shift < length; shift += 2) {
            double product = 0.0;
            for (size_t k = shift; k < length; ++k) product += h[k] * h[k - shift];
            EXPECT_NEAR(product, shift == 0 ? 1.0 : 0.0, 1e-14);
        }
        // Details of polynomials vanish up to a degree that the family gives: half the length, or a third.
        const size_t moments = name[0] == 'C' ? length / 3 : length / 2;
        for (size_t degree = 0; degree < std::min<size_t>(moments, 6); ++degree) {
            double sum = 0.0;
            for (size_t k = 0; k < length; ++k)
                sum += (k % 2 == 0 ? 1 : -1) * h[length - 1 - k] *
                       std::pow(static_cast<double>(k) / static_cast<double>(length), degree);
            EXPECT_NEAR(sum, 0.0, 1e-9) << degree;
        }
    }
    // The closed form: (1 + sqrt 3, 3 + sqrt 3, 3 - sqrt 3, 1 - sqrt 3) / (4 sqrt 2).
    const auto h = ScalingFilter(0);
    const double root = std::sqrt(3.0), scale = 4.0 * std::sqrt(2.0);
    const double closed[] = {(1 + root) / scale, (3 + root) / scale, (3 - root) / scale, (1 - root) / scale};
    for (size_t k = 0; k < 4; ++k) EXPECT_NEAR(h[k], closed[k], 1e-15);
    for (const int none : {-1, 22}) EXPECT_THROW(ScalingFilter(none), std::invalid_argument);
}

TEST(WaveletTransform, FollowsItsDefinitionAndBack) {
    for (int w = 0; w < 22; ++w)
        for (const size_t length : {1u, 2u, 8u, 64u, 512u}) {
            SCOPED_TRACE(testing::Message() << WaveletNames()[static_cast<size_t>(w)] << " " << length);
            const auto h = ScalingFilter(w);
            const size_t taps = h.size();
            const auto values = WideNoise(length);
            std::vector<double> expected = values;
            int levels = 0;
            for (size_t n = length; n >= taps && n >= 2; n /= 2, ++levels) {
                const std::vector<double> x(expected.begin(),
                                            expected.begin() + static_cast<std::ptrdiff_t>(n));
                for (size_t i = 0; i < n / 2; ++i) {
                    expected[i] = expected[n / 2 + i] = 0.0;
                    for (size_t k = 0; k < taps; ++k) {
                        expected[i] += h[k] * x[(2 * i + k) % n];
                        expected[n / 2 + i] += (k % 2 == 0 ? 1 : -1) * h[taps - 1 - k] * x[(2 * i + k) % n];
                    }
                }
            }
            const CWaveletTransform transform(w, length);
            EXPECT_EQ(transform.Levels(), levels);
            auto found = values;
            transform.Forward(std::span(found));
            for (size_t i = 0; i < length; ++i) EXPECT_NEAR(found[i], expected[i], 1e-11);
            transform.Inverse(std::span(found));
            for (size_t i = 0; i < length; ++i) EXPECT_NEAR(found[i], values[i], 1e-11);
            std::vector<float> narrow(values.begin(), values.end());
            transform.Forward(std::span(narrow));
            for (size_t i = 0; i < length; ++i) EXPECT_NEAR(narrow[i], expected[i], 1e-4);
        }
    EXPECT_THROW(CWaveletTransform(0, 48), std::invalid_argument);
}

TEST(WaveletTransform, BandsAndTheExtension) {
    const auto bands = CWaveletTransform(0, 16).Bands();  // inputs of 16, 8 and 4 values
    ASSERT_EQ(bands.size(), 4u);
    EXPECT_EQ(bands[0].first, 8u);
    EXPECT_EQ(bands[2].count, 2u);
    EXPECT_TRUE(bands[3].isSmooth);
    const std::pair<std::vector<float>, std::vector<float>> runs[] = {
        {{7}, {7}}, {{1, 2}, {1, 2}}, {{1, 2, 3}, {1, 2, 3, 2}}, {{1, 2, 3, 4, 5}, {1, 2, 3, 4, 5, 4, 3, 2}}};
    for (const auto& [run, extended] : runs) {
        std::vector<float> to = run;
        to.resize(WaveletLength(run.size()));
        ExtendByMirroring(to, run.size());
        EXPECT_EQ(to, extended);
    }
}

TEST(WaveletThreshold, RulesByHand) {
    using enum ThresholdMethod;
    const struct {
        double value, lambda;
        ThresholdMethod method;
        double expected;
    } cases[] = {{1.0, 1.0, hard, 0.0},       {1.1, 1.0, hard, 1.1},   {-1.1, 1.0, soft, -0.1},
                 {0.9, 1.0, soft, 0.0},       {1.5, 1.0, scad, 0.5},   {-2.0, 1.0, scad, -1.0},
                 {3.0, 1.0, scad, 4.4 / 1.7}, {-3.7, 1.0, scad, -3.7}, {4.0, 1.0, scad, 4.0},
                 {0.3, 0.0, hard, 0.3},       {-0.3, 0.0, soft, -0.3}, {0.3, 0.0, scad, 0.3},
                 {0.0, 0.0, scad, 0.0}};
    for (const auto& [value, lambda, method, expected] : cases)
        EXPECT_NEAR(Thresholded(value, lambda, method), expected, 1e-15) << value << " " << lambda;
}

TEST(WaveletThreshold, QuantilesAndMedians) {
    const std::vector<float> values = {-3, 1, 2, -5, 4, 0.5f, -0.25f};
    // Ascending: 0.25 0.5 1 2 3 4 5
    const std::pair<int, double> quantiles[] = {{0, 0.0},  {1, 0.25}, {14, 0.25}, {15, 0.5},
                                                {50, 2.0}, {99, 5.0}, {100, 5.0}};
    for (const auto& [percent, expected] : quantiles)
        EXPECT_EQ(AbsoluteQuantile(values, percent), expected) << percent;
    EXPECT_EQ(AbsoluteMedian(values), 2.0);
    EXPECT_EQ(AbsoluteMedian(std::span(values).first(4)), 2.5);
    EXPECT_EQ(AbsoluteQuantile({}, 50), 0.0);
    EXPECT_EQ(AbsoluteMedian({}), 0.0);
    // Not-a-numbers of both signs count for nothing, infinities as the greatest.
    std::vector<float> spoilt = {NAN, 3, -1, -NAN, 2, NAN, 5, NAN};
    EXPECT_EQ(AbsoluteMedian(spoilt), 2.5);
    for (const auto& [percent, expected] : {std::pair(25, 1.0), {26, 2.0}, {75, 3.0}, {100, 5.0}})
        EXPECT_EQ(AbsoluteQuantile(spoilt, percent), expected) << percent;
    spoilt[1] = -INFINITY;
    EXPECT_EQ(AbsoluteQuantile(spoilt, 100), INFINITY);
    EXPECT_EQ(AbsoluteMedian(std::vector<float>{NAN, NAN}), 0.0);
    EXPECT_EQ(AbsoluteQuantile(std::vector<float>{NAN, NAN}, 100), 0.0);
}

TEST(WaveletThreshold, AllLevelsTogether) {
    const CWaveletTransform transform(0, 16);
    std::vector<float> values(16);
    std::iota(values.begin(), values.end(), 1.0f);
    values[9] = 0.0f;  // a detail that is 0 already
    const auto run = [&](ThresholdSettings settings) {
        auto after = values;
        const ThresholdOutcome outcome = ThresholdDetails(transform, after, 13, settings);
        EXPECT_EQ(after[0], 1.0f);
        EXPECT_EQ(after[1], 2.0f);
        return std::pair(outcome, after);
    };
    const auto [all, none] = run({ThresholdMethod::soft, ThresholdOrigin::quantile, 100});
    EXPECT_EQ(std::count(none.begin(), none.end(), 0.0f), 14);
    EXPECT_EQ(all.zeroed, 13);
    // The details of level 1 are 9, 0, 11 .. 16: their median is (12 + 13) / 2.
    const auto [internal, after] = run({ThresholdMethod::hard, ThresholdOrigin::universalInternal});
    EXPECT_NEAR(*internal.noise, 12.5 / 0.6745, 1e-12);
    EXPECT_NEAR(internal.lambda, 12.5 / 0.6745 * std::sqrt(2.0 * std::log(13.0)), 1e-12);
    const auto [given, kept] = run({ThresholdMethod::hard, ThresholdOrigin::universalGiven, 50, 0.0});
    EXPECT_EQ(given.lambda, 0.0);
    EXPECT_EQ(kept, values);
}

}  // namespace
}  // namespace kymora::test
