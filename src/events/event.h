#pragma once
// One event, the value that channels hold and operations make.

#include <cstdint>

#include "events/event_label.h"

namespace kymora {

// One event: an interval of sample positions. A position x lies in it when onPosition <= x < offPosition.
struct CEventKM {
    int32_t onPosition = -1;   // first sample
    int32_t offPosition = -1;  // exclusive end
    float eventValue = 0.0f;   // given by the detector or the user
    int32_t eventTag = 0;      // non-zero counts as tagged
    uint32_t eventColour = 0;  // 0x00BBGGRR; 0 is the channel's colour
    EventLabel eventLabel;     // a text, even of one blank, counts as labelled

    bool operator==(const CEventKM&) const = default;
};

}  // namespace kymora
