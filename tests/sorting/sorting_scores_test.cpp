// Trends of firing, and the scores of a sorting.

#include "sorting/sorting_scores.h"

#include <gtest/gtest.h>

#include "sorting/firing_trend.h"

namespace kymora::test {
namespace {

TEST(FiringTrendTest, FollowsTheMiddleAndFindsWhatIsTooFast) {
    std::vector<int64_t> train;
    for (int i = 0; i < 60; ++i) train.push_back(1000 * i + (i % 2 == 0 ? 0 : 40));
    const FiringTrend trend(train, 1000.0);
    // Intervals of 1040 and 960 in turn: 0.96 and 1.04 Hz.
    for (const double hz : trend.Trend()) EXPECT_NEAR(hz, 1.0, 0.03);
    EXPECT_NEAR(trend.Mad(), 0.04, 0.01);
    EXPECT_NEAR(trend.TrendAt(30500), 1.0, 0.03);
    EXPECT_FALSE(trend.IsTooFast(1000, 1960, 3.0));
    EXPECT_TRUE(trend.IsTooFast(1000, 1700, 3.0));
    EXPECT_TRUE(trend.IsTooFast(1000, 1000, 3.0));
    EXPECT_FALSE(FiringTrend(std::vector<int64_t>{1, 2, 3, 4}, 1000.0).IsTooFast(1, 1, 0.0));
    EXPECT_FALSE(FiringTrend(std::vector<int64_t>(9, 5), 1000.0).IsThere());

    // One more behind the tenth, worse than it; two before the thirtieth, better than it.
    std::vector<double> errors(60, 1.0);
    const auto insert = [&](size_t at, int64_t place, double error) {
        train.insert(train.begin() + static_cast<std::ptrdiff_t>(at), place);
        errors.insert(errors.begin() + static_cast<std::ptrdiff_t>(at), error);
    };
    insert(31, train[30] - 300 + 1000, 0.5);
    insert(11, train[10] + 100, 2.0);
    // Without 33 the one before the inserted one follows too fast, and is the worse.
    EXPECT_EQ(FindFastOutliers(train, errors, 1000.0, 3.0), (std::vector<size_t>{11, 31, 33}));
    EXPECT_EQ(FindFastOutliers(std::vector<int64_t>{1, 2, 3}, std::vector<double>(3), 1.0, 0.0),
              std::vector<size_t>{});
}

TEST(SortingScoresTest, PairsByHand) {
    EXPECT_EQ(CountMatches(std::vector<int64_t>{10, 20}, std::vector<int64_t>{15}, 5), 1);
    // The first takes 8, so that 12 is left for the second.
    EXPECT_EQ(CountMatches(std::vector<int64_t>{10, 16}, std::vector<int64_t>{8, 12}, 4), 2);
    EXPECT_EQ(CountMatches(std::vector<int64_t>{10, 10}, std::vector<int64_t>{10}, 4), 1);
    EXPECT_EQ(CountMatches(std::vector<int64_t>{}, std::vector<int64_t>{10}, 4), 0);

    const std::vector<std::vector<int64_t>> truth{{100, 200, 300, 400}, {150, 250}, {}};
    const std::vector<std::vector<int64_t>> sorted{{151, 900}, {101, 199, 251, 302, 700}};
    const SortingScores scores = ScoreSorting(truth, sorted, 2);
    EXPECT_EQ(scores.pairs[0][1].matched, 3);
    EXPECT_DOUBLE_EQ(scores.pairs[0][1].recall, 0.75);
    EXPECT_DOUBLE_EQ(scores.pairs[0][1].precision, 0.6);
    EXPECT_DOUBLE_EQ(scores.pairs[0][1].f1, 2.0 * 0.75 * 0.6 / 1.35);
    EXPECT_EQ(scores.pairs[1][0].matched, 1);
    EXPECT_EQ(scores.pairs[2][0].f1, 0.0);
    EXPECT_EQ(scores.partners, (std::vector<int>{1, 0, -1}));
    EXPECT_EQ(scores.missed, (std::vector<int64_t>{1, 0, 0}));
    EXPECT_EQ(scores.nowhere, (std::vector<int64_t>{1, 1}));
    EXPECT_DOUBLE_EQ(scores.MeanF1(), (6.0 / 9.0 + 0.5) / 3.0);
}

}  // namespace
}  // namespace kymora::test
