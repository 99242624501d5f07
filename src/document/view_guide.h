#pragma once
// Lines that an open dialog has the views of its recording draw over the traces: levels of a detector, ends
// of a stretch of data.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kymora {

struct ViewGuide {
    enum class Kind { level, time };
    Kind kind = Kind::level;
    int trace = 0;            // whose axis a level lies on, from 0
    double at = 0.0;          // value on the trace's axis, or time in ms
    uint32_t colour = 0;      // 0x00BBGGRR
    std::string name;         // written at the line; empty for none
    std::string parameter{};  // key of the parameter that dragging it sets; empty: it stays where it is

    bool operator==(const ViewGuide&) const = default;
};

// Events that the operation of an open dialog would find in view: not there yet, and so in another look than
// those of the recording.
struct ProposedEvents {
    int channel = 0;                                 // in whose row they would stand
    int trace = 0;                                   // in which they would be found
    std::vector<std::pair<int32_t, int32_t>> spans;  // onset and offset, samples; ascending

    bool operator==(const ProposedEvents&) const = default;
};

}  // namespace kymora
