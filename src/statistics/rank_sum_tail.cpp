#include "statistics/rank_sum_tail.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace kymora {

namespace {

// C(x, count) / most^count. Its factors are all small, so that neither their product nor the powers overflow.
double ShareOf(double x, int count, double most) {
    double share = 1.0;
    for (int j = 0; j < count; ++j) share *= (x - j) / ((j + 1) * most);
    return share;
}

double ExactTail(int count, double sum, double most) {
    double tail = 0.0, choices = 1.0;
    const double last = std::floor((sum - count) / most);
    for (int k = 0; k <= last && k <= count; ++k) {
        tail += choices * ShareOf(sum - k * most, count, most);
        choices *= -static_cast<double>(count - k) / (k + 1);
    }
    return tail;
}

}  // namespace

double RankSumScore(int count, double sum, int64_t most) {
    const auto n = static_cast<double>(most);
    return (sum - count * (n + 1.0) / 2.0) / std::sqrt(count * (n * n - 1.0) / 12.0);
}

double LogNormalTail(double z) {
    if (z > -30.0) return std::log(0.5 * std::erfc(-z / std::sqrt(2.0)));
    const double square = 1.0 / (z * z);
    return -0.5 * z * z - std::log(-z * std::sqrt(2.0 * std::numbers::pi)) +
           std::log1p(-square * (1.0 - 3.0 * square));
}

double LogRankSumTail(int count, double sum, int64_t most) {
    if (count >= leastNormalRanks) return LogNormalTail(RankSumScore(count, sum, most));
    const double tail = ExactTail(count, sum, static_cast<double>(most));
    return std::log(std::clamp(tail, std::numeric_limits<double>::min(), 1.0));
}

}  // namespace kymora
