#include "statistics/knuth_bins.h"

#include <algorithm>
#include <cmath>

#include "statistics/descriptive.h"

namespace kymora {

namespace {

// lgamma(count + 0.5), remembered for small counts, of which there are most.
class LogGammas {
  public:
    LogGammas() : known_(4096) {
        for (size_t count = 0; count < known_.size(); ++count)
            known_[count] = std::lgamma(static_cast<double>(count) + 0.5);
    }
    double Of(size_t count) const {
        return count < known_.size() ? known_[count] : std::lgamma(static_cast<double>(count) + 0.5);
    }

  private:
    std::vector<double> known_;
};

// Sorted values in bins of their range.
class KnuthCounts {
  public:
    KnuthCounts(std::span<const double> sorted, double upper)
        : minimum_(sorted.front()), length_(upper - sorted.front()) {
        distances_.reserve(sorted.size());
        for (const double value : sorted) distances_.push_back(value - minimum_);
    }

    double LogP(size_t bins) {
        const double n = static_cast<double>(distances_.size());
        const double m = static_cast<double>(bins);
        counts_.assign(bins, 0);
        if (distances_.size() < bins * worthAStep)
            CountValues(bins);
        else
            CountEdges(bins);
        double sum = 0.0;
        for (const size_t count : counts_) sum += logGammas_.Of(count);
        return n * std::log(m) + std::lgamma(m / 2.0) - std::lgamma(n + m / 2.0) - m * std::lgamma(0.5) + sum;
    }

  private:
    static constexpr size_t worthAStep = 16;  // fewer values in a bin than this are better taken one by one

    // The quotient whose whole part is the bin. It never falls from one sorted value to the next, rounded as
    // it is, so the values of a bin are neighbours.
    double PlaceOf(double distance, double bins) const { return bins * distance / length_; }

    void CountValues(size_t bins) {
        const double m = static_cast<double>(bins);
        for (const double distance : distances_) {
            const double place = PlaceOf(distance, m);
            ++counts_[place < m ? static_cast<size_t>(place) : bins - 1];
        }
    }

    void CountEdges(size_t bins) {
        const double m = static_cast<double>(bins);
        auto from = distances_.begin();
        for (size_t bin = 0; bin + 1 < bins; ++bin) {
            const double edge = static_cast<double>(bin + 1);
            const auto to = std::partition_point(
                from, distances_.end(), [&](double distance) { return PlaceOf(distance, m) < edge; });
            counts_[bin] = static_cast<size_t>(to - from);
            from = to;
        }
        counts_[bins - 1] = static_cast<size_t>(distances_.end() - from);
    }

    double minimum_;
    double length_;
    std::vector<double> distances_;  // of the values from the minimum, ascending
    std::vector<size_t> counts_;
    LogGammas logGammas_;
};

}  // namespace

KnuthBins FindKnuthBins(std::span<const double> values, int most, const Poll& poll) {
    std::vector<double> sorted = ValuesWithin(values, {});
    KnuthBins result;
    if (sorted.empty()) return result;
    std::sort(sorted.begin(), sorted.end());
    result.minimum = sorted.front();
    result.upper = sorted.back() + sorted.back() / 1000.0;
    const double length = result.upper - result.minimum;
    if (!(sorted.front() < sorted.back()) || !(length > 0.0) || !std::isfinite(length)) return result;
    KnuthCounts counts(sorted, result.upper);
    most = std::max(most, 1);
    result.logP.reserve(static_cast<size_t>(most));
    for (int bins = 1; bins <= most; ++bins) {
        if (!IsWanted(poll, static_cast<double>(bins - 1) / most)) {
            result.logP.clear();
            result.state = KnuthBins::State::cancelled;
            return result;
        }
        result.logP.push_back(counts.LogP(static_cast<size_t>(bins)));
    }
    const auto best = std::max_element(result.logP.begin(), result.logP.end());
    result.best = static_cast<int>(best - result.logP.begin()) + 1;
    result.state = KnuthBins::State::found;
    return result;
}

}  // namespace kymora
