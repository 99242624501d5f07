#include "eventanalysis/event_samples.h"

#include <algorithm>
#include <cmath>

namespace kymora {
namespace {

constexpr int64_t longestStretch = 1 << 18;  // samples of all traces together, unless one event is longer
constexpr int64_t widestHole = 4096;         // samples between events that are read rather than stepped over

}  // namespace

EventSampleReader::EventSampleReader(CDataDoc& doc, const CEventBlock& block, std::vector<int> traces)
    : doc_(doc), block_(block), traces_(std::move(traces)), values_(traces_.size()), valid_(traces_.size()) {}

EventSampleReader::Span EventSampleReader::SpanOf(int b, int k) const {
    const int64_t first = std::clamp<int64_t>(block_.GetOn(b, k), 0, doc_.GetLength());
    return {first, std::clamp<int64_t>(block_.GetOff(b, k), first, doc_.GetLength())};
}

// The stretch that holds this event and as many of those after it as lie close enough.
EventSampleReader::Span EventSampleReader::PlanFrom(int b, int k) const {
    Span span = SpanOf(b, k);
    const auto traces = static_cast<int64_t>(std::max<size_t>(traces_.size(), 1));
    for (; b < block_.GetNumBlocks(); ++b, k = -1) {
        while (++k < block_.GetNumEvents(b)) {
            const Span next = SpanOf(b, k);
            if (next.first < span.first || next.first - span.end > widestHole) return span;
            const int64_t end = std::max(span.end, next.end);
            if ((end - span.first) * traces > longestStretch && end > span.end) return span;
            span.end = end;
        }
    }
    return span;
}

void EventSampleReader::Read(Span span) {
    const auto count = static_cast<size_t>(span.end - span.first);
    std::vector<TraceBlock> blocks;
    for (size_t slot = 0; slot < traces_.size(); ++slot) {
        values_[slot].resize(count);
        if (doc_.hasGaps) valid_[slot].resize(count);
        blocks.push_back({traces_[slot], values_[slot], valid_[slot]});
    }
    read_ = {};  // nothing is there if the read fails
    doc_.ReadBlocks(span.first, blocks);
    read_ = span;
}

void EventSampleReader::Load(int b, int k) {
    onset_ = block_.GetOn(b, k);
    event_ = SpanOf(b, k);
    if (doc_.noData) event_.end = event_.first;
    if (event_.first == event_.end) return;
    if (event_.first < read_.first || event_.end > read_.end) Read(PlanFrom(b, k));
}

EventSamples EventSampleReader::Samples(size_t slot) {
    if (event_.first == event_.end) return {};
    const auto at = static_cast<size_t>(event_.first - read_.first);
    const auto count = static_cast<size_t>(event_.end - event_.first);
    const std::span<const float> x(values_[slot].data() + at, count);
    const uint8_t* valid = doc_.hasGaps ? valid_[slot].data() + at : nullptr;
    const auto counts = [&](size_t i) { return std::isfinite(x[i]) && (valid == nullptr || valid[i] != 0); };
    const int64_t first = event_.first - onset_;
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
