// Derivatives, and the k-Teager energy.

#include <gtest/gtest.h>

#include <cmath>

#include "kernel_fixture.h"
#include "numerics/moving_average.h"
#include "transforms/derivative.h"
#include "transforms/smooth_savgol.h"
#include "transforms/teager.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

Samples Derive(const Samples& input, DerivativeType type, double dt = 1.0) {
    DerivativeSettings settings;
    settings.type = type;
    settings.sampleInterval = dt;
    Samples output(input.size(), -99.0f);
    EXPECT_TRUE(Derivative(input, settings, output));
    return output;
}

constexpr DerivativeType allTypes[] = {DerivativeType::adjacentPre, DerivativeType::adjacentPost,
                                       DerivativeType::firstOrder4, DerivativeType::secondOrder4,
                                       DerivativeType::thirdOrder4};

TEST(DerivativeTest, AdjacentDifferencesWriteTheFirstOrTheLastTwice) {
    const Samples input = {1, 3, 2, 6};
    EXPECT_EQ(Derive(input, DerivativeType::adjacentPre, 0.5), (Samples{4, 4, -2, 8}));
    EXPECT_EQ(Derive(input, DerivativeType::adjacentPost, 0.5), (Samples{4, -2, 8, 8}));
    EXPECT_EQ(Derive({1, 3}, DerivativeType::adjacentPre), (Samples{2, 2}));
    EXPECT_EQ(Derive({1, 3}, DerivativeType::adjacentPost), (Samples{2, 2}));
}

// A difference of order 4 is exact for polynomials up to degree 4 (first and second derivative) and 6
// (third).
TEST(DerivativeTest, DifferencesOfOrder4AreExactForPolynomials) {
    constexpr double dt = 0.25;
    const auto sampled = [&](auto f) {
        Samples samples(12);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(f((static_cast<double>(i) - 5) * dt));
        return samples;
    };
    const Samples quartic = sampled([](double t) { return t * t * t * t - 2 * t * t * t + 3 * t - 1; });
    const Samples first = sampled([](double t) { return 4 * t * t * t - 6 * t * t + 3; });
    const Samples second = sampled([](double t) { return 12 * t * t - 12 * t; });
    const Samples third = sampled([](double t) { return 24 * t - 12; });
    const Samples d1 = Derive(quartic, DerivativeType::firstOrder4, dt);
    const Samples d2 = Derive(quartic, DerivativeType::secondOrder4, dt);
    const Samples d3 = Derive(quartic, DerivativeType::thirdOrder4, dt);
    for (size_t i = 2; i < 10; ++i) {
        EXPECT_NEAR(d1[i], first[i], 1e-5) << i;
        EXPECT_NEAR(d2[i], second[i], 1e-5) << i;
    }
    for (size_t i = 3; i < 9; ++i) EXPECT_NEAR(d3[i], third[i], 1e-5) << i;
    for (const Samples* d : {&d1, &d2}) {
        EXPECT_EQ((*d)[0], (*d)[2]);
        EXPECT_EQ((*d)[1], (*d)[2]);
        EXPECT_EQ((*d)[10], (*d)[9]);
        EXPECT_EQ((*d)[11], (*d)[9]);
    }
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(d3[i], d3[3]);
        EXPECT_EQ(d3[11 - i], d3[8]);
    }
}

// Worked by hand from the coefficients.
TEST(DerivativeTest, StencilsOfAnImpulse) {
    const Samples impulse = {0, 0, 0, 0, 24, 0, 0, 0, 0};
    EXPECT_EQ(Derive(impulse, DerivativeType::firstOrder4), (Samples{-2, -2, -2, 16, 0, -16, 2, 2, 2}));
    EXPECT_EQ(Derive(impulse, DerivativeType::secondOrder4), (Samples{-2, -2, -2, 32, -60, 32, -2, -2, -2}));
    EXPECT_EQ(Derive(impulse, DerivativeType::thirdOrder4), (Samples{-39, -39, -39, -39, 0, 39, 39, 39, 39}));
}

TEST(DerivativeTest, ARunWithOneStencilHasOneValueEverywhere) {
    const Samples line = {0, 3, 6, 9, 12};
    EXPECT_EQ(Derive(line, DerivativeType::firstOrder4, 1.5), Samples(5, 2.0f));
    EXPECT_EQ(Derive({0, 1, 8, 27, 64, 125, 216}, DerivativeType::thirdOrder4), Samples(7, 6.0f));
}

TEST(DerivativeTest, ARunShorterThanTheStencilIsZeroAndSaysSo) {
    for (const DerivativeType type : allTypes) {
        for (int64_t length = 1; length < StencilSamples(type); ++length) {
            DerivativeSettings settings;
            settings.type = type;
            const Samples input = NoiseRun(static_cast<size_t>(length));
            Samples output(input.size(), -1.0f);
            const KernelOutcome outcome = Derivative(input, settings, output);
            EXPECT_TRUE(outcome.isDone);
            EXPECT_STREQ(outcome.note, notEnoughSamplesText);
            EXPECT_EQ(output, Samples(input.size(), 0.0f));
        }
    }
}

TEST(DerivativeTest, ANotANumberReachesTheStencilsThatTouchIt) {
    Samples input = NoiseRun(20);
    input[10] = notANumber;
    const Samples d = Derive(input, DerivativeType::firstOrder4);
    for (size_t i = 0; i < 20; ++i)
        EXPECT_EQ(std::isnan(d[i]), i >= 8 && i <= 12 && i != 10) << i;  // the centre has no part
}

TEST(DerivativeTest, SavitzkyGolayIsTheSmootherWithAnOrder) {
    const Samples input = NoiseRun(300);
    for (int order = 1; order <= 3; ++order) {
        DerivativeSettings settings;
        settings.type = static_cast<DerivativeType>(order + 1);
        settings.sampleInterval = 0.1;
        settings.isSavitzkyGolay = true;
        settings.halfWindow = 6;
        settings.polyDegree = 4;
        Samples expected(300), output(300);
        ASSERT_TRUE(SmoothSavgol(input, {6, 4, order, 0.1}, expected));
        EXPECT_TRUE(Derivative(input, settings, output));
        EXPECT_EQ(output, expected);
        VectorSource source(input);
        VectorSink sink;
        EXPECT_TRUE(Derivative(source, 300, settings, sink));
        const double perSample = std::pow(0.1, order);
        for (size_t i = 0; i < 300; ++i)
            EXPECT_NEAR(sink.samples[i], output[i] * perSample, 1e-4) << "long runs keep the unit of samples";
        settings.polyDegree = order - 1;
        EXPECT_STREQ(Derivative(input, settings, output).message, derivativeAboveDegreeText);
        settings.type = DerivativeType::adjacentPre;  // has no such choice
        EXPECT_TRUE(Derivative(input, settings, output));
        EXPECT_EQ(output, Derive(input, DerivativeType::adjacentPre, 0.1));
    }
}

TEST(DerivativeTest, StreamsGiveWhatMemoryGives) {
    for (const DerivativeType type : allTypes) {
        for (const size_t length : runLengths) {
            const Samples input = NoiseRun(length);
            DerivativeSettings settings;
            settings.type = type;
            settings.sampleInterval = 0.1;
            VectorSource source(input);
            VectorSink sink;
            EXPECT_TRUE(Derivative(source, static_cast<int64_t>(length), settings, sink));
            EXPECT_TRUE(AreSame(sink.samples, Derive(input, type, 0.1))) << length;
        }
    }
}

Samples Teager(const Samples& input, int64_t k) {
    Samples output(input.size(), -99.0f);
    EXPECT_TRUE(TeagerEnergy(input, k, output));
    return output;
}

TEST(TeagerTest, EdgesTakeTheNeighbourThatExists) {
    EXPECT_EQ(Teager({1, 2, 4, 3, 5}, 1), (Samples{1 - 4, 4 - 4, 16 - 6, 9 - 20, 25 - 9}));
    EXPECT_EQ(Teager({1, 2, 4, 3, 5}, 2), (Samples{1 - 16, 4 - 9, 16 - 5, 9 - 4, 25 - 16}));
    EXPECT_EQ(Teager({1, 2, 4}, 2), (Samples{1 - 16, 0, 16 - 1})) << "the middle one has no neighbour";
    EXPECT_EQ(Teager({1, 2}, 5), (Samples{0, 0}));
    EXPECT_EQ(Teager({7}, 1), (Samples{0}));
    EXPECT_EQ(Teager({7, 3}, 0), (Samples{0, 0}));
    EXPECT_EQ(Teager(Samples(9, 3.5f), 3), Samples(9, 0.0f)) << "a constant has no energy";
}

// Of A sin(w i) the energy is A^2 sin^2(w k) at every sample (Kaiser 1990).
TEST(TeagerTest, ASineHasTheEnergyOfAmplitudeAndFrequency) {
    Samples sine(1000);
    for (size_t i = 0; i < sine.size(); ++i)
        sine[i] = static_cast<float>(3.0 * std::sin(0.1 * static_cast<double>(i)));
    const Samples energy = Teager(sine, 4);
    const double expected = 9.0 * std::sin(0.4) * std::sin(0.4);
    for (size_t i = 4; i + 4 < sine.size(); ++i) EXPECT_NEAR(energy[i], expected, 1e-5);
}

TEST(TeagerTest, StreamsGiveTheFormulaForAnyWindow) {
    for (const size_t length : runLengths) {
        const Samples x = NoiseRun(length);
        const auto n = static_cast<int64_t>(length);
        for (const int64_t k : {1, 3, 50, 5000, 10000, 30000}) {
            VectorSource source(x);
            VectorSink sink;
            EXPECT_TRUE(TeagerEnergy(source, k, sink));
            ASSERT_EQ(sink.samples.size(), length);
            EXPECT_TRUE(AreSame(sink.samples, Teager(x, k)));
            for (int64_t i = 0; i < n; ++i) {
                const auto at = [&](int64_t j) { return double{x[static_cast<size_t>(j)]}; };
                const bool before = i >= k, after = i < n - k;
                double expected = 0.0;
                if (before && after)
                    expected = at(i) * at(i) - at(i + k) * at(i - k);
                else if (after)
                    expected = at(i) * at(i) - at(i + k) * at(i + k);
                else if (before)
                    expected = at(i) * at(i) - at(i - k) * at(i - k);
                ASSERT_EQ(sink.samples[static_cast<size_t>(i)], static_cast<float>(expected))
                    << i << " " << k;
            }
        }
    }
}

}  // namespace
}  // namespace kymora
