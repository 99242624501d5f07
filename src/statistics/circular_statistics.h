#pragma once
// Statistics of phases: the values of a range that closes to a circle (Fisher, Statistical Analysis of
// Circular Data, 1993; p of Rayleigh's test by the approximation in Zar, Biostatistical Analysis).
//
// With a = 2 pi (value - minimum) / (maximum - minimum): C = mean cos a, S = mean sin a, R = sqrt(C^2 + S^2).
// The mean angle is that of (C, S), from 0 to 2 pi; the s.d. is sqrt(2 (1 - R)), 1 - R held at 0; and p =
// exp(sqrt(1 + 4n + 4 (n^2 - (nR)^2)) - (1 + 2n)), small where the phases are no chance.

#include <cstdint>
#include <span>

#include "statistics/descriptive.h"

namespace kymora {

struct CircularStatistics {
    enum class State {
        tooFew,  // fewer than 2 values in the range, or no range
        noMean,  // R is below 1e-7: the directions cancel each other
        found,
    };
    State state = State::tooFew;
    int64_t count = 0;  // of the values in the range
    // Not-a-numbers unless found.
    double mean = noStatistic;  // in the unit of the values, like the s.d.
    double sd = noStatistic;
    double meanDegrees = noStatistic;
    double vectorStrength = noStatistic;  // R, 0 to 1
    double p = noStatistic;
};

// Of the finite values from the minimum to below the maximum, both finite.
CircularStatistics GetCircularStatistics(std::span<const double> values, const ValueRange& range);

}  // namespace kymora
