#include "trains/sojourn_fit.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "statistics/descriptive.h"

namespace kymora {

namespace {

constexpr double leastProportion = 1e-6;  // to begin with
constexpr double firstStep = 0.3;         // of a logarithm
constexpr int meansLookedAt = 24;         // for one part more
constexpr size_t mostStarts = 3;          // from which a search begins
constexpr double shareOfOneMore = 0.05;   // to begin with
constexpr int roundsOfShare = 30;         // in which its proportion settles
constexpr int roundsOfSettling = 60;      // and then the whole mixture

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

// Where the density is too small for a number, the largest of its parts stands before the sum.
double LogDensityOfTail(std::span<const MixtureComponent> parts, double beyond) {
    double largest = -HUGE_VAL, sum = 0.0;
    const auto levelOf = [&](const MixtureComponent& part) {
        return std::log(part.proportion) - std::log(part.mean) - beyond / part.mean;
    };
    for (const MixtureComponent& part : parts) largest = std::max(largest, levelOf(part));
    if (!std::isfinite(largest)) return largest;
    for (const MixtureComponent& part : parts) sum += std::exp(levelOf(part) - largest);
    return largest + std::log(sum);
}

double LogLikelihoodOf(std::span<const MixtureComponent> parts, std::span<const CountedDuration> durations) {
    double sum = 0.0;
    for (const auto& [beyond, count] : durations) {
        double density = 0.0;
        for (const MixtureComponent& part : parts)
            density += part.proportion / part.mean * std::exp(-beyond / part.mean);
        sum += count * (density > DBL_MIN ? std::log(density) : LogDensityOfTail(parts, beyond));
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

// What durations beyond the dead time tell of the mixture, as that of all of them.
void TellOfAll(std::vector<MixtureComponent>& parts, double deadTime) {
    double all = 0.0;
    for (MixtureComponent& part : parts)
        all += part.proportion *= std::exp(std::min(deadTime / part.mean, 50.0));
    for (MixtureComponent& part : parts) part.proportion /= all;
}

// Rounds of expectation and maximization, which stay at the rise of the likelihood on which they begin, where
// the steps of a search may leave it.
void Settle(std::vector<MixtureComponent>& parts, std::span<const CountedDuration> durations,
            double leastMean) {
    std::vector<double> weights(parts.size()), sums(parts.size()), shares(parts.size());
    for (int round = 0; round < roundsOfSettling; ++round) {
        std::ranges::fill(weights, 0.0);
        std::ranges::fill(sums, 0.0);
        double all = 0.0;
        for (const auto& [beyond, count] : durations) {
            double density = 0.0;
            for (size_t i = 0; i < parts.size(); ++i)
                density += shares[i] =
                    parts[i].proportion / parts[i].mean * std::exp(-beyond / parts[i].mean);
            if (!(density > DBL_MIN)) continue;
            for (size_t i = 0; i < parts.size(); ++i) {
                const double share = count * shares[i] / density;
                weights[i] += share;
                sums[i] += share * beyond;
            }
            all += count;
        }
        for (size_t i = 0; i < parts.size(); ++i) {
            parts[i].proportion = std::max(weights[i] / all, leastProportion);
            if (weights[i] > 0.0) parts[i].mean = parts[i].sd = std::max(sums[i] / weights[i], leastMean);
        }
    }
}

// The mixture with one part more, small at first, of each of many means at which that raises the likelihood,
// as its derivative towards the part tells (B. G. Lindsay, "The geometry of mixture likelihoods: a general
// theory", Ann. Stat. 11, 1983, 86-94): the best few, each settled. Empty where no part gains.
std::vector<Mixture> WithOneMore(const Mixture& mixture, std::span<const CountedDuration> durations,
                                 double deadTime, const Poll& poll) {
    const std::vector<MixtureComponent> seen = MixtureBeyond(mixture, deadTime);
    std::vector<double> logs, ratios(durations.size());
    double all = 0.0;
    for (const auto& [beyond, count] : durations) {
        logs.push_back(LogDensityOfTail(seen, beyond));
        all += count;
    }
    const double leastMean = LeastMean(durations);
    const double lowest = std::log(leastMean), highest = std::log(durations.back().beyond);
    std::vector<std::pair<double, Mixture>> starts;  // with their likelihoods
    for (int k = 0; k <= meansLookedAt && IsWanted(poll, 0.0); ++k) {
        const double mean = std::exp(lowest + (highest - lowest) * k / meansLookedAt);
        // Of the density of the part to that of the mixture.
        double gain = -all;
        for (size_t i = 0; i < ratios.size(); ++i) {
            ratios[i] = std::exp(-std::log(mean) - durations[i].beyond / mean - logs[i]);
            gain += durations[i].count * ratios[i];
        }
        if (!(gain > 0.0)) continue;
        double share = shareOfOneMore;
        for (int round = 0; round < roundsOfShare; ++round) {
            double sum = 0.0;
            for (size_t i = 0; i < ratios.size(); ++i)
                sum += durations[i].count * share * ratios[i] / (1.0 - share + share * ratios[i]);
            share = std::clamp(sum / all, leastProportion, 1.0 - leastProportion);
        }
        std::vector<MixtureComponent> parts = seen;
        for (MixtureComponent& part : parts) part.proportion *= 1.0 - share;
        parts.push_back({share, mean, mean});
        Settle(parts, durations, leastMean);
        const double likelihood = LogLikelihoodOf(parts, durations);
        TellOfAll(parts, deadTime);
        starts.emplace_back(likelihood, Mixture{MixtureFamily::exponential, std::move(parts)});
    }
    std::ranges::stable_sort(starts, std::ranges::greater(), &std::pair<double, Mixture>::first);
    std::vector<Mixture> best;
    for (size_t i = 0; i < std::min(starts.size(), mostStarts); ++i) best.push_back(starts[i].second);
    return best;
}

}  // namespace

double DeadTimeBetweenSamples(double deadTime, double interval) {
    const double leastSeen = std::ceil(deadTime / interval * (1.0 - 1e-9));
    return std::clamp((leastSeen - 0.5) * interval, 0.0, deadTime);
}

std::vector<MixtureComponent> MixtureBeyond(const Mixture& mixture, double deadTime) {
    std::vector<MixtureComponent> parts = mixture.components;
    // The part of which the most is seen sets the scale: all of them may be too rare for a number.
    double nearest = HUGE_VAL, seen = 0.0;
    for (const MixtureComponent& part : parts)
        if (part.proportion > 0.0) nearest = std::min(nearest, deadTime / part.mean);
    for (MixtureComponent& part : parts)
        if (part.proportion > 0.0) seen += part.proportion *= std::exp(nearest - deadTime / part.mean);
    for (MixtureComponent& part : parts) part.proportion /= seen;
    return parts;
}

double SojournLogLikelihood(const Mixture& mixture, std::span<const double> durations, double deadTime) {
    if (!IsUsable(mixture)) return -HUGE_VAL;
    return LogLikelihoodOf(MixtureBeyond(mixture, deadTime), CountDurations(durations, deadTime));
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
    const double shortest = std::max(*std::ranges::max_element(beyond) / static_cast<double>(beyond.size()),
                                     LeastMean(CountDurations(durations, deadTime)));
    for (MixtureComponent& part : start.components) part.mean = part.sd = std::max(part.mean, shortest);
    TellOfAll(start.components, deadTime);
    return start;
}

SojournFit FitSojourns(const Mixture& start, std::span<const double> durations, double deadTime,
                       const Poll& poll) {
    SojournFit fit;
    fit.mixture = start;
    fit.logLikelihood = SojournLogLikelihood(start, durations, deadTime);
    if (!IsUsable(start)) return fit;
    const std::vector<CountedDuration> counted = CountDurations(durations, deadTime);
    const double leastMean = LeastMean(counted);
    Mixture inside = start;
    for (MixtureComponent& part : inside.components) part.mean = part.sd = std::max(part.mean, leastMean);
    const bool isInside = std::ranges::all_of(
        start.components, [&](const MixtureComponent& part) { return part.mean >= leastMean; });
    const std::vector<double> from = PlaceOf(inside);
    PowellOptions options;
    options.steps.assign(from.size(), firstStep);
    const double lowest = std::log(leastMean);
    const size_t means = start.components.size();
    // Asked at each place: a round of the search is long where the durations are many.
    bool isWanted = true;
    double share = 0.0;  // of the rounds that there may be
    const SpaceFunction function = [&](std::span<const double> place) {
        isWanted = isWanted && IsWanted(poll, share);
        const bool isPlace =
            std::ranges::all_of(place.first(means), [&](double mean) { return mean >= lowest; });
        return isWanted && isPlace ? -LogLikelihoodOf(MixtureBeyond(MixtureAt(place), deadTime), counted)
                                   : HUGE_VAL;
    };
    const PowellResult found = FindMinimum(function, from, options, [&](double done) {
        share = done;
        return isWanted;
    });
    fit.end = isWanted ? found.end : PowellResult::End::cancelled;
    if (fit.end != PowellResult::End::converged || !std::isfinite(found.value)) return fit;
    fit.isFitted = true;
    // A start whose means are all in the range of the search may be the best there is.
    if (isInside && !(-found.value >= fit.logLikelihood)) return fit;
    fit.mixture = MixtureAt(found.at);
    fit.logLikelihood = -found.value;
    std::ranges::stable_sort(fit.mixture.components, {}, &MixtureComponent::mean);
    return fit;
}

SojournFit FitOneMoreSojourn(const SojournFit& fewer, std::span<const double> durations, double deadTime,
                             const Poll& poll) {
    const std::vector<MixtureComponent>& parts = fewer.mixture.components;
    std::vector<Mixture> starts =
        WithOneMore(fewer.mixture, CountDurations(durations, deadTime), deadTime, poll);
    starts.push_back(StartOfSojourns(static_cast<int>(parts.size()) + 1, durations, deadTime));
    SojournFit best;
    for (size_t i = 0; i < starts.size(); ++i) {
        SojournFit fit = FitSojourns(starts[i], durations, deadTime, [&](double done) {
            return IsWanted(poll, (static_cast<double>(i) + done) / static_cast<double>(starts.size()));
        });
        if (fit.end == PowellResult::End::cancelled) return fit;
        const bool isBetter = fit.isFitted && (!best.isFitted || fit.logLikelihood > best.logLikelihood);
        if (i == 0 || isBetter) best = std::move(fit);
    }
    if (!best.isFitted || !fewer.isFitted || best.logLikelihood >= fewer.logLikelihood) return best;
    // Two equal parts are as good as the one: nothing better is known.
    best.mixture = fewer.mixture;
    best.mixture.components.back().proportion /= 2.0;
    best.mixture.components.push_back(best.mixture.components.back());
    best.logLikelihood = fewer.logLikelihood;
    return best;
}

SojournFit FitSojournsFromData(int components, std::span<const double> durations, double deadTime,
                               const Poll& poll) {
    int step = 0;
    const Poll part = [&](double done) { return IsWanted(poll, (step + done) / components); };
    SojournFit fit = FitSojourns(StartOfSojourns(1, durations, deadTime), durations, deadTime, part);
    while (++step < components && fit.end != PowellResult::End::cancelled)
        fit = FitOneMoreSojourn(fit, durations, deadTime, part);
    return fit;
}

LikelihoodRatio CompareSojourns(double logLikelihood, double logLikelihoodOfOneMore) {
    const double statistic = 2.0 * (logLikelihoodOfOneMore - logLikelihood);
    return {statistic, std::exp(-std::max(statistic, 0.0) / 2.0)};
}

}  // namespace kymora
