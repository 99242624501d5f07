#pragma once
// The robust local fit of Cleveland (Journal of the American Statistical Association 74, 1979): the value, at
// one place of a window of evenly spaced samples, of a polynomial fitted to the window, near samples weighing
// most and samples far from the first fit losing their weight.

#include <span>
#include <vector>

#include "curves/orthogonal_polynomials.h"

namespace kymora {

struct LocalFitSettings {
    int polyDegree = 2;
    int robustRounds = 1;           // 0: the weighted fit alone
    double outlierThreshold = 6.0;  // of the median absolute residual, from which on a sample does not count
};

// Weights are tricube, (1 - u^3)^3 of the distance u relative to the farthest sample of the window; a round
// multiplies them by the bisquare, (1 - (e / s)^2)^2 with s = threshold x median of |e|. Rounds end early
// when no factor of the polynomial, in powers of the sample's number in the window, changes by a millionth,
// and when s is zero (below the rounding errors of the fit). Where fewer samples carry weight than the degree
// needs, the degree is lower. A sample that is no finite number spoils the value.
class LocalFit {
  public:
    // What does not depend on the samples is made here, once: `place` is 0 .. window - 1.
    LocalFit(size_t window, size_t place, const LocalFitSettings& settings);

    double Value(std::span<const float> samples);
    double Value(std::span<const double> samples);

  private:
    double ValueOfSamples();
    void FitTricube();
    bool FitRobust();
    double FitAtPlace(const OrthogonalPolynomials& terms);
    double ResidualScale();
    bool HasSettled(const OrthogonalPolynomials& terms);

    LocalFitSettings settings_;
    size_t place_;
    std::vector<double> tricube_;
    OrthogonalPolynomials fixed_;  // under the tricube weights
    std::vector<double> rows_;     // each term's factor is the sum of products of its row with the samples
    OrthogonalPolynomials robust_;
    std::vector<double> samples_, fit_, sizes_, weights_;
    std::vector<double> factors_;  // of the terms of the latest fit
    std::vector<double> powers_;   // the latest polynomial, for more than one round
};

}  // namespace kymora
