#pragma once
// Lines that an open dialog has the views of its recording draw over the traces: levels of a detector, ends
// of a stretch of data.

#include <cstdint>
#include <string>

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

}  // namespace kymora
