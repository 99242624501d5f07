#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "spectra/rational_resampling.h"

namespace kymora {
namespace {

TEST(RationalResampling, TheNearestFactorIsTheSimplestOne) {
    const struct {
        double ratio;
        RateFactor factor;
    } cases[] = {
        {0.5, {1, 2}},
        {0.1 * 3, {3, 10}},  // 0.30000000000000004
        {44100.0 / 48000.0, {147, 160}},
        {1000.0 / 0.1 / 1024.0, {625, 64}},
        {std::numbers::pi, {355, 113}},
        {1.0, {1, 1}},
        {1e-9, {1, 10000}},
        {1e9, {10000, 1}},
        {std::nan(""), {1, 10000}},
    };
    for (const auto& [ratio, factor] : cases) {
        const RateFactor found = NearestFactor(ratio);
        if (ratio == std::numbers::pi) {
            EXPECT_LE(std::abs(found.Value() - ratio), std::abs(factor.Value() - ratio));
            continue;
        }
        EXPECT_EQ(found, factor) << ratio << ": " << found.up << "/" << found.down;
    }
    EXPECT_EQ((RateFactor{6, 4}.InLowestTerms()), (RateFactor{3, 2}));
}

// The results of a long sine around its middle, whose windows lie inside.
struct Sampled {
    std::vector<double> values, expected;
};
Sampled Resampled(RateFactor factor, double cyclesPerSample) {
    const RationalResampler filter(factor);
    const int64_t middle = filter.Reach() + 100;
    std::vector<float> samples(static_cast<size_t>(2 * middle));
    const auto wave = [&](double at) {
        return std::cos(2.0 * std::numbers::pi * cyclesPerSample * at + 0.3);
    };
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(wave(static_cast<double>(i)));
    Sampled made;
    for (int64_t k = FirstResultFrom(middle, filter.Factor()); made.values.size() < 50; ++k) {
        const int64_t place = k * filter.Factor().down, index = place / filter.Factor().up;
        if (index + filter.Reach() >= static_cast<int64_t>(samples.size())) break;
        made.values.push_back(
            filter.At(place % filter.Factor().up, samples.data() + index + 1 - filter.Reach()));
        made.expected.push_back(wave(static_cast<double>(place) / filter.Factor().up));
    }
    return made;
}

// Truth: the wave itself, at the times of the results, and nothing of what the lower rate cannot hold.
TEST(RationalResampling, KeepsThePassBandAndTakesTheStopBand) {
    for (const RateFactor factor :
         {RateFactor{1, 2}, {2, 1}, {3, 2}, {2, 3}, {147, 160}, {1, 50}, {7, 1}, {10000, 9999}}) {
        const double lower = std::min(1.0, factor.Value()) / 2.0;  // Nyquist, cycles per sample
        for (const double part : {0.0, 0.1, 0.5, 0.9}) {
            const Sampled made = Resampled(factor, part * lower);
            ASSERT_GT(made.values.size(), 0u);
            for (size_t i = 0; i < made.values.size(); ++i)
                ASSERT_NEAR(made.values[i], made.expected[i], 2e-5)
                    << factor.up << "/" << factor.down << " at " << part;
        }
        if (factor.Value() >= 1.0) continue;
        for (const double hz : {lower, 1.3 * lower, 0.5}) {
            if (hz > 0.5) continue;  // no sine of its own
            const Sampled made = Resampled(factor, hz);
            for (const double value : made.values)
                ASSERT_LT(std::abs(value), 3e-5) << factor.up << "/" << factor.down << " at " << hz;
        }
    }
}

TEST(RationalResampling, AConstantStaysTheSameBitByBit) {
    const RationalResampler filter({147, 160});
    const std::vector<float> window(static_cast<size_t>(2 * filter.Reach()), -70.3f);
    for (int64_t phase = 0; phase < 147; ++phase) ASSERT_EQ(filter.At(phase, window.data()), -70.3f) << phase;
}

}  // namespace
}  // namespace kymora
