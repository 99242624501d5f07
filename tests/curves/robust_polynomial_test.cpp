// The robust polynomial, against curves with known factors.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "curves/robust_polynomial.h"

namespace kymora::test {
namespace {

TEST(RobustPolynomial, FindsTheCurveBelowOutliers) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> noise(-0.01, 0.01);
    for (int degree = 1; degree <= 5; ++degree) {
        std::vector<double> x, y, factors;
        for (int k = 0; k <= degree; ++k) factors.push_back(2.0 * std::pow(-1e-4, k) * (k + 1));
        const auto curve = [&](double at) {
            double sum = 0.0;
            for (int k = degree; k >= 0; --k) sum = sum * at + factors[static_cast<size_t>(k)];
            return sum;
        };
        for (int i = 0; i < 120; ++i) {
            x.push_back(i * 97.0 + (i % 3));
            // A fifth lies far above, which would lift a fit of least squares.
            y.push_back(curve(x.back()) + noise(random) + (i % 5 == 2 ? 30.0 : 0.0));
        }
        const RobustPolynomial found = FitRobustPolynomial(x, y, degree);
        ASSERT_EQ(found.powers.size(), factors.size());
        for (size_t i = 0; i < x.size(); ++i) {
            EXPECT_NEAR(found.fit[i], curve(x[i]), 0.02) << degree << " at " << x[i];
            double sum = 0.0;
            for (size_t k = found.powers.size(); k-- > 0;) sum = sum * x[i] + found.powers[k];
            EXPECT_NEAR(sum, found.fit[i], 1e-6);
        }
        // Half of all distances are those of the noise, up to 0.01.
        EXPECT_GT(found.mad, 0.003);
        EXPECT_LT(found.mad, 0.01);
    }
}

TEST(RobustPolynomial, OfFewOrEqualPoints) {
    EXPECT_FALSE(FitRobustPolynomial({}, {}, 2).IsThere());
    const double one[] = {5.0}, value[] = {3.0};
    EXPECT_EQ(FitRobustPolynomial(one, value, 3).powers, (std::vector<double>{3.0, 0.0, 0.0, 0.0}));
    // Two places bear a line and no more.
    const double x[] = {1.0, 1.0, 2.0, 2.0, 2.0}, y[] = {4.0, 4.0, 7.0, 7.0, 7.0};
    const RobustPolynomial line = FitRobustPolynomial(x, y, 5);
    EXPECT_NEAR(line.powers[0], 1.0, 1e-9);
    EXPECT_NEAR(line.powers[1], 3.0, 1e-9);
    EXPECT_NEAR(line.mad, 0.0, 1e-9);
    const double flat[] = {2.0, 2.0, 2.0, 2.0, 9.0}, places[] = {0.0, 1.0, 2.0, 3.0, 4.0};
    EXPECT_NEAR(FitRobustPolynomial(places, flat, 1).fit[4], 2.0, 1e-6);
}

}  // namespace
}  // namespace kymora::test
