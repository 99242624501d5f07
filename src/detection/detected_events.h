#pragma once
// The way of what a detector found into an event channel.

#include <span>

#include "detection/threshold_detector.h"
#include "events/event_chan.h"

namespace kymora {

inline constexpr float detectedValue = -1.0f;                // of an event that a detector made
inline constexpr int64_t detectionProgressFrom = 5'000'000;  // samples; longer runs have a progress box

// Adds the spans, which ascend and do not begin before `first`, as events. From `first` on to the last of
// them the channel holds no event yet.
void AddDetected(CEventChan& chan, int32_t first, std::span<const DetectedSpan> spans);

}  // namespace kymora
