#include "eventedit/shuffle_intervals.h"

#include "statistics/random_draws.h"

namespace kymora {

std::vector<int64_t> ReorderIntervals(std::span<const int32_t> onsets, IntervalOrder order,
                                      std::mt19937& random) {
    std::vector<int64_t> intervals;
    for (size_t i = 1; i < onsets.size(); ++i) intervals.push_back(int64_t{onsets[i]} - onsets[i - 1]);
    if (order == IntervalOrder::shuffle) {
        Shuffle(random, intervals);
    } else {
        const std::vector<int64_t> all = intervals;
        for (int64_t& interval : intervals)
            interval = all[IndexDraw(random, static_cast<uint32_t>(all.size()))];
    }
    std::vector<int64_t> made(onsets.begin(), onsets.end());
    for (size_t i = 1; i < made.size(); ++i) made[i] = made[i - 1] + intervals[i - 1];
    return made;
}

}  // namespace kymora
