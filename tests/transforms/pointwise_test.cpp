// Offset, scale and rectification; integrals.

#include <gtest/gtest.h>

#include "kernel_fixture.h"
#include "transforms/integral.h"
#include "transforms/unitary.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

Samples Apply(const Samples& input, const UnitarySettings& settings) {
    Samples output(input.size());
    EXPECT_TRUE(Unitary(input, settings, output));
    return output;
}

TEST(UnitaryTest, StepsActInTheOrderOfTheList) {
    const Samples input = {-2, -0.5f, 0, 3};
    UnitarySettings settings;
    settings.offset = 1;
    settings.scale = -2;
    EXPECT_EQ(Apply(input, settings), input) << "no steps";
    settings.order = {stepOffset, stepScale, stepRectify};
    EXPECT_EQ(Apply(input, settings), (Samples{2, 1, 2, 8}));
    settings.order = {stepRectify, stepScale, stepOffset};
    EXPECT_EQ(Apply(input, settings), (Samples{-3, 0, 1, -5}));
    settings.rectify = RectifyType::halfWave;
    EXPECT_EQ(Apply(input, settings), (Samples{1, 1, 1, -5}));
    settings.order = {stepNone, stepScale, stepNone};
    EXPECT_EQ(Apply(input, settings), (Samples{4, 1, 0, -6}));
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

TEST(UnitaryTest, OrderListIsChecked) {
    EXPECT_FALSE(HasDuplicateSteps({stepNone, stepNone, stepNone}));
    EXPECT_FALSE(HasDuplicateSteps({stepRectify, stepNone, stepOffset}));
    EXPECT_TRUE(HasDuplicateSteps({stepScale, stepNone, stepScale}));
    UnitarySettings settings;
    settings.order = {stepOffset, 4, stepNone};
    VectorSource source({1.0f});
    VectorSink sink;
    const KernelOutcome outcome = Unitary(source, settings, sink);
    EXPECT_FALSE(outcome.isDone);
    EXPECT_STREQ(outcome.message, "Unrecognized transform command: contact author.");
    EXPECT_TRUE(sink.samples.empty());
}

Samples Integral(const Samples& input, const IntegralSettings& settings) {
    Samples output(input.size());
    EXPECT_TRUE(Integrate(input, settings, output));
    return output;
}

TEST(IntegralTest, SumsAndScales) {
    IntegralSettings settings;
    settings.sampleInterval = 0.5;
    const Samples input = {1, 2, -4, 8};
    EXPECT_EQ(Integral(input, settings), (Samples{1, 3, -1, 7}));
    settings.scaling = IntegralScaling::milliseconds;
    EXPECT_EQ(Integral(input, settings), (Samples{0.5f, 1.5f, -0.5f, 3.5f}));
    settings.scaling = IntegralScaling::seconds;
    EXPECT_EQ(Integral(input, settings), (Samples{0.0005f, 0.0015f, -0.0005f, 0.0035f}));
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

// Worked by hand: sums are 1 | 1+2 | 3+3 > 5 so 3 | ...
TEST(IntegralTest, ResetByValueLooksAtTheSumWithTheSample) {
    IntegralSettings settings;
    settings.reset = IntegralReset::afterValue;
    settings.resetValue = 5;
    EXPECT_EQ(Integral({1, 2, 3, 2, 1}, settings), (Samples{1, 3, 3, 5, 1}));
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
    EXPECT_EQ(BinSamples(1.0, 0.1), 10);
    EXPECT_EQ(BinSamples(0.99, 0.1), 9);
    EXPECT_EQ(BinSamples(0.05, 0.1), 1);
    EXPECT_EQ(BinSamples(0.0, 0.1), 1);
    EXPECT_EQ(BinSamples(-3.0, 0.1), 1);
    EXPECT_EQ(BinSamples(notANumber, 0.1), 1);
    EXPECT_EQ(BinSamples(1e300, 0.1), 2147483647);
}

TEST(PointwiseStreamTest, StreamsGiveWhatMemoryGives) {
    UnitarySettings unitary;
    unitary.order = {stepOffset, stepRectify, stepScale};
    unitary.offset = -5;
    unitary.scale = 0.3f;
    std::vector<IntegralSettings> integrals(5);
    integrals[1].reset = IntegralReset::afterTime;
    integrals[2].reset = IntegralReset::afterValue;
    integrals[3].mode = IntegralMode::binned;
    integrals[3].binWidth = 7;
    integrals[4].mode = IntegralMode::binned;
    integrals[4].binWidth = 9000;
    for (const size_t length : runLengths) {
        const Samples input = NoiseRun(length);
        VectorSource source(input);
        VectorSink sink;
        EXPECT_TRUE(Unitary(source, unitary, sink));
        EXPECT_TRUE(AreSame(sink.samples, Apply(input, unitary))) << length;
        for (const IntegralSettings& settings : integrals) {
            VectorSource again(input);
            VectorSink sums;
            EXPECT_TRUE(Integrate(again, settings, sums));
            EXPECT_TRUE(AreSame(sums.samples, Integral(input, settings))) << length;
        }
    }
}

}  // namespace
}  // namespace kymora
