// Mixtures of distributions: probabilities against sums and integrals, and fits to counts that are known.

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "statistics/distribution_mixture.h"

namespace kymora {
namespace {

using Family = MixtureFamily;

const Mixture twoGaussians{Family::gaussian, {{0.25, -2.0, 0.5}, {0.75, 3.0, 1.0}}};
const Mixture twoExponentials{Family::exponential, {{0.4, 1.0}, {0.6, 5.0}}};
const Mixture twoGammas{Family::gamma, {{0.5, 2.0, 1.0}, {0.5, 8.0, 2.0}}};
const Mixture twoPoissons{Family::poisson, {{0.3, 2.0}, {0.7, 60.0}}};

TEST(DistributionMixture, ProbabilitiesAreIntegralsOfDensities) {
    for (const Mixture& mixture : {twoGaussians, twoExponentials, twoGammas})
        for (const auto& [lower, upper] : {std::pair{-3.0, 1.0}, {0.0, 0.5}, {2.0, 9.0}, {6.0, 6.1}}) {
            constexpr int steps = 20000;
            const double step =
                (upper - std::max(lower, mixture.family == Family::gaussian ? lower : 0.0)) / steps;
            double sum = 0.0;
            for (int i = 0; i < steps; ++i) sum += step * DensityOf(mixture, upper - (i + 0.5) * step);
            EXPECT_NEAR(ProbabilityWithin(mixture, lower, upper), sum, 1e-7) << lower << " to " << upper;
        }
    const struct {
        Mixture mixture;
        double lower, upper, probability;
    } cases[] = {
        {{Family::gaussian, {{1.0, 0.0, 1.0}}}, 10.0, 40.0, 7.619853024160526e-24},  // far out in either tail
        {{Family::gaussian, {{1.0, 0.0, 1.0}}}, -40.0, -10.0, 7.619853024160526e-24},
        {{Family::exponential, {{1.0, 2.0}}}, 100.0, 200.0, std::exp(-50.0)},
        {{Family::gamma, {{1.0, 2.0, 2.0}}}, 100.0, 200.0, std::exp(-50.0)},  // an exponential
        {{Family::gamma, {{1.0, 2.0, 2.0}}}, -5.0, 0.0, 0.0},
        {{Family::poisson, {{1.0, 2.0}}}, -1.0, 1.0, std::exp(-2.0)},       // 0 only
        {{Family::poisson, {{1.0, 2.0}}}, 0.5, 2.5, 4.0 * std::exp(-2.0)},  // 1 and 2
        {{Family::poisson, {{1.0, 2.0}}}, 2.1, 2.9, 0.0},
        {{Family::poisson, {{1.0, 2.0}}}, 0.0, 1000.0, 1.0},
    };
    for (const auto& row : cases)
        EXPECT_NEAR(ProbabilityWithin(row.mixture, row.lower, row.upper), row.probability,
                    1e-12 * row.probability)
            << &row - cases;
    double sum = 0.0;
    for (int count = 20; count < 70; ++count) sum += DensityOf(twoPoissons, count + 0.5);
    EXPECT_NEAR(ProbabilityWithin(twoPoissons, 20.0, 70.0), sum, 1e-12);
}

TEST(DistributionMixture, ReportsFollowTheirFormulas) {
    // Two bins, of probability 1 - e^-1 and e^-1 - e^-2.
    const Mixture mixture{Family::exponential, {{1.0, 1.0}}};
    const std::vector<double> counts{3.0, 1.0};
    const double p0 = 1.0 - std::exp(-1.0);
    const double logLikelihood = 3.0 * std::log(p0) + std::log(std::exp(-1.0) * p0);
    const MixtureReport report = ReportOf(mixture, counts, {2, 0.0, 2.0});
    EXPECT_EQ(report.freeParameters, 1);
    EXPECT_NEAR(report.logLikelihood, logLikelihood, 1e-12);
    EXPECT_NEAR(report.relativeLogLikelihood, logLikelihood - 3.0 * std::log(0.75) - std::log(0.25), 1e-12);
    EXPECT_NEAR(report.aicc, 2.0 - 2.0 * logLikelihood + 4.0 / 2.0, 1e-12);
    EXPECT_NEAR(report.bic, std::log(4.0) - 2.0 * logLikelihood, 1e-12);
    EXPECT_EQ(ReportOf(twoGaussians, counts, {2, 0.0, 2.0}).freeParameters, 5);
    EXPECT_TRUE(std::isnan(ReportOf(twoGaussians, counts, {2, 0.0, 2.0}).aicc)) << "4 counts, 5 parameters";
}

TEST(DistributionMixture, FaultsHaveNoLikelihood) {
    const struct {
        Mixture mixture;
        MixtureFault fault;
    } cases[] = {
        {twoGaussians, MixtureFault::none},
        {{Family::gaussian, {}}, MixtureFault::components},
        {{Family::gaussian, std::vector<MixtureComponent>(5, {0.2, 0, 1})}, MixtureFault::components},
        {{Family::gaussian, {{2.0, 0, 1}, {-1.0, 0, 1}}}, MixtureFault::proportions},
        {{Family::gaussian, {{std::nan(""), 0, 1}}}, MixtureFault::proportions},
        {{Family::gaussian, {{1, 0, 0}}}, MixtureFault::sd},
        {{Family::gaussian, {{1, -HUGE_VAL, 1}}}, MixtureFault::mean},
        {{Family::gamma, {{1, 0, 1}}}, MixtureFault::mean},
        {{Family::exponential, {{1, -1}}}, MixtureFault::mean},
        {{Family::exponential, {{1, 1, 0}}}, MixtureFault::none},
    };
    const std::vector<double> counts{5, 5};
    for (const auto& row : cases) {
        EXPECT_EQ(FaultOf(row.mixture), row.fault) << &row - cases;
        const double likelihood = LogLikelihood(row.mixture, counts, {2, 0.0, 2.0});
        EXPECT_EQ(std::isfinite(likelihood), row.fault == MixtureFault::none);
        const MixtureFit fit = FitMixture(row.mixture, counts, {2, 0.0, 2.0});
        // The last proportion of a fit follows from the rest.
        if (row.fault != MixtureFault::none && row.fault != MixtureFault::proportions) {
            EXPECT_EQ(fit.end, MixtureFit::End::noLikelihood);
        }
    }
    const std::vector<double> whole{0, 1, 7};
    EXPECT_EQ(FindPoissonFault(whole, {10, 0, 10}), PoissonFault::none);
    EXPECT_EQ(FindPoissonFault(whole, {20, 0, 10}), PoissonFault::width);
    EXPECT_EQ(FindPoissonFault(std::vector<double>{1.5}, {10, 0, 10}), PoissonFault::values);
    EXPECT_EQ(FindPoissonFault(std::vector<double>{-1}, {10, 0, 10}), PoissonFault::values);
}

TEST(DistributionMixture, FitsFindTheMixtureThatMadeTheCounts) {
    const struct {
        const Mixture& mixture;
        BinGrid grid;
    } cases[] = {{twoGaussians, {80, -6, 8}},
                 {twoExponentials, {200, 0, 40}},
                 {twoGammas, {100, 0, 20}},
                 {twoPoissons, {100, 0, 100}}};
    for (const auto& row : cases) {
        // Exactly what is expected of 100,000 values, so that the largest likelihood is that of the mixture.
        std::vector<double> counts;
        std::vector<double> values;
        for (int bin = 0; bin < row.grid.count; ++bin) {
            counts.push_back(1e5 *
                             ProbabilityWithin(row.mixture, row.grid.Edge(bin), row.grid.Edge(bin + 1)));
            values.insert(values.end(), static_cast<size_t>(counts.back() / 10.0), row.grid.Middle(bin));
        }
        const Mixture start = StartFromQuantiles(row.mixture.family, 2, values);
        ASSERT_EQ(FaultOf(start), MixtureFault::none);
        const MixtureFit fit = FitMixture(start, counts, row.grid);
        ASSERT_EQ(fit.end, MixtureFit::End::fitted) << &row - cases;
        EXPECT_LT(fit.after, fit.before);
        for (size_t i = 0; i < 2; ++i) {
            const MixtureComponent& made = row.mixture.components[i];
            const MixtureComponent& found = fit.mixture.components[i];
            EXPECT_NEAR(found.proportion, made.proportion, 0.01) << &row - cases;
            EXPECT_NEAR(found.mean, made.mean, 0.02 * std::fabs(made.mean)) << &row - cases;
            if (HasOwnSd(row.mixture.family)) {
                EXPECT_NEAR(found.sd, made.sd, 0.02 * made.sd) << &row - cases;
            }
        }
    }
}

TEST(DistributionMixture, HardCasesKeepTheStartOrEndWell) {
    // One Gaussian has its fit in closed form, far from 0 and in any unit.
    std::mt19937 random(6);
    std::normal_distribution<double> normal(0.0, 1.0);
    for (const double unit : {1e-9, 1.0, 1e6}) {
        std::vector<double> values(2000);
        for (double& value : values) value = unit * (50.0 + normal(random));
        const BinGrid grid{400, 40.0 * unit, 60.0 * unit};
        const Histogram histogram = GetHistogram(values, grid);
        const Mixture poor{Family::gaussian, {{1.0, 45.0 * unit, 3.0 * unit}}};
        const MixtureFit fit = FitMixture(poor, histogram.Counts(), grid);
        EXPECT_EQ(fit.end, MixtureFit::End::fitted);
        EXPECT_NEAR(fit.mixture.components[0].mean, 50.0 * unit, 0.1 * unit);
        EXPECT_NEAR(fit.mixture.components[0].sd, unit, 0.05 * unit);
    }
    // Four components on three values, in one bin, and all equal: whatever the end, the result is a mixture.
    for (const std::vector<double>& values : {std::vector<double>{1, 2, 4}, {3}, {2, 2, 2, 2}, {}}) {
        const BinGrid grid{10, 0, 5};
        const Mixture start = StartFromQuantiles(Family::gaussian, 4, values);
        EXPECT_EQ(FaultOf(start), MixtureFault::none);
        const MixtureFit fit = FitMixture(start, GetHistogram(values, grid).Counts(), grid);
        EXPECT_EQ(FaultOf(fit.mixture), MixtureFault::none);
        EXPECT_LE(fit.after, fit.before);
    }
    EXPECT_NE(FaultOf(StartFromQuantiles(Family::gamma, 1, std::vector<double>{0, 0})), MixtureFault::none);
    const std::vector<double> counts{1, 4, 2};
    const auto never = [](double) { return false; };
    const MixtureFit cancelled = FitMixture(twoGaussians, counts, {3, -3, 5}, never);
    EXPECT_EQ(cancelled.end, MixtureFit::End::cancelled);
    EXPECT_EQ(cancelled.mixture.components[1].mean, 3.0);
}

}  // namespace
}  // namespace kymora
