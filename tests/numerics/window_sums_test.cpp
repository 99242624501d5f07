// Windows of least and greatest sum, against sums of whole numbers, which are exact.

#include "numerics/window_sums.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace kymora {
namespace {

TEST(WindowSums, AreThoseOfAPlainLoop) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    std::mt19937 random(4);
    for (const size_t n : {1, 5, 64}) {
        std::vector<float> samples;
        for (int i = 0; i < 2000; ++i)
            samples.push_back(random() % 200 == 0 ? nan : static_cast<float>(random() % 9) - 4.0f);
        int64_t least = -1, greatest = -1, leastSum = 0, greatestSum = 0;
        for (size_t start = 0; start + n <= samples.size(); ++start) {
            int64_t sum = 0;
            bool isWhole = true;
            for (size_t i = start; i < start + n; ++i) {
                isWhole = isWhole && samples[i] == samples[i];
                sum += isWhole ? static_cast<int64_t>(samples[i]) : 0;
            }
            if (!isWhole) continue;
            if (least < 0 || sum < leastSum) leastSum = sum, least = static_cast<int64_t>(start);
            if (greatest < 0 || sum > greatestSum) greatestSum = sum, greatest = static_cast<int64_t>(start);
        }
        for (const size_t block : {1, 77, 5000}) {
            WindowSums sums(static_cast<int64_t>(n));
            for (size_t at = 0; at < samples.size(); at += block)
                sums.Add(std::span(samples).subspan(at, std::min(block, samples.size() - at)));
            EXPECT_EQ(sums.LeastStart(), least);
            EXPECT_EQ(sums.GreatestStart(), greatest);
            EXPECT_EQ(sums.LeastSum(), static_cast<double>(leastSum));
            EXPECT_EQ(sums.GreatestSum(), static_cast<double>(greatestSum));
        }
    }
}

// Windows of a repeated pattern hold the same values in the same order or turned round: their sums are equal,
// although a sum in double precision drifts away under the large ones between them.
TEST(WindowSums, EqualWindowsStayEqual) {
    const float pattern[] = {1e12f, 0.1f, -1e12f, 0.3f, 1e-7f};
    std::vector<float> samples;
    for (int i = 0; i < 50'000; ++i) samples.push_back(pattern[i % 5]);
    WindowSums sums(10);
    sums.Add(samples);
    EXPECT_EQ(sums.LeastStart(), 0);
    EXPECT_EQ(sums.GreatestStart(), 0);
    WindowSums none(50'001);
    none.Add(samples);
    EXPECT_EQ(none.LeastStart(), -1);
}

}  // namespace
}  // namespace kymora
