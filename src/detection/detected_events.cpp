#include "detection/detected_events.h"

#include <utility>

namespace kymora {

void AddDetected(CEventChan& chan, int32_t first, std::span<const DetectedSpan> spans) {
    std::vector<CEventKM> events;
    events.reserve(spans.size());
    for (const DetectedSpan& span : spans) {
        CEventKM& event = events.emplace_back();
        event.onPosition = static_cast<int32_t>(span.on);
        event.offPosition = static_cast<int32_t>(span.off);
        event.eventValue = detectedValue;
    }
    // All of them have one place, unless a damaged file left the channel out of order.
    if (chan.IsInOrder())
        chan.Splice(chan.PlaceFor(first), 0, std::move(events));
    else
        for (CEventKM& event : events) chan.AddEvent(std::move(event));
}

}  // namespace kymora
