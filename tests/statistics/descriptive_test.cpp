// Descriptive and circular statistics, against values worked by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "statistics/circular_statistics.h"
#include "statistics/descriptive.h"

namespace kymora {
namespace {

constexpr double endless = std::numeric_limits<double>::infinity();

TEST(Descriptive, MeanAndSdAreOfTheValuesInTheRange) {
    const std::vector<double> values{-5, 2, 4, noStatistic, 4, 4, 5, endless, 5, 7, 9, 10};
    const MeanSd within = GetMeanSd(values, {2.0, 10.0});
    EXPECT_EQ(within.count, 8);
    EXPECT_DOUBLE_EQ(within.mean, 5.0);
    EXPECT_DOUBLE_EQ(within.sd, std::sqrt(32.0 / 7.0));
    EXPECT_EQ(GetMeanSd(values).count, 10) << "all finite values";
    EXPECT_EQ(GetMeanSd(values, {9.0, 10.0}).sd, 0.0);
    EXPECT_TRUE(std::isnan(GetMeanSd(values, {11.0, 12.0}).mean));

    std::vector<double> offset;
    for (const double value : {1, 2, 3, 4}) offset.push_back(1e9 + value / 1024.0);
    EXPECT_DOUBLE_EQ(GetMeanSd(offset).sd, std::sqrt(5.0 / 3.0) / 1024.0) << "an offset costs no digits";
    EXPECT_EQ(GetValueExtent(values)->smallest, -5.0);
    EXPECT_EQ(GetValueExtent(values)->largest, 10.0);
    EXPECT_FALSE(GetValueExtent(std::vector<double>{endless, noStatistic}));
}

TEST(Descriptive, QuartilesLieBetweenOrderStatistics) {
    const struct {
        std::vector<double> values;
        double q1, median, q3;
    } cases[] = {
        {{7}, 7, 7, 7},
        {{4, 2}, 2.5, 3, 3.5},
        {{5, 1, 4, 2, 3}, 2, 3, 4},
        {{9, 1, 3, noStatistic, 6, 8, -endless, 2}, 2.25, 4.5, 7.5},  // 1 2 3 6 8 9
        {{1, 1, 1, 1, 5, 1}, 1, 1, 1},
    };
    for (const auto& row : cases) {
        const Quartiles found = GetQuartiles(row.values);
        EXPECT_DOUBLE_EQ(found.q1, row.q1);
        EXPECT_DOUBLE_EQ(found.median, row.median);
        EXPECT_DOUBLE_EQ(found.q3, row.q3);
        std::vector<double> sorted = ValuesWithin(row.values, {});
        std::sort(sorted.begin(), sorted.end());
        EXPECT_DOUBLE_EQ(SortedQuantile(sorted, 0.75), row.q3);
    }
    EXPECT_TRUE(std::isnan(GetQuartiles({}).median));
}

TEST(Descriptive, IntervalsTellHowRegularTheyAre) {
    // Pairs (1, 3), (3, 2); the not-a-number parts (2) from (6, 6).
    const IntervalStatistics found =
        GetIntervalStatistics(std::vector<double>{1, 3, 2, noStatistic, 6, 6}, 2.0);
    EXPECT_EQ(found.count, 5);
    EXPECT_DOUBLE_EQ(found.cv, std::sqrt(21.2 / 4.0) / 3.6);
    EXPECT_DOUBLE_EQ(found.cv2, (2.0 * 2.0 / 4.0 + 2.0 * 1.0 / 5.0 + 0.0) / 3.0);
    EXPECT_DOUBLE_EQ(found.lv, 3.0 * (0.25 + 0.04) / 3.0);
    EXPECT_DOUBLE_EQ(found.shareBelow, 0.2);
    const IntervalStatistics zeros = GetIntervalStatistics(std::vector<double>{0, 0}, 1.0);
    EXPECT_TRUE(std::isnan(zeros.cv) && std::isnan(zeros.cv2) && zeros.shareBelow == 1.0);
    EXPECT_EQ(GetIntervalStatistics({}, 1.0).count, 0);
}

TEST(Descriptive, RulesGiveNumbersOfBins) {
    std::vector<double> values;
    for (int i = 0; i < 1000; ++i) values.push_back(i);
    // IQR 499.5, s.d. 288.8, n^(1/3) = 10: widths 99.9 and 100.8.
    EXPECT_EQ(FreedmanDiaconisBins(values), 10);
    EXPECT_EQ(ScottBins(values), 10);
    for (double& value : values) value = value < 100.0 ? value : 100.0;
    EXPECT_EQ(FreedmanDiaconisBins(values), std::nullopt) << "no width between the quartiles";
    EXPECT_TRUE(ScottBins(values));
    EXPECT_EQ(ScottBins(std::vector<double>{3, 3, 3}), std::nullopt);
    EXPECT_EQ(ScottBins({}), std::nullopt);
}

TEST(CircularStatistics, FollowFromTheDirections) {
    using State = CircularStatistics::State;
    const double root = std::sqrt(0.5);
    const double sdOfRoot = std::sqrt(2.0 * (1.0 - root)) / (2.0 * std::numbers::pi);
    const struct {
        std::vector<double> values;
        ValueRange range;
        State state;
        double mean, sd, strength;
    } cases[] = {
        {{}, {0, 1}, State::tooFew},
        {{0.5, 1.0, -0.1, noStatistic}, {0, 1}, State::tooFew},  // the maximum is beyond
        {{1, 2}, {1, 1}, State::tooFew},
        {{1, 2}, {-endless, endless}, State::tooFew},
        {{0, 0.5}, {0, 1}, State::noMean},
        {{0.25, 0.25, 0.25}, {0, 1}, State::found, 0.25, 0, 1},
        {{0, 0.25}, {0, 1}, State::found, 0.125, sdOfRoot, root},  // the four quadrants
        {{0.25, 0.5}, {0, 1}, State::found, 0.375, sdOfRoot, root},
        {{0.5, 0.75}, {0, 1}, State::found, 0.625, sdOfRoot, root},
        {{0.75, 0}, {0, 1}, State::found, 0.875, sdOfRoot, root},
        {{-180, -90}, {-180, 180}, State::found, -135, 360 * sdOfRoot, root},
    };
    for (const auto& row : cases) {
        const CircularStatistics found = GetCircularStatistics(row.values, row.range);
        ASSERT_EQ(found.state, row.state);
        if (row.state != State::found) continue;
        EXPECT_NEAR(found.mean, row.mean, 1e-12);
        EXPECT_NEAR(found.sd, row.sd, 1e-7 * row.range.maximum) << "the root of what is lost by rounding";
        EXPECT_NEAR(found.vectorStrength, row.strength, 1e-12);
        const double n = static_cast<double>(found.count);
        const double spread = n * n * (1.0 - row.strength * row.strength);
        EXPECT_NEAR(found.p, std::exp(std::sqrt(1 + 4 * n + 4 * spread) - (1 + 2 * n)), 1e-9);
    }
}

}  // namespace
}  // namespace kymora
