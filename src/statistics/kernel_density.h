#pragma once
// Kernel density estimates: the mean of a kernel centred on each value and divided by its bandwidth h, as a
// probability per unit of the values; and rules for the bandwidth (B. W. Silverman, Density Estimation for
// Statistics and Data Analysis, 1986; S. J. Sheather and M. C. Jones, J. R. Stat. Soc. B 53, 1991).
//
// Gaussian sums do not go over all values for each point. Sorted values fall into boxes of half a bandwidth,
// each of which becomes a series about its middle, as in the fast Gauss transform (L. Greengard and J.
// Strain, SIAM J. Sci. Stat. Comput. 12, 1991); values beyond 9 bandwidths do not count, where the kernel is
// below 1e-17 of its peak. The sums are those of all values to some 1e-15 of their peak.

#include <cstddef>
#include <span>
#include <vector>

#include "numerics/poll.h"

namespace kymora {

enum class Kernel { gaussian, box, epanechnikov };  // box and Epanechnikov reach from -h to h

enum class BandwidthRule {
    standard,       // (4 / (3 n))^0.2 s.d.
    silverman,      // 0.9 min(s.d., (Q3 - Q1) / 1.34) n^-0.2
    user,           // the value given
    amiseFast,      // root of the equation below by secant steps
    amiseSafe,      // the same by halving a bracket
    sheatherJones,  // "solve the equation", with pilot bandwidths from the quartiles
};

enum class BandwidthProblem {
    none,
    noSd,             // the s.d. is 0, or there are fewer than 2 values
    zero,             // the rule's or the user's bandwidth is not above 0
    gaussianOnly,     // AMISE and Sheather-Jones with another kernel
    fastNotPositive,  // a secant step went to h <= 0
    notBracketed,     // the equation has the same sign at both ends
    notFinite,        // the equation gave no number
    cancelled,
};

struct Bandwidth {
    double value = 1.0;  // 1 with any problem
    BandwidthProblem problem = BandwidthProblem::none;
};

struct BandwidthChoice {
    BandwidthRule rule = BandwidthRule::standard;
    Kernel kernel = Kernel::gaussian;
    double user = 1.0;
    int tailFactor = 3;  // of the fast AMISE: the range is extended by this many standard bandwidths each way
};

// Values, sorted once, from which any number of estimates are made.
class KernelDensity {
  public:
    // What is no finite number does not count.
    explicit KernelDensity(std::span<const double> values);

    size_t Count() const { return sorted_.size(); }

    // The density at each point, in any order. Zeros without values; empty where the bandwidth is not above
    // 0.
    std::vector<double> At(std::span<const double> points, Kernel kernel, double bandwidth) const;
    // At `count` points from the minimum to the maximum, both included.
    std::vector<double> Along(double minimum, double maximum, int count, Kernel kernel,
                              double bandwidth) const;

    // The bandwidth of a rule. AMISE is the root of
    //   g(h) = h - (n R(h) / (1 / (2 sqrt(pi))))^-0.2,
    // R(h) as below over the range of the values. Fast: the range extended, from h0, the standard bandwidth,
    // and 0.8 h0 in at most 25 steps, until |g| is below 0.001 |g(h0)|. Safe: from [h0 / n, 2 h0], until the
    // bracket is below 0.001 of its upper end or |g| below 0.001 |g(h0 / n)|.
    Bandwidth FindBandwidth(const BandwidthChoice& choice, const Poll& poll = {}) const;

    // R(h): the integral from `from` to `to` of the square of the second derivative of the Gaussian estimate,
    // by the trapezoid rule with 1, 2, 4 .. 2048 panels, until there are more than 8 and the last doubling
    // changed it by less than 1e-4 of its value.
    double Roughness(double bandwidth, double from, double to) const;

  private:
    Bandwidth FindFast(double h0, int tailFactor, const Poll& poll) const;
    Bandwidth FindSafe(double h0, const Poll& poll) const;
    Bandwidth FindSheatherJones(double sd, const Poll& poll) const;
    double Equation(double h, double from, double to) const;

    std::vector<double> sorted_;
};

// The points of Along.
std::vector<double> EvenPoints(double minimum, double maximum, int count);

}  // namespace kymora
