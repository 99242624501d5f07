#pragma once
// Polynomials over the points 0, 1, 2, .. or over points of any places that are orthogonal to each other
// under given weights, made by Forsythe's recurrence (1957): the stable way to weighted least squares, since
// each term of a fit is found apart from the others.

#include <cstddef>
#include <span>
#include <vector>

namespace kymora {

class OrthogonalPolynomials {
  public:
    OrthogonalPolynomials(size_t points, int degree);
    // Over places between -1 and 1.
    OrthogonalPolynomials(std::vector<double> places, int degree);

    // Makes the terms for new weights, none of them negative. There are fewer terms than degree + 1 where too
    // few points carry weight to tell the higher ones apart, and none when all weights are 0.
    void Build(std::span<const double> weights);

    size_t Terms() const { return terms_; }
    // The term of a degree, its leading coefficient being 1, at each point.
    std::span<const double> Values(size_t term) const {
        return std::span(values_).subspan(term * points_, points_);
    }
    // The weighted sum of its squares.
    double Norm(size_t term) const { return norms_[term]; }

    // What a sum of terms is as a polynomial of the point's number, or of its place: the factors of its
    // powers, degree + 1 of them.
    std::vector<double> Powers(std::span<const double> factors) const;

  private:
    // Sets the norm of a term and answers its weighted centre.
    double Measure(size_t term, std::span<const double> weights);

    size_t points_;
    size_t most_;  // degree + 1
    size_t terms_ = 0;
    double middle_;
    std::vector<double> places_;  // of the points, from the middle
    std::vector<double> values_;  // of all terms, one after the other
    std::vector<double> norms_;
    std::vector<double> centres_, ratios_;  // of the recurrence
};

}  // namespace kymora
