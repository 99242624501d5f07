#include "statistics/gauss_sums.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kymora {

namespace {

constexpr size_t terms = 24;
constexpr size_t few = 6;  // values of a box are taken one by one up to this number
constexpr double boxWidth = 0.5;
constexpr double reach = 9.0 + boxWidth / 2.0;  // from x to the middle of a box

std::vector<GaussBox> BoxesOf(std::span<const double> sorted, double width) {
    std::vector<GaussBox> boxes;
    for (size_t first = 0; first < sorted.size();) {
        size_t last = first + 1;
        while (last < sorted.size() && sorted[last] - sorted[first] <= width) ++last;
        const double middle = sorted[first] + (sorted[last - 1] - sorted[first]) / 2.0;
        boxes.push_back({middle, first, last});
        first = last;
    }
    return boxes;
}

// exp(ts) = sum over k of (ts)^k / k!, so a box is exp(-t^2 / 2) times a polynomial of t.
double PolynomialAt(const double* coefficients, size_t count, double t) {
    double value = 0.0;
    for (size_t k = count; k-- > 0;) value = value * t + coefficients[k];
    return value;
}

// The polynomial and its derivatives, and from them the second derivative of exp(-t^2 / 2) times it, without
// that factor.
double SecondDerivativeOf(const double* coefficients, size_t count, double t) {
    double value = 0.0;
    double slope = 0.0;
    double halfCurvature = 0.0;
    for (size_t k = count; k-- > 0;) {
        halfCurvature = halfCurvature * t + slope;
        slope = slope * t + value;
        value = value * t + coefficients[k];
    }
    return 2.0 * halfCurvature - 2.0 * t * slope + (t * t - 1.0) * value;
}

}  // namespace

GaussSums::GaussSums(std::span<const double> sorted, double bandwidth)
    : sorted_(sorted), bandwidth_(bandwidth), boxes_(BoxesOf(sorted, boxWidth * bandwidth)) {
    size_t place = 0;
    places_.reserve(boxes_.size());
    for (const GaussBox& box : boxes_) {
        places_.push_back(place);
        if (box.Count() > few) place += terms;
    }
    series_.assign(place, 0.0);
    FillSeries();
}

void GaussSums::FillSeries() {
    constexpr size_t lanes = 8;  // values at once, for wide registers
    for (size_t b = 0; b < boxes_.size(); ++b) {
        const GaussBox& box = boxes_[b];
        if (box.Count() <= few) continue;
        std::array<std::array<double, lanes>, terms> sums{};
        for (size_t at = box.first; at < box.last; at += lanes) {
            std::array<double, lanes> s{};
            std::array<double, lanes> power{};
            for (size_t i = 0; i < std::min(lanes, box.last - at); ++i) {
                s[i] = (sorted_[at + i] - box.middle) / bandwidth_;
                power[i] = std::exp(-0.5 * s[i] * s[i]);
            }
            for (size_t k = 0; k < terms; ++k)
                for (size_t i = 0; i < lanes; ++i) {
                    sums[k][i] += power[i];
                    power[i] *= s[i];
                }
        }
        double factorial = 1.0;
        for (size_t k = 0; k < terms; ++k) {
            if (k > 1) factorial *= static_cast<double>(k);
            double sum = 0.0;
            for (const double lane : sums[k]) sum += lane;
            series_[places_[b] + k] = sum / factorial;
        }
    }
}

template <typename OfValue, typename OfSeries>
double GaussSums::SumNear(double x, OfValue ofValue, OfSeries ofSeries) const {
    const auto isBefore = [](const GaussBox& box, double at) { return box.middle < at; };
    auto box = std::lower_bound(boxes_.begin(), boxes_.end(), x - reach * bandwidth_, isBefore);
    double sum = 0.0;
    for (; box != boxes_.end(); ++box) {
        const double t = (x - box->middle) / bandwidth_;
        if (t < -reach) break;
        if (box->Count() > few) {
            const size_t place = places_[static_cast<size_t>(box - boxes_.begin())];
            sum += std::exp(-0.5 * t * t) * ofSeries(series_.data() + place, t);
            continue;
        }
        for (size_t i = box->first; i < box->last; ++i) {
            const double u = (x - sorted_[i]) / bandwidth_;
            sum += std::exp(-0.5 * u * u) * ofValue(u);
        }
    }
    return sum;
}

double GaussSums::Sum(double x) const {
    constexpr size_t enough = 20;  // the rest of the series is below 1e-20 here
    return SumNear(
        x, [](double) { return 1.0; },
        [](const double* series, double t) { return PolynomialAt(series, enough, t); });
}

double GaussSums::SecondDerivative(double x) const {
    return SumNear(
        x, [](double u) { return u * u - 1.0; },
        [](const double* series, double t) { return SecondDerivativeOf(series, terms, t); });
}

// --- sums over pairs ---

namespace {

using Moments = std::array<double, terms>;  // sum of s^k / k!

// g(0) .. g(m), the derivatives of exp(-u^2 / 2): g(m + 1) = -u g(m) - m g(m - 1).
using Derivatives = std::array<double, terms + 7>;
Derivatives DerivativesAt(double u) {
    Derivatives g{};
    g[0] = std::exp(-0.5 * u * u);
    g[1] = -u * g[0];
    for (size_t m = 1; m + 1 < g.size(); ++m) g[m + 1] = -u * g[m] - static_cast<double>(m) * g[m - 1];
    return g;
}

class PairSums {
  public:
    PairSums(std::span<const double> sorted, double bandwidth, size_t order)
        : sorted_(sorted),
          bandwidth_(bandwidth),
          order_(order),
          boxes_(BoxesOf(sorted, boxWidth * bandwidth)),
          moments_(boxes_.size()) {
        for (size_t b = 0; b < boxes_.size(); ++b) FillMoments(boxes_[b], moments_[b]);
    }

    double Sum() const {
        double sum = 0.0;
        for (size_t a = 0; a < boxes_.size(); ++a) {
            sum += SumOf(a, a);
            for (size_t b = a + 1; b < boxes_.size() && DistanceOf(a, b) <= reach; ++b)
                sum += 2.0 * SumOf(a, b);
        }
        return sum;
    }

  private:
    void FillMoments(const GaussBox& box, Moments& moments) const {
        for (size_t i = box.first; i < box.last; ++i) {
            const double s = (sorted_[i] - box.middle) / bandwidth_;
            double power = 1.0;
            for (double& moment : moments) {
                moment += power;
                power *= s;
            }
        }
        double factorial = 1.0;
        for (size_t k = 2; k < terms; ++k) moments[k] /= factorial *= static_cast<double>(k);
    }

    double DistanceOf(size_t a, size_t b) const { return (boxes_[b].middle - boxes_[a].middle) / bandwidth_; }

    double SumOf(size_t a, size_t b) const {
        constexpr size_t fewPairs = 16;
        return boxes_[a].Count() * boxes_[b].Count() <= fewPairs ? SumOfValues(a, b) : SumOfSeries(a, b);
    }

    double SumOfValues(size_t a, size_t b) const {
        double sum = 0.0;
        for (size_t i = boxes_[a].first; i < boxes_[a].last; ++i)
            for (size_t k = boxes_[b].first; k < boxes_[b].last; ++k)
                sum += DerivativesAt((sorted_[k] - sorted_[i]) / bandwidth_)[order_];
        return sum;
    }

    // Taylor's series about the distance of the middles; (sb - sa)^k / k! summed over all pairs is a
    // convolution of the moments.
    double SumOfSeries(size_t a, size_t b) const {
        const Derivatives g = DerivativesAt(DistanceOf(a, b));
        double sum = 0.0;
        for (size_t k = terms; k-- > 0;) {
            double pairs = 0.0;
            for (size_t j = 0; j <= k; ++j) {
                const double product = moments_[b][k - j] * moments_[a][j];
                pairs += j % 2 == 0 ? product : -product;
            }
            sum += g[order_ + k] * pairs;
        }
        return sum;
    }

    std::span<const double> sorted_;
    double bandwidth_;
    size_t order_;
    std::vector<GaussBox> boxes_;
    std::vector<Moments> moments_;
};

}  // namespace

double GaussPairSum(std::span<const double> sorted, double bandwidth, int order) {
    return PairSums(sorted, bandwidth, static_cast<size_t>(order)).Sum();
}

}  // namespace kymora
