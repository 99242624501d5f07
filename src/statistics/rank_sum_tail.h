#pragma once
// How likely a sum of ranks is as small as it is, when each of them is drawn from 1 .. most alike.

#include <cstdint>

namespace kymora {

inline constexpr int leastNormalRanks = 30;  // from so many on the normal distribution stands for the sum's

// ln P(sum of `count` ranks <= sum), at most 0 and never infinite. Exact below 30 ranks: the sum over k of
// (-1)^k C(count, k) C(sum - k most, count) / most^count (B. Gourevitch and J. J. Eggermont, J. Neurosci.
// Methods 160, 2007), where a sum that is no whole number has falling factorials in place of binomials.
double LogRankSumTail(int count, double sum, int64_t most);

// The distance of a sum from its mean, in standard deviations.
double RankSumScore(int count, double sum, int64_t most);

// ln of the lower tail of the normal distribution, also far beyond where the tail itself underflows.
double LogNormalTail(double z);

}  // namespace kymora
