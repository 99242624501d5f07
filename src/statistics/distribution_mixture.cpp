#include "statistics/distribution_mixture.h"

#include <algorithm>
#include <boost/math/special_functions/gamma.hpp>
#include <cfloat>
#include <cmath>
#include <numbers>
#include <numeric>

#include "statistics/descriptive.h"

namespace kymora {

namespace {

// A special function that gives in where it cannot: overflow and underflow are no faults of a likelihood.
using GammaPolicy = boost::math::policies::policy<
    boost::math::policies::domain_error<boost::math::policies::ignore_error>,
    boost::math::policies::pole_error<boost::math::policies::ignore_error>,
    boost::math::policies::overflow_error<boost::math::policies::ignore_error>,
    boost::math::policies::underflow_error<boost::math::policies::ignore_error>,
    boost::math::policies::evaluation_error<boost::math::policies::ignore_error>,
    boost::math::policies::promote_double<false>>;

double LowerGamma(double shape, double x) { return boost::math::gamma_p(shape, x, GammaPolicy()); }
double UpperGamma(double shape, double x) { return boost::math::gamma_q(shape, x, GammaPolicy()); }

// P(lower <= value < upper) from the tail in which it does not vanish beside 1.
template <typename Lower, typename Upper>
double Between(double lower, double upper, double middle, Lower lowerTail, Upper upperTail) {
    if (lower >= middle) return upperTail(lower) - upperTail(upper);
    if (upper <= middle) return lowerTail(upper) - lowerTail(lower);
    return 1.0 - lowerTail(lower) - upperTail(upper);
}

double GaussianWithin(const MixtureComponent& part, double lower, double upper) {
    const auto tail = [&part](double distance) {
        return 0.5 * std::erfc(distance / (part.sd * std::numbers::sqrt2));
    };
    return Between(
        lower, upper, part.mean, [&](double at) { return tail(part.mean - at); },
        [&](double at) { return tail(at - part.mean); });
}

double ExponentialWithin(const MixtureComponent& part, double lower, double upper) {
    lower = std::max(lower, 0.0);
    if (!(upper > lower)) return 0.0;
    return -std::exp(-lower / part.mean) * std::expm1((lower - upper) / part.mean);
}

struct GammaShape {
    explicit GammaShape(const MixtureComponent& part)
        : shape((part.mean / part.sd) * (part.mean / part.sd)), scale(part.sd / part.mean * part.sd) {}
    double shape;
    double scale;
};

double GammaWithin(const MixtureComponent& part, double lower, double upper) {
    lower = std::max(lower, 0.0);
    if (!(upper > lower)) return 0.0;
    const GammaShape gamma(part);
    return Between(
        lower, upper, part.mean, [&](double at) { return LowerGamma(gamma.shape, at / gamma.scale); },
        [&](double at) { return UpperGamma(gamma.shape, at / gamma.scale); });
}

double PoissonAt(double mean, double count) {
    return count < 0.0 ? 0.0 : std::exp(count * std::log(mean) - mean - std::lgamma(count + 1.0));
}

double PoissonWithin(const MixtureComponent& part, double lower, double upper) {
    constexpr double fewNumbers = 16.0;
    const double first = std::max(0.0, std::ceil(lower));
    const double end = std::ceil(upper);
    if (!(end > first)) return 0.0;
    if (end - first <= fewNumbers) {
        double sum = 0.0;
        for (double count = first; count < end; ++count) sum += PoissonAt(part.mean, count);
        return sum;
    }
    // Up to n - 1 with the probability that a gamma variable of shape n is beyond the mean.
    return Between(
        first, end, part.mean, [&](double n) { return n > 0.0 ? UpperGamma(n, part.mean) : 0.0; },
        [&](double n) { return n > 0.0 ? LowerGamma(n, part.mean) : 1.0; });
}

double WithinOf(MixtureFamily family, const MixtureComponent& part, double lower, double upper) {
    switch (family) {
    case MixtureFamily::exponential:
        return ExponentialWithin(part, lower, upper);
    case MixtureFamily::gamma:
        return GammaWithin(part, lower, upper);
    case MixtureFamily::poisson:
        return PoissonWithin(part, lower, upper);
    default:
        return GaussianWithin(part, lower, upper);
    }
}

double GammaDensity(const MixtureComponent& part, double value) {
    const GammaShape gamma(part);
    const double x = value / gamma.scale;
    if (value < 0.0) return 0.0;
    if (value == 0.0) return gamma.shape > 1.0 ? 0.0 : gamma.shape == 1.0 ? 1.0 / gamma.scale : HUGE_VAL;
    return std::exp((gamma.shape - 1.0) * std::log(x) - x - std::lgamma(gamma.shape)) / gamma.scale;
}

double DensityOfPart(MixtureFamily family, const MixtureComponent& part, double value) {
    switch (family) {
    case MixtureFamily::exponential:
        return value < 0.0 ? 0.0 : std::exp(-value / part.mean) / part.mean;
    case MixtureFamily::gamma:
        return GammaDensity(part, value);
    case MixtureFamily::poisson:
        return PoissonAt(part.mean, std::floor(value));
    default: {
        const double u = (value - part.mean) / part.sd;
        return std::exp(-0.5 * u * u) / (part.sd * std::sqrt(2.0 * std::numbers::pi));
    }
    }
}

double SumOf(std::span<const double> counts) { return std::accumulate(counts.begin(), counts.end(), 0.0); }

// The free parameters of a mixture as a vector, and back.
class MixtureVector {
  public:
    explicit MixtureVector(const Mixture& mixture)
        : family_(mixture.family), count_(mixture.components.size()) {}

    size_t Size() const { return count_ * (HasOwnSd(family_) ? 3 : 2) - 1; }

    std::vector<double> From(const Mixture& mixture) const {
        std::vector<double> values;
        for (size_t i = 0; i + 1 < count_; ++i) values.push_back(mixture.components[i].proportion);
        for (const MixtureComponent& part : mixture.components) values.push_back(part.mean);
        if (HasOwnSd(family_))
            for (const MixtureComponent& part : mixture.components) values.push_back(part.sd);
        return values;
    }

    Mixture To(std::span<const double> values) const {
        Mixture mixture{family_, std::vector<MixtureComponent>(count_)};
        double rest = 1.0;
        for (size_t i = 0; i < count_; ++i) {
            MixtureComponent& part = mixture.components[i];
            part.proportion = i + 1 < count_ ? values[i] : rest;
            rest -= part.proportion;
            part.mean = values[count_ - 1 + i];
            part.sd = HasOwnSd(family_) ? values[2 * count_ - 1 + i] : SdOf(part.mean);
        }
        // What rounding leaves of nothing.
        double& last = mixture.components.back().proportion;
        if (std::fabs(last) < 4.0 * DBL_EPSILON) last = 0.0;
        return mixture;
    }

    // First steps of a search: tenths of what the parameters can be about.
    std::vector<double> Steps(const Mixture& mixture) const {
        constexpr double part = 0.1;
        std::vector<double> steps(count_ - 1, part);
        for (const MixtureComponent& one : mixture.components) steps.push_back(part * one.sd);
        if (HasOwnSd(family_))
            for (const MixtureComponent& one : mixture.components) steps.push_back(part * one.sd);
        return steps;
    }

    double SdOf(double mean) const { return family_ == MixtureFamily::poisson ? std::sqrt(mean) : mean; }

  private:
    MixtureFamily family_;
    size_t count_;
};

MixtureFit::End EndOf(PowellResult::End end) {
    switch (end) {
    case PowellResult::End::rounds:
        return MixtureFit::End::rounds;
    case PowellResult::End::lineIterations:
        return MixtureFit::End::lineIterations;
    case PowellResult::End::cancelled:
        return MixtureFit::End::cancelled;
    default:
        return MixtureFit::End::fitted;
    }
}

}  // namespace

MixtureFault FaultOf(const Mixture& mixture) {
    if (mixture.components.empty() || mixture.components.size() > mostComponents)
        return MixtureFault::components;
    for (const MixtureComponent& part : mixture.components) {
        if (!(part.proportion >= 0.0 && part.proportion <= 1.0)) return MixtureFault::proportions;
        if (!std::isfinite(part.mean)) return MixtureFault::mean;
        if (mixture.family != MixtureFamily::gaussian && !(part.mean > 0.0)) return MixtureFault::mean;
        if (HasOwnSd(mixture.family) && !(part.sd > 0.0 && std::isfinite(part.sd))) return MixtureFault::sd;
    }
    return MixtureFault::none;
}

PoissonFault FindPoissonFault(std::span<const double> values, const BinGrid& grid) {
    const double width = grid.Width();
    const double whole = std::round(width);
    if (!(whole >= 1.0) || std::fabs(width - whole) > binTolerance * whole) return PoissonFault::width;
    const bool fit = std::all_of(values.begin(), values.end(), [](double value) {
        return !(value < 0.0) && !(value != std::floor(value));
    });
    return fit ? PoissonFault::none : PoissonFault::values;
}

double DensityOf(const Mixture& mixture, double value) {
    if (FaultOf(mixture) != MixtureFault::none) return noStatistic;
    double sum = 0.0;
    for (const MixtureComponent& part : mixture.components)
        if (part.proportion > 0.0) sum += part.proportion * DensityOfPart(mixture.family, part, value);
    return sum;
}

double ProbabilityWithin(const Mixture& mixture, double lower, double upper) {
    if (FaultOf(mixture) != MixtureFault::none) return noStatistic;
    double sum = 0.0;
    for (const MixtureComponent& part : mixture.components)
        if (part.proportion > 0.0)
            sum += part.proportion * std::max(0.0, WithinOf(mixture.family, part, lower, upper));
    return sum;
}

double LogLikelihood(const Mixture& mixture, std::span<const double> counts, const BinGrid& grid) {
    if (FaultOf(mixture) != MixtureFault::none) return -HUGE_VAL;
    double sum = 0.0;
    for (size_t i = 0; i < counts.size(); ++i) {
        if (!(counts[i] > 0.0)) continue;
        const int bin = static_cast<int>(i);
        const double probability = ProbabilityWithin(mixture, grid.Edge(bin), grid.Edge(bin + 1));
        sum += counts[i] * std::log(probability > DBL_MIN ? probability : DBL_MIN);
    }
    return sum;
}

MixtureReport ReportOf(const Mixture& mixture, std::span<const double> counts, const BinGrid& grid) {
    const double n = SumOf(counts);
    const double k = static_cast<double>(MixtureVector(mixture).Size());
    MixtureReport report;
    report.freeParameters = static_cast<int>(k);
    report.logLikelihood = LogLikelihood(mixture, counts, grid);
    double saturated = 0.0;
    for (const double count : counts)
        if (count > 0.0) saturated += count * std::log(count / n);
    report.relativeLogLikelihood = report.logLikelihood - saturated;
    const double twice = 2.0 * k - 2.0 * report.logLikelihood;
    report.aicc = n > k + 1.0 ? twice + 2.0 * k * (k + 1.0) / (n - k - 1.0) : noStatistic;
    report.bic = n > 0.0 ? k * std::log(n) - 2.0 * report.logLikelihood : noStatistic;
    return report;
}

Mixture StartFromQuantiles(MixtureFamily family, int components, std::span<const double> values) {
    const auto count = static_cast<size_t>(std::clamp(components, 1, static_cast<int>(mostComponents)));
    Mixture mixture{family, std::vector<MixtureComponent>(count)};
    std::vector<double> sorted(values.begin(), values.end());
    std::sort(sorted.begin(), sorted.end());
    const MeanSd all = GetMeanSd(sorted);
    const double spread = all.sd > 0.0 ? all.sd / static_cast<double>(count) : 1.0;
    double rest = 1.0;
    for (size_t i = 0; i < count; ++i) {
        const size_t first = i * sorted.size() / count;
        const size_t end = (i + 1) * sorted.size() / count;
        const MeanSd group = GetMeanSd(std::span<const double>(sorted).subspan(first, end - first));
        MixtureComponent& part = mixture.components[i];
        part.proportion = i + 1 < count ? 1.0 / static_cast<double>(count) : rest;
        rest -= part.proportion;
        // Fewer values than components leave groups empty; they begin at the mean of all.
        part.mean = group.count > 0 ? group.mean : all.count > 0 ? all.mean : 0.0;
        part.sd = group.sd > 0.0 ? group.sd : spread;
        if (!HasOwnSd(family)) part.sd = MixtureVector(mixture).SdOf(part.mean);
    }
    return mixture;
}

MixtureFit FitMixture(const Mixture& start, std::span<const double> counts, const BinGrid& grid,
                      const Poll& poll) {
    MixtureFit fit;
    fit.mixture = start;
    if (start.components.empty() || start.components.size() > mostComponents) return fit;
    const MixtureVector vector(start);
    const std::vector<double> from = vector.From(start);
    const Mixture whole = vector.To(from);
    const auto minusLogLikelihood = [&](const Mixture& mixture) {
        return 0.0 - LogLikelihood(mixture, counts, grid);  // 0 has no sign
    };
    fit.before = fit.after = minusLogLikelihood(whole);
    if (FaultOf(whole) != MixtureFault::none || !(SumOf(counts) > 0.0)) return fit;
    PowellOptions options;
    options.steps = vector.Steps(whole);
    const SpaceFunction function = [&](std::span<const double> values) {
        return minusLogLikelihood(vector.To(values));
    };
    const PowellResult found = FindMinimum(function, from, options, poll);
    fit.end = EndOf(found.end);
    if (fit.end != MixtureFit::End::fitted || !(found.value <= fit.before)) return fit;
    fit.mixture = vector.To(found.at);
    fit.after = found.value;
    return fit;
}

}  // namespace kymora
