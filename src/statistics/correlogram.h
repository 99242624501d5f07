#pragma once
// Differences of event times: peri-stimulus histograms, cross- and autocorrelograms, and what their bins
// would hold by chance. Times, lags and widths have one unit, such as ms; times ascend, equal ones allowed.
//
// A lag is t1 - t2, of an event 1 that comes after event 2 where it is positive. Lags from the minimum to
// below the maximum of a range take part (Perkel, Gerstein and Moore, Biophys. J. 1967). Times are rounded,
// so that a lag that misses a limit by no more than their rounding lies on it; lags are never below the
// minimum.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <span>
#include <vector>

#include "numerics/poll.h"
#include "statistics/binning.h"
#include "statistics/descriptive.h"

namespace kymora {

// By how much a lag of these times can miss a limit although it lies on it.
inline double RoundingOfLags(std::span<const double> times1, std::span<const double> times2) {
    double most = 0.0;
    for (const auto& times : {times1, times2})
        if (!times.empty()) most = std::max({most, std::fabs(times.front()), std::fabs(times.back())});
    return 4.0 * std::numeric_limits<double>::epsilon() * most;
}

// For each event of `times2` in order, calls `work` (first, last, index2) with the range of indices of
// `times1` whose lags are in the range, where it is not empty. Takes steps as many as there are times.
template <typename Work>
void ForLagsOfEach(std::span<const double> times1, std::span<const double> times2, const ValueRange& lags,
                   Work work) {
    const double rounding = RoundingOfLags(times1, times2);
    const double least = lags.minimum - rounding;
    const double end = lags.maximum - rounding;
    size_t first = 0;
    size_t last = 0;
    for (size_t index2 = 0; index2 < times2.size(); ++index2) {
        const double time = times2[index2];
        while (first < times1.size() && !(times1[first] - time >= least)) ++first;
        last = last < first ? first : last;
        while (last < times1.size() && times1[last] - time < end) ++last;
        if (first < last) work(first, last, index2);
    }
}

// Whether two trains are one, so that no event is paired with itself.
enum class Trains { different, same };

// How many lags are in the range, so that their memory can be known before they are made.
int64_t CountLags(std::span<const double> times1, std::span<const double> times2, Trains trains,
                  const ValueRange& lags);

// The lags of all pairs in the range, event 2 by event 2. With the same train, give it twice.
std::vector<double> GetLags(std::span<const double> times1, std::span<const double> times2, Trains trains,
                            const ValueRange& lags);

// The same lags counted into bins from the grid's minimum to its maximum, without memory for them. Throws
// Cancelled when the poll ends it.
Histogram GetCorrelogram(std::span<const double> times1, std::span<const double> times2, Trains trains,
                         const BinGrid& grid, const Poll& poll = {});

// The count of a bin if nothing but chance makes it, and the limits of 99% of such counts.
struct CountLimits {
    double expected = 0.0;
    double lower = 0.0;
    double upper = 0.0;
};

// The quantile of a Poisson distribution at p, rounded outward: the largest count whose cumulative
// probability is not above p where p is below 0.5, the smallest where it is not below p elsewhere. 0 for a
// mean of 0; a not-a-number for no mean at all.
double PoissonQuantile(double mean, double p);

// With `expected` counts in a bin: events per time x bin width x stimuli. Limits at 0.005 and 0.995.
CountLimits GetPoissonLimits(double expected);

// A stretch of time in which events can happen, from start to before end.
struct TimeStretch {
    double start = 0.0;
    double end = 0.0;
};

struct ChanceTrains {
    int64_t eventCount = 0;               // events of channel 1 in the stretches
    std::span<const double> stimuli;      // times of channel 2; of no account with the same train
    std::span<const TimeStretch> region;  // stretches that do not overlap; those without length do not count
    Trains trains = Trains::different;
    int runs = 1000;
};

// In each run the events fall anywhere in the region, each place as likely as any other, and their
// correlogram is made. Answers the mean of the counts of all bins and runs, and their 0.5 and 99.5
// percentiles: the smallest count that this share of them does not exceed. The draws are the same on every
// machine. None when the poll ended it, and where there is no region, no run, or a fault in the grid.
std::optional<CountLimits> GetBootstrapLimits(const ChanceTrains& chance, const BinGrid& grid,
                                              std::mt19937& random, const Poll& poll = {});

// What the bins would hold if only the order within short windows were chance: in each run every event of
// channel 1 falls anywhere within that window of a fixed grid in which it lies (A. Amarasingham,
// M. T. Harrison, N. G. Hatsopoulos and S. Geman, J. Neurophysiol. 107, 517 (2012)), so that rates that
// change more slowly stay as they are. For each bin the mean, and the 0.5 and 99.5 percentiles of all runs.
struct JitterBand {
    std::vector<double> expected, lower, upper;
};
// None when the poll ended it, and where the window has no length, there is no run, or a fault in the grid.
std::optional<JitterBand> GetJitterBand(std::span<const double> times1, std::span<const double> times2,
                                        double window, int runs, const BinGrid& grid, std::mt19937& random,
                                        const Poll& poll = {});

}  // namespace kymora
