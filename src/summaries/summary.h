#pragma once
// A summary of a recording: for every trace the lowest and highest of each block of samples, and again of
// each eight such blocks, and so on. From it bins of any length come without reading every sample, and they
// are equal to bins made from every sample (summary_bins.h).

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "summaries/bins.h"

namespace kymora {

// Lowest and highest sample of a block. A block without a valid sample has two not-a-numbers. A block of
// trace 0 that holds a not-a-number, which ends what a view reads, says so; in other traces such samples do
// not count, and a block of nothing else stays at its start.
struct BlockRange {
    float low = std::numeric_limits<float>::max();
    float high = -std::numeric_limits<float>::max();

    static BlockRange Inactive() {
        constexpr float nan = std::numeric_limits<float>::quiet_NaN();
        return {nan, nan};
    }
    static BlockRange WithNotANumber() { return {std::numeric_limits<float>::quiet_NaN(), 0.0f}; }
    bool IsInactive() const { return high != high; }
    bool HoldsNotANumber() const { return low != low && high == high; }

    void Widen(BlockRange other) {
        low = other.low < low ? other.low : low;
        high = other.high > high ? other.high : high;
    }
};
static_assert(sizeof(BlockRange) == 8);

// How many blocks of which length a summary has. Blocks begin at sample 0; the last one of a level may be
// short.
struct SummaryShape {
    static constexpr int levelShift = 3;  // eight blocks make one of the next level
    static constexpr int leastBaseShift = 8;
    static constexpr int greatestBaseShift = 20;

    int traces = 0;
    int64_t length = 0;  // samples of each trace, gaps included
    int baseShift = leastBaseShift;
    int levels = 1;

    // The shape with this length of base blocks, and as many levels as have more than one block.
    static SummaryShape Make(int traces, int64_t length, int baseShift);
    // The finest shape that fits into `mostBytes`; nothing when none does.
    static std::optional<SummaryShape> Plan(int traces, int64_t length, uint64_t mostBytes);

    int Shift(int level) const { return baseShift + levelShift * level; }
    int64_t BlockLength(int level) const { return int64_t{1} << Shift(level); }
    int64_t BlockCount(int level) const { return length == 0 ? 0 : ((length - 1) >> Shift(level)) + 1; }
    // Place of a trace's first block among all blocks: level after level, and in it trace after trace.
    int64_t Offset(int level, int trace) const;
    int64_t TotalBlocks() const { return Offset(levels, 0); }
    uint64_t Bytes() const { return static_cast<uint64_t>(TotalBlocks()) * sizeof(BlockRange); }
    bool operator==(const SummaryShape&) const = default;
};

// A summary cannot be used: its file is damaged. The plain way serves.
class SummaryError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The blocks, wherever they are kept. One thread at a time may use it, unless a class says otherwise.
class Summary {
  public:
    virtual ~Summary() = default;
    const SummaryShape& Shape() const { return shape_; }
    // The levels that can be asked for; at least the base.
    virtual int Levels() const { return shape_.levels; }
    // Blocks of a trace from `first` on: at least one and at most `count`, as far as they lie together.
    // Throws SummaryError.
    virtual std::span<const BlockRange> From(int level, int trace, int64_t first, int64_t count) = 0;

  protected:
    explicit Summary(SummaryShape shape) : shape_(shape) {}
    SummaryShape shape_;
};

// A summary in memory. When it is complete, any number of threads may read it.
class MemorySummary : public Summary {
  public:
    explicit MemorySummary(SummaryShape shape);

    int Levels() const override { return levels_; }
    std::span<const BlockRange> From(int level, int trace, int64_t first, int64_t count) override {
        return {Block(level, trace, first), static_cast<size_t>(count)};
    }
    std::span<const BlockRange> AllBlocks() const {
        return {blocks_.get(), static_cast<size_t>(shape_.TotalBlocks())};
    }

  private:
    friend class SummaryBuilder;
    BlockRange* Block(int level, int trace, int64_t first) {
        return blocks_.get() + shape_.Offset(level, trace) + first;
    }

    std::unique_ptr<BlockRange[]> blocks_;
    int levels_ = 1;
};

// Makes a summary chunk by chunk, in any order. One thread at a time.
class SummaryBuilder {
  public:
    explicit SummaryBuilder(SummaryShape shape);

    // Samples of each trace in a chunk: a few megabytes of all traces, so that stopping between two is at
    // once.
    int64_t ChunkLength() const { return chunkLength_; }
    int64_t ChunkCount() const { return static_cast<int64_t>(done_.size()); }
    int64_t ChunksDone() const { return chunksDone_; }
    // The first chunk in [from, to) samples that is not done; -1 when all are.
    int64_t FirstMissing(int64_t from, int64_t to) const;
    // Reads a chunk. The document has the shape's traces and length. Throws FileError.
    void BuildChunk(CDataDoc& doc, int64_t chunk);
    // The two halves of that. Different chunks may be read by different threads at once, each with a document
    // of its own; then one thread tells that they are done.
    void ReadChunk(CDataDoc& doc, int64_t chunk) const;
    void SetDone(int64_t chunk);
    bool IsComplete() const { return chunksDone_ == ChunkCount(); }

    // What is done so far: the base level, and all others once it is complete.
    const std::shared_ptr<MemorySummary>& GetSummary() const { return summary_; }

  private:
    // Blocks of a chunk, [trace][block].
    struct Blocks {
        std::vector<std::vector<float>> low, high;
        std::vector<std::vector<uint8_t>> active;
    };

    void FoldChunk(CDataDoc& doc, int64_t from, int64_t count, Blocks& blocks) const;
    void Store(int64_t firstBlock, const Blocks& blocks) const;
    void MakeUpperLevels();

    SummaryShape shape_;
    int64_t chunkLength_;
    std::shared_ptr<MemorySummary> summary_;
    std::vector<uint8_t> done_;
    int64_t chunksDone_ = 0;
};

}  // namespace kymora
