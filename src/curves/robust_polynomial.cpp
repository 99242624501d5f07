#include "curves/robust_polynomial.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "curves/orthogonal_polynomials.h"
#include "statistics/descriptive.h"

namespace kymora {

namespace {

constexpr double tuning = 4.685, madOfSd = 0.6745;
constexpr int mostAbsoluteRounds = 30, mostBisquareRounds = 100;
constexpr double settled = 1e-12, leastDistance = 1e-9;  // of the range of y

// Points whose x lies between -1 and 1, and the fit to them.
class Fit {
  public:
    Fit(std::vector<double> places, std::span<const double> y, int degree,
        const std::function<void()>& between)
        : y_(y),
          between_(between),
          terms_(std::move(places), degree),
          fit_(y.size()),
          distances_(y.size()),
          weights_(y.size(), 1.0) {
        const auto [least, most] = std::ranges::minmax(y);
        range_ = std::max(most - least, std::max(std::fabs(least), std::fabs(most)) * 1e-6);
    }

    void Run() {
        Solve();
        for (int round = 0; round < mostAbsoluteRounds && WeighByDistance(); ++round)
            if (Solve()) break;
        for (int round = 0; round < mostBisquareRounds && WeighBisquare(); ++round)
            if (Solve()) break;
    }
    double Mad() const { return GetQuartiles(distances_).median; }
    const std::vector<double>& Values() const { return fit_; }
    std::vector<double> Powers() const { return terms_.Powers(factors_); }

  private:
    // True when the fit has stayed where it was.
    bool Solve() {
        if (between_) between_();
        terms_.Build(weights_);
        factors_.assign(terms_.Terms(), 0.0);
        std::vector<double> fit(y_.size(), 0.0);
        for (size_t k = 0; k < terms_.Terms(); ++k) {
            const auto values = terms_.Values(k);
            double sum = 0.0;
            for (size_t i = 0; i < y_.size(); ++i) sum += weights_[i] * values[i] * y_[i];
            factors_[k] = sum / terms_.Norm(k);
            for (size_t i = 0; i < y_.size(); ++i) fit[i] += factors_[k] * values[i];
        }
        double moved = 0.0;
        for (size_t i = 0; i < y_.size(); ++i) {
            moved = std::max(moved, std::fabs(fit[i] - fit_[i]));
            distances_[i] = std::fabs(y_[i] - fit[i]);
        }
        fit_ = std::move(fit);
        return moved <= settled * range_;
    }
    bool WeighByDistance() {
        for (size_t i = 0; i < y_.size(); ++i)
            weights_[i] = range_ / std::max(distances_[i], leastDistance * range_);
        return range_ > 0.0;
    }
    bool WeighBisquare() {
        const double reach = tuning * Mad() / madOfSd;
        if (reach <= leastDistance * range_) return false;
        for (size_t i = 0; i < y_.size(); ++i) {
            const double u = distances_[i] / reach;
            weights_[i] = u < 1.0 ? (1.0 - u * u) * (1.0 - u * u) : 0.0;
        }
        return true;
    }

    std::span<const double> y_;
    const std::function<void()>& between_;
    OrthogonalPolynomials terms_;
    std::vector<double> factors_, fit_, distances_, weights_;
    double range_ = 0.0;
};

// A polynomial of (x - middle) / half as one of x.
std::vector<double> Unscaled(const std::vector<double>& scaled, double middle, double half) {
    std::vector<double> powers(scaled.size(), 0.0);
    for (size_t k = scaled.size(); k-- > 0;) {
        // Horner: what is there x (x - middle) / half, plus the factor.
        for (size_t i = powers.size(); i-- > 0;)
            powers[i] = ((i > 0 ? powers[i - 1] : 0.0) - middle * powers[i]) / half;
        powers[0] += scaled[k];
    }
    return powers;
}

double Horner(const std::vector<double>& powers, double x) {
    double sum = 0.0;
    for (size_t k = powers.size(); k-- > 0;) sum = sum * x + powers[k];
    return sum;
}

}  // namespace

double RobustPolynomial::At(double x) const { return Horner(scaledPowers, (x - middle) / half); }

RobustPolynomial FitRobustPolynomial(std::span<const double> x, std::span<const double> y, int degree,
                                     const std::function<void()>& between) {
    if (x.empty()) return {};
    const auto [least, most] = std::ranges::minmax(x);
    const double middle = (least + most) / 2.0, half = most > least ? (most - least) / 2.0 : 1.0;
    std::vector<double> places;
    for (const double at : x) places.push_back((at - middle) / half);
    std::set<double> different;
    for (size_t i = 0; i < places.size() && different.size() <= static_cast<size_t>(degree); ++i)
        different.insert(places[i]);
    Fit fit(std::move(places), y, std::min(degree, static_cast<int>(different.size()) - 1), between);
    fit.Run();
    std::vector<double> scaled = fit.Powers(), powers = Unscaled(scaled, middle, half);
    powers.resize(static_cast<size_t>(degree) + 1, 0.0);
    return {std::move(powers), std::move(scaled), middle, half, fit.Values(), fit.Mad()};
}

}  // namespace kymora
