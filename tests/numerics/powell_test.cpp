// Minima of functions whose minima are known.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "numerics/brent.h"
#include "numerics/powell.h"

namespace kymora {
namespace {

constexpr double wall = std::numeric_limits<double>::infinity();

TEST(Brent, FindsTheMinimumOfALine) {
    const struct {
        LineFunction function;
        double start, step, at;
    } cases[] = {
        {[](double x) { return (x - 3.0) * (x - 3.0); }, 0.0, 1.0, 3.0},
        {[](double x) { return (x - 3.0) * (x - 3.0); }, 500.0, 1e-3, 3.0},
        {[](double x) { return std::fabs(x + 2.0); }, 0.0, 1.0, -2.0},
        {[](double x) { return x * x * x * x - 8.0 * x; }, 0.0, -0.1, std::cbrt(2.0)},
        {[](double x) { return x <= 0.0 ? wall : x - std::log(x); }, 5.0, -1.0, 1.0},
        {[](double x) { return x <= 1.0 ? std::nan("") : x; }, 5.0, 1.0, 1.0},  // a wall at its foot
        {[](double x) { return std::fabs(x - 7.0) < 0.5 ? x : wall; }, 7.0, 1.0, 6.5},
    };
    for (const auto& row : cases) {
        const double startValue = row.function(row.start);
        const LineMinimum found = FindLineMinimum(row.function, row.start, startValue, row.step, 3e-8, 100);
        EXPECT_TRUE(found.converged) << &row - cases;
        EXPECT_NEAR(found.at, row.at, 1e-6) << &row - cases;
        EXPECT_EQ(found.value, row.function(found.at));
    }
    const LineFunction narrow = [](double x) { return std::pow(std::fabs(x - 0.1), 0.3); };
    EXPECT_FALSE(FindLineMinimum(narrow, 0.0, narrow(0.0), 1.0, 3e-8, 5).converged);
    const LineFunction flat = [](double) { return 2.0; };
    EXPECT_TRUE(FindLineMinimum(flat, 4.0, 2.0, 1.0, 3e-8, 100).converged);
    const LineFunction bare = [](double) { return wall; };
    EXPECT_EQ(FindLineMinimum(bare, 4.0, wall, 1.0, 3e-8, 100).value, wall);
}

TEST(Powell, FindsTheMinimumInSpace) {
    using Point = std::vector<double>;
    const auto valley = [](std::span<const double> x) {
        return 100.0 * std::pow(x[1] - x[0] * x[0], 2.0) + std::pow(1.0 - x[0], 2.0);
    };
    const struct {
        SpaceFunction function;
        Point start, steps, at;
        double near;
    } cases[] = {
        {[](std::span<const double> x) { return std::pow(x[0] - 5.0, 2.0); }, {0}, {}, {5}, 1e-6},
        {valley, {-1.2, 1.0}, {}, {1, 1}, 1e-4},
        {valley, {-1.2, 1.0}, {0.01, 100}, {1, 1}, 1e-4},
        // Powell's own singular function.
        {[](std::span<const double> x) {
             return std::pow(x[0] + 10 * x[1], 2.0) + 5.0 * std::pow(x[2] - x[3], 2.0) +
                    std::pow(x[1] - 2.0 * x[2], 4.0) + 10.0 * std::pow(x[0] - x[3], 4.0);
         },
         {3, -1, 0, 1},
         {},
         {0, 0, 0, 0},
         0.02},
        // Scales far apart, and no function at all on one side.
        {[](std::span<const double> x) {
             return x[0] <= 0.0 ? wall : x[0] - std::log(x[0]) + std::pow(x[1] / 1e6 - 2.0, 2.0);
         },
         {9, 1e6},
         {1, 1e5},
         {1, 2e6},
         100.0},
    };
    for (const auto& row : cases) {
        PowellOptions options;
        options.steps = row.steps;
        const PowellResult found = FindMinimum(row.function, row.start, options);
        EXPECT_EQ(found.end, PowellResult::End::converged) << &row - cases;
        ASSERT_EQ(found.at.size(), row.at.size());
        for (size_t i = 0; i < row.at.size(); ++i)
            EXPECT_NEAR(found.at[i], row.at[i], row.near) << &row - cases;
        EXPECT_EQ(found.value, row.function(found.at));
    }

    const Point start{-1.2, 1.0};
    PowellOptions hasty;
    hasty.mostRounds = 2;
    const PowellResult rounds = FindMinimum(valley, start, hasty);
    EXPECT_STREQ(TextOf(rounds.end), "powell exceeding maximum iterations.");
    EXPECT_LT(rounds.value, valley(start));
    hasty.mostLineIterations = 3;
    EXPECT_STREQ(TextOf(FindMinimum(valley, start, hasty).end), "Too many iterations in brent");
    EXPECT_EQ(FindMinimum(valley, start, {}, [](double) { return false; }).end, PowellResult::End::cancelled);
    EXPECT_EQ(FindMinimum([](std::span<const double>) { return wall; }, start).at, start);
    EXPECT_EQ(FindMinimum([](std::span<const double>) { return 1.0; }, {}).end, PowellResult::End::converged);
}

}  // namespace
}  // namespace kymora
