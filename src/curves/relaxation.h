#pragma once
// Relaxations of a voltage V from V(0) to V(inf): one exponential, the sum of two, and the charging of a
// cable (W. Rall, Biophys. J. 9, 1969: erf of the root of time), with the fit of them.

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "curves/gauss_newton.h"

namespace kymora {

enum class RelaxationModel : int32_t { single = 0, twoExponentials = 1, cable = 2 };

struct Relaxation {
    RelaxationModel model = RelaxationModel::single;
    double v0 = 0.0, vInf = 0.0;                  // in the unit of the data
    double tau0 = 1.0, tau1 = 1.0, weight = 0.5;  // times from the start of the fit; of two: weight of tau0

    // At a time from the start, rounded to single precision as samples are.
    double At(double t) const;
    // How far the k-th exponential alone is from V(inf) at t; of the cable the curve itself.
    double PartAt(int k, double t) const;
    bool operator==(const Relaxation&) const = default;
};

struct RelaxationControl {
    FitControl fit;
    bool fixesV0 = false, fixesVInf = false;
};

struct RelaxationFit {
    bool isDone = false;  // false where it failed to converge: no number came of it
    Relaxation curve;     // of two exponentials the shorter time constant comes first
    CurveFitResult result;
    int parameters = 0;  // fitted
    // Standard errors of tau0 and tau1; not-a-number where the normal equations give none.
    std::array<double, 2> tauErrors{};
    // The points do not tell a time constant: its standard error is above itself, so that it cannot be told
    // from 0, or V(inf) is fitted, too, and it is above ten times the points' length, over which an
    // exponential is a straight line but for 1/800 of its size.
    bool isVague = false;
    double aic = 0.0, bic = 0.0;
};

// Akaike's information criterion n ln(RSS / n) + 2 k, and the Bayesian one with k ln n (H. Akaike, IEEE
// Trans. Autom. Control 19, 1974; G. Schwarz, Ann. Stat. 6, 1978).
double AkaikeCriterion(double squares, size_t points, int parameters);
double BayesCriterion(double squares, size_t points, int parameters);

// Starts of a fit to points at the times t from 0: V(0) and V(inf) are means over `average` at either end,
// tau a third of the time of the fit (0: that of the points); of two exponentials a tenth and the whole, with
// equal weights. At least one point.
Relaxation StartOfRelaxation(RelaxationModel model, std::span<const double> t, std::span<const double> y,
                             double average, double fitTime = 0.0);

// Fits from the curve that is given. Time constants stay between a hundredth of the interval of the points
// and a thousand times their length: a fit that ends there has not converged. A damped fit that ends there,
// or is stuck, or comes to no numbers, is tried again from other time constants.
RelaxationFit FitRelaxation(const Relaxation& start, std::span<const double> t, std::span<const double> y,
                            const RelaxationControl& control, const FitPoll& poll = {});

}  // namespace kymora
