#pragma once
// The tails of the Poisson distribution as logarithms, which neither underflow nor become infinite.
// Natural logarithms; the same bits on every machine.

#include <cstdint>

namespace kymora {

// ln P(X >= count) of a mean above 0, for a count from 1 on. The term at `count` by C. Loader's deviance
// ("Fast and accurate computation of binomial probabilities", 2000), times the series of those behind it;
// where the mean is above the count, the complement of the terms below.
double LogPoissonTail(int64_t count, double mean);

// ln P(X <= count) of a mean above 0, for a count from 0 on, in the same ways.
double LogPoissonHead(int64_t count, double mean);

// At least -LogPoissonTail, never more than 0.6 above it where the mean is below the count, and far
// cheaper. Behind the term at `count` the tail is at least 2 c / (c - m + sqrt((c - m)^2 + 4 m)) times as
// large (its ratios are log-convex in c); a mean above the count has Chernoff's bound. Not the same bits
// everywhere: for choosing what is worth the exact value.
double PoissonSurpriseBound(int64_t count, double mean);

}  // namespace kymora
