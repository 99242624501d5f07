// Derivatives, and the k-Teager energy.

#include <gtest/gtest.h>

#include <cmath>

#include "kernel_fixture.h"
#include "kernels/derivative.h"
#include "kernels/teager.h"
#include "numerics/moving_average.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

// In both forms, which must agree bit by bit.
Samples Derive(const Samples& input, DerivativeType type, double dt = 1.0) {
    DerivativeSettings settings;
    settings.type = type;
    settings.sampleInterval = dt;
    Samples output(input.size(), -99.0f);
    EXPECT_TRUE(Derivative(input, settings, output));
    VectorSource source(input);
    VectorSink sink;
    EXPECT_TRUE(Derivative(source, static_cast<int64_t>(input.size()), settings, sink));
    EXPECT_TRUE(AreSame(sink.samples, output)) << input.size();
    return output;
}

constexpr DerivativeType allTypes[] = {DerivativeType::adjacentPre, DerivativeType::adjacentPost,
                                       DerivativeType::firstOrder4, DerivativeType::secondOrder4,
                                       DerivativeType::thirdOrder4};

TEST(DerivativeTest, AdjacentDifferencesWriteTheFirstOrTheLastTwice) {
    EXPECT_EQ(Derive({1, 3, 2, 6}, DerivativeType::adjacentPre, 0.5), (Samples{4, 4, -2, 8}));
    EXPECT_EQ(Derive({1, 3, 2, 6}, DerivativeType::adjacentPost, 0.5), (Samples{4, -2, 8, 8}));
}

// Worked by hand from the coefficients, at half a millisecond a sample.
TEST(DerivativeTest, StencilsOfAnImpulse) {
    const Samples impulse = {0, 0, 0, 0, 24, 0, 0, 0, 0};
    const auto derive = [&](DerivativeType type) { return Derive(impulse, type, 0.5); };
    EXPECT_EQ(derive(DerivativeType::firstOrder4), (Samples{-4, -4, -4, 32, 0, -32, 4, 4, 4}));
    EXPECT_EQ(derive(DerivativeType::secondOrder4), (Samples{-8, -8, -8, 128, -240, 128, -8, -8, -8}));
    EXPECT_EQ(derive(DerivativeType::thirdOrder4), (Samples{-312, -312, -312, -312, 0, 312, 312, 312, 312}));
    // One stencil alone stands for the whole run.
    EXPECT_EQ(Derive({0, 1, 8, 27, 64, 125, 216}, DerivativeType::thirdOrder4), Samples(7, 6.0f));
}

TEST(DerivativeTest, ARunShorterThanTheStencilIsZeroAndSaysSo) {
    for (const DerivativeType type : allTypes)
        for (int64_t length = 1; length < StencilSamples(type); ++length) {
            DerivativeSettings settings;
            settings.type = type;
            const Samples input = NoiseRun(static_cast<size_t>(length));
            EXPECT_EQ(Derive(input, type), Samples(input.size(), 0.0f)) << length;
            Samples output(input.size());
            EXPECT_STREQ(Derivative(input, settings, output).note, notEnoughSamplesText) << length;
        }
}

TEST(DerivativeTest, ANotANumberReachesTheStencilsThatTouchIt) {
    Samples input = NoiseRun(20);
    input[10] = notANumber;
    const Samples d = Derive(input, DerivativeType::firstOrder4);
    for (size_t i = 0; i < 20; ++i)
        EXPECT_EQ(std::isnan(d[i]), i >= 8 && i <= 12 && i != 10) << i;  // the centre has no part
}

TEST(DerivativeTest, StreamsGiveWhatMemoryGives) {
    for (const DerivativeType type : allTypes)
        for (const size_t length : runLengths) Derive(NoiseRun(length), type, 0.1);
}

Samples Teager(const Samples& input, int64_t k) {
    Samples output(input.size(), -99.0f);
    EXPECT_TRUE(TeagerEnergy(input, k, output));
    VectorSource source(input);
    VectorSink sink;
    EXPECT_TRUE(TeagerEnergy(source, k, sink));
    EXPECT_TRUE(AreSame(sink.samples, output)) << input.size() << " " << k;
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

TEST(TeagerTest, StreamsGiveWhatMemoryGives) {
    for (const size_t length : runLengths)
        for (const int64_t k : {1, 3, 50, 5000, 10000, 30000}) Teager(NoiseRun(length), k);
}

}  // namespace
}  // namespace kymora
