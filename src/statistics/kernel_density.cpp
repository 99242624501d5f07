#include "statistics/kernel_density.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "statistics/descriptive.h"
#include "statistics/gauss_sums.h"

namespace kymora {

namespace {

const double rootTwoPi = std::sqrt(2.0 * std::numbers::pi);
const double gaussRoughness = 1.0 / (2.0 * std::sqrt(std::numbers::pi));  // integral of the squared kernel
constexpr double smallEquation = 0.001;                                   // of its first value

// Sums of 1 and of u^2 over the values within a bandwidth of a point. Running sums of deviations within boxes
// of a bandwidth keep the digits that sums over all values would lose.
class WindowSums {
  public:
    WindowSums(std::span<const double> sorted, double bandwidth) : sorted_(sorted), bandwidth_(bandwidth) {
        sums_.reserve(sorted.size());
        Running sum;
        for (size_t i = 0; i < sorted.size(); ++i) {
            if (i == 0 || sorted[i] - sorted[starts_.back()] > bandwidth) {
                starts_.push_back(i);
                sum = {};
            }
            const double d = (sorted[i] - sorted[starts_.back()]) / bandwidth;
            sum.first += d;
            sum.second += d * d;
            sums_.push_back(sum);
        }
    }

    // The values v with |x - v| <= bandwidth.
    std::pair<size_t, size_t> Window(double x) const {
        const auto isBefore = [&](double v) { return (x - v) / bandwidth_ > 1.0; };
        const auto isWithin = [&](double v) { return (x - v) / bandwidth_ >= -1.0; };
        const auto first = std::partition_point(sorted_.begin(), sorted_.end(), isBefore);
        const auto last = std::partition_point(first, sorted_.end(), isWithin);
        return {first - sorted_.begin(), last - sorted_.begin()};
    }

    // Sum of 1 - u^2 over them.
    double Parabolas(double x) const {
        auto [first, last] = Window(x);
        double sum = 0.0;
        while (first < last) {
            const auto next = std::upper_bound(starts_.begin(), starts_.end(), first);
            const size_t start = *(next - 1);
            const size_t end = next == starts_.end() ? last : std::min(last, *next);
            const Running before = first == start ? Running{} : sums_[first - 1];
            const double d1 = sums_[end - 1].first - before.first;
            const double d2 = sums_[end - 1].second - before.second;
            const double t = (x - sorted_[start]) / bandwidth_;
            const double n = static_cast<double>(end - first);
            sum += n * (1.0 - t * t) + 2.0 * t * d1 - d2;
            first = end;
        }
        return std::max(0.0, sum);
    }

  private:
    struct Running {
        double first = 0.0;
        double second = 0.0;
    };
    std::span<const double> sorted_;
    double bandwidth_;
    std::vector<size_t> starts_;  // of the boxes
    std::vector<Running> sums_;
};

Bandwidth Problem(BandwidthProblem problem) { return {1.0, problem}; }

Bandwidth Checked(double value) {
    if (!std::isfinite(value)) return Problem(BandwidthProblem::notFinite);
    if (!(value > 0.0)) return Problem(BandwidthProblem::zero);
    return {value, BandwidthProblem::none};
}

}  // namespace

KernelDensity::KernelDensity(std::span<const double> values) : sorted_(ValuesWithin(values, {})) {
    std::sort(sorted_.begin(), sorted_.end());
}

std::vector<double> EvenPoints(double minimum, double maximum, int count) {
    std::vector<double> points;
    points.reserve(static_cast<size_t>(std::max(0, count)));
    for (int i = 0; i < count; ++i)
        points.push_back(i == 0 ? minimum
                                : std::lerp(minimum, maximum, static_cast<double>(i) / (count - 1)));
    return points;
}

std::vector<double> KernelDensity::Along(double minimum, double maximum, int count, Kernel kernel,
                                         double bandwidth) const {
    return At(EvenPoints(minimum, maximum, count), kernel, bandwidth);
}

std::vector<double> KernelDensity::At(std::span<const double> points, Kernel kernel, double bandwidth) const {
    if (!(bandwidth > 0.0) || !std::isfinite(bandwidth)) return {};
    std::vector<double> densities(points.size(), 0.0);
    if (sorted_.empty()) return densities;
    const double all = static_cast<double>(sorted_.size()) * bandwidth;
    const auto fill = [&](double factor, auto sumAt) {
        for (size_t i = 0; i < points.size(); ++i) densities[i] = factor * sumAt(points[i]) / all;
    };
    if (kernel == Kernel::gaussian) {
        const GaussSums sums(sorted_, bandwidth);
        fill(1.0 / rootTwoPi, [&sums](double x) { return sums.Sum(x); });
        return densities;
    }
    const WindowSums sums(sorted_, bandwidth);
    if (kernel == Kernel::box) {
        fill(0.5, [&sums](double x) {
            const auto [first, last] = sums.Window(x);
            return static_cast<double>(last - first);
        });
    } else {
        fill(0.75, [&sums](double x) { return sums.Parabolas(x); });
    }
    return densities;
}

// --- bandwidths ---

Bandwidth KernelDensity::FindBandwidth(const BandwidthChoice& choice, const Poll& poll) const {
    if (choice.rule == BandwidthRule::user) {
        return choice.user > 0.0 && std::isfinite(choice.user) ? Bandwidth{choice.user}
                                                               : Problem(BandwidthProblem::zero);
    }
    const bool isDefault = choice.rule == BandwidthRule::standard || choice.rule == BandwidthRule::silverman;
    if (!isDefault && choice.kernel != Kernel::gaussian) return Problem(BandwidthProblem::gaussianOnly);
    const MeanSd meanSd = GetMeanSd(sorted_);
    if (meanSd.count < 2 || !(meanSd.sd > 0.0)) return Problem(BandwidthProblem::noSd);
    const double n = static_cast<double>(meanSd.count);
    const double standard = std::pow(4.0 / (3.0 * n), 0.2) * meanSd.sd;
    switch (choice.rule) {
    case BandwidthRule::silverman: {
        const double quartiles = SortedQuantile(sorted_, 0.75) - SortedQuantile(sorted_, 0.25);
        return Checked(0.9 * std::min(meanSd.sd, quartiles / 1.34) * std::pow(n, -0.2));
    }
    case BandwidthRule::amiseFast:
        return FindFast(standard, choice.tailFactor, poll);
    case BandwidthRule::amiseSafe:
        return FindSafe(standard, poll);
    case BandwidthRule::sheatherJones:
        return FindSheatherJones(meanSd.sd, poll);
    default:
        return Checked(standard);
    }
}

double KernelDensity::Roughness(double bandwidth, double from, double to) const {
    constexpr int most = 2048;
    constexpr int enough = 8;
    constexpr double smallChange = 1e-4;
    const GaussSums sums(sorted_, bandwidth);
    const double scale = static_cast<double>(sorted_.size()) * bandwidth * bandwidth * bandwidth * rootTwoPi;
    const auto squareAt = [&](double x) {
        const double curvature = sums.SecondDerivative(x) / scale;
        return curvature * curvature;
    };
    double step = to - from;
    double area = step * (squareAt(from) + squareAt(to)) / 2.0;
    for (int panels = 1; panels < most;) {
        double middles = 0.0;
        for (int i = 0; i < panels; ++i) middles += squareAt(from + (i + 0.5) * step);
        const double before = area;
        area = (before + step * middles) / 2.0;
        step /= 2.0;
        panels *= 2;
        if (panels > enough && std::fabs(area - before) < smallChange * std::fabs(area)) break;
    }
    return area;
}

double KernelDensity::Equation(double h, double from, double to) const {
    const double n = static_cast<double>(sorted_.size());
    return h - std::pow(n * Roughness(h, from, to) / gaussRoughness, -0.2);
}

Bandwidth KernelDensity::FindFast(double h0, int tailFactor, const Poll& poll) const {
    constexpr int mostSteps = 25;
    const double from = sorted_.front() - tailFactor * h0;
    const double to = sorted_.back() + tailFactor * h0;
    double before = h0;
    double gBefore = Equation(before, from, to);
    const double small = smallEquation * std::fabs(gBefore);
    double h = 0.8 * h0;
    double g = Equation(h, from, to);
    for (int step = 0; step < mostSteps && !(std::fabs(g) < small); ++step) {
        if (!IsWanted(poll, static_cast<double>(step) / mostSteps))
            return Problem(BandwidthProblem::cancelled);
        const double next = h - g * (h - before) / (g - gBefore);
        if (!std::isfinite(next)) break;
        if (next <= 0.0) return Problem(BandwidthProblem::fastNotPositive);
        before = h;
        gBefore = g;
        h = next;
        g = Equation(h, from, to);
    }
    return std::isfinite(g) ? Checked(h) : Problem(BandwidthProblem::notFinite);
}

Bandwidth KernelDensity::FindSafe(double h0, const Poll& poll) const {
    const double from = sorted_.front();
    const double to = sorted_.back();
    double low = h0 / static_cast<double>(sorted_.size());
    double high = 2.0 * h0;
    const double gLow = Equation(low, from, to);
    const double gHigh = Equation(high, from, to);
    if (std::isnan(gLow) || std::isnan(gHigh)) return Problem(BandwidthProblem::notFinite);
    if ((gLow < 0.0) == (gHigh < 0.0)) return Problem(BandwidthProblem::notBracketed);
    // An endless value measures nothing.
    const double small = std::isfinite(gLow) ? smallEquation * std::fabs(gLow) : 0.0;
    const double whole = high - low;
    while (high - low >= smallEquation * high) {
        if (!IsWanted(poll, 1.0 - (high - low) / whole)) return Problem(BandwidthProblem::cancelled);
        const double middle = low + (high - low) / 2.0;
        const double g = Equation(middle, from, to);
        if (std::fabs(g) < small) return Checked(middle);
        ((g < 0.0) == (gLow < 0.0) ? low : high) = middle;
    }
    return Checked(low + (high - low) / 2.0);
}

Bandwidth KernelDensity::FindSheatherJones(double sd, const Poll& poll) const {
    constexpr double quartilesOfNormal = 1.349;  // their distance in s.d.
    constexpr double smallBracket = 1e-4;
    const double n = static_cast<double>(sorted_.size());
    double scale = SortedQuantile(sorted_, 0.75) - SortedQuantile(sorted_, 0.25);
    if (!(scale > 0.0) || scale > quartilesOfNormal * sd) scale = quartilesOfNormal * sd;
    // Estimates of the integral of the squared second and third derivative.
    const auto squared = [&](double h, int order) {
        const double sum = GaussPairSum(sorted_, h, order) / (rootTwoPi * n * (n - 1.0));
        return (order == 4 ? sum : -sum) / std::pow(h, order + 1);
    };
    const double ratio = squared(0.920 * scale * std::pow(n, -1.0 / 7.0), 4) /
                         squared(0.912 * scale * std::pow(n, -1.0 / 9.0), 6);
    const double factor = 1.357 * std::pow(ratio, 1.0 / 7.0);
    const auto equation = [&](double h) {
        const double second = squared(factor * std::pow(h, 5.0 / 7.0), 4);
        return std::pow(gaussRoughness / (n * second), 0.2) - h;
    };
    double high = 1.2 * scale * std::pow(n, -0.2);
    double low = high / n;
    const double gLow = equation(low);
    const double gHigh = equation(high);
    if (std::isnan(gLow) || std::isnan(gHigh)) return Problem(BandwidthProblem::notFinite);
    if ((gLow < 0.0) == (gHigh < 0.0)) return Problem(BandwidthProblem::notBracketed);
    const double whole = high - low;
    while (high - low >= smallBracket * high) {
        if (!IsWanted(poll, 1.0 - (high - low) / whole)) return Problem(BandwidthProblem::cancelled);
        const double middle = low + (high - low) / 2.0;
        ((equation(middle) < 0.0) == (gLow < 0.0) ? low : high) = middle;
    }
    return Checked(low + (high - low) / 2.0);
}

}  // namespace kymora
