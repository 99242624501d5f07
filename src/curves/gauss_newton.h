#pragma once
// Nonlinear least squares by Gauss-Newton steps on normal equations with numerical derivatives, solved by
// Gauss-Jordan elimination without pivoting (C. F. Gauss, Theoria motus, 1809; P. R. Bevington, Data
// Reduction and Error Analysis for the Physical Sciences, 1969); on demand damped where a plain step makes
// the fit worse (D. W. Marquardt, J. SIAM 11, 1963).

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace kymora {

// A curve with parameters, known at the points of the data.
class FitModel {
  public:
    virtual ~FitModel() = default;
    // The values at the points from `first` on.
    virtual void Values(std::span<const double> parameters, size_t first, std::span<double> y) = 0;
    // To which the values are rounded, relative to them.
    virtual double Rounding() const { return std::numeric_limits<double>::epsilon(); }
};

struct FitControl {
    int mostIterations = 10;
    double tolerancePercent = 0.001;  // a parameter that changes by less is unchanged
    double step = 1.0;                // the factor on each step
    double dataSd = 1.0;              // of each point
    // Steps that would make the fit worse or no number are damped.
    bool damps = false;
    std::vector<uint8_t> isFixed;                   // for each parameter; empty: none is
    std::vector<std::pair<double, double>> bounds;  // the same; empty: there are none
};

// Of the iteration that was done last. Residuals, chi-square, RMS and errors belong to the parameters before
// its step, `before`; the estimates and their probabilities to those after it.
struct CurveFitResult {
    std::vector<double> parameters, before;
    std::vector<size_t> free;             // the numbers of those that were fitted
    std::vector<double> inverse;          // of the normal equations, free x free
    std::vector<double> priorCovariance;  // of the iteration before, for the errors of points; 0 at first
    size_t points = 0;
    double chiSquare = 0.0, rms = 0.0;
    double rSquared = std::numeric_limits<double>::quiet_NaN();
    double residualSd = 0.0;  // of the curve of `parameters`: sqrt(sum / freedom), in the unit of y
    double tail = 0.0;        // P of a larger chi-square; not-a-number where the routine does not converge
    double maxChange = 0.0;   // %
    int freedom = 1, iterations = 0;
    bool hasConverged = false;
    bool isStuck = false;  // a damped fit that finds no better step although it is not at a minimum
    int damped = 0;        // iterations whose step had to be damped

    // Of the i-th and j-th free parameter.
    double Covariance(size_t i, size_t j) const { return inverse[i * free.size() + j] * rms * rms; }
    double Correlation(size_t i, size_t j) const;
    double Error(size_t i) const;
    double Probability(size_t i) const;  // two-sided, that it is 0
    double R() const;                    // not-a-number where r squared is negative
};

// Asked between stretches of points whether to go on; throws to end the fit.
using FitPoll = std::function<void()>;

// Fits from the parameters on, and leaves them as they are in the result: a fit has converged when three
// iterations, which need not follow each other, have changed every parameter by less than the tolerance. One
// that is damped and finds no step that makes it better is unchanged at a minimum alone: where the relative
// offset sqrt(step * gradient / p) / sqrt(chi-square / (n - p)) is below 0.001 (D. M. Bates and D. G. Watts,
// Technometrics 23, 1981), or rounding hides what is left; elsewhere it is stuck, and ends.
// False when chi-square or a parameter becomes infinite or not a number: then the parameters are those with
// which that iteration began. `y` is finite; a parameter of 0 has the derivative's step 0.0001, any other a
// thousandth of itself.
bool FitCurve(FitModel& model, std::span<const double> y, const FitControl& control,
              std::vector<double>& parameters, CurveFitResult& result, const FitPoll& poll = {});

// A point of a fit: the curve of `before`, the standard error of the estimate, and the confidence limits for
// p = 0.05.
struct FitPoint {
    double fit = 0.0, residual = 0.0, error = 0.0, low = 0.0, high = 0.0;
};
// Hands on the points of a fit in their order, until `take` answers false.
void ForFitPoints(FitModel& model, std::span<const double> y, const FitControl& control,
                  const CurveFitResult& result, const std::function<bool(size_t, const FitPoint&)>& take);

// The inverse of a square matrix of `rows` rows in place, whose further columns become the solutions. Without
// pivoting: a 0 in the diagonal gives what is no number.
void GaussJordan(std::span<double> matrix, size_t rows);

}  // namespace kymora
