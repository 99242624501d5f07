#pragma once
// A polynomial by weighted least squares through the LU solver, reweighted in so many rounds: what the
// smoother LOWESS does in each of its windows (W. S. Cleveland, JASA 74, 1979), done once over all points.

#include <functional>
#include <span>
#include <vector>

namespace kymora {

struct ReweightedPolynomial {
    std::vector<double> coefficients;        // of x^0, x^1, ..
    std::vector<double> scaledCoefficients;  // of ((x - middle) / half)^k
    double middle = 0.0, half = 1.0;
    std::vector<double> fit;      // at each point
    std::vector<double> weights;  // of the last round, 0 to 1
    double residualSd = 0.0;      // sqrt(sum of squares / max(n - degree - 1, 1)), unweighted

    // Away from 0 the plain coefficients cancel each other: this keeps the digits.
    double At(double x) const;
};

// Least squares, then `rounds` times anew with the weights (1 - (e / s)^2)^2 of the residuals e where |e| <
// s, else 0; s is `threshold` x the median of |e|. Each round's weights replace those of the round before.
// Rounds end early where s is 0: half of the points lie on the curve. Inside, x runs from -1 to 1. x and y
// have one length and are finite. Throws std::runtime_error where fewer x differ than the degree needs.
// `between` is asked before each round, and may throw to end them.
ReweightedPolynomial FitReweightedPolynomial(std::span<const double> x, std::span<const double> y, int degree,
                                             int rounds, double threshold,
                                             const std::function<void()>& between = {});

}  // namespace kymora
