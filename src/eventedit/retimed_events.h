#pragma once
// Events that have got other ends.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "eventanalysis/events_by_onset.h"

namespace kymora {

struct EventEnds {
    int64_t on = 0, off = 0;
    bool stays = true;
};

struct RetimedEvents {
    std::vector<CEventKM> events;             // ascending; of equal ones, in the order of the source
    std::vector<std::array<float, 3>> extra;  // the rows of coordinates that the source has for them
};

// The source's events that stay, with the ends of their rank and all else as it is. Ends lie within the range
// of positions.
RetimedEvents Retime(const EventsByOnset& source, std::span<const EventEnds> ends);

}  // namespace kymora
