#pragma once
// One point in time for each event.

#include <cstdint>
#include <optional>

#include "eventedit/event_trace.h"
#include "events/event.h"

namespace kymora {

// The numbers of configuration files.
enum class PointOfEvent : int32_t {
    fraction = 0,         // of the duration, from the start
    centreOfGravity = 1,  // of what lies above the smallest sample
    maximum = 2,          // the first of equals
    minimum = 3,
};

// on + fraction x duration, in the event where it has a duration. Halves are rounded away from zero.
int32_t PointAtFraction(const CEventKM& event, double fraction);

// By its samples; the centre of gravity of an event that is level is its middle. Nothing where it has no
// sample that counts.
std::optional<int32_t> PointInTrace(const CEventKM& event, PointOfEvent method, EventTrace& trace);

}  // namespace kymora
