#pragma once
// The samples of events, read in stretches that hold as many events as lie close together.

#include <cstdint>
#include <span>
#include <vector>

#include "document/data_doc.h"
#include "eventanalysis/event_block.h"

namespace kymora {

// Those samples of one event in one trace that count: valid, within the recording, and finite.
struct EventSamples {
    std::span<const float> x;
    // Where each lies, in samples from the event's onset. Empty where sample k lies at `first` + k.
    std::span<const int32_t> places;
    int64_t first = 0;

    int64_t Place(size_t k) const {
        return places.empty() ? first + static_cast<int64_t>(k) : int64_t{places[k]};
    }
};

class EventSampleReader {
  public:
    // The block must be filled and stay as it is.
    EventSampleReader(CDataDoc& doc, const CEventBlock& block, std::vector<int> traces);

    // Goes to event k of block b; events are asked for in order. Throws FileError.
    void Load(int b, int k);
    // The samples of that event in the trace with this place in the list, until the next Load or call.
    EventSamples Samples(size_t slot);

  private:
    struct Span {
        int64_t first = 0;
        int64_t end = 0;  // exclusive; not before first
    };
    // The event's samples, held to the recording.
    Span SpanOf(int b, int k) const;
    Span PlanFrom(int b, int k) const;
    void Read(Span span);

    CDataDoc& doc_;
    const CEventBlock& block_;
    std::vector<int> traces_;
    std::vector<std::vector<float>> values_;   // [slot] of the stretch that has been read
    std::vector<std::vector<uint8_t>> valid_;  // the same where the recording has gaps
    Span read_;
    Span event_;
    int64_t onset_ = 0;
    std::vector<float> kept_;  // of an event with samples that do not count
    std::vector<int32_t> places_;
};

}  // namespace kymora
