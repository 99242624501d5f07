// Offset, scale and rectification; integrals.

#include <gtest/gtest.h>

#include "kernel_fixture.h"
#include "kernels/integral.h"
#include "kernels/unitary.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

// In both forms, which must agree bit by bit.
template <typename Kernel>
Samples Both(const Samples& input, Kernel kernel) {
    Samples output(input.size());
    EXPECT_TRUE(kernel(std::span<const float>(input), std::span<float>(output)));
    VectorSource source(input);
    VectorSink sink;
    EXPECT_TRUE(kernel(source, sink));
    EXPECT_TRUE(AreSame(sink.samples, output)) << input.size();
    return output;
}

Samples Apply(const Samples& input, const UnitarySettings& settings) {
    return Both(input, [&](auto&& in, auto&& out) { return Unitary(in, settings, out); });
}

Samples Integral(const Samples& input, const IntegralSettings& settings) {
    return Both(input, [&](auto&& in, auto&& out) { return Integrate(in, settings, out); });
}

TEST(UnitaryTest, IsSinglePrecision) {
    UnitarySettings settings;
    settings.order = {stepOffset, stepScale, stepNone};
    settings.offset = 1e8f;
    settings.scale = 3.0f;
    // 1 is lost beside 1e8, whose neighbours are 8 apart.
    EXPECT_EQ(Apply({1, notANumber}, settings)[0], 3e8f);
    EXPECT_TRUE(std::isnan(Apply({1, notANumber}, settings)[1]));
}

TEST(IntegralTest, SumsAreOfDoublePrecision) {
    // A float sum would stay at 2^24.
    EXPECT_EQ(Integral({16777216, 1, 1}, {})[2], 16777218.0f);
}

TEST(IntegralTest, TheSampleThatResetsBeginsTheNewSum) {
    IntegralSettings settings;
    settings.reset = IntegralReset::afterTime;
    settings.resetTime = 3;  // passed by the fourth sample
    EXPECT_EQ(Integral({1, 2, 3, 4, 5, 6, 7, 8, 9}, settings), (Samples{1, 3, 6, 4, 9, 15, 22, 8, 17}));
    settings.reset = IntegralReset::afterValue;
    settings.resetValue = -5;  // its sign does not count
    EXPECT_EQ(Integral({2, 3, 1, -4, -3, 7, 0}, settings), (Samples{2, 5, 1, -3, -3, 4, 4}));
    settings.resetValue = 0;
    EXPECT_EQ(Integral({2, 0, -2, 0, 5}, settings), (Samples{2, 0, -2, 0, 5}));
}

TEST(IntegralTest, BinsAreStairs) {
    IntegralSettings settings;
    settings.mode = IntegralMode::binned;
    settings.binWidth = 3.9;
    settings.reset = IntegralReset::afterValue;  // no matter for bins
    settings.resetValue = 0;
    EXPECT_EQ(Integral({1, 2, 3, 4, 5, 6, 7, 8}, settings), (Samples{6, 6, 6, 15, 15, 15, 15, 15}));
    EXPECT_EQ(Integral({1, 2, 3, 4, 5, 6}, settings), (Samples{6, 6, 6, 15, 15, 15}));
    EXPECT_EQ(Integral({1, 2}, settings), (Samples{3, 3}));
    settings.binWidth = 0.5;  // raised to one sample
    EXPECT_EQ(Integral({1, 2, 3}, settings), (Samples{1, 2, 3}));
}

TEST(IntegralTest, BinWidthsBecomeSamples) {
    for (const auto& [width, samples] : {std::pair{1.0, 10},
                                         {0.99, 9},
                                         {0.05, 1},
                                         {0.0, 1},
                                         {-3.0, 1},
                                         {double{notANumber}, 1},
                                         {1e300, 2147483647}})
        EXPECT_EQ(BinSamples(width, 0.1), samples) << width;
}

TEST(IntegralTest, StreamsGiveWhatMemoryGives) {
    for (const size_t length : runLengths)
        for (const auto mode : {IntegralMode::cumulative, IntegralMode::binned})
            for (const auto reset :
                 {IntegralReset::never, IntegralReset::afterTime, IntegralReset::afterValue}) {
                IntegralSettings settings;
                settings.mode = mode;
                settings.reset = reset;
                settings.binWidth = reset == IntegralReset::never ? 7 : 9000;
                Integral(NoiseRun(length), settings);
            }
}

}  // namespace
}  // namespace kymora
