#include "detection/detected_events.h"

namespace kymora {

std::vector<CEventKM> EventsOf(std::span<const DetectedSpan> spans) {
    std::vector<CEventKM> events;
    events.reserve(spans.size());
    for (const DetectedSpan& span : spans) {
        CEventKM& event = events.emplace_back();
        event.onPosition = static_cast<int32_t>(span.on);
        event.offPosition = static_cast<int32_t>(span.off);
        event.eventValue = detectedValue;
    }
    return events;
}

}  // namespace kymora
