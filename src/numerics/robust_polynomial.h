#pragma once
// A polynomial through points, most of which lie near one: outliers lose their weight.

#include <functional>
#include <span>
#include <vector>

namespace kymora {

struct RobustPolynomial {
    std::vector<double> powers;  // factors of x^0, x^1, ..
    std::vector<double> fit;     // at each point
    double mad = 0.0;            // median of the distances from it
    bool IsThere() const { return !powers.empty(); }
};

// Least squares with Tukey's bisquare weights, (1 - (e / s)^2)^2 with s = 4.685 x median |e| / 0.6745 (P. W.
// Holland and R. E. Welsch, Commun. Stat. A6, 1977), anew until the fit stays, from a fit of least absolute
// distances. `x` in any order, both of one length and finite. The degree is lower where fewer x differ than
// it needs. Without a point there is none. `between` is called before each of the fits, and may throw to end
// them.
RobustPolynomial FitRobustPolynomial(std::span<const double> x, std::span<const double> y, int degree,
                                     const std::function<void()>& between = {});

}  // namespace kymora
