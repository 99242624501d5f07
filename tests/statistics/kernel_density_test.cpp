// Kernel density estimates against plain sums, and bandwidths against their equations.

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "statistics/gauss_sums.h"
#include "statistics/kernel_density.h"

namespace kymora {
namespace {

double PlainKernel(Kernel kernel, double u) {
    if (kernel == Kernel::gaussian) return std::exp(-0.5 * u * u) / std::sqrt(2.0 * std::numbers::pi);
    if (std::fabs(u) > 1.0) return 0.0;
    return kernel == Kernel::box ? 0.5 : 0.75 * (1.0 - u * u);
}

// Derivatives of exp(-u^2 / 2).
double PlainDerivative(int order, double u) {
    const double square = u * u;
    const double polynomial = order == 2 ? square - 1.0
                              : order == 4
                                  ? square * square - 6.0 * square + 3.0
                                  : square * square * square - 15.0 * square * square + 45.0 * square - 15.0;
    return polynomial * std::exp(-0.5 * square);
}

// Two humps and a tail of single values, away from 0.
std::vector<double> Humps(size_t count) {
    std::mt19937 random(9);
    std::normal_distribution<double> normal(0.0, 1.0);
    std::vector<double> values(count);
    for (size_t i = 0; i < count; ++i) {
        const double draw = normal(random);
        values[i] = static_cast<float>(i % 100 == 0 ? 100.0 + 30.0 * draw
                                       : i % 3 == 0 ? 105.0 + 0.5 * draw
                                                    : 100.0 + draw);
    }
    return values;
}

// Intervals of bursts.
std::vector<double> Bursts(size_t count) {
    std::mt19937 random(1);
    std::exponential_distribution<double> pause(1.0 / 80.0);
    std::normal_distribution<double> within(8.0, 1.5);
    std::vector<double> values(count);
    for (size_t i = 0; i < count; ++i)
        values[i] = static_cast<float>(i % 3 == 0 ? pause(random) : within(random));
    return values;
}

TEST(KernelDensity, IsThePlainSum) {
    const std::vector<double> values = Humps(4000);
    const KernelDensity density(values);
    for (const Kernel kernel : {Kernel::gaussian, Kernel::box, Kernel::epanechnikov})
        for (const double h : {1e-3, 0.05, 0.4, 3.0, 500.0}) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(kernel) << " " << h);
            const std::vector<double> points = EvenPoints(0.0, 200.0, 301);
            const std::vector<double> found = density.Along(0.0, 200.0, 301, kernel, h);
            std::vector<double> plain;
            for (const double x : points) {
                double sum = 0.0;
                for (const double v : values) sum += PlainKernel(kernel, (x - v) / h);
                plain.push_back(sum / (h * static_cast<double>(values.size())));
            }
            const double peak = *std::max_element(plain.begin(), plain.end());
            ASSERT_EQ(found.size(), plain.size());
            for (size_t i = 0; i < plain.size(); ++i)
                ASSERT_NEAR(found[i], plain[i], 1e-13 * peak) << points[i];
        }
    EXPECT_TRUE(density.Along(0, 1, 5, Kernel::gaussian, 0.0).empty());
    const KernelDensity none(std::vector<double>{std::nan("")});
    EXPECT_EQ(none.Along(0, 1, 3, Kernel::box, 1.0), (std::vector<double>{0, 0, 0}));
    // The ends of a box belong to it.
    const std::vector<double> two{2.0};
    EXPECT_EQ(KernelDensity(two).Along(0.5, 3.5, 7, Kernel::box, 1.0),
              (std::vector<double>{0, 0.5, 0.5, 0.5, 0.5, 0.5, 0}));
}

TEST(KernelDensity, DerivativesAreThePlainSums) {
    std::vector<double> sorted = Humps(1500);
    std::sort(sorted.begin(), sorted.end());
    for (const double h : {0.02, 0.3, 40.0}) {
        const GaussSums sums(sorted, h);
        double most = 0.0;
        std::vector<double> plain;
        const std::vector<double> points = EvenPoints(95.0, 108.0, 101);
        for (const double x : points) {
            double sum = 0.0;
            for (const double v : sorted) sum += PlainDerivative(2, (x - v) / h);
            plain.push_back(sum);
            most = std::max(most, std::fabs(sum));
        }
        for (size_t i = 0; i < points.size(); ++i)
            ASSERT_NEAR(sums.SecondDerivative(points[i]), plain[i], 1e-12 * most) << h;
        for (const int order : {4, 6}) {
            double sum = 0.0;
            for (const double a : sorted)
                for (const double b : sorted) sum += PlainDerivative(order, (a - b) / h);
            EXPECT_NEAR(GaussPairSum(sorted, h, order), sum, 1e-10 * std::fabs(sum)) << h << " " << order;
        }
    }
}

TEST(KernelDensity, BandwidthsFollowTheirRules) {
    const std::vector<double> values = Humps(5000);
    const KernelDensity density(values);
    const std::vector<double> normalValues = [] {
        std::mt19937 random(4);
        std::normal_distribution<double> normal(0.0, 2.0);
        std::vector<double> draws(5000);
        for (double& value : draws) value = normal(random);
        return draws;
    }();
    const KernelDensity normal(normalValues);
    const double ideal = std::pow(4.0 / 3.0 / 5000.0, 0.2) * 2.0;
    const auto of = [](const KernelDensity& kde, BandwidthRule rule) {
        return kde.FindBandwidth({rule}).value;
    };
    EXPECT_NEAR(of(normal, BandwidthRule::standard), ideal, 0.02 * ideal);
    EXPECT_NEAR(of(normal, BandwidthRule::silverman), 0.9 / 1.0592 * ideal, 0.03 * ideal);
    EXPECT_NEAR(of(normal, BandwidthRule::amiseFast), ideal, 0.15 * ideal);
    EXPECT_NEAR(of(normal, BandwidthRule::amiseSafe), ideal, 0.15 * ideal);
    EXPECT_NEAR(of(normal, BandwidthRule::sheatherJones), ideal, 0.15 * ideal);
    EXPECT_EQ(density.FindBandwidth({BandwidthRule::user, Kernel::box, 0.25}).value, 0.25);

    // R over all of the axis in closed form: the mean over all pairs of the fourth derivative of a Gaussian
    // of h sqrt(2). The root of g is then known to be one.
    const double n = 5000.0;
    const double safe = of(density, BandwidthRule::amiseSafe);
    std::vector<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    const double h2 = safe * std::numbers::sqrt2;
    const double exact =
        GaussPairSum(sorted, h2, 4) / (n * n * std::pow(h2, 5.0) * std::sqrt(2.0 * std::numbers::pi));
    EXPECT_NEAR(density.Roughness(safe, sorted.front() - 9 * safe, sorted.back() + 9 * safe), exact,
                2e-4 * exact);
    EXPECT_NEAR(std::pow(n * exact * 2.0 * std::sqrt(std::numbers::pi), -0.2), safe, 2e-3 * safe);
}

TEST(KernelDensity, RefusalsAreTold) {
    using Problem = BandwidthProblem;
    const std::vector<double> same{3, 3, 3, 3};
    const std::vector<double> mostlySame{3, 3, 3, 3, 3, 3, 3, 9};
    const std::vector<double> spread{1, 2, 4, 7, 8};
    const struct {
        const std::vector<double>& values;
        BandwidthChoice choice;
        Problem problem;
    } cases[] = {
        {{}, {BandwidthRule::standard}, Problem::noSd},
        {same, {BandwidthRule::silverman}, Problem::noSd},
        {same, {BandwidthRule::amiseFast}, Problem::noSd},
        {mostlySame, {BandwidthRule::silverman}, Problem::zero},
        {mostlySame, {BandwidthRule::standard}, Problem::none},
        {spread, {BandwidthRule::user, Kernel::gaussian, 0.0}, Problem::zero},
        {spread, {BandwidthRule::user, Kernel::gaussian, -1.0}, Problem::zero},
        {spread, {BandwidthRule::user, Kernel::gaussian, std::nan("")}, Problem::zero},
        {spread, {BandwidthRule::amiseSafe, Kernel::box}, Problem::gaussianOnly},
        {spread, {BandwidthRule::sheatherJones, Kernel::epanechnikov}, Problem::gaussianOnly},
        {spread, {BandwidthRule::silverman, Kernel::box}, Problem::none},
    };
    for (const auto& row : cases) {
        const Bandwidth found = KernelDensity(row.values).FindBandwidth(row.choice);
        EXPECT_EQ(found.problem, row.problem) << &row - cases;
        if (row.problem != Problem::none) {
            EXPECT_EQ(found.value, 1.0);
        }
    }
    // A long tail beside a narrow hump: the first secant leads below 0, and of 100,000 values the panels are
    // too wide for the lower end of the bracket.
    EXPECT_EQ(KernelDensity(Bursts(200)).FindBandwidth({BandwidthRule::amiseFast}).problem,
              Problem::fastNotPositive);
    const KernelDensity many(Bursts(100000));
    EXPECT_EQ(many.FindBandwidth({BandwidthRule::amiseSafe}).problem, Problem::notBracketed);
    EXPECT_NEAR(many.FindBandwidth({BandwidthRule::sheatherJones}).value, 0.195, 0.01);
    const auto never = [](double) { return false; };
    for (const BandwidthRule rule : {BandwidthRule::amiseFast, BandwidthRule::sheatherJones}) {
        const Bandwidth found = KernelDensity(Humps(300)).FindBandwidth({rule}, never);
        EXPECT_EQ(found.problem, Problem::cancelled);
    }
}

}  // namespace
}  // namespace kymora
