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

// The samples of an event, held to the recording: from its onset to before `end`, which is not before it.
struct EventSpan {
    int64_t first = 0, end = 0;
    int32_t onset = 0;
};
// Of all events of a filled block, in order.
std::vector<EventSpan> SpansOfEvents(const CEventBlock& block, int64_t recordingLength);

class EventSampleReader {
  public:
    EventSampleReader(SampleReader& samples, std::vector<EventSpan> events, std::vector<int> traces);
    // The block must be filled.
    EventSampleReader(CDataDoc& doc, const CEventBlock& block, std::vector<int> traces)
        : EventSampleReader(doc, SpansOfEvents(block, doc.GetLength()), std::move(traces)) {}

    // Goes to an event; they are asked for in order. Throws FileError.
    void Load(size_t event);
    // The samples of that event in the trace with this place in the list, until the next Load or call.
    EventSamples Samples(size_t slot);

  private:
    struct Span {
        int64_t first = 0;
        int64_t end = 0;  // exclusive; not before first
    };
    Span PlanFrom(size_t event) const;
    void Read(Span span);

    SampleReader& reader_;
    std::vector<EventSpan> events_;
    std::vector<int> traces_;
    std::vector<std::vector<float>> values_;   // [slot] of the stretch that has been read
    std::vector<std::vector<uint8_t>> valid_;  // the same where the recording has gaps
    Span read_;
    EventSpan event_;
    std::vector<float> kept_;  // of an event with samples that do not count
    std::vector<int32_t> places_;
};

}  // namespace kymora
