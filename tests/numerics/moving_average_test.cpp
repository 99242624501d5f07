// The moving average and the single-pole filter, against windows averaged one by one and closed formulas.

#include <gtest/gtest.h>

#include <cmath>

#include "numerics/moving_average.h"
#include "spectra/single_pole.h"

namespace kymora {
namespace {

// Integers of moderate size have exact sums, so the order of summing does not matter.
std::vector<float> PlainAverage(const std::vector<float>& in, int half) {
    std::vector<float> out;
    const int n = static_cast<int>(in.size());
    for (int i = 0; i < n; ++i) {
        float sum = 0.0f;
        int count = 0;
        for (int k = std::max(0, i - half); k <= std::min(n - 1, i + half); ++k, ++count)
            sum += in[static_cast<size_t>(k)];
        out.push_back(sum / static_cast<float>(count));
    }
    return out;
}

TEST(MovingAverage, AveragesWhatTheWindowHolds) {
    std::vector<float> in;
    for (int i = 0; i < 50; ++i) in.push_back(static_cast<float>(i * i % 37 * 8));
    for (const int half : {0, 1, 2, 7, 24})
        EXPECT_EQ(GetMovingAverageIter(in, 1, static_cast<size_t>(half)), PlainAverage(in, half)) << half;
    // 0 0 27 0 0, smoothed by 3 twice: 27 (0 1/3 1/3 1/3 0), then the ends with windows of 2.
    EXPECT_EQ(GetMovingAverageIter(std::vector<float>{0, 0, 27, 0, 0}, 2, 1),
              (std::vector<float>{4.5f, 6, 9, 6, 4.5f}));
    // Shorter than the window: the mean of all, whatever the iterations; as long as it: no longer so.
    EXPECT_EQ(GetMovingAverageIter(std::vector<float>{1, 2, 6}, 4, 5), (std::vector<float>{3, 3, 3}));
    EXPECT_EQ(GetMovingAverageIter(std::vector<float>{1, 2, 6}, 1, 1), (std::vector<float>{1.5f, 3, 4}));
    EXPECT_TRUE(GetMovingAverageIter({}, 1, 3).empty());
}

TEST(MovingAverage, APassByPiecesGivesTheSameBits) {
    std::vector<float> in;
    for (int i = 0; i < 300; ++i) in.push_back(std::sin(static_cast<float>(i) * 0.37f) * 1000.0f + 0.1f);
    for (const size_t count : {size_t{1}, size_t{20}, size_t{21}, size_t{22}, size_t{300}})
        for (const size_t half : {size_t{0}, size_t{1}, size_t{10}}) {
            const auto samples = std::span(in).first(count);
            MovingAveragePass pass(static_cast<int64_t>(count), half);
            std::vector<float> out;
            pass.Take(samples.first(count / 3), out);
            pass.Take(samples.subspan(count / 3), out);
            pass.Finish(out);
            EXPECT_EQ(out, GetMovingAverageIter(samples, 1, half)) << count << " " << half;
        }
}

TEST(SinglePole, FollowsItsDifferenceEquation) {
    // x = exp(-1 / 2). An impulse gives (1 + x) / 2, then (x - 1) (1 + x) / 2, then x times that, and so on.
    SinglePoleHighPass filter(1.0, 2.0);
    const double x = std::exp(-0.5);
    EXPECT_FLOAT_EQ(filter.Next(1.0f), static_cast<float>((1 + x) / 2));
    double expected = (x - 1) * (1 + x) / 2;
    for (int i = 0; i < 6; ++i, expected *= x)
        EXPECT_NEAR(filter.Next(0.0f), expected, 1e-6 * std::fabs(expected));
    // The time constant of 10 Hz is 15.9155 ms; a constant input dies away with it.
    EXPECT_NEAR(TimeConstantOf(10.0f), 15.9155f, 1e-4);
    SinglePoleHighPass slow(0.1, TimeConstantOf(10.0f));
    float output = 0.0f;
    for (int i = 0; i <= 1000; ++i) output = slow.Next(1.0f);
    EXPECT_NEAR(output, std::exp(-100.0 / 15.9155), 1e-5);
}

}  // namespace
}  // namespace kymora
