#pragma once
// The times of the samples of an NWB series.

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "import/block_times.h"

namespace kymora {

struct NwbTimes {
    double rate = 0.0;                   // Hz
    double start = 0.0;                  // s, of the first sample
    std::vector<BlockRun> runs{{0, 0}};  // without a gap; one block is one sample
    bool isEven = true;                  // false: no recording can be made of them
    // In samples from the first one on; what it answers for no number is none.
    double PositionOf(double seconds) const { return (seconds - start) * rate; }
    int64_t Length(int64_t count) const { return count > 0 ? PositionOfBlock(runs, count - 1, 1) + 1 : 0; }
};

// From times in seconds, in pieces: `read` fills the span with those from an index on. A step of more than
// one and a half of the usual one is a gap. Where more than one in ten is another than the usual, or there
// are more than `mostRuns` gaps, the times are not even. `goesOn` is told how many were read, and throws
// where the user cancels.
NwbTimes FindNwbTimes(int64_t count, size_t mostRuns,
                      const std::function<void(int64_t from, std::span<double> to)>& read,
                      const std::function<void(int64_t done)>& goesOn);

}  // namespace kymora
