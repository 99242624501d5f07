// The engine of curve fits, relaxations and reweighted polynomials on data whose answer is known.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "curves/gauss_newton.h"
#include "curves/relaxation.h"
#include "curves/reweighted_polynomial.h"

namespace kymora::test {
namespace {

// a + b t at t = 0, 1, 2, ..
class LineModel : public FitModel {
  public:
    void Values(std::span<const double> parameters, size_t first, std::span<double> y) override {
        for (size_t i = 0; i < y.size(); ++i)
            y[i] = parameters[0] + parameters[1] * static_cast<double>(first + i);
    }
};

TEST(GaussNewtonTest, ReportsTheResidualsBeforeAStepAndTheEstimatesAfterIt) {
    LineModel line;
    const std::vector<double> y{1, 3, 2, 5};  // the least squares: 1.1 + 1.1 t
    std::vector<double> parameters{0, 1};
    FitControl control;
    control.mostIterations = 1;
    control.dataSd = 2.0;
    CurveFitResult result;
    ASSERT_TRUE(FitCurve(line, y, control, parameters, result));
    EXPECT_NEAR(parameters[0], 1.1, 1e-9);
    EXPECT_NEAR(parameters[1], 1.1, 1e-9);
    EXPECT_NEAR(result.chiSquare, (1 + 4 + 0 + 4) / 4.0, 1e-12) << "of t, with sigma 2";
    EXPECT_NEAR(result.rms, std::sqrt(9.0 / 4 / 2), 1e-12);
    EXPECT_EQ(result.freedom, 2);
    // The inverse of {{4, 6}, {6, 14}} / 4 is {{14, -6}, {-6, 4}} / 5.
    EXPECT_NEAR(result.Error(0), std::sqrt(14.0 / 5) * result.rms, 1e-9);
    EXPECT_NEAR(result.Correlation(0, 1), -6 / std::sqrt(56.0), 1e-9);
    EXPECT_NEAR(result.residualSd, std::sqrt((0.01 + 0.64 + 1.69 + 0.36) / 2), 1e-9);
    ForFitPoints(line, y, control, result, [&](size_t i, const FitPoint& point) {
        EXPECT_EQ(point.fit, static_cast<double>(i));
        EXPECT_EQ(point.error, 0.0) << "there is no covariance before the first iteration";
        return true;
    });

    control.mostIterations = 10;
    ASSERT_TRUE(FitCurve(line, y, control, parameters, result));
    EXPECT_TRUE(result.hasConverged);
    EXPECT_EQ(result.iterations, 3);
    EXPECT_NEAR(result.rSquared, 1 - 2.7 / 8.75, 1e-9) << "sums of squares around the curve and the mean";
    int points = 0;
    ForFitPoints(line, y, control, result, [&](size_t i, const FitPoint& point) {
        // The variance of a line's value: s^2 (1/n + (t - mean)^2 / sum of (t - mean)^2).
        const double away = static_cast<double>(i) - 1.5;
        const double error = std::sqrt(2.7 / 2 * (0.25 + away * away / 5));
        EXPECT_NEAR(point.error, error, 1e-6);
        EXPECT_NEAR(point.high - point.fit, 4.30265 * error, 1e-3);
        ++points;
        return i < 2;
    });
    EXPECT_EQ(points, 3);
}

TEST(GaussNewtonTest, FewPointsAndFixedOrLimitedParameters) {
    LineModel line;
    FitControl control;
    CurveFitResult result;
    std::vector<double> parameters{1, 1};
    ASSERT_TRUE(FitCurve(line, std::vector<double>{4, 2}, control, parameters, result));
    EXPECT_EQ(result.freedom, 1) << "as many points as parameters";
    EXPECT_NEAR(parameters[1], -2.0, 1e-9);

    const std::vector<double> y{1, 3, 2, 5};
    control.isFixed = {0, 1};
    parameters = {1, 1};
    ASSERT_TRUE(FitCurve(line, y, control, parameters, result));
    EXPECT_EQ(parameters[1], 1.0);
    EXPECT_NEAR(parameters[0], 1.25, 1e-9) << "the mean of y - t";
    control.isFixed = {};
    control.bounds = {{-5, 5}, {0, 1}};
    ASSERT_TRUE(FitCurve(line, y, control, parameters, result));
    EXPECT_EQ(parameters[1], 1.0);

    // One point tells nothing of two parameters: a pivot of 0.
    control.bounds = {};
    parameters = {1, 1};
    EXPECT_FALSE(FitCurve(line, std::vector<double>{4}, control, parameters, result));
    EXPECT_EQ(parameters, (std::vector<double>{1, 1})) << "as they were";
    EXPECT_THROW(FitCurve(line, y, control, parameters, result, [] { throw std::domain_error("enough"); }),
                 std::domain_error);
}

TEST(RelaxationTest, FindsTheTimeConstantsOfEachModel) {
    const Relaxation truths[] = {{RelaxationModel::single, -60, -70, 20},
                                 {RelaxationModel::twoExponentials, 10, 1, 8, 90, 0.3},
                                 {RelaxationModel::cable, -60, -75, 25}};
    for (const Relaxation& truth : truths) {
        SCOPED_TRACE(static_cast<int>(truth.model));
        std::vector<double> t, y;
        for (int i = 0; i < 600; ++i) {
            t.push_back(i * 0.5);
            const double at = t.back();
            y.push_back(truth.model == RelaxationModel::cable ? -60 - 15 * std::erf(std::sqrt(at / 25))
                        : truth.model == RelaxationModel::single
                            ? -70 + 10 * std::exp(-at / 20)
                            : 1 + 9 * (0.3 * std::exp(-at / 8) + 0.7 * std::exp(-at / 90)));
        }
        RelaxationControl control;
        control.fit.mostIterations = 50;
        control.fit.tolerancePercent = 0.1;
        control.fit.damps = true;
        const RelaxationFit fit = FitRelaxation(StartOfRelaxation(truth.model, t, y, 1.0), t, y, control);
        ASSERT_TRUE(fit.isDone);
        EXPECT_TRUE(fit.result.hasConverged);
        EXPECT_NEAR(fit.curve.tau0, truth.tau0, 2e-3 * truth.tau0);
        EXPECT_NEAR(fit.curve.v0, truth.v0, 1e-2);
        EXPECT_NEAR(fit.curve.vInf, truth.vInf, 1e-2);
        if (truth.model != RelaxationModel::twoExponentials) continue;
        EXPECT_NEAR(fit.curve.tau1, 90, 0.2);
        EXPECT_NEAR(fit.curve.weight, 0.3, 2e-3);
        EXPECT_EQ(fit.parameters, 5);
    }
    // n ln(RSS/n) + 2k with n = 100, RSS = 50, k = 3.
    EXPECT_NEAR(AkaikeCriterion(50, 100, 3), -69.3147 + 6, 1e-3);
    EXPECT_NEAR(BayesCriterion(50, 100, 3), -69.3147 + 3 * 4.60517, 1e-3);
}

// a, with a wall at b = 1 that no step gets over: values without end behind it.
class WallModel : public FitModel {
  public:
    void Values(std::span<const double> parameters, size_t, std::span<double> y) override {
        const double wall = parameters[0] < 1.0 ? std::numeric_limits<double>::infinity() : 0.0;
        for (double& value : y) value = parameters[0] + wall;
    }
};

TEST(GaussNewtonTest, ADampedFitThatFindsNoStepHasConvergedAtAMinimumAlone) {
    FitControl control;
    control.damps = true;
    CurveFitResult result;
    LineModel line;
    std::vector<double> parameters{1.1, 1.1};
    ASSERT_TRUE(FitCurve(line, std::vector<double>{1, 3, 2, 5}, control, parameters, result));
    EXPECT_TRUE(result.hasConverged && !result.isStuck);
    parameters = {2.0, 1.0};
    ASSERT_TRUE(FitCurve(line, std::vector<double>{2, 3, 4, 5}, control, parameters, result));
    EXPECT_TRUE(result.hasConverged) << "nothing is left of the residuals";

    WallModel wall;
    parameters = {1.0};
    control.mostIterations = 50;
    ASSERT_TRUE(FitCurve(wall, std::vector<double>{-1, 0, 1, 0}, control, parameters, result));
    EXPECT_NEAR(parameters[0], 1.0, 1e-6);
    EXPECT_TRUE(result.isStuck) << "the mean lies behind the wall";
    EXPECT_FALSE(result.hasConverged);
    // At a limit that the fit has been given it is the best that may be.
    control.bounds = {{1.0, 9.0}};
    parameters = {3.0};
    ASSERT_TRUE(FitCurve(wall, std::vector<double>{-1, 0, 1, 0}, control, parameters, result));
    EXPECT_EQ(parameters[0], 1.0);
    EXPECT_TRUE(result.hasConverged);
}

// Noise of a fixed sequence, uniform with an SD of 1 (D. E. Knuth's linear congruential generator).
class Noise {
  public:
    explicit Noise(uint64_t seed) : state_(seed) {}
    double Next() {
        state_ = state_ * 6364136223846793005ull + 1442695040888963407ull;
        return (static_cast<double>(state_ >> 11) / 9007199254740992.0 - 0.5) * std::sqrt(12.0);
    }

  private:
    uint64_t state_;
};

TEST(RelaxationTest, TwoExponentialsInNoiseComeToAMinimum) {
    const struct {
        double tau0, tau1, weight, length;
    } rows[] = {{6.45, 35.5, 0.62, 142}, {12, 31, 0.4, 123}, {5, 12, 0.6, 50}, {30, 170, 0.3, 500}};
    for (size_t k = 0; k < 4 * std::size(rows); ++k) {
        SCOPED_TRACE(k);
        const auto& row = rows[k / 4];
        const Relaxation truth{RelaxationModel::twoExponentials, -40, -60, row.tau0, row.tau1, row.weight};
        Noise noise(k + 1);
        std::vector<double> t, y;
        double ofTruth = 0.0;
        for (int i = 0; i * 0.5 < row.length; ++i) {
            t.push_back(i * 0.5);
            const double away = 0.1 * noise.Next();
            y.push_back(-60 +
                        20 * (row.weight * std::exp(-t.back() / row.tau0) +
                              (1 - row.weight) * std::exp(-t.back() / row.tau1)) +
                        away);
            ofTruth += away * away;
        }
        RelaxationControl control;
        control.fit.mostIterations = 50;
        control.fit.tolerancePercent = 0.1;
        control.fit.damps = true;
        const RelaxationFit fit =
            FitRelaxation(StartOfRelaxation(truth.model, t, y, 5.0, row.length), t, y, control);
        ASSERT_TRUE(fit.isDone);
        double squares = 0.0;
        for (size_t i = 0; i < t.size(); ++i) squares += std::pow(y[i] - fit.curve.At(t[i]), 2);
        EXPECT_LE(squares, ofTruth) << fit.curve.tau0 << " " << fit.curve.tau1 << " " << fit.curve.weight;
        EXPECT_TRUE(fit.result.hasConverged) << fit.result.maxChange;
        EXPECT_GT(fit.curve.tau0, 0.0);
    }
}

TEST(RelaxationTest, ATimeConstantAtItsLimitIsNoResult) {
    // It grows, and gets faster: no time constant above 0 describes it.
    std::vector<double> t, y;
    for (int i = 0; i < 100; ++i) {
        t.push_back(i);
        y.push_back(std::exp(i / 20.0));
    }
    RelaxationControl control;
    control.fit.mostIterations = 50;
    control.fit.tolerancePercent = 0.1;
    for (const bool damps : {true, false}) {
        control.fit.damps = damps;
        const RelaxationFit fit =
            FitRelaxation(StartOfRelaxation(RelaxationModel::single, t, y, 5.0), t, y, control);
        EXPECT_FALSE(fit.isDone && fit.result.hasConverged) << damps;
        EXPECT_GT(fit.curve.tau0, 0.0) << damps;
    }
}

TEST(RelaxationTest, FixedEndsStay) {
    std::vector<double> t, y;
    for (int i = 0; i < 200; ++i) {
        t.push_back(i);
        y.push_back(5 + 3 * std::exp(-i / 30.0));
    }
    RelaxationControl control;
    control.fit.mostIterations = 50;
    control.fit.damps = control.fixesV0 = control.fixesVInf = true;
    const RelaxationFit fit = FitRelaxation({RelaxationModel::single, 8, 5, 60}, t, y, control);
    ASSERT_TRUE(fit.isDone);
    EXPECT_EQ(fit.parameters, 1);
    EXPECT_EQ(fit.curve.v0, 8.0);
    EXPECT_NEAR(fit.curve.tau0, 30, 0.01);
}

TEST(ReweightedPolynomialTest, OutliersLoseTheirWeight) {
    std::vector<double> x, y;
    for (int i = 0; i < 21; ++i) {
        x.push_back(1000 + i);
        y.push_back(3 - 2 * i + 0.5 * i * i + 0.01 * (i % 3 - 1));
    }
    const auto plain = FitReweightedPolynomial(x, y, 2, 0, 6);
    EXPECT_NEAR(plain.At(1010), 33, 0.02);
    EXPECT_NEAR(plain.coefficients[2], 0.5, 1e-3);
    EXPECT_NEAR(plain.coefficients[0], 3 + 2000 + 0.5e6, 1.0) << "in x itself";
    y[5] = 900;
    EXPECT_GT(std::fabs(FitReweightedPolynomial(x, y, 2, 0, 6).At(1010) - 33), 10);
    const auto robust = FitReweightedPolynomial(x, y, 2, 10, 6);
    EXPECT_NEAR(robust.At(1010), 33, 0.05);
    EXPECT_EQ(robust.weights[5], 0.0);
    // Most points lie on the line but for rounding: that is no scale for the others.
    std::vector<double> straight;
    for (const double at : x) straight.push_back(0.1 * at + 0.7);
    straight[3] += 1e-13;
    for (const double weight : FitReweightedPolynomial(x, straight, 1, 10, 1e-3).weights)
        EXPECT_EQ(weight, 1.0);
    // A threshold that leaves too few points ends it with the plain fit.
    const auto few = FitReweightedPolynomial(x, y, 2, 10, 1e-3);
    EXPECT_EQ(few.coefficients, FitReweightedPolynomial(x, y, 2, 0, 6).coefficients);
    EXPECT_THROW(FitReweightedPolynomial(std::vector<double>{1, 1, 2}, std::vector<double>{1, 2, 3}, 2, 1, 6),
                 std::runtime_error);
}

}  // namespace
}  // namespace kymora::test
