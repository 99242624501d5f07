#include "statistics/correlogram.h"

#include <algorithm>
#include <array>
#include <boost/math/distributions/poisson.hpp>
#include <cmath>
#include <map>
#include <numeric>

#include "host/progress.h"
#include "statistics/uniform_draw.h"

namespace kymora {

namespace {

// Hands on the lags of all pairs in pieces.
template <typename Work>
void ForLags(std::span<const double> times1, std::span<const double> times2, Trains trains,
             const ValueRange& range, Work work) {
    std::array<double, 1024> lags;
    ForLagsOfEach(times1, times2, range, [&](size_t first, size_t last, size_t index2) {
        const double time = times2[index2];
        const auto handOn = [&](size_t from, size_t to) {
            for (size_t at = from; at < to; at += lags.size()) {
                const size_t count = std::min(lags.size(), to - at);
                for (size_t i = 0; i < count; ++i) lags[i] = std::max(times1[at + i] - time, range.minimum);
                work(std::span<const double>(lags.data(), count));
            }
        };
        // In one train the lag 0 of an event with itself is in the range only if the event is.
        if (trains == Trains::same && first <= index2 && index2 < last) {
            handOn(first, index2);
            handOn(index2 + 1, last);
        } else {
            handOn(first, last);
        }
    });
}

double LengthOf(const TimeStretch& stretch) { return std::max(0.0, stretch.end - stretch.start); }

// Uniform times within the stretches, ascending.
class TimeDraws {
  public:
    explicit TimeDraws(std::span<const TimeStretch> region) : region_(region) {
        for (const TimeStretch& stretch : region) ends_.push_back(total_ += LengthOf(stretch));
    }
    double Total() const { return total_; }

    void Draw(std::mt19937& random, std::vector<double>& times) const {
        for (double& time : times) {
            const double at = UniformDraw(random) * total_;
            const auto end = std::upper_bound(ends_.begin(), ends_.end() - 1, at);
            const auto index = static_cast<size_t>(end - ends_.begin());
            const double before = index == 0 ? 0.0 : ends_[index - 1];
            time = region_[index].start + (at - before);
        }
        std::sort(times.begin(), times.end());
    }

  private:
    std::span<const TimeStretch> region_;
    std::vector<double> ends_;  // lengths summed up to each stretch
    double total_ = 0.0;
};

// How often each count was found, by count.
using CountsOfCounts = std::map<int64_t, int64_t>;

double PercentileOf(const CountsOfCounts& found, int64_t total, double share) {
    const double rank = std::ceil(share * static_cast<double>(total));
    double upTo = 0.0;
    for (const auto& [count, times] : found) {
        upTo += static_cast<double>(times);
        if (upTo >= rank) return static_cast<double>(count);
    }
    return found.empty() ? 0.0 : static_cast<double>(found.rbegin()->first);
}

constexpr double lowerShare = 0.005;
constexpr double upperShare = 0.995;

}  // namespace

int64_t CountLags(std::span<const double> times1, std::span<const double> times2, Trains trains,
                  const ValueRange& lags) {
    int64_t count = 0;
    ForLagsOfEach(times1, times2, lags, [&](size_t first, size_t last, size_t index2) {
        const bool itself = trains == Trains::same && first <= index2 && index2 < last;
        count += static_cast<int64_t>(last - first) - (itself ? 1 : 0);
    });
    return count;
}

std::vector<double> GetLags(std::span<const double> times1, std::span<const double> times2, Trains trains,
                            const ValueRange& lags) {
    std::vector<double> all;
    all.reserve(static_cast<size_t>(CountLags(times1, times2, trains, lags)));
    ForLags(times1, times2, trains, lags,
            [&all](std::span<const double> some) { all.insert(all.end(), some.begin(), some.end()); });
    return all;
}

Histogram GetCorrelogram(std::span<const double> times1, std::span<const double> times2, Trains trains,
                         const BinGrid& grid, const Poll& poll) {
    Histogram histogram(grid);
    if (FaultOf(grid) != GridFault::none) return histogram;
    ForLags(times1, times2, trains, {grid.minimum, grid.maximum}, [&](std::span<const double> lags) {
        if (!IsWanted(poll, 0.0)) throw Cancelled();
        histogram.Add(lags);
    });
    return histogram;
}

double PoissonQuantile(double mean, double p) {
    constexpr double most = 1e15;  // beyond it, counts are no longer told apart
    if (!(mean >= 0.0 && mean <= most) || !(p > 0.0 && p < 1.0)) return noStatistic;
    if (mean == 0.0) return 0.0;
    return boost::math::quantile(boost::math::poisson_distribution<double>(mean), p);
}

CountLimits GetPoissonLimits(double expected) {
    return {expected, PoissonQuantile(expected, lowerShare), PoissonQuantile(expected, upperShare)};
}

std::optional<CountLimits> GetBootstrapLimits(const ChanceTrains& chance, const BinGrid& grid,
                                              std::mt19937& random, const Poll& poll) {
    if (chance.runs < 1 || chance.eventCount < 0 || FaultOf(grid) != GridFault::none) return {};
    const TimeDraws draws(chance.region);
    if (!(draws.Total() > 0.0) || !std::isfinite(draws.Total())) return {};
    std::vector<double> times(static_cast<size_t>(chance.eventCount));
    CountsOfCounts found;
    double sum = 0.0;
    for (int run = 0; run < chance.runs; ++run) {
        if (!IsWanted(poll, static_cast<double>(run) / chance.runs)) return {};
        draws.Draw(random, times);
        const auto stimuli = chance.trains == Trains::same ? std::span<const double>(times) : chance.stimuli;
        const Histogram correlogram = GetCorrelogram(times, stimuli, chance.trains, grid);
        for (const double count : correlogram.Counts()) ++found[static_cast<int64_t>(count)];
        sum += correlogram.InRange();
    }
    const int64_t total = static_cast<int64_t>(chance.runs) * grid.count;
    return CountLimits{sum / static_cast<double>(total), PercentileOf(found, total, lowerShare),
                       PercentileOf(found, total, upperShare)};
}

std::optional<JitterBand> GetJitterBand(std::span<const double> times1, std::span<const double> times2,
                                        double window, int runs, const BinGrid& grid, std::mt19937& random,
                                        const Poll& poll) {
    if (!(window > 0.0) || runs < 1 || FaultOf(grid) != GridFault::none) return {};
    const auto bins = static_cast<size_t>(grid.count), count = static_cast<size_t>(runs);
    std::vector<float> all(bins * count);  // bin by bin
    std::vector<double> moved(times1.size());
    for (size_t run = 0; run < count; ++run) {
        if (!IsWanted(poll, static_cast<double>(run) / runs)) return {};
        for (size_t i = 0; i < moved.size(); ++i)
            moved[i] = (std::floor(times1[i] / window) + UniformDraw(random)) * window;
        std::sort(moved.begin(), moved.end());
        const Histogram correlogram = GetCorrelogram(moved, times2, Trains::different, grid);
        for (size_t bin = 0; bin < bins; ++bin)
            all[bin * count + run] = static_cast<float>(correlogram.Counts()[bin]);
    }
    JitterBand band;
    for (size_t bin = 0; bin < bins; ++bin) {
        const auto counts = std::span(all).subspan(bin * count, count);
        std::sort(counts.begin(), counts.end());
        const auto at = [&](double share) {
            return counts[static_cast<size_t>(std::max(0.0, std::ceil(share * runs) - 1.0))];
        };
        band.expected.push_back(std::accumulate(counts.begin(), counts.end(), 0.0) / runs);
        band.lower.push_back(at(lowerShare));
        band.upper.push_back(at(upperShare));
    }
    return band;
}

}  // namespace kymora
