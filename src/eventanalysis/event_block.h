#pragma once
// The region of interest of an analysis in terms of events: stretches of samples, and for each of them the
// events of one or two channels whose onsets lie in it.

#include <cstdint>
#include <vector>

#include "document/data_doc.h"
#include "eventanalysis/events_by_onset.h"

namespace kymora {

// A stretch of the analysis, in samples.
struct SampleBlock {
    int32_t first = 0;
    int32_t length = 0;
    bool operator==(const SampleBlock&) const = default;
};

// Those events of one channel that begin in a block: ranks by onset (see EventsByOnset), which are the
// indices in the channel where that is in order. `last` is below `first` when there are none.
struct EventRange {
    int32_t first = 0;
    int32_t last = -1;
    int32_t running = 0;  // events of all blocks up to and with this one

    int32_t Count() const { return last - first + 1; }
    bool operator==(const EventRange&) const = default;
};

struct BlockRecord {
    EventRange channel1, channel2;
};

// Set the fields, add the blocks, then call FillEvs; and again when the events or the fields have changed.
// Queries outside the blocks or their events answer -1, as those of the document do.
class CEventBlock {
  public:
    CEventBlock() = default;
    CEventBlock(CDataDoc& doc, int channel1, int channel2, int parentTrace)
        : document(&doc), channel1(channel1), channel2(channel2), parentTrace(parentTrace) {}

    CDataDoc* document = nullptr;
    int channel1 = -1;  // from 0; a channel that does not exist has no events
    int channel2 = -1;  // of parameters with two channels
    int parentTrace = -1;

    void ClearBlocks();
    // A negative length counts as 0.
    void AddBlock(int32_t first, int32_t length);
    const std::vector<SampleBlock>& Blocks() const { return blocks_; }
    // The sum of the blocks' lengths.
    int64_t TotalSamples() const { return totalSamples_; }

    // Finds the events of the blocks. The search goes on from where it ended in the block before, so an event
    // belongs to the first block that holds its onset and to no other, also where blocks overlap; a block
    // that begins before the end of an earlier one keeps what that left.
    void FillEvs();
    const std::vector<BlockRecord>& Records() const { return records_; }
    // Both channels whole, as FillEvs found them.
    const EventsByOnset& Channel1() const { return events1_; }
    const EventsByOnset& Channel2() const { return events2_; }

    int GetNumBlocks() const { return static_cast<int>(blocks_.size()); }
    int32_t GetBlockStart(int b) const { return HasBlock(b) ? Block(b).first : -1; }
    int32_t GetBlockLength(int b) const { return HasBlock(b) ? Block(b).length : -1; }
    // Channel-1 events of all blocks.
    int GetTotalEvents() const;

    int GetNumEvents(int b) const { return CountIn(b, events1_, &BlockRecord::channel1); }
    int32_t GetOn(int b, int k) const { return On(events1_, RankOf(b, k)); }
    int32_t GetOff(int b, int k) const { return Off(events1_, RankOf(b, k)); }
    // The index in the channel.
    int GetIndex(int b, int k) const { return Index(events1_, RankOf(b, k)); }
    // The rank among the channel's events; -1 when there is no such event.
    int RankOf(int b, int k) const { return Rank(b, k, events1_, &BlockRecord::channel1); }

    int GetNumEvents2(int b) const { return CountIn(b, events2_, &BlockRecord::channel2); }
    int32_t GetOn2(int b, int k) const { return On(events2_, RankOf2(b, k)); }
    int32_t GetOff2(int b, int k) const { return Off(events2_, RankOf2(b, k)); }
    int GetIndex2(int b, int k) const { return Index(events2_, RankOf2(b, k)); }
    int RankOf2(int b, int k) const { return Rank(b, k, events2_, &BlockRecord::channel2); }

  private:
    using RangeOf = EventRange BlockRecord::*;

    bool HasBlock(int b) const { return b >= 0 && b < GetNumBlocks(); }
    const SampleBlock& Block(int b) const { return blocks_[static_cast<size_t>(b)]; }
    EventsByOnset EventsOf(int channel) const;
    void FillChannel(const EventsByOnset& events, RangeOf range);
    int CountIn(int b, const EventsByOnset& events, RangeOf range) const;
    int Rank(int b, int k, const EventsByOnset& events, RangeOf range) const;
    static int32_t On(const EventsByOnset& events, int rank) { return rank < 0 ? -1 : events.On(rank); }
    static int32_t Off(const EventsByOnset& events, int rank) { return rank < 0 ? -1 : events.Off(rank); }
    static int Index(const EventsByOnset& events, int rank) { return rank < 0 ? -1 : events.IndexOf(rank); }

    std::vector<SampleBlock> blocks_;
    int64_t totalSamples_ = 0;
    std::vector<BlockRecord> records_;
    EventsByOnset events1_, events2_;
};

}  // namespace kymora
