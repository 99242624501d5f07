#include "curves/orthogonal_polynomials.h"

#include <algorithm>
#include <utility>

namespace kymora {

namespace {

// The squared share of a term's size below which it is made of rounding errors.
constexpr double smallestShare = 1e-24;

}  // namespace

OrthogonalPolynomials::OrthogonalPolynomials(size_t points, int degree)
    : points_(points),
      most_(static_cast<size_t>(degree) + 1),
      middle_((static_cast<double>(points) - 1.0) / 2.0),
      places_(points),
      values_(points * most_, 1.0),
      norms_(most_),
      centres_(most_),
      ratios_(most_) {
    for (size_t i = 0; i < points; ++i) places_[i] = static_cast<double>(i) - middle_;
}

OrthogonalPolynomials::OrthogonalPolynomials(std::vector<double> places, int degree)
    : OrthogonalPolynomials(places.size(), degree) {
    middle_ = 0.0;
    places_ = std::move(places);
}

double OrthogonalPolynomials::Measure(size_t term, std::span<const double> weights) {
    const double* const values = values_.data() + term * points_;
    double norms[2] = {}, moments[2] = {};
    for (size_t i = 0; i < points_; ++i) {
        const double square = weights[i] * values[i] * values[i];
        norms[i % 2] += square;
        moments[i % 2] += square * places_[i];
    }
    norms_[term] = norms[0] + norms[1];
    return (moments[0] + moments[1]) / norms_[term];
}

// p[0] = 1, p[k + 1] = (x - centre of p[k]) p[k] - norm of p[k] / norm of p[k - 1] x p[k - 1].
void OrthogonalPolynomials::Build(std::span<const double> weights) {
    const double largest = std::max(middle_ * middle_, 1.0);
    for (terms_ = 0; terms_ < most_;) {
        const size_t k = terms_;
        const double centre = Measure(k, weights);
        const double floor = k == 0 ? 0.0 : smallestShare * largest * norms_[k - 1];
        if (!(norms_[k] > floor)) return;
        if (++terms_ == most_) return;
        centres_[k] = centre;
        ratios_[k] = k == 0 ? 0.0 : norms_[k] / norms_[k - 1];
        const double* const last = values_.data() + k * points_;
        const double* const before = k == 0 ? last : last - points_;
        double* const next = values_.data() + (k + 1) * points_;
        const double ratio = ratios_[k];
        for (size_t i = 0; i < points_; ++i) next[i] = (places_[i] - centre) * last[i] - ratio * before[i];
    }
}

std::vector<double> OrthogonalPolynomials::Powers(std::span<const double> factors) const {
    std::vector<double> sum(most_, 0.0), before(most_, 0.0), term(most_, 0.0), next(most_);
    term[0] = 1.0;
    for (size_t k = 0; k < terms_; ++k) {
        for (size_t i = 0; i <= k; ++i) sum[i] += factors[k] * term[i];
        if (k + 1 == terms_) break;
        for (size_t i = 0; i <= k + 1; ++i)
            next[i] =
                (i == 0 ? 0.0 : term[i - 1]) - (centres_[k] + middle_) * term[i] - ratios_[k] * before[i];
        before.swap(term);
        term.swap(next);
    }
    return sum;
}

}  // namespace kymora
