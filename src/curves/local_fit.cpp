#include "curves/local_fit.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr double settledChange = 1e-6;
constexpr double roundingShare = 1e-12;  // of the fit's largest value; no float shows it

std::vector<double> Tricube(size_t window, size_t place) {
    const auto farthest = static_cast<double>(std::max(place, window - 1 - place));
    std::vector<double> weights(window, 1.0);
    for (size_t i = 0; i < window && farthest > 0.0; ++i) {
        const double u = std::fabs(static_cast<double>(i) - static_cast<double>(place)) / farthest;
        const double side = 1.0 - u * u * u;
        weights[i] = side * side * side;
    }
    return weights;
}

// Four sums at once, so that the next addition need not wait for the last.
double Dot(const double* a, const double* b, size_t count) {
    double sums[4] = {};
    size_t i = 0;
    for (; i + 4 <= count; i += 4)
        for (size_t k = 0; k < 4; ++k) sums[k] += a[i + k] * b[i + k];
    for (; i < count; ++i) sums[0] += a[i] * b[i];
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

}  // namespace

LocalFit::LocalFit(size_t window, size_t place, const LocalFitSettings& settings)
    : settings_(settings),
      place_(place),
      tricube_(Tricube(window, place)),
      fixed_(window, settings.polyDegree),
      robust_(window, settings.polyDegree),
      samples_(window),
      fit_(window),
      sizes_(window),
      weights_(window),
      factors_(static_cast<size_t>(settings.polyDegree) + 1) {
    fixed_.Build(tricube_);
    rows_.resize(fixed_.Terms() * window);
    for (size_t term = 0; term < fixed_.Terms(); ++term)
        for (size_t i = 0; i < window; ++i)
            rows_[term * window + i] = tricube_[i] * fixed_.Values(term)[i] / fixed_.Norm(term);
}

double LocalFit::Value(std::span<const float> samples) {
    std::copy(samples.begin(), samples.end(), samples_.begin());
    return ValueOfSamples();
}
double LocalFit::Value(std::span<const double> samples) {
    std::copy(samples.begin(), samples.end(), samples_.begin());
    return ValueOfSamples();
}

double LocalFit::ValueOfSamples() {
    FitTricube();
    double value = FitAtPlace(fixed_);
    for (int round = 0; round < settings_.robustRounds && std::isfinite(value); ++round) {
        if (round == 0 && settings_.robustRounds > 1) powers_ = fixed_.Powers(factors_);
        if (!FitRobust()) break;
        value = FitAtPlace(robust_);
        if (round + 1 < settings_.robustRounds && HasSettled(robust_)) break;
    }
    return value;
}

void LocalFit::FitTricube() {
    const size_t count = samples_.size();
    for (size_t term = 0; term < fixed_.Terms(); ++term)
        factors_[term] = Dot(rows_.data() + term * count, samples_.data(), count);
}

// False when there is nothing to gain from another fit.
bool LocalFit::FitRobust() {
    const double scale = ResidualScale();
    if (!(scale > 0.0)) return false;
    const size_t count = samples_.size();
    for (size_t i = 0; i < count; ++i) {
        const double ratio = (samples_[i] - fit_[i]) / scale;
        const double side = std::max(0.0, 1.0 - ratio * ratio);
        weights_[i] = tricube_[i] * (side * side);
    }
    robust_.Build(weights_);
    if (robust_.Terms() == 0) return false;
    for (size_t i = 0; i < count; ++i) weights_[i] *= samples_[i];
    for (size_t term = 0; term < robust_.Terms(); ++term)
        factors_[term] = Dot(robust_.Values(term).data(), weights_.data(), count) / robust_.Norm(term);
    return true;
}

double LocalFit::FitAtPlace(const OrthogonalPolynomials& terms) {
    std::fill(fit_.begin(), fit_.end(), factors_[0]);
    for (size_t term = 1; term < terms.Terms(); ++term) {
        const double factor = factors_[term];
        const double* const values = terms.Values(term).data();
        for (size_t i = 0; i < fit_.size(); ++i) fit_[i] += factor * values[i];
    }
    return fit_[place_];
}

double LocalFit::ResidualScale() {
    const size_t count = samples_.size();
    double largest = 0.0;
    for (size_t i = 0; i < count; ++i) {
        sizes_[i] = std::fabs(samples_[i] - fit_[i]);
        largest = std::max(largest, std::fabs(fit_[i]));
    }
    const auto middle = sizes_.begin() + static_cast<std::ptrdiff_t>(count / 2);
    std::nth_element(sizes_.begin(), middle, sizes_.end());
    return *middle <= roundingShare * largest ? 0.0 : settings_.outlierThreshold * *middle;
}

bool LocalFit::HasSettled(const OrthogonalPolynomials& terms) {
    std::vector<double> old = terms.Powers(factors_);
    old.swap(powers_);
    for (size_t i = 0; i < old.size(); ++i) {
        const double change = std::fabs(powers_[i] - old[i]);
        if (change != 0.0 && !(change / std::fabs(old[i]) < settledChange)) return false;
    }
    return true;
}

}  // namespace kymora
