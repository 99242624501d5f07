#pragma once
// The number of bins that data support best, after K. H. Knuth, "Optimal data-based binning for histograms"
// (2006, arXiv physics/0605197): the M of the largest posterior probability of a piecewise constant density.
//
// With N values from `minimum` to `maximum`, the bins reach from the minimum to upper = maximum + maximum /
// 1000: beyond the largest value where that is positive. A value goes to bin truncate(M (v - minimum) /
// (upper - minimum)), held to 0 .. M - 1, and with the counts n(k)
//   logP(M) = N ln M + lgamma(M / 2) - lgamma(N + M / 2) - M lgamma(0.5) + sum over k of lgamma(n(k) + 0.5).

#include <span>
#include <vector>

#include "numerics/poll.h"

namespace kymora {

struct KnuthBins {
    enum class State {
        found,
        noWidth,    // fewer than two different values, or the upper end is not above the minimum
        cancelled,  // the poll ended it
    };
    State state = State::noWidth;
    int best = 0;              // the first of the largest logP; 0 unless found
    std::vector<double> logP;  // of 1, 2, .. bins; empty unless found
    double minimum = 0.0;      // the range to which the number belongs
    double upper = 0.0;
};

// Of the finite values, for 1 to `most` bins; less than 1 is taken as 1. Sorts the values once and then looks
// for the edges of the bins among them, which gives the same counts as taking each value by itself.
KnuthBins FindKnuthBins(std::span<const double> values, int most, const Poll& poll = {});

}  // namespace kymora
