#include "trains/sojourn_fit.h"

#include <algorithm>
#include <cmath>

#include "statistics/descriptive.h"

namespace kymora {

namespace {

constexpr double leastProportion = 1e-6;  // to begin with
constexpr double firstStep = 0.3;         // of a logarithm

// Durations are whole samples, so that many are equal.
struct CountedDuration {
    double beyond = 0.0;  // the dead time
    double count = 0.0;
};

std::vector<CountedDuration> CountDurations(std::span<const double> durations, double deadTime) {
    std::vector<double> sorted(durations.begin(), durations.end());
    std::ranges::sort(sorted);
    std::vector<CountedDuration> counted;
    for (const double duration : sorted) {
        if (counted.empty() || counted.back().beyond != duration - deadTime)
            counted.push_back({duration - deadTime, 0.0});
        counted.back().count += 1.0;
    }
    return counted;
}

// The mixture of what lasts longer than the dead time, in the time beyond it: again one of exponentials.
std::vector<MixtureComponent> Beyond(const Mixture& mixture, double deadTime) {
    std::vector<MixtureComponent> parts = mixture.components;
    double seen = 0.0;
    for (MixtureComponent& part : parts) seen += part.proportion *= std::exp(-deadTime / part.mean);
    for (MixtureComponent& part : parts) part.proportion /= seen;
    return parts;
}

double LogLikelihoodOf(std::span<const MixtureComponent> parts, std::span<const CountedDuration> durations) {
    double sum = 0.0;
    for (const auto& [beyond, count] : durations) {
        double density = 0.0;
        for (const MixtureComponent& part : parts)
            density += part.proportion / part.mean * std::exp(-beyond / part.mean);
        sum += count * std::log(density);
    }
    return sum;
}

// No mean of a search is shorter: where durations are equal to the dead time, a mean of nothing would explain
// them without end. A tenth of the step in which durations are told apart.
double LeastMean(std::span<const CountedDuration> durations) {
    constexpr double share = 0.1;
    double least = durations.back().beyond > 0.0 ? durations.back().beyond : 1.0;
    for (size_t i = 1; i < durations.size(); ++i)
        least = std::min(least, durations[i].beyond - durations[i - 1].beyond);
    return share * least;
}

bool IsUsable(const Mixture& mixture) {
    return mixture.family == MixtureFamily::exponential && FaultOf(mixture) == MixtureFault::none;
}

std::vector<double> PlaceOf(const Mixture& mixture) {
    std::vector<double> place;
    const auto& parts = mixture.components;
    place.reserve(2 * parts.size());
    const auto level = [](const MixtureComponent& part) {
        return std::log(std::max(part.proportion, leastProportion));
    };
    for (const MixtureComponent& part : parts) place.push_back(std::log(part.mean));
    for (size_t i = 0; i + 1 < parts.size(); ++i) place.push_back(level(parts[i]) - level(parts.back()));
    return place;
}

Mixture MixtureAt(std::span<const double> place) {
    const size_t count = (place.size() + 1) / 2;
    Mixture mixture{MixtureFamily::exponential, std::vector<MixtureComponent>(count)};
    double highest = 0.0, sum = 0.0;
    for (size_t i = count; i < place.size(); ++i) highest = std::max(highest, place[i]);
    for (size_t i = 0; i < count; ++i) {
        MixtureComponent& part = mixture.components[i];
        part.mean = part.sd = std::exp(place[i]);
        part.proportion = std::exp((i + 1 < count ? place[count + i] : 0.0) - highest);
        sum += part.proportion;
    }
    for (MixtureComponent& part : mixture.components) part.proportion /= sum;
    return mixture;
}

}  // namespace

double SojournLogLikelihood(const Mixture& mixture, std::span<const double> durations, double deadTime) {
    if (!IsUsable(mixture)) return -HUGE_VAL;
    return LogLikelihoodOf(Beyond(mixture, deadTime), CountDurations(durations, deadTime));
}

SojournReport ReportOnSojourns(const Mixture& mixture, std::span<const double> durations, double deadTime) {
    SojournReport report;
    const auto n = static_cast<double>(durations.size());
    report.freeParameters = static_cast<int>(2 * mixture.components.size()) - 1;
    const double k = report.freeParameters;
    report.logLikelihood = SojournLogLikelihood(mixture, durations, deadTime);
    report.aicc = n > k + 1.0 ? 2.0 * k - 2.0 * report.logLikelihood + 2.0 * k * (k + 1.0) / (n - k - 1.0)
                              : noStatistic;
    report.bic = k * std::log(n) - 2.0 * report.logLikelihood;
    return report;
}

Mixture StartOfSojourns(int components, std::span<const double> durations, double deadTime) {
    std::vector<double> beyond(durations.begin(), durations.end());
    for (double& duration : beyond) duration -= deadTime;
    Mixture start = StartFromQuantiles(MixtureFamily::exponential, components, beyond);
    const double shortest = *std::ranges::max_element(beyond) / static_cast<double>(beyond.size());
    double all = 0.0;
    for (MixtureComponent& part : start.components) {
        part.mean = part.sd = std::max(part.mean, shortest > 0.0 ? shortest : 1.0);
        all += part.proportion *= std::exp(std::min(deadTime / part.mean, 50.0));
    }
    for (MixtureComponent& part : start.components) part.proportion /= all;
    return start;
}

SojournFit FitSojourns(const Mixture& start, std::span<const double> durations, double deadTime,
                       const Poll& poll) {
    SojournFit fit;
    fit.mixture = start;
    fit.logLikelihood = SojournLogLikelihood(start, durations, deadTime);
    if (!std::isfinite(fit.logLikelihood)) return fit;
    const std::vector<CountedDuration> counted = CountDurations(durations, deadTime);
    const std::vector<double> from = PlaceOf(start);
    PowellOptions options;
    options.steps.assign(from.size(), firstStep);
    const double lowest = std::log(LeastMean(counted));
    const size_t means = start.components.size();
    // Asked at each place: a round of the search is long where the durations are many.
    bool isWanted = true;
    double share = 0.0;  // of the rounds that there may be
    const SpaceFunction function = [&](std::span<const double> place) {
        isWanted = isWanted && IsWanted(poll, share);
        const bool isPlace =
            std::ranges::all_of(place.first(means), [&](double mean) { return mean >= lowest; });
        return isWanted && isPlace ? -LogLikelihoodOf(Beyond(MixtureAt(place), deadTime), counted) : HUGE_VAL;
    };
    const PowellResult found = FindMinimum(function, from, options, [&](double done) {
        share = done;
        return isWanted;
    });
    fit.end = isWanted ? found.end : PowellResult::End::cancelled;
    if (fit.end != PowellResult::End::converged || !(-found.value >= fit.logLikelihood)) return fit;
    fit.mixture = MixtureAt(found.at);
    fit.logLikelihood = -found.value;
    std::ranges::stable_sort(fit.mixture.components, {}, &MixtureComponent::mean);
    return fit;
}

LikelihoodRatio CompareSojourns(double logLikelihood, double logLikelihoodOfOneMore) {
    const double statistic = std::max(0.0, 2.0 * (logLikelihoodOfOneMore - logLikelihood));
    return {statistic, std::exp(-statistic / 2.0)};
}

}  // namespace kymora
