#pragma once
// A channel's events in ascending order of onset. In nearly every channel that is the order in which they are
// kept; a channel out of order gets a table. A rank counts in this order, an index in the channel's own.

#include <cstdint>
#include <vector>

#include "events/event_chan.h"

namespace kymora {

class EventsByOnset {
  public:
    // No events.
    EventsByOnset() = default;
    // Looks at the channel, which must stay where it is. When its events change, make another one; one that
    // is left from before a change of their number answers that there are none.
    explicit EventsByOnset(const CEventChan& chan);

    int Size() const { return chan_ != nullptr && chan_->GetNumEvents() == size_ ? size_ : 0; }
    int IndexOf(int rank) const { return order_.empty() ? rank : order_[static_cast<size_t>(rank)]; }
    const CEventKM& operator[](int rank) const { return chan_->Events()[static_cast<size_t>(IndexOf(rank))]; }
    int32_t On(int rank) const { return (*this)[rank].onPosition; }
    int32_t Off(int rank) const { return (*this)[rank].offPosition; }
    // The first rank, from `from` on, whose onset is not before the position; Size() when there is none.
    int FirstFrom(int64_t position, int from = 0) const;
    // Null for no events.
    const CEventChan* Channel() const { return chan_; }

  private:
    const CEventChan* chan_ = nullptr;
    int size_ = 0;
    std::vector<int32_t> order_;  // index of each rank; empty where the two are the same
};

}  // namespace kymora
