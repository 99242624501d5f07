#pragma once
// Mixtures of up to four distributions of one family: their densities, what they expect in bins, and their
// fit to the counts of bins by maximum likelihood (G. J. McLachlan and D. Peel, Finite Mixture Models, 2000,
// chapter 9). Means and s.d.s have the unit of the values, proportions go from 0 to 1.

#include <cstdint>
#include <span>
#include <vector>

#include "numerics/poll.h"
#include "numerics/powell.h"
#include "statistics/binning.h"

namespace kymora {

inline constexpr size_t mostComponents = 4;

// The numbers are stored in configurations.
enum class MixtureFamily { gaussian = 0, exponential = 1, gamma = 2, poisson = 3 };

// Whether the s.d. is a parameter of its own; an exponential's is its mean, a Poisson's the root of it.
inline bool HasOwnSd(MixtureFamily family) {
    return family == MixtureFamily::gaussian || family == MixtureFamily::gamma;
}

struct MixtureComponent {
    double proportion = 1.0;
    double mean = 0.0;
    double sd = 1.0;  // of no account where the family has none of its own
};

struct Mixture {
    MixtureFamily family = MixtureFamily::gaussian;
    std::vector<MixtureComponent> components;
};

// Why a mixture has no density.
enum class MixtureFault {
    none,
    components,   // none, or more than four
    proportions,  // one is outside 0 to 1, or is no number
    mean,         // not finite, or not above 0 in another family than the Gaussian
    sd,           // not above 0, or not finite
};
MixtureFault FaultOf(const Mixture& mixture);

// What speaks against a Poisson distribution of these values in these bins.
enum class PoissonFault {
    none,
    width,   // the bins have no whole width
    values,  // a value is negative or no whole number
};
PoissonFault FindPoissonFault(std::span<const double> values, const BinGrid& grid);

// Probability per unit of the values; of a Poisson distribution, that of the whole number at or below the
// value. A not-a-number where the mixture has a fault, as below.
double DensityOf(const Mixture& mixture, double value);
// Probability from lower to below upper, to full precision in both tails. Of a Poisson distribution, that of
// the whole numbers there.
double ProbabilityWithin(const Mixture& mixture, double lower, double upper);

// LL = sum over the bins of n ln(F(upper) - F(lower)), without a constant and not conditional on the range.
// Minus infinity where the mixture has a fault. A probability below the smallest normal double is taken as
// that, so that a search finds its way back from far away.
double LogLikelihood(const Mixture& mixture, std::span<const double> counts, const BinGrid& grid);

struct MixtureReport {
    double logLikelihood = 0.0;          // LL
    double relativeLogLikelihood = 0.0;  // LL - sum n ln(n / N), against the histogram itself
    double aicc = 0.0;       // 2k - 2LL + 2k(k + 1) / (N - k - 1); no number where N is not above k + 1
    double bic = 0.0;        // k ln N - 2LL
    int freeParameters = 0;  // k: 3K - 1, or 2K - 1 without s.d.s
};
MixtureReport ReportOf(const Mixture& mixture, std::span<const double> counts, const BinGrid& grid);

// To begin with: the values, which must be finite, in as many equal groups by size as there are components (1
// to 4); the proportion, mean and s.d. of each. A group without spread gets that of all values over their
// number; if there is none either, 1.
Mixture StartFromQuantiles(MixtureFamily family, int components, std::span<const double> values);

struct MixtureFit {
    enum class End {
        fitted,
        rounds,  // as of the search
        lineIterations,
        cancelled,
        noLikelihood,  // the start has a fault, or there are no counts
    };
    End end = End::noLikelihood;
    Mixture mixture;      // the start, unless fitted
    double before = 0.0;  // -LL of the start
    double after = 0.0;   // -LL of the result
};

// Searches the largest likelihood from the start: over K - 1 proportions, the last being 1 minus the rest, K
// means and, where the family has them, K s.d.s. The start's last proportion is set to 1 minus the rest. A
// fit that does not end, or ends worse than it began, keeps the start. The counts are those of the grid's
// bins.
MixtureFit FitMixture(const Mixture& start, std::span<const double> counts, const BinGrid& grid,
                      const Poll& poll = {});

}  // namespace kymora
