#include "sorting/principal_components.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace kymora::test {
namespace {

using Rows = std::vector<std::vector<double>>;

std::vector<float> RandomRows(size_t rows, size_t columns) {
    std::mt19937 random(7);
    std::vector<float> values(rows * columns);
    for (size_t r = 0; r < rows; ++r) {
        const double a = std::normal_distribution<>(0, 5)(random),
                     b = std::normal_distribution<>(0, 2)(random);
        for (size_t c = 0; c < columns; ++c)
            values[r * columns + c] = static_cast<float>(3.0 + a * std::sin(0.3 * static_cast<double>(c)) +
                                                         b * std::cos(0.7 * static_cast<double>(c)) +
                                                         std::normal_distribution<>(0, 0.5)(random));
    }
    return values;
}

// The method on the rows themselves, step by step. Weights by row.
Rows PlainNipals(const std::vector<float>& values, size_t columns, size_t components, bool bySd,
                 double tolerance, std::vector<int>& passes) {
    const size_t count = values.size() / columns;
    Rows x(count, std::vector<double>(columns)), weights(count, std::vector<double>(components));
    for (size_t c = 0; c < columns; ++c) {
        double mean = 0.0, squares = 0.0;
        for (size_t r = 0; r < count; ++r) mean += static_cast<double>(values[r * columns + c]);
        mean /= static_cast<double>(count);
        for (size_t r = 0; r < count; ++r) {
            x[r][c] = static_cast<double>(values[r * columns + c]) - mean;
            squares += x[r][c] * x[r][c];
        }
        const double sd = std::sqrt(squares / (static_cast<double>(count) - 1.0));
        for (size_t r = 0; r < count; ++r) x[r][c] /= bySd && sd > 2.220446049250313e-16 ? sd : 1.0;
    }
    for (size_t k = 0; k < components; ++k) {
        std::vector<double> p = x[k], t(count);
        double change = 1.0;
        int done = 0;
        const auto project = [&] {
            for (size_t r = 0; r < count; ++r) {
                t[r] = 0.0;
                for (size_t c = 0; c < columns; ++c) t[r] += x[r][c] * p[c];
            }
        };
        while (change > tolerance) {
            project();
            std::vector<double> next(columns);
            double squares = 0.0;
            for (size_t c = 0; c < columns; ++c) {
                for (size_t r = 0; r < count; ++r) next[c] += x[r][c] * t[r];
                squares += next[c] * next[c];
            }
            change = 0.0;
            for (size_t c = 0; c < columns; ++c) {
                next[c] /= std::sqrt(squares);
                change += (next[c] - p[c]) * (next[c] - p[c]);
            }
            p = next;
            ++done;
        }
        project();
        passes.push_back(done);
        for (size_t r = 0; r < count; ++r) {
            weights[r][k] = -t[r];
            for (size_t c = 0; c < columns; ++c) x[r][c] -= t[r] * p[c];
        }
    }
    return weights;
}

TEST(PrincipalComponentsTest, NipalsGoesTheStepsOfThePlainMethod) {
    const struct {
        size_t rows, columns;
        bool bySd;
        double tolerance;
    } cases[] = {{200, 24, false, 0.001}, {200, 24, true, 1e-12}, {9, 24, false, 0.001}, {24, 24, true, 0.3}};
    for (const auto& [rows, columns, bySd, tolerance] : cases) {
        SCOPED_TRACE(rows);
        const std::vector<float> values = RandomRows(rows, columns);
        std::vector<int> passes;
        const Rows expected = PlainNipals(values, columns, 3, bySd, tolerance, passes);
        int told = 0;
        const auto found = FindComponentsByNipals(values, columns,
                                                  {3, bySd ? Centring::meanAndSd : Centring::mean, tolerance},
                                                  [&](size_t, int, double) { return ++told > 0; });
        ASSERT_TRUE(found);
        EXPECT_EQ(found->passes, passes);
        EXPECT_EQ(told, passes[0] + passes[1] + passes[2]);
        for (size_t r = 0; r < rows; ++r)
            for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(found->Weight(r, c), expected[r][c], 1e-9) << r;
    }
    EXPECT_FALSE(FindComponentsByNipals(RandomRows(9, 5), 5, {}, [](size_t, int, double) { return false; }));
}

TEST(PrincipalComponentsTest, WhereNothingIsLeftWeightsAreZero) {
    // All rows lie on one line; the third is the mean, so that a later component could not begin with it.
    std::vector<float> values;
    for (const float along : {-2.0f, 2.0f, 0.0f, -1.0f, 1.0f})
        for (const float shape : {1.0f, 2.0f, -2.0f}) values.push_back(10.0f + along * shape);
    const auto found = FindComponentsByNipals(values, 3, {});
    ASSERT_TRUE(found);
    EXPECT_NEAR(std::fabs(found->Weight(0, 0)), 6.0, 1e-9) << "2 x the length of (1, 2, -2)";
    for (size_t r = 0; r < 5; ++r) {
        EXPECT_EQ(found->Weight(r, 1), 0.0);
        EXPECT_EQ(found->Weight(r, 2), 0.0);
    }
    // The first row is the mean: the longest one begins.
    const std::vector<float> begun{0, 0, 3, 4, -3, -4, 0, 0};
    EXPECT_NEAR(std::fabs(FindComponentsByNipals(begun, 2, {1})->Weight(1, 0)), 5.0, 1e-9);
    const std::vector<float> same(12, 4.0f);
    EXPECT_EQ(FindComponentsByNipals(same, 3, {})->weights, std::vector<double>(12));
}

TEST(PrincipalComponentsTest, CovarianceGivesTheAxesOfAnEllipse) {
    // Variances 20 and 5 / 4 along (3, 4) / 5 and (-4, 3) / 5, about (1, 2).
    std::vector<float> values;
    for (const auto& [a, b] :
         {std::pair(5.0, 0.0), std::pair(-5.0, 0.0), std::pair(0.0, 1.25), std::pair(0.0, -1.25)}) {
        values.push_back(static_cast<float>(1.0 + 0.6 * a - 0.8 * b));
        values.push_back(static_cast<float>(2.0 + 0.8 * a + 0.6 * b));
    }
    const PrincipalComponents found = FindComponentsByCovariance(values, 2, 3);
    ASSERT_EQ(found.components, 2u) << "no more than columns";
    EXPECT_NEAR(found.variances[0], 50.0 / 3.0, 1e-5);
    EXPECT_NEAR(found.variances[1], 3.125 / 3.0, 1e-5);
    EXPECT_NEAR(found.totalVariance, 53.125 / 3.0, 1e-5);
    EXPECT_NEAR(found.Loading(0)[0], 0.6, 1e-6);
    EXPECT_NEAR(found.Loading(0)[1], 0.8, 1e-6);
    EXPECT_NEAR(found.Loading(1)[0], 0.8, 1e-6) << "the largest one is positive";
    EXPECT_NEAR(found.Weight(0, 0), 5.0, 1e-5);
    EXPECT_NEAR(found.Weight(2, 1), -1.25, 1e-5);
}

}  // namespace
}  // namespace kymora::test
