#pragma once
// Where blocks that state their times do not follow one another.

#include <cmath>
#include <cstdint>
#include <vector>

#include "document/open_request.h"

namespace kymora {

// Blocks that follow one another without a gap.
struct BlockRun {
    int64_t block = 0;     // the first of them
    int64_t position = 0;  // in the recording, of its first sample
};

// The clock that blocks state their times by.
struct BlockClock {
    double ticksPerBlock = 1.0;
    double samplesPerTick = 1.0;
    double tolerance = 0.5;  // ticks, by which times that follow one another may be off
};

// The runs of `blocks` blocks of `perBlock` samples, of which time(block) tells the tick of the first sample.
// A stretch whose ends lie as far apart as its samples say has no gap; one that does not is halved, so that
// few blocks are looked at. What overlaps the block before follows it. Throws OpenError where there are more
// than `mostRuns`.
template <typename Time>
class BlockTimes {
  public:
    BlockTimes(int64_t blocks, int64_t perBlock, BlockClock clock, size_t mostRuns, Time time)
        : perBlock_(perBlock), clock_(clock), mostRuns_(mostRuns), time_(time) {
        if (blocks < 1) return;
        runs_.push_back({0, 0});
        if (blocks > 1) Search(0, time_(0), blocks - 1, time_(blocks - 1));
    }

    const std::vector<BlockRun>& Runs() const { return runs_; }
    int64_t Overlaps() const { return overlaps_; }

  private:
    void Search(int64_t from, int64_t fromTime, int64_t to, int64_t toTime) {
        // A difference that overflows is as good as any other wrong one.
        const auto elapsed = static_cast<double>(
            static_cast<int64_t>(static_cast<uint64_t>(toTime) - static_cast<uint64_t>(fromTime)));
        const double excess = elapsed - static_cast<double>(to - from) * clock_.ticksPerBlock;
        if (std::fabs(excess) <= clock_.tolerance) return;
        if (to - from > 1) {
            const int64_t middle = from + (to - from) / 2, middleTime = time_(middle);
            Search(from, fromTime, middle, middleTime);
            return Search(middle, middleTime, to, toTime);
        }
        if (excess < 0.0) {
            ++overlaps_;
            return;
        }
        const BlockRun last = runs_.back();
        const double gap = excess * clock_.samplesPerTick;
        const int64_t end = last.position + (to - last.block) * perBlock_;
        if (runs_.size() >= mostRuns_ || !(gap + static_cast<double>(end) < longest))
            throw OpenError("This recording has more or longer gaps than can be handled.");
        runs_.push_back({to, end + std::llround(gap)});
    }

    static constexpr double longest = 1e15;  // samples, gaps included

    int64_t perBlock_;
    BlockClock clock_;
    size_t mostRuns_;
    Time time_;
    std::vector<BlockRun> runs_;
    int64_t overlaps_ = 0;
};

// How many gaps a recording of `channels` channels may have, so that a damaged file of many tiny blocks
// cannot use up the memory.
inline size_t MostRuns(uint64_t fileLength, size_t channels) {
    return static_cast<size_t>((uint64_t{12 << 20} + fileLength / 2) / (96 * (channels + 1)));
}

// In the recording, of the first sample of a block.
inline int64_t PositionOfBlock(const std::vector<BlockRun>& runs, int64_t block, int64_t perBlock) {
    size_t low = 0, high = runs.size();
    while (high - low > 1) (runs[(low + high) / 2].block <= block ? low : high) = (low + high) / 2;
    return runs[low].position + (block - runs[low].block) * perBlock;
}

}  // namespace kymora
