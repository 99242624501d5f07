#pragma once
// How long states last: mixtures of up to four exponential distributions, fitted to dwell times by maximum
// likelihood (D. Colquhoun and F. J. Sigworth, in Single-Channel Recording, 1995, chapter 19).

#include <span>

#include "numerics/poll.h"
#include "numerics/powell.h"
#include "statistics/distribution_mixture.h"

namespace kymora {

// The dead time of durations that are whole samples: the least that is seen, k, stands for what lasts from
// k - 1/2, so that a dead time is no later than that. One on a sample would leave the durations equal to it
// no time at all, which a mean of nothing explains best. In the unit of both.
double DeadTimeBetweenSamples(double deadTime, double interval);

// The mixture of what lasts longer than the dead time, in the time beyond it: again one of exponentials.
std::vector<MixtureComponent> MixtureBeyond(const Mixture& mixture, double deadTime);

// Sum of ln f(t) of all durations, which are above or at the dead time: those that are shorter are not seen,
// and the density is that of the rest. Minus infinity for a mixture that has a fault or is none of
// exponentials. Durations and dead time have one unit.
double SojournLogLikelihood(const Mixture& mixture, std::span<const double> durations, double deadTime = 0.0);

struct SojournReport {
    double logLikelihood = 0.0;
    double aicc = 0.0;       // 2k - 2LL + 2k(k + 1) / (n - k - 1); no number where n is not above k + 1
    double bic = 0.0;        // k ln n - 2LL
    int freeParameters = 0;  // k = 2K - 1
};
SojournReport ReportOnSojourns(const Mixture& mixture, std::span<const double> durations,
                               double deadTime = 0.0);

// Exponentials to begin with: the durations beyond the dead time in as many equal groups by length. The
// proportions are those of all sojourns, also of the unseen ones.
Mixture StartOfSojourns(int components, std::span<const double> durations, double deadTime = 0.0);

struct SojournFit {
    PowellResult::End end = PowellResult::End::converged;
    Mixture mixture;             // by ascending mean; the start where the search did not end
    double logLikelihood = 0.0;  // of it
    bool isFitted = false;       // the mixture is what a search has found
};
// Searches the largest likelihood from the start over the logarithms of the means and of the ratios of the
// proportions to the last one, so that every place of the search is a mixture. No mean is below a tenth of
// the step in which durations are told apart; those of the start that are begin there.
SojournFit FitSojourns(const Mixture& start, std::span<const double> durations, double deadTime = 0.0,
                       const Poll& poll = {});
// The best of the searches from the durations' groups and from a fit with a part more, small, wherever that
// gains. It is never less likely than that fit.
SojournFit FitOneMoreSojourn(const SojournFit& fewer, std::span<const double> durations,
                             double deadTime = 0.0, const Poll& poll = {});
// From one exponential up, each time by one more.
SojournFit FitSojournsFromData(int components, std::span<const double> durations, double deadTime = 0.0,
                               const Poll& poll = {});

// Whether one more exponential is worth it: twice the gain of log-likelihood, and the share of a chi-squared
// distribution with two degrees of freedom above it. It is a guide: the smaller model lies on the border of
// the larger one.
struct LikelihoodRatio {
    double statistic = 0.0;
    double p = 1.0;
};
LikelihoodRatio CompareSojourns(double logLikelihood, double logLikelihoodOfOneMore);

}  // namespace kymora
