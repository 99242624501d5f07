// Against printed tables.

#include "statistics/student_series.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kymora::test {
namespace {

TEST(StudentSeriesTest, HasThePrintedTails) {
    const struct {
        int freedom;
        double t, p;
    } rows[] = {{1, 12.7062, 0.05}, {2, 4.30265, 0.05},  {3, 5.84091, 0.01},
                {7, 2.36462, 0.05}, {10, 3.16927, 0.01}, {120, 1.97993, 0.05}};
    for (const auto& [freedom, t, p] : rows) {
        EXPECT_NEAR(StudentTwoSided(-t, freedom), p, 2e-6) << freedom;
        EXPECT_NEAR(StudentQuantile(p, freedom), t, 5e-4 * t) << freedom;
    }
    EXPECT_NEAR(StudentTwoSided(1.959964, 1'000'001), 0.05, 1e-6) << "the normal one";
    EXPECT_EQ(StudentTwoSided(1e200, 12), 0.0);
    EXPECT_TRUE(std::isnan(StudentTwoSided(NAN, 12)));
}

TEST(StudentSeriesTest, HasThePrintedChiSquareTails) {
    const struct {
        int freedom;
        double chiSquare, p;
    } rows[] = {{1, 3.84146, 0.05}, {5, 11.0705, 0.05}, {10, 3.94030, 0.95}, {100, 135.807, 0.01}};
    for (const auto& [freedom, chiSquare, p] : rows)
        EXPECT_NEAR(UpperGamma(freedom / 2.0, chiSquare / 2.0), p, 2e-6) << freedom;
    EXPECT_NEAR(UpperGamma(5e6, 5e6), 0.5, 1e-3) << "half of a wide one lies above its mean";
    EXPECT_EQ(UpperGamma(3.0, 0.0), 1.0);
    EXPECT_TRUE(std::isnan(UpperGamma(3.0, -1.0)));
}

}  // namespace
}  // namespace kymora::test
