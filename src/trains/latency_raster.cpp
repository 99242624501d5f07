#include "trains/latency_raster.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "host/progress.h"
#include "numerics/moving_average.h"
#include "statistics/binning.h"

namespace kymora {

std::vector<LatencyMark> MakeLatencyMarks(std::span<const int64_t> stimuli,
                                          std::span<const int64_t> responses, int64_t from, int64_t end,
                                          size_t most, const Poll& poll) {
    std::vector<LatencyMark> marks;
    size_t first = 0;
    for (size_t row = 0; row < stimuli.size(); ++row) {
        if (!IsWanted(poll, static_cast<double>(row) / static_cast<double>(stimuli.size())))
            throw Cancelled();
        while (first < responses.size() && responses[first] < stimuli[row] + from) ++first;
        for (size_t i = first; i < responses.size() && responses[i] < stimuli[row] + end; ++i) {
            if (marks.size() == most) return marks;
            marks.push_back(
                {static_cast<int32_t>(row), static_cast<int32_t>(i), responses[i] - stimuli[row]});
        }
    }
    return marks;
}

std::vector<int32_t> RowsByLatency(std::span<const LatencyMark> marks, int32_t stimuli) {
    constexpr int64_t none = std::numeric_limits<int64_t>::max();
    std::vector<int64_t> latencies(static_cast<size_t>(stimuli), none);
    for (const LatencyMark& mark : marks) {
        int64_t& least = latencies[static_cast<size_t>(mark.stimulus)];
        if (mark.latency >= 0) least = std::min(least, mark.latency);
    }
    std::vector<int32_t> order(latencies.size());
    std::iota(order.begin(), order.end(), 0);
    std::ranges::stable_sort(order, {}, [&](int32_t row) { return latencies[static_cast<size_t>(row)]; });
    return order;
}

// The smoothing adds up: stimuli without responses add nothing to the sums.
SmoothedResponses SmoothResponses(std::span<const LatencyMark> marks, int32_t stimuli, double from,
                                  double width, int bins, int halfWindow, const Poll& poll) {
    constexpr int smoothings = 4;
    const auto size = static_cast<size_t>(bins);
    std::vector<double> sums(size), squares(size);
    std::vector<float> counts(size), smooth(size);
    for (size_t i = 0; i < marks.size();) {
        if (!IsWanted(poll, static_cast<double>(i) / static_cast<double>(marks.size()))) throw Cancelled();
        std::ranges::fill(counts, 0.0f);
        const int32_t stimulus = marks[i].stimulus;
        for (; i < marks.size() && marks[i].stimulus == stimulus; ++i) {
            const double bin = (static_cast<double>(marks[i].latency) - from) / width + binTolerance;
            if (bin >= 0.0 && bin < bins) counts[static_cast<size_t>(bin)] += 1.0f;
        }
        GetMovingAverageIter(counts, halfWindow > 0 ? smoothings : 0, static_cast<size_t>(halfWindow),
                             smooth);
        for (size_t bin = 0; bin < size; ++bin) {
            sums[bin] += smooth[bin];
            squares[bin] += double{smooth[bin]} * smooth[bin];
        }
    }
    SmoothedResponses found{std::vector<double>(size), std::vector<double>(size)};
    const double n = stimuli;
    for (size_t bin = 0; bin < size && stimuli > 0; ++bin) {
        found.mean[bin] = sums[bin] / n;
        const double spread = std::max(0.0, squares[bin] - sums[bin] * sums[bin] / n);
        if (stimuli > 1) found.standardError[bin] = std::sqrt(spread / (n - 1.0) / n);
    }
    return found;
}

int64_t ShortestInterval(std::span<const int64_t> ascending) {
    int64_t shortest = 0;
    for (size_t i = 1; i < ascending.size(); ++i) {
        const int64_t interval = ascending[i] - ascending[i - 1];
        if (interval > 0 && (shortest == 0 || interval < shortest)) shortest = interval;
    }
    return shortest;
}

}  // namespace kymora
