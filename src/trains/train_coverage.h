#pragma once
// The time around the events of a train: the union of a window at each of them, within a region. Positions
// are samples and ascend; equal ones are allowed.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

// From the first sample up to, not including, the end.
struct SampleStretch {
    int64_t first = 0, end = 0;
    int64_t Length() const { return end - first; }
    bool operator==(const SampleStretch&) const = default;
};

// The same samples in stretches that ascend and do not touch; those without length are left out.
std::vector<SampleStretch> JoinStretches(std::vector<SampleStretch> stretches);
int64_t LengthOf(std::span<const SampleStretch> joined);

// Those that lie in one of the stretches, which are joined. One forward pass.
int64_t CountWithin(std::span<const int64_t> positions, std::span<const SampleStretch> joined);
std::vector<int64_t> PositionsWithin(std::span<const int64_t> positions,
                                     std::span<const SampleStretch> joined);

// The samples of the region, joined, from `from` to `to` after an event, both included: to - from + 1 of them
// around each. None where `to` lies before `from`.
std::vector<SampleStretch> CoverageOf(std::span<const int64_t> onsets, int64_t from, int64_t to,
                                      std::span<const SampleStretch> region);

}  // namespace kymora
