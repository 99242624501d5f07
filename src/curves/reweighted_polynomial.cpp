#include "curves/reweighted_polynomial.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>

#include "curves/lu_decomposition.h"

namespace kymora {

namespace {

double Horner(std::span<const double> coefficients, double x) {
    double sum = 0.0;
    for (size_t k = coefficients.size(); k-- > 0;) sum = sum * x + coefficients[k];
    return sum;
}

// A polynomial of (x - middle) / half as one of x.
std::vector<double> InX(std::span<const double> scaled, double middle, double half) {
    std::vector<double> powers(scaled.size(), 0.0);
    for (size_t k = scaled.size(); k-- > 0;) {
        for (size_t i = powers.size(); i-- > 0;)
            powers[i] = ((i > 0 ? powers[i - 1] : 0.0) - middle * powers[i]) / half;
        powers[0] += scaled[k];
    }
    return powers;
}

// The normal equations of powers need sums of x^0 .. x^(2 degree) alone, with and without y.
std::vector<double> Solve(std::span<const double> x, std::span<const double> y,
                          std::span<const double> weights, size_t terms) {
    std::vector<double> powers(2 * terms - 1, 0.0), right(terms, 0.0);
    for (size_t i = 0; i < x.size(); ++i) {
        double power = weights[i];
        for (size_t k = 0; k < powers.size(); ++k) {
            powers[k] += power;
            if (k < terms) right[k] += power * y[i];
            power *= x[i];
        }
    }
    std::vector<double> matrix(terms * terms);
    for (size_t i = 0; i < terms; ++i)
        for (size_t j = 0; j < terms; ++j) matrix[i * terms + j] = powers[i + j];
    return LUdcmp(std::move(matrix), terms).Solve(right);
}

constexpr double leastScale = 1e-12;  // of the greatest y: residuals below are rounding

double MedianSize(std::vector<double> sizes) {
    const auto middle = sizes.begin() + std::ssize(sizes) / 2;
    std::nth_element(sizes.begin(), middle, sizes.end());
    if (sizes.size() % 2 == 1) return *middle;
    return (*middle + *std::max_element(sizes.begin(), middle)) / 2.0;
}

}  // namespace

double ReweightedPolynomial::At(double x) const { return Horner(scaledCoefficients, (x - middle) / half); }

ReweightedPolynomial FitReweightedPolynomial(std::span<const double> x, std::span<const double> y, int degree,
                                             int rounds, double threshold,
                                             const std::function<void()>& between) {
    const auto terms = static_cast<size_t>(degree) + 1;
    std::set<double> different;
    for (size_t i = 0; i < x.size() && different.size() < terms; ++i) different.insert(x[i]);
    if (different.size() < terms) throw std::runtime_error(singularMatrixText);
    ReweightedPolynomial found;
    const auto [least, most] = std::ranges::minmax(x);
    found.middle = least + (most - least) / 2.0;
    found.half = most > least ? (most - least) / 2.0 : 1.0;
    std::vector<double> places(x.begin(), x.end());
    for (double& place : places) place = (place - found.middle) / found.half;
    found.weights.assign(x.size(), 1.0);
    found.fit.resize(x.size());
    std::vector<double> sizes(x.size());
    double greatest = 0.0;
    for (const double value : y) greatest = std::max(greatest, std::fabs(value));
    for (int round = 0;; ++round) {
        if (between) between();
        found.scaledCoefficients = Solve(places, y, found.weights, terms);
        for (size_t i = 0; i < places.size(); ++i) {
            found.fit[i] = Horner(found.scaledCoefficients, places[i]);
            sizes[i] = std::fabs(y[i] - found.fit[i]);
        }
        if (round == rounds) break;
        const double scale = MedianSize(sizes), reach = threshold * scale;
        if (!(scale > leastScale * greatest && reach > 0.0)) break;
        std::vector<double> weights(sizes.size());
        different.clear();
        for (size_t i = 0; i < sizes.size(); ++i) {
            const double u = sizes[i] / reach;
            weights[i] = u < 1.0 ? (1.0 - u * u) * (1.0 - u * u) : 0.0;
            if (weights[i] > 0.0 && different.size() < terms) different.insert(x[i]);
        }
        // Too few places are left to carry a polynomial.
        if (different.size() < terms) break;
        found.weights = std::move(weights);
    }
    double sum = 0.0;
    for (const double size : sizes) sum += size * size;
    const auto freedom = static_cast<double>(x.size()) - static_cast<double>(terms);
    found.residualSd = std::sqrt(sum / std::max(freedom, 1.0));
    found.coefficients = InX(found.scaledCoefficients, found.middle, found.half);
    return found;
}

}  // namespace kymora
