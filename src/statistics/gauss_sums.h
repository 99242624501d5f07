#pragma once
// Sums over sorted values of the Gaussian exp(-u^2 / 2) and its derivatives, u in bandwidths, by boxes of
// values (kernel_density.h tells how).

#include <cstddef>
#include <span>
#include <vector>

namespace kymora {

// Neighbouring values within half a bandwidth.
struct GaussBox {
    double middle;
    size_t first;
    size_t last;
    size_t Count() const { return last - first; }
};

class GaussSums {
  public:
    // The values must be finite, ascending, and stay where they are.
    GaussSums(std::span<const double> sorted, double bandwidth);

    // Sum over the values v of exp(-u^2 / 2), u = (x - v) / bandwidth.
    double Sum(double x) const;
    // Sum of its second derivative by u, (u^2 - 1) exp(-u^2 / 2).
    double SecondDerivative(double x) const;

  private:
    void FillSeries();
    template <typename OfValue, typename OfSeries>
    double SumNear(double x, OfValue ofValue, OfSeries ofSeries) const;

    std::span<const double> sorted_;
    double bandwidth_;
    std::vector<GaussBox> boxes_;
    std::vector<size_t> places_;  // of the boxes' coefficients
    // For each box of more than a few values: sum of exp(-s^2 / 2) s^k / k!, s the value from the middle.
    std::vector<double> series_;
};

// The derivative of an even order up to 6, summed over all pairs of sorted values, those with themselves too.
double GaussPairSum(std::span<const double> sorted, double bandwidth, int order);

}  // namespace kymora
