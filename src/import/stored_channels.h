#pragma once
// The samples of foreign files: of each channel stretches of numbers, at any distance from each other, that
// follow one another in runs without a gap. Slower channels are drawn out to the recording's interval by
// linear interpolation; the last sample of a run has no right-hand partner and stands for itself.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "document/binary_samples.h"
#include "document/run_list.h"
#include "host/file_system.h"
#include "import/number_conversion.h"

namespace kymora {

// Numbers that lie `ChannelSource::stride` bytes apart, in blocks where the source has them.
struct SampleStretch {
    int64_t first = 0;    // how many of the channel's samples lie before it
    uint64_t offset = 0;  // of its first number in the file
    uint32_t scale = 0;   // index in ChannelSource::scales
    int64_t into = 0;  // numbers of its first block that are left out; `offset` is that of the block's first
};

// Samples without a gap between.
struct ChannelRun {
    int64_t position = 0;  // in the recording, of its first sample
    int64_t first = 0;     // how many of the channel's samples lie before it
    int64_t count = 0;     // the channel's own samples
    int64_t length = 0;    // samples of the recording that are made of them
};

struct ChannelSource {
    NumberType type = NumberType::i16;
    ByteOrder order = ByteOrder::little;
    uint32_t stride = 2;
    // Where a stretch is cut into blocks: how many numbers each holds, and the bytes from the first number of
    // one to that of the next. 0: it is not.
    int64_t perBlock = 0;
    uint64_t blockBytes = 0;
    // One own sample lasts `steps` / `per` samples of the recording, which is at least one.
    int64_t steps = 1, per = 1;
    std::vector<ValueScale> scales{ValueScale{}};
    std::vector<SampleStretch> stretches;
    std::vector<ChannelRun> runs;
    int64_t samples = 0;  // own

    bool IsDrawnOut() const { return steps != per; }
    // In the file, of number `index` of a stretch.
    uint64_t OffsetIn(const SampleStretch& stretch, int64_t index) const;
    // What lies in `length` samples of the recording from `from` on, as a recording of its own.
    ChannelSource Part(int64_t from, int64_t length) const;
    // Adds `count` numbers at a place of the file. They join the last run where `position`, in the recording,
    // is at or before its end, and else begin another.
    void Add(int64_t position, int64_t count, uint64_t offset, uint32_t scale = 0);
    // How many samples of the recording `count` own ones make.
    int64_t Drawn(int64_t count) const { return (count * steps + per - 1) / per; }
    // Ends the drawing out of the last sample at `end` of the recording.
    void Trim(int64_t end);
    int64_t End() const { return runs.empty() ? 0 : runs.back().position + runs.back().length; }
    // In the recording, of the last own sample; -1 where there is none.
    int64_t LastPosition() const;
    // As the document has them; the last one, a gap, ends at `length`.
    RunList Runs(int64_t length) const;
};

// A channel, and where its samples go; all pieces of a read have one length.
struct ChannelPiece {
    int channel = 0;
    float* to = nullptr;
};

class StoredChannelReader {
  public:
    // The file must outlive the reader.
    StoredChannelReader(const DataFile& file, std::vector<ChannelSource> channels);

    // Reads samples of the runs, gaps not counted, from `from` on. Throws FileError.
    void Read(int64_t from, int64_t count, std::span<const ChannelPiece> pieces);

  private:
    static constexpr int64_t readAhead = 32 << 10;     // bytes
    static constexpr int64_t bytesAtOnce = 1 << 18;    // of a stretch
    static constexpr int64_t samplesAtOnce = 1 << 14;  // of all channels in turn

    struct Held {
        uint64_t offset = 0, length = 0;
        std::vector<std::byte> bytes;  // may be more
    };

    void FindRows();
    void ReadRows(int64_t from, int64_t count, std::span<const ChannelPiece> pieces);
    void ReadChannel(int channel, int64_t from, int64_t count, float* to);
    void DrawOut(int channel, const ChannelRun& run, int64_t from, int64_t count, float* to);
    void ReadOwn(int channel, int64_t first, int64_t count, float* to);
    int64_t InBlocks(int channel, int64_t count, int64_t into, uint64_t offset) const;
    bool IsRightBehind(size_t channel) const;
    // How many of the first pieces are neighbours; 0 where they are too few.
    size_t Neighbours(std::span<const ChannelPiece> pieces) const;
    void ReadNeighbours(int64_t from, int64_t count, std::span<const ChannelPiece> pieces, int64_t into);
    int64_t OwnIndex(int channel, int64_t stored) const;
    void LoadTogether(int64_t from, int64_t count);
    bool IsHeld(int channel, uint64_t offset, uint64_t bytes) const;
    const std::byte* Load(int channel, uint64_t offset, int64_t bytes);

    const DataFile& file_;
    std::vector<ChannelSource> channels_;
    std::vector<std::vector<int64_t>> storedBefore_;  // of each run of each channel
    std::optional<BinarySampleReader> rows_;  // where the channels are interleaved and nothing lies between
    bool isInterleaved_ = false;              // what one channel loads serves the next
    std::vector<uint8_t> isRightBehind_;      // of each channel: the one before lies at its side in all rows
    int64_t atOnce_ = samplesAtOnce;          // of all channels in turn, where they are interleaved
    std::vector<Held> held_;                  // of each channel, or of all
    std::vector<float> own_;
    std::vector<std::span<const ChannelPiece>> groups_;  // of a read: neighbours, or one that has none
    std::vector<StepScale> scales_;                      // of neighbours, and where they go
    std::vector<float*> places_;
};

}  // namespace kymora
