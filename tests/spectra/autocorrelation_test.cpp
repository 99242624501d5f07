// Autocorrelations against their definition, and rhythms of signals whose period is known.

#include "spectra/autocorrelation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

namespace kymora {
namespace {

std::vector<double> PlainCoefficients(const std::vector<float>& x, size_t mostLag) {
    double mean = 0.0, squares = 0.0;
    for (const float value : x) mean += value;
    mean /= static_cast<double>(x.size());
    for (const float value : x) squares += (value - mean) * (value - mean);
    std::vector<double> found;
    for (size_t lag = 1; lag <= mostLag; ++lag) {
        double sum = 0.0;
        for (size_t i = 0; i + lag < x.size(); ++i) sum += (x[i] - mean) * (x[i + lag] - mean);
        found.push_back(sum / squares);
    }
    return found;
}

std::vector<float> Sine(size_t count, double period, double offset = 0.0) {
    std::vector<float> samples;
    for (size_t i = 0; i < count; ++i)
        samples.push_back(
            static_cast<float>(offset + std::sin(2 * std::numbers::pi * static_cast<double>(i) / period)));
    return samples;
}

TEST(Autocorrelation, IsThatOfItsDefinition) {
    std::mt19937 random(1);
    std::normal_distribution<float> normal(3.0f, 2.0f);
    struct Case {
        size_t count, planned, lags;
    };
    // The last ones go through the transform in pieces.
    for (const Case& one : {Case{2, 2, 1},
                            {50, 50, 49},
                            {50, 50, 80},
                            {200, 1000, 30},
                            {140'000, 140'000, 40},
                            {70'000, 70'000, 20'000}}) {
        std::vector<float> samples;
        for (size_t i = 0; i < one.count; ++i) samples.push_back(normal(random));
        Autocorrelator autocorrelator(one.planned, one.lags);
        const std::span<const double> found = autocorrelator.Coefficients(samples);
        const size_t lags = std::min(one.lags, one.count - 1);
        const std::vector<double> plain = PlainCoefficients(samples, std::min<size_t>(lags, 100));
        ASSERT_EQ(found.size(), lags);
        for (size_t lag = 0; lag < plain.size(); ++lag) EXPECT_NEAR(found[lag], plain[lag], 1e-12) << lag;
    }
    Autocorrelator autocorrelator(10, 4);
    EXPECT_TRUE(autocorrelator.Coefficients(std::vector<float>(10, 0.1f)).empty());
}

TEST(Rhythm, IsHalfTheHeightFromTheFirstTroughToTheNextPeak) {
    using Values = std::vector<double>;
    struct Case {
        Values coefficients;
        Rhythm rhythm;
    };
    const Case cases[] = {
        {{}, {}},
        {{0.5, 0.25}, {}},
        {{0.5, -0.5, 0.5}, {}},  // nothing is known behind the last
        {{0.5, -0.5, 0.5, 0.25}, {0.5, 3}},
        {{-0.75, 0.75, -0.5}, {0.75, 2}},                              // lag 0 lies before lag 1
        {{0.5, 0.25, 0.25, 0.5, 0.5, 0.0}, {0.125, 4}},                // of plateaus the first sample
        {{0.5, 0.25, 0.5, 0.25, 1.0, 0.0}, {0.125, 3}},                // the next peak, not the highest
        {{0.5, 0.25, 0.25 + 1e-14, 0.25, 0.0, 0.5, 0.25}, {0.25, 6}},  // rounding makes no peak
        {{0.5, 0.25, 0.5, 0.5 - 1e-14, 0.75, 0.5}, {0.25, 5}}};
    for (const Case& one : cases) EXPECT_EQ(FindRhythm(one.coefficients), one.rhythm) << &one - cases;
}

TEST(Rhythm, OfASineIsItsPeriod) {
    // Of n samples a lag of k leaves n - k: the peak of a whole sine is 1 - k / n, the trough -(1 - k / 2n).
    for (const double offset : {0.0, 1e4}) {
        Autocorrelator autocorrelator(1000, 200);
        const Rhythm rhythm = RhythmOf(autocorrelator, Sine(1000, 50.0, offset));
        EXPECT_EQ(rhythm.period, 50);
        EXPECT_NEAR(rhythm.index, (0.95 + 0.975) / 2, 0.002);
    }
    EXPECT_EQ(RhythmOf(Sine(1000, 50.0)).period, 50);
    EXPECT_EQ(RhythmOf(std::vector<float>{1, -1, 1, -1, 1, -1}).period, 2);
    EXPECT_EQ(RhythmOf(Sine(300'000, 900.0)).period, 900);
    EXPECT_NEAR(static_cast<double>(RhythmOf(Sine(300'000, 40'000.0)).period), 40'000, 400)
        << "beyond the first lags";
    for (const auto& none :
         {std::vector<float>{}, {1}, {1, 2}, std::vector<float>(100, 2.5f), {1, 2, 3, 4, 5, 6}})
        EXPECT_EQ(RhythmOf(none), Rhythm());
}

TEST(Rhythm, IsLookedForAfterThePreprocessing) {
    // A carrier whose amplitude swings 40 samples long: rectified and smoothed, the swing is left.
    std::vector<float> samples = Sine(2000, 4.0);
    const std::vector<float> swing = Sine(2000, 40.0, 1.5);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] *= swing[i];
    const auto period = [&](const RhythmPreprocess& preprocess, const std::vector<float>& window) {
        Autocorrelator autocorrelator(window.size() / preprocess.reduceFactor, 150 / preprocess.reduceFactor);
        return RhythmOf(autocorrelator, window, preprocess).period;
    };
    EXPECT_EQ(period({}, samples), 4);
    EXPECT_EQ(period({true, 3, 1}, samples), 40);
    EXPECT_EQ(period({true, 3, 4}, samples), 40) << "lags are multiplied again";
    EXPECT_EQ(period({false, 0, 5}, swing), 40);
    EXPECT_EQ(period({true, 3, 1}, std::vector<float>(500, 0.1f)), -1);
    std::vector<float> square;
    for (int i = 0; i < 500; ++i) square.push_back(i % 20 < 10 ? 0.1f : -0.1f);
    EXPECT_EQ(period({}, square), 20);
    EXPECT_EQ(period({true, 7, 1}, square), -1) << "its rectified form is constant";
    EXPECT_EQ(period({false, 1000, 1}, square), -1) << "a window of smoothing longer than the samples";
}

}  // namespace
}  // namespace kymora
