#pragma once
// Tails of Student's and the chi-square distribution by the series that fits of curves have long been
// reported with, for whole degrees of freedom.

namespace kymora {

// P(|T| >= |t|) of Student's distribution with `freedom` >= 1: one minus the finite series in the angle
// atan(|t| / sqrt(freedom)) (Abramowitz and Stegun, Handbook of Mathematical Functions, 26.7.3 and 26.7.4).
// Its error is some 1e-15, whatever is left. A t that is not a number has none.
double StudentTwoSided(double t, int freedom);

// The t > 0 with StudentTwoSided(t) = p, by bisection of 1 / (1 + t) to 1e-6.
double StudentQuantile(double p, int freedom);

// The upper incomplete gamma function Q(a, x) for a > 0 and x >= 0: its series below a + 1, the continued
// fraction from there on (Press et al., Numerical Recipes, 6.2). Not-a-number where neither converges.
double UpperGamma(double a, double x);

}  // namespace kymora
