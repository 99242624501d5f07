#include "eventanalysis/event_block.h"

#include <algorithm>

namespace kymora {

void CEventBlock::ClearBlocks() {
    blocks_.clear();
    records_.clear();
    totalSamples_ = 0;
}

void CEventBlock::AddBlock(int32_t first, int32_t length) {
    blocks_.push_back({first, std::max(length, 0)});
    totalSamples_ += blocks_.back().length;
}

EventsByOnset CEventBlock::EventsOf(int channel) const {
    if (document == nullptr || !document->HasChannel(channel)) return {};
    return EventsByOnset(document->eventChannels[static_cast<size_t>(channel)]);
}

void CEventBlock::FillEvs() {
    records_.assign(blocks_.size(), {});
    events1_ = EventsOf(channel1);
    events2_ = EventsOf(channel2);
    FillChannel(events1_, &BlockRecord::channel1);
    FillChannel(events2_, &BlockRecord::channel2);
    if (document != nullptr) document->GetHost().Log("done CEventBlock::FillEvs()\n");
}

void CEventBlock::FillChannel(const EventsByOnset& events, RangeOf range) {
    int next = 0;
    int running = 0;
    for (size_t b = 0; b < blocks_.size(); ++b) {
        const int first = events.FirstFrom(blocks_[b].first, next);
        next = events.FirstFrom(int64_t{blocks_[b].first} + blocks_[b].length, first);
        running += next - first;
        records_[b].*range = {first, next - 1, running};
    }
}

int CEventBlock::GetTotalEvents() const {
    int total = 0;
    for (int b = 0; b < GetNumBlocks(); ++b) total += GetNumEvents(b);
    return total;
}

int CEventBlock::CountIn(int b, const EventsByOnset& events, RangeOf range) const {
    if (b < 0 || static_cast<size_t>(b) >= records_.size() || events.Size() == 0) return 0;
    return (records_[static_cast<size_t>(b)].*range).Count();
}

int CEventBlock::Rank(int b, int k, const EventsByOnset& events, RangeOf range) const {
    if (k < 0 || k >= CountIn(b, events, range)) return -1;
    return (records_[static_cast<size_t>(b)].*range).first + k;
}

}  // namespace kymora
