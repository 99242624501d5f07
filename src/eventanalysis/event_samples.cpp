#include "eventanalysis/event_samples.h"

#include <algorithm>
#include <cmath>

namespace kymora {
namespace {

constexpr int64_t longestStretch = 1 << 18;  // samples of all traces together, unless one event is longer
constexpr int64_t widestHole = 4096;         // samples between events that are read rather than stepped over

}  // namespace

std::vector<EventSpan> SpansOfEvents(const CEventBlock& block, int64_t recordingLength) {
    std::vector<EventSpan> spans;
    for (int b = 0; b < block.GetNumBlocks(); ++b)
        for (int k = 0; k < block.GetNumEvents(b); ++k) {
            const int32_t onset = block.GetOn(b, k);
            const int64_t first = std::clamp<int64_t>(onset, 0, recordingLength);
            spans.push_back({first, std::clamp<int64_t>(block.GetOff(b, k), first, recordingLength), onset});
        }
    return spans;
}

EventSampleReader::EventSampleReader(SampleReader& samples, std::vector<EventSpan> events,
                                     std::vector<int> traces)
    : reader_(samples),
      events_(std::move(events)),
      traces_(std::move(traces)),
      values_(traces_.size()),
      valid_(traces_.size()) {}

// The stretch that holds this event and as many of those after it as lie close enough.
EventSampleReader::Span EventSampleReader::PlanFrom(size_t event) const {
    Span span{events_[event].first, events_[event].end};
    const auto traces = static_cast<int64_t>(std::max<size_t>(traces_.size(), 1));
    while (++event < events_.size()) {
        const EventSpan& next = events_[event];
        if (next.first < span.first || next.first - span.end > widestHole) return span;
        const int64_t end = std::max(span.end, next.end);
        if ((end - span.first) * traces > longestStretch && end > span.end) return span;
        span.end = end;
    }
    return span;
}

void EventSampleReader::Read(Span span) {
    const auto count = static_cast<size_t>(span.end - span.first);
    std::vector<TraceBlock> blocks;
    for (size_t slot = 0; slot < traces_.size(); ++slot) {
        values_[slot].resize(count);
        if (reader_.HasGaps()) valid_[slot].resize(count);
        blocks.push_back({traces_[slot], values_[slot], valid_[slot]});
    }
    read_ = {};  // nothing is there if the read fails
    reader_.ReadBlocks(span.first, blocks);
    read_ = span;
}

void EventSampleReader::Load(size_t event) {
    event_ = events_[event];
    if (reader_.HasNoData()) event_.end = event_.first;
    if (event_.first != event_.end && (event_.first < read_.first || event_.end > read_.end))
        Read(PlanFrom(event));
}

EventSamples EventSampleReader::Samples(size_t slot) {
    if (event_.first == event_.end) return {};
    const auto at = static_cast<size_t>(event_.first - read_.first);
    const auto count = static_cast<size_t>(event_.end - event_.first);
    const std::span<const float> x(values_[slot].data() + at, count);
    const uint8_t* valid = reader_.HasGaps() ? valid_[slot].data() + at : nullptr;
    const auto counts = [&](size_t i) { return std::isfinite(x[i]) && (valid == nullptr || valid[i] != 0); };
    const int64_t first = event_.first - event_.onset;
    size_t good = 0;
    while (good < count && counts(good)) ++good;
    if (good == count) return {x, {}, first};
    kept_.assign(x.begin(), x.begin() + static_cast<std::ptrdiff_t>(good));
    places_.resize(good);
    for (size_t i = 0; i < good; ++i) places_[i] = static_cast<int32_t>(first + static_cast<int64_t>(i));
    for (size_t i = good; i < count; ++i) {
        if (!counts(i)) continue;
        kept_.push_back(x[i]);
        places_.push_back(static_cast<int32_t>(first + static_cast<int64_t>(i)));
    }
    return {kept_, places_, first};
}

}  // namespace kymora
