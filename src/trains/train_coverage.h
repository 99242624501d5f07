#pragma once
// The time around the events of a train: the union of a window at each of them, within a region. Positions
// are samples and ascend; equal ones are allowed.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

// From the first sample up to, not including, the end.
struct TrainStretch {
    int64_t first = 0, end = 0;
    int64_t Length() const { return end - first; }
    bool operator==(const TrainStretch&) const = default;
};

// The same samples in stretches that ascend and do not touch; those without length are left out.
std::vector<TrainStretch> JoinStretches(std::vector<TrainStretch> stretches);
int64_t LengthOf(std::span<const TrainStretch> joined);

// Those that lie in one of the stretches, which are joined. One forward pass.
int64_t CountWithin(std::span<const int64_t> positions, std::span<const TrainStretch> joined);
std::vector<int64_t> PositionsWithin(std::span<const int64_t> positions,
                                     std::span<const TrainStretch> joined);
// Their places in the array, ascending.
std::vector<int32_t> PlacesWithin(std::span<const int64_t> positions, std::span<const TrainStretch> joined);

// The samples of the region, joined, from `from` to `to` after an event, both included: to - from + 1 of them
// around each. None where `to` lies before `from`.
std::vector<TrainStretch> CoverageOf(std::span<const int64_t> onsets, int64_t from, int64_t to,
                                     std::span<const TrainStretch> region);

}  // namespace kymora
