#pragma once
// What event rows are found by without looking at every event: for each block of events where it starts, how
// far it reaches, and whether it holds tags, colours or labels.

#include <algorithm>
#include <map>
#include <vector>

#include "drawing/viewport.h"
#include "events/event_chan.h"

namespace kymora {

// Where an event ends for the eye and the mouse: an event without a duration still holds its first sample.
inline int64_t ReachOf(const CEventKM& event) {
    return std::max(int64_t{event.offPosition}, int64_t{event.onPosition} + 1);
}

inline bool Touches(const CEventKM& event, int64_t from, int64_t to) {
    return event.onPosition < to && ReachOf(event) > from;
}

class EventSummary {
  public:
    static constexpr size_t none = SIZE_MAX;

    EventSummary() = default;
    explicit EventSummary(const CEventChan& chan);

    // False when the channel has other events by now. It cannot tell a change in place.
    bool IsOf(const CEventChan& chan) const;

    // The first event that starts at or behind a position; `end` when none of [0, end) does. Quickest where
    // it lies near `end`. Only for channels in order.
    size_t FirstFrom(int64_t position, size_t end) const;
    size_t FirstFrom(int64_t position) const { return FirstFrom(position, count_); }
    // Calls `use` with the index of each event of [first, end) that touches the positions [from, to), in
    // order. Skips blocks that do not.
    template <typename Use>
    void ForTouching(size_t first, size_t end, int64_t from, int64_t to, Use use) const {
        ForBlocks(
            first, end, [&](const Block& block) { return block.start < to && block.reach > from; },
            [&](size_t i) {
                if (Touches(events_[i], from, to)) use(i);
                return true;
            });
    }
    // All of them.
    template <typename Use>
    void ForTouching(int64_t from, int64_t to, Use use) const {
        ForTouching(0, count_, from, to, use);
    }

    // Of the events [first, end), which are not none: the one that reaches farthest.
    size_t Farthest(size_t first, size_t end) const;
    // The first of the kind among [first, end), or none.
    size_t FirstTagged(size_t first, size_t end) const;
    size_t FirstColoured(size_t first, size_t end) const;
    size_t FirstLabelled(size_t first, size_t end) const;

  private:
    static constexpr size_t blockSize = 16;
    struct Block {
        int64_t reach = INT64_MIN;
        int32_t start = INT32_MAX;
        bool tagged = false, coloured = false, labelled = false;
    };

    // Calls `use` with the indices of [first, end) in the blocks that `wanted` takes, until it answers false.
    template <typename Wanted, typename Use>
    void ForBlocks(size_t first, size_t end, Wanted wanted, Use use) const {
        for (size_t b = first / blockSize; b * blockSize < end; ++b) {
            if (!wanted(blocks_[b])) continue;
            const size_t last = std::min(end, (b + 1) * blockSize);
            for (size_t i = std::max(first, b * blockSize); i < last; ++i)
                if (!use(i)) return;
        }
    }
    template <typename IsOfKind>
    size_t FirstOf(size_t first, size_t end, bool Block::*flag, IsOfKind isOfKind) const;

    const CEventKM* events_ = nullptr;
    size_t count_ = 0;
    std::vector<Block> blocks_;
};

// What the drawing of event rows keeps for the next picture and for the mouse.
class EventRowCache {
  public:
    // Valid until the channel's events change, which is told by Forget.
    const EventSummary& SummaryOf(const CEventChan& chan, int channel);
    void Forget() { summaries_.clear(); }

    // Where the names of channels stand in the last picture.
    std::map<int, PixelRect> names;

  private:
    std::map<int, EventSummary> summaries_;
};

}  // namespace kymora
