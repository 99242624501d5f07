#include "display/events/event_summary.h"

namespace kymora {

EventSummary::EventSummary(const CEventChan& chan)
    : events_(chan.Events().data()),
      count_(chan.Events().size()),
      blocks_((chan.Events().size() + blockSize - 1) / blockSize) {
    for (size_t i = 0; i < count_; ++i) {
        const CEventKM& event = events_[i];
        Block& block = blocks_[i / blockSize];
        block.start = std::min(block.start, event.onPosition);
        block.reach = std::max(block.reach, ReachOf(event));
        block.tagged |= event.eventTag != 0;
        block.coloured |= event.eventColour != 0;
        block.labelled |= !event.eventLabel.empty();
    }
}

bool EventSummary::IsOf(const CEventChan& chan) const {
    return events_ == chan.Events().data() && count_ == chan.Events().size();
}

size_t EventSummary::FirstFrom(int64_t position, size_t end) const {
    // Blocks stay in the processor's cache, which the events do not. The last block that starts earlier holds
    // the place; it is looked for in strides that double, backwards from the end.
    const auto startsBefore = [position](const auto& block) { return block.start < position; };
    size_t high = (end + blockSize - 1) / blockSize, stride = 1;
    size_t low = high - std::min(stride, high);
    while (low > 0 && !startsBefore(blocks_[low])) {
        high = low;
        stride *= 2;
        low = high - std::min(stride, high);
    }
    const auto blocks = blocks_.begin();
    const auto later = std::partition_point(blocks + static_cast<std::ptrdiff_t>(low),
                                            blocks + static_cast<std::ptrdiff_t>(high), startsBefore);
    if (later == blocks) return 0;
    const size_t block = static_cast<size_t>(later - blocks) - 1;
    return static_cast<size_t>(
        std::partition_point(events_ + block * blockSize, events_ + std::min(end, (block + 1) * blockSize),
                             [position](const CEventKM& event) { return event.onPosition < position; }) -
        events_);
}

size_t EventSummary::Farthest(size_t first, size_t end) const {
    size_t farthest = first;
    int64_t reach = INT64_MIN;
    // From the last, which in an ordered channel leaves the fewest blocks to look into.
    for (size_t b = (end - 1) / blockSize + 1; b-- > first / blockSize;) {
        if (blocks_[b].reach <= reach) continue;
        for (size_t i = std::max(first, b * blockSize); i < std::min(end, (b + 1) * blockSize); ++i) {
            if (ReachOf(events_[i]) <= reach) continue;
            reach = ReachOf(events_[i]);
            farthest = i;
        }
    }
    return farthest;
}

template <typename IsOfKind>
size_t EventSummary::FirstOf(size_t first, size_t end, bool Block::*flag, IsOfKind isOfKind) const {
    size_t found = none;
    ForBlocks(
        first, end, [flag](const Block& block) { return block.*flag; },
        [&](size_t i) {
            if (isOfKind(events_[i])) found = i;
            return found == none;
        });
    return found;
}

size_t EventSummary::FirstTagged(size_t first, size_t end) const {
    return FirstOf(first, end, &Block::tagged, [](const CEventKM& event) { return event.eventTag != 0; });
}

size_t EventSummary::FirstColoured(size_t first, size_t end) const {
    return FirstOf(first, end, &Block::coloured,
                   [](const CEventKM& event) { return event.eventColour != 0; });
}

size_t EventSummary::FirstLabelled(size_t first, size_t end) const {
    return FirstOf(first, end, &Block::labelled,
                   [](const CEventKM& event) { return !event.eventLabel.empty(); });
}

const EventSummary& EventRowCache::SummaryOf(const CEventChan& chan, int channel) {
    EventSummary& summary = summaries_[channel];
    if (!summary.IsOf(chan)) summary = EventSummary(chan);
    return summary;
}

}  // namespace kymora
