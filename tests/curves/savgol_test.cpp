// Coefficients against the published tables (Savitzky and Golay 1964; the ends after Gorry 1990), systems of
// equations solved by hand, and dot products against the plain loop.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "curves/savgol.h"
#include "numerics/window_dots.h"

namespace kymora {
namespace {

void ExpectRow(const std::vector<double>& row, const std::vector<double>& table, double divisor) {
    ASSERT_EQ(row.size(), table.size());
    for (size_t i = 0; i < row.size(); ++i) EXPECT_NEAR(row[i], table[i] / divisor, 1e-12) << i;
}

TEST(Savgol, MatchesThePublishedTables) {
    ExpectRow(SavgolRow(2, 2, 0, 2), {-3, 12, 17, 12, -3}, 35);
    ExpectRow(SavgolRow(3, 3, 0, 3), {-2, 3, 6, 7, 6, 3, -2}, 21);
    ExpectRow(SavgolRow(2, 2, 0, 4), {0, 0, 1, 0, 0}, 1);
    ExpectRow(SavgolRow(2, 2, 1, 2), {-2, -1, 0, 1, 2}, 10);
    ExpectRow(SavgolRow(2, 2, 1, 4), {1, -8, 0, 8, -1}, 12);
    ExpectRow(SavgolRow(2, 2, 2, 2), {2, -1, -2, -1, 2}, 7);
    ExpectRow(SavgolRow(3, 3, 3, 3), {-1, 1, 1, 0, -1, -1, 1}, 6);
    // The first and the last sample of a window, and a place between the end and the middle.
    ExpectRow(SavgolRow(0, 4, 0, 2), {31, 9, -3, -5, 3}, 35);
    ExpectRow(SavgolRow(4, 0, 0, 2), {3, -5, -3, 9, 31}, 35);
    ExpectRow(SavgolRow(1, 3, 0, 2), {9, 13, 12, 6, -5}, 35);
    ExpectRow(SavgolRow(0, 0, 0, 0), {1}, 1);
}

TEST(Savgol, StandsInTheOrderOfConvolutions) {
    // k = 0, -1, -2, -3, -4 and k = 1 .. would follow from the other end.
    ExpectRow(savgol(5, 4, 0, 0, 2), {31, 9, -3, -5, 3}, 35);
    ExpectRow(savgol(7, 1, 3, 0, 2), {13, 9, 0, 0, -5, 6, 12}, 35);
}

TEST(Savgol, RefusesBadArguments) {
    const int64_t bad[][5] = {
        {4, 2, 2, 0, 2}, {5, -1, 2, 0, 1}, {5, 2, -1, 0, 1}, {5, 2, 2, 3, 2}, {5, 2, 2, 0, 5}};
    for (const auto& [np, nl, nr, ld, m] : bad)
        EXPECT_THROW(savgol(np, nl, nr, static_cast<int>(ld), static_cast<int>(m)), std::invalid_argument)
            << np << " " << nl << " " << nr << " " << ld << " " << m;
}

TEST(LUdcmp, ExchangesRowsAndTellsOfSingularOnes) {
    // 0x + 2y + z = 7, 3x + 0y + z = 6, x + y + z = 6: (1, 2, 3). Without exchange the first pivot is 0.
    const LUdcmp system({0, 2, 1, 3, 0, 1, 1, 1, 1}, 3);
    const std::vector<double> x = system.Solve(std::vector<double>{7, 6, 6});
    EXPECT_NEAR(x[0], 1, 1e-14);
    EXPECT_NEAR(x[1], 2, 1e-14);
    EXPECT_NEAR(x[2], 3, 1e-14);
    EXPECT_THROW(LUdcmp({1, 2, 0, 0}, 2), std::runtime_error);
    // Two equal rows: the second pivot is 1e-40, and the answer of y = 1 / 1e-40.
    EXPECT_NEAR(LUdcmp({1, 1, 1, 1}, 2).Solve(std::vector<double>{0, 1})[1] * 1e-40, 1, 1e-12);
}

// Whatever vectors the machine has, and whatever is left over from tiles of them.
TEST(WindowDots, AddUpInOrderOnEveryInstructionSet) {
    std::mt19937 random(7);
    std::normal_distribution<float> normal(0.0f, 100.0f);
    std::vector<float> samples(2500), singles(57);
    for (float& value : samples) value = normal(random);
    for (float& value : singles) value = normal(random);
    const std::vector<double> doubles(singles.begin(), singles.end());
    for (int set = 0; set <= static_cast<int>(WidestInstructionSet()); ++set)
        for (const size_t length : {size_t{1}, size_t{2}, size_t{57}})
            for (const size_t count : {0, 1, 15, 16, 33, 64, 127, 300, 2047, 2049, 2400}) {
                const auto widest = static_cast<InstructionSet>(set);
                const auto row = std::span(doubles).first(length);
                std::vector<float> single(count), forward(count), backward(count);
                WindowDots(std::span(singles).first(length), samples, single, widest);
                WindowDots(row, samples, 0.3, forward, DotOrder::oldestFirst, widest);
                WindowDots(row, samples, 1.0, backward, DotOrder::newestFirst, widest);
                for (size_t i = 0; i < count; ++i) {
                    float sum = 0.0f;
                    double up = 0.0, down = 0.0;
                    for (size_t j = 0; j < length; ++j) {
                        const size_t last = length - 1 - j;
                        sum += singles[j] * samples[i + j];
                        up += doubles[j] * static_cast<double>(samples[i + j]);
                        down += doubles[last] * static_cast<double>(samples[i + last]);
                    }
                    ASSERT_EQ(single[i], sum) << set << " " << length << " " << i;
                    ASSERT_EQ(forward[i], static_cast<float>(up * 0.3)) << set << " " << length << " " << i;
                    ASSERT_EQ(backward[i], static_cast<float>(down)) << set << " " << length << " " << i;
                }
            }
}

}  // namespace
}  // namespace kymora
