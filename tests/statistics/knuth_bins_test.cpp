// The optimal number of bins against the formula over plainly counted values.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "statistics/knuth_bins.h"

namespace kymora {
namespace {

std::vector<double> PlainLogP(const std::vector<double>& values, int most) {
    const auto [least, largest] = std::minmax_element(values.begin(), values.end());
    const double upper = *largest + *largest / 1000.0;
    const double n = static_cast<double>(values.size());
    std::vector<double> logP;
    for (int m = 1; m <= most; ++m) {
        std::vector<int> counts(static_cast<size_t>(m));
        for (const double v : values) {
            const int bin = static_cast<int>(m * (v - *least) / (upper - *least));
            ++counts[static_cast<size_t>(std::clamp(bin, 0, m - 1))];
        }
        double sum = 0.0;
        for (const int count : counts) sum += std::lgamma(count + 0.5);
        logP.push_back(n * std::log(m) + std::lgamma(m / 2.0) - std::lgamma(n + m / 2.0) -
                       m * std::lgamma(0.5) + sum);
    }
    return logP;
}

TEST(KnuthBins, AreThoseOfTheFormula) {
    std::mt19937 random(2);
    std::normal_distribution<double> normal(0.0, 1.0);
    std::vector<double> positive(3000), steps(3000), negative(200), few{1.0, 2.0, 2.5}, top(50, 0.0);
    for (double& v : positive) v = static_cast<float>(20.0 + normal(random));
    for (double& v : steps) v = static_cast<double>(random() % 40) / 10.0;  // on the edges of bins
    for (double& v : negative) v = -5.0 + normal(random);                   // the largest falls outside
    top.front() = -1.0;                                                     // a largest value of 0
    for (const auto& values : {positive, steps, negative, few, top}) {
        const KnuthBins found = FindKnuthBins(values, 200);
        ASSERT_EQ(found.state, KnuthBins::State::found);
        const std::vector<double> plain = PlainLogP(values, 200);
        EXPECT_EQ(found.logP, plain) << "bit for bit: the counts are the same";
        EXPECT_EQ(found.best, std::max_element(plain.begin(), plain.end()) - plain.begin() + 1);
    }
    EXPECT_NEAR(FindKnuthBins(positive, 200).best, 20, 8);
}

TEST(KnuthBins, WithoutWidthThereIsNoBest) {
    const double nan = std::nan("");
    const std::vector<double> rows[] = {{}, {5}, {5, 5, nan, 5}, {nan, nan}, {0, 0}, {-2000.0, -1999.9}};
    for (const auto& values : rows) {
        const KnuthBins found = FindKnuthBins(values, 10);
        EXPECT_EQ(found.state, KnuthBins::State::noWidth);
        EXPECT_TRUE(found.logP.empty() && found.best == 0);
    }
    int polls = 0;
    const std::vector<double> values{1, 2};
    EXPECT_EQ(FindKnuthBins(values, 10, [&polls](double) { return ++polls < 5; }).state,
              KnuthBins::State::cancelled);
    EXPECT_EQ(polls, 5);
}

}  // namespace
}  // namespace kymora
