#pragma once
// How much two trains have to do with each other: the correlation index, which counts the events of one train
// within a window around those of another against what chance puts there, and the spike time tiling
// coefficient (C. S. Cutts and S. J. Eglen, J. Neurosci. 34, 14288 (2014)), which does not depend on rates.

#include <cstdint>
#include <span>
#include <vector>

#include "numerics/poll.h"
#include "trains/train_coverage.h"

namespace kymora {

// A train within a region, with the time around its events.
struct CoveredTrain {
    std::vector<int64_t> onsets;  // in the region, ascending
    std::vector<TrainStretch> coverage;
    double share = 0.0;  // of the region that is covered, 0 to 1
};
// Of the samples `from` to `to` after each onset. The region is joined.
CoveredTrain CoverTrain(std::span<const int64_t> onsets, int64_t from, int64_t to,
                        std::span<const TrainStretch> region);

// Below so many expected events the test of the index does not hold.
inline constexpr double leastExpected = 5.0;

struct CorrelationIndex {
    enum class State {
        found,
        noReference,      // no events of the reference in the region
        noOther,          // none of the other train
        tooFewWithin,     // fewer than 5 are expected within the windows
        tooFewElsewhere,  // or outside of them
    };
    State state = State::found;
    int64_t inside = 0, total = 0;  // events of the other train: in the windows, in the region
    double expected = 0.0;          // in the windows, by chance
    double index = 0.0;             // inside / expected
    // Of so large a difference by chance: chi-squared with one degree of freedom, each of the two deviations
    // less 0.5.
    double p = 1.0;
};
CorrelationIndex IndexOf(const CoveredTrain& reference, std::span<const int64_t> other);

// -1 to 1; 1 where the trains are one. Both have been covered from -dt to dt and have events.
double TilingCoefficient(const CoveredTrain& a, const CoveredTrain& b);

// The coefficients of all pairs, the first train with all others, then the second with those behind it.
// Throws Cancelled when the poll ends it.
std::vector<double> TilingOfAll(std::span<const CoveredTrain> trains, const Poll& poll = {});

// The coefficient of `a` with `b` moved earlier by each lag, which ascend: the lag at which it is largest is
// by how much b follows a. Events that leave the region with the move do not count; not-a-number where none
// is left. Throws Cancelled.
std::vector<double> TilingAgainstLag(const CoveredTrain& a, std::span<const int64_t> b, int64_t halfWindow,
                                     std::span<const int64_t> lags, std::span<const TrainStretch> region,
                                     const Poll& poll = {});

}  // namespace kymora
