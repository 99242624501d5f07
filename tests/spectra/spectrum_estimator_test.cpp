// The estimator against a plain transform, sum by sum, and against what is known of windows and bands.

#include "spectra/spectrum_estimator.h"

#include <gtest/gtest.h>

#include <complex>
#include <numbers>
#include <random>

#include "spectra/segment_loops.h"
#include "spectra/spectral_window.h"
#include "spectra/spectrum_confidence.h"

namespace kymora::test {
namespace {

using std::numbers::pi;
using Complex = std::complex<double>;

std::vector<float> Noise(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<float> values(count);
    for (float& value : values) value = static_cast<float>(static_cast<int32_t>(random())) * 1e-9f;
    return values;
}

// Bins 0 to N by the definition.
std::vector<Complex> PlainBins(std::span<const float> samples, const std::vector<double>& window) {
    const size_t n = samples.size();
    std::vector<Complex> bins(n / 2 + 1);
    for (size_t k = 0; k < bins.size(); ++k)
        for (size_t i = 0; i < n; ++i)
            bins[k] += double{samples[i]} * window[i] *
                       std::polar(1.0, -2.0 * pi * static_cast<double>(i * k % n) / static_cast<double>(n));
    return bins;
}

// The description step by step, over all segments of two traces.
struct Plain {
    std::vector<double> powerA, powerB;
    std::vector<Complex> cross;
    int count = 0;

    Plain(std::span<const float> a, std::span<const float> b, size_t bins, size_t step, int window, double d)
        : powerA(bins + 1), powerB(bins + 1), cross(bins + 1) {
        const std::vector<double> w = SpectralWindow(window, 2 * bins);
        double squares = 0.0;
        for (const double value : w) squares += value * value;
        for (size_t at = 0; at + 2 * bins <= a.size(); at += step, ++count) {
            const auto x = PlainBins(a.subspan(at, 2 * bins), w), y = PlainBins(b.subspan(at, 2 * bins), w);
            for (size_t k = 0; k <= bins; ++k) {
                const double factor = 2.0 / (d * squares) * (k == 0 || k == bins ? 0.5 : 1.0);
                powerA[k] += factor * std::norm(x[k]);
                powerB[k] += factor * std::norm(y[k]);
                cross[k] += factor * x[k] * std::conj(y[k]);
            }
        }
    }
};

void ExpectNear(const std::vector<double>& found, const std::vector<double>& expected) {
    ASSERT_EQ(found.size(), expected.size());
    double most = 0.0;
    for (const double value : expected) most = std::max(most, std::fabs(value));
    for (size_t k = 0; k < found.size(); ++k) EXPECT_NEAR(found[k], expected[k], 1e-12 * most) << k;
}

TEST(SpectrumEstimator, AgreesWithThePlainSums) {
    const auto a = Noise(700, 1);
    auto b = Noise(700, 2);
    for (size_t i = 3; i < b.size(); ++i) b[i] += a[i - 3];
    for (const size_t bins : {1u, 8u, 64u})
        for (const int shift : {0, 1, 3})
            for (const bool isDensity : {false, true})
                for (const int window : {0, 1, 6}) {
                    const size_t length = 2 * bins, step = std::max<size_t>(1, length >> shift);
                    SCOPED_TRACE(testing::Message()
                                 << bins << " " << shift << " " << isDensity << " " << window);
                    if (bins == 1 && window == 6) continue;  // whose two values are 0
                    const Plain plain(a, b, bins, step, window, isDensity ? 250.0 : double(length));
                    const auto run = [&](SpectrumMode mode) {
                        CSpectrumEstimator estimator({bins, 250.0, mode, isDensity, window});
                        EXPECT_EQ(estimator.Result(), std::vector<double>(bins + 1, 0.0));
                        for (size_t at = 0; at + length <= a.size(); at += step)
                            mode == SpectrumMode::spectrum
                                ? estimator.AddSegment(std::span(a).subspan(at, length))
                                : estimator.AddSegment(std::span(a).subspan(at, length),
                                                       std::span(b).subspan(at, length));
                        EXPECT_EQ(estimator.Segments(), plain.count);
                        return estimator;
                    };
                    std::vector<double> power, cross, coherence, phase, gain;
                    for (size_t k = 0; k <= bins; ++k) {
                        power.push_back(plain.powerA[k] / plain.count);
                        cross.push_back(k == bins ? -plain.cross[k].real() / plain.count
                                                  : std::abs(plain.cross[k]) / plain.count);
                        coherence.push_back(std::norm(plain.cross[k]) / (plain.powerA[k] * plain.powerB[k]));
                        phase.push_back(std::arg(plain.cross[k]));
                        gain.push_back(std::abs(plain.cross[k]) / plain.powerA[k]);
                    }
                    ExpectNear(run(SpectrumMode::spectrum).Result(), power);
                    ExpectNear(run(SpectrumMode::crossSpectrum).Result(), cross);
                    const CSpectrumEstimator both = run(SpectrumMode::coherence);
                    ExpectNear(both.Result(), coherence);
                    ExpectNear(both.Gain(), gain);
                    const auto phases = both.Phase();
                    for (size_t k = 1; k < bins; ++k)
                        EXPECT_NEAR(std::remainder(phases[k] - phase[k], 2 * pi), 0.0, 1e-9);
                }
}

TEST(SpectrumEstimator, SumOfPowersIsTheMeanSquare) {
    const auto samples = Noise(256, 5);
    double square = 0.0;
    for (const float value : samples) square += double{value} * value / 256.0;
    for (const bool isDensity : {false, true}) {
        CSpectrumEstimator estimator({128, 500.0, SpectrumMode::spectrum, isDensity, windowRectangle});
        estimator.AddSegment(samples);
        double sum = 0.0;
        for (const double value : estimator.Result()) sum += value * (isDensity ? 500.0 / 256.0 : 1.0);
        EXPECT_NEAR(sum, square, 1e-12 * square);
    }
    // A sine of amplitude 3 at the centre of bin 20 has the mean square 4.5, all of it in that bin.
    CSpectrumEstimator estimator({128, 500.0, SpectrumMode::spectrum, false, windowRectangle});
    std::vector<float> sine(256);
    for (size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(3.0 * std::sin(2 * pi * 20 * double(i) / 256));
    estimator.AddSegment(sine);
    EXPECT_NEAR(estimator.Result()[20], 4.5, 1e-6);
    EXPECT_LT(estimator.Result()[21], 1e-10);
}

TEST(SpectrumEstimator, WhatIsTakenOffBefore) {
    std::vector<float> ramp(128), level(128, 7.0f);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = 100.0f + 2.0f * static_cast<float>(i);
    const auto power = [](const std::vector<float>& samples, SegmentTrend trend, int window) {
        CSpectrumEstimator estimator({64, 1000.0, SpectrumMode::spectrum, false, window, trend});
        estimator.AddSegment(samples);
        double sum = 0.0;
        for (const double value : estimator.Result()) sum += value;
        return sum;
    };
    EXPECT_NEAR(power(level, SegmentTrend::none, windowRectangle), 49.0, 1e-9);
    EXPECT_NEAR(power(level, SegmentTrend::mean, 1), 0.0, 1e-20);
    // The variance of 2 x (0 .. 127).
    EXPECT_NEAR(power(ramp, SegmentTrend::mean, windowRectangle), 4.0 * (128.0 * 128.0 - 1.0) / 12.0, 1e-6);
    EXPECT_NEAR(power(ramp, SegmentTrend::line, 1), 0.0, 1e-18);
    // Tapers, too, leave the power of white noise what it is.
    EXPECT_NEAR(power(level, SegmentTrend::none, windowMultitaper), 49.0, 1e-9);
}

TEST(SpectrumEstimator, RefusesWrongLengths) {
    CSpectrumEstimator one({64}), two({64, 1.0, SpectrumMode::coherence});
    const std::vector<float> right(128), wrong(127);
    const auto what = [](const auto& does) -> std::string {
        try {
            does();
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_EQ(what([&] { one.AddSegment(wrong); }), "wrong size data segment");
    EXPECT_EQ(what([&] { two.AddSegment(right, wrong); }), "wrong size data segment");
    EXPECT_EQ(what([] { CSpectrumEstimator({96}); }), "nFreqBins must be power of 2");
    EXPECT_EQ(what([] { RealFft(1); }), "n must be power of 2 in four1");
    // Two silent traces have no coherence; one segment of others has a coherence of 1.
    two.AddSegment(right, right);
    for (const double value : two.Result()) EXPECT_TRUE(std::isnan(value));
    two.Clear();
    two.AddSegment(Noise(128, 1), Noise(128, 2));
    for (const double value : two.Result()) EXPECT_NEAR(value, 1.0, 1e-12);
}

TEST(SpectralWindow, ValuesByHand) {
    // Of eight values: the first, the second and the fourth; all are symmetric but the last one.
    const struct {
        int index;
        double first, second, fourth;
    } cases[] = {
        {0, 1.0, 1.0, 1.0},
        {1, 0.08, 0.25319469, 0.95444568},
        {2, 0.0, 2.0 / 7.0, 6.0 / 7.0},
        {3, 0.0, 0.09045342, 0.92036362},
        {4, 6e-5, 0.03339172, 0.88936977},
        {5, 0.0, 1.0 - 25.0 / 49.0, 1.0 - 1.0 / 49.0},
        {6, 0.0, 0.18825510, 0.95048443},
        {7, 0.0, 0.5, 1.0},
        {99, 1.0, 1.0, 1.0},
    };
    for (const auto& [index, first, second, fourth] : cases) {
        SCOPED_TRACE(index);
        const auto window = SpectralWindow(index, 8);
        EXPECT_NEAR(window[0], first, 1e-8);
        EXPECT_NEAR(window[1], second, 1e-8);
        EXPECT_NEAR(window[3], fourth, 1e-8);
        EXPECT_NEAR(window[6], index == 7 ? 1.0 : second, 1e-8);
    }
    const auto tapers = SpectralTapers(windowMultitaper, 64);
    for (size_t k = 0; k < tapers.size(); ++k)
        for (size_t j = 0; j <= k; ++j) {
            double product = 0.0;
            for (size_t i = 0; i < 64; ++i) product += tapers[j][i] * tapers[k][i];
            EXPECT_NEAR(product, j == k ? 1.0 : 0.0, 1e-12);
        }
}

TEST(SpectrumConfidence, TextbookValues) {
    // Segments under a Hann window that overlap by half correlate by (1/6)^2 (Welch 1967).
    EXPECT_NEAR(IndependentSegments(SpectralWindow(6, 4096), 2048, 1000), 1000.0 / (1.0 + 2.0 * 0.999 / 36.0),
                0.1);
    EXPECT_EQ(IndependentSegments(SpectralWindow(1, 64), 64, 12), 12.0);
    // Of one segment the distribution is exponential.
    const auto [lower, upper] = PowerBand(1.0);
    EXPECT_NEAR(lower, 1.0 / -std::log(0.025), 1e-9);
    EXPECT_NEAR(upper, 1.0 / -std::log(0.975), 1e-6);
    const auto [low, high] = CoherenceBand(0.25, 100.0);
    EXPECT_NEAR(low, 0.15138345, 1e-8);
    EXPECT_NEAR(high, 0.35596615, 1e-8);
    // With 2 and v degrees of freedom the F distribution has a closed form.
    for (const int64_t k : {3, 10, 500})
        EXPECT_NEAR(*CriticalCoherence(k, 0.05), 1.0 - std::pow(0.05, 2.0 / double(k - 2)), 1e-9);
    EXPECT_FALSE(CriticalCoherence(2, 0.05));
}

TEST(SegmentLoops, SameBitsWithAllInstructions) {
    const auto samples = Noise(103, 3);
    std::vector<double> window(103);
    for (size_t i = 0; i < window.size(); ++i) window[i] = 1.0 / (3.0 + double(i));
    std::vector<Complex> a, b;
    for (size_t i = 0; i < 103; ++i) {
        a.emplace_back(samples[i], window[i]);
        b.emplace_back(window[i], -samples[i]);
    }
    const auto run = [&](InstructionSet widest) {
        std::vector<double> all(103), power(103, 0.1), re(103, 0.2), im(103, 0.3);
        WindowSegment(samples, window, all, widest);
        AddPowers(a, 0.7, power, widest);
        AddProducts(a, b, 0.7, re, im, widest);
        for (const auto& more : {power, re, im}) all.insert(all.end(), more.begin(), more.end());
        return all;
    };
    const auto plain = run(InstructionSet::common);
    for (const InstructionSet widest : {InstructionSet::avx2, InstructionSet::avx512})
        EXPECT_EQ(run(std::min(widest, WidestInstructionSet())), plain);
}

}  // namespace
}  // namespace kymora::test
