#pragma once
// The instantaneous frequency of a unit against time, its robust trend, and the spikes that would need it to
// fire faster than it does.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kymora {

inline constexpr size_t fewestTrendSpikes = 5;
inline constexpr int mostTrendHalfWindow = 20;

// The frequency of spike i, from the second one on, is 1 / its distance from the one before. The trend is a
// robust local fit of degree 1 (curves/local_fit.h: 3 rounds, threshold 6) in a window of h = min(20,
// (n - 1) / 2) frequencies on both sides, the first and the last window serving for the ends.
class FiringTrend {
  public:
    // Positions in any unit, ascending; `perSecond` of them are a second. Of fewer than 5 spikes there is no
    // trend, and nothing is too fast.
    FiringTrend(std::span<const int64_t> positions, double perSecond);

    bool IsThere() const { return !trend_.empty(); }
    const std::vector<double>& Frequencies() const { return frequencies_; }  // Hz, of spike i + 1
    const std::vector<double>& Trend() const { return trend_; }
    double Mad() const { return mad_; }  // median of the distances from the trend, Hz
    // Of the trend at a position, Hz: linear between spikes, beyond them that of the nearest.
    double TrendAt(int64_t position) const;
    // An interval that ends at the later position is shorter than trend + limit x MAD allows.
    bool IsTooFast(int64_t before, int64_t position, double limit) const;

  private:
    std::vector<int64_t> ends_;
    std::vector<double> frequencies_, trend_;
    double perSecond_, mad_ = 0.0;
};

// Spikes to be taken out so that none of them is too fast: of the fastest pair, the first of equals, the one
// with the greater error, the later one of equals; then of what is left. The trend stays. Ascending indices.
std::vector<size_t> FindFastOutliers(std::span<const int64_t> positions, std::span<const double> errors,
                                     double perSecond, double limit);

}  // namespace kymora
