// Tails of distributions, against sums in long double, tables and limits.

#include <gtest/gtest.h>

#include <cmath>

#include "statistics/poisson_tail.h"
#include "statistics/rank_sum_tail.h"
#include "statistics/variance_tests.h"

namespace kymora::test {
namespace {

// The terms from `count` on, one by one.
double PlainLogTail(int64_t count, long double mean) {
    const auto term = [&](int64_t k) {
        return static_cast<long double>(k) * std::log(mean) - mean -
               std::lgamma(static_cast<long double>(k) + 1.0L);
    };
    const long double first = term(count);
    long double sum = 0.0L;
    for (int64_t k = count; k < count + 100 || static_cast<long double>(k) < mean * 2.0L; ++k)
        sum += std::exp(term(k) - first);
    return static_cast<double>(first + std::log(sum));
}

TEST(PoissonTail, IsTheSumOfItsTerms) {
    for (const int64_t count : {1, 2, 3, 7, 15, 16, 40, 300, 1000})
        for (const double share : {1e-6, 0.01, 0.3, 0.9, 0.99, 1.0, 1.01, 1.3}) {
            const double mean = share * static_cast<double>(count);
            const double plain = PlainLogTail(count, static_cast<long double>(mean));
            EXPECT_NEAR(LogPoissonTail(count, mean), plain, 1e-12 * std::max(1.0, std::fabs(plain)))
                << count << " of " << mean;
            EXPECT_GE(PoissonSurpriseBound(count, mean), -plain - 1e-9) << count << " of " << mean;
            // It is of use only where it lies near.
            if (share < 1.0) {
                EXPECT_LE(PoissonSurpriseBound(count, mean), -plain + 0.6) << count << " of " << mean;
            }
        }
}

TEST(PoissonHead, IsWhatTheTailLeaves) {
    for (const int64_t count : {0, 1, 5, 30, 400})
        for (const double share : {0.01, 0.5, 1.0, 1.5, 3.0}) {
            const double mean = share * static_cast<double>(count + 1);
            EXPECT_NEAR(std::exp(LogPoissonHead(count, mean)) + std::exp(LogPoissonTail(count + 1, mean)),
                        1.0, 1e-12)
                << count << " of " << mean;
        }
    EXPECT_EQ(LogPoissonHead(0, 2000.0), -2000.0);
    // e^-m (1 + m).
    EXPECT_NEAR(LogPoissonHead(1, 1000.0), std::log(1001.0) - 1000.0, 1e-10);
}

TEST(PoissonTail, NeitherUnderflowsNorExceedsOne) {
    // 1 - e^-L.
    EXPECT_NEAR(LogPoissonTail(1, 1e-12), std::log(1e-12), 1e-11);
    EXPECT_EQ(LogPoissonTail(1, 50.0), 0.0);
    // The first term alone: c ln L - L - ln c!.
    const double far = LogPoissonTail(100000, 1.0);
    EXPECT_NEAR(far, -1.0 - std::lgamma(100001.0) + 1.0 / 100001, 1e-6);
    EXPECT_EQ(LogPoissonTail(3, 900.0), 0.0);
}

// All draws of ranks, counted.
double CountedTail(int count, double sum, int most) {
    std::vector<double> ways{1.0};
    for (int i = 0; i < count; ++i) {
        std::vector<double> next(ways.size() + static_cast<size_t>(most), 0.0);
        for (size_t at = 0; at < ways.size(); ++at)
            for (int rank = 1; rank <= most; ++rank) next[at + static_cast<size_t>(rank)] += ways[at];
        ways = std::move(next);
    }
    double below = 0.0;
    for (size_t at = 0; at < ways.size() && static_cast<double>(at) <= sum; ++at) below += ways[at];
    return below / std::pow(most, count);
}

TEST(RankSumTail, IsTheShareOfAllDraws) {
    for (const int count : {2, 3, 8, 29})
        for (const int most : {2, 6, 40})
            for (const double share : {0.0, 0.1, 0.3, 0.5}) {
                const double sum = std::floor(count + share * count * (most - 1));
                const double counted = CountedTail(count, sum, most);
                EXPECT_NEAR(std::exp(LogRankSumTail(count, sum, most)) / counted, 1.0, 1e-8)
                    << count << " of " << most << " to " << sum;
            }
    // Two dice: 1 of 36 shows a two.
    EXPECT_NEAR(LogRankSumTail(2, 2.0, 6), -std::log(36.0), 1e-14);
    EXPECT_NEAR(LogRankSumTail(2, 12.0, 6), 0.0, 1e-15);
    // A half rank, by hand: C(2.5, 2) / 36 = 1.875 / 36.
    EXPECT_NEAR(std::exp(LogRankSumTail(2, 2.5, 6)), 1.875 / 36.0, 1e-15);
}

TEST(RankSumTail, OfManyIsThatOfTheNormalDistribution) {
    EXPECT_NEAR(LogNormalTail(-1.959963984540054), std::log(0.025), 1e-12);
    EXPECT_NEAR(LogNormalTail(-29.999999), LogNormalTail(-30.000001), 1e-4);
    EXPECT_NEAR(LogNormalTail(-100.0), -5005.524208, 1e-5);  // tables of the logarithm of the tail
    EXPECT_NEAR(RankSumScore(30, 30.0 * 41 / 2 - 10.0, 40), -10.0 / std::sqrt(30.0 * 1599 / 12), 1e-14);
}

// Critical values of the tables.
TEST(VarianceTests, KnowTheTables) {
    EXPECT_NEAR(FisherLowerTail(14.94, 5, 5), 0.995, 1e-5);
    EXPECT_NEAR(FisherLowerTail(5.847, 10, 10), 0.995, 1e-4);
    EXPECT_NEAR(FisherLowerTail(1.0, 7, 7), 0.5, 1e-12);
    EXPECT_NEAR(StudentUpperTail(3.169, 10), 0.005, 1e-5);
    EXPECT_NEAR(StudentUpperTail(-2.576, 1e7), 0.005, 1e-5);
    EXPECT_EQ(StudentUpperTail(0.0, 4), 0.5);
}

}  // namespace
}  // namespace kymora::test
