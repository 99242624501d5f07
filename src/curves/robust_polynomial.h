#pragma once
// A polynomial through points, most of which lie near one: outliers lose their weight.

#include <functional>
#include <span>
#include <vector>

namespace kymora {

struct RobustPolynomial {
    // Factors of x^0, x^1, .. Far from 0 their terms are large and all but cancel: At keeps the digits.
    std::vector<double> powers;
    std::vector<double> scaledPowers;  // of (x - middle) / half
    double middle = 0.0, half = 1.0;
    std::vector<double> fit;  // at each point
    double mad = 0.0;         // median of the distances from it
    bool IsThere() const { return !powers.empty(); }
    // A polynomial can go through as many points as it has factors, so that up to twice as many tell nothing
    // of how far points lie from it: their median distance may be 0.
    bool TellsDistances() const { return fit.size() > 2 * scaledPowers.size(); }
    double At(double x) const;
};

// Least squares with Tukey's bisquare weights, (1 - (e / s)^2)^2 with s = 4.685 x median |e| / 0.6745 (P. W.
// Holland and R. E. Welsch, Commun. Stat. A6, 1977), anew until the fit stays, from a fit of least absolute
// distances. `x` in any order, both of one length and finite. The degree is lower where fewer x differ than
// it needs. Without a point there is none. `between` is called before each of the fits, and may throw to end
// them.
RobustPolynomial FitRobustPolynomial(std::span<const double> x, std::span<const double> y, int degree,
                                     const std::function<void()>& between = {});

}  // namespace kymora
