#pragma once
// Surrogates of a channel: its intervals in another order, or drawn from it.

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace kymora {

enum class IntervalOrder : int32_t {
    shuffle = 0,   // each interval once
    resample = 1,  // as many, drawn with replacement
};

// Onsets with such intervals, from the first one on. They and the answer ascend; the answer may pass any end.
std::vector<int64_t> ReorderIntervals(std::span<const int32_t> onsets, IntervalOrder order,
                                      std::mt19937& random);

}  // namespace kymora
