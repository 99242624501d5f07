#pragma once
// The events of one block, in the order of onset, as the searches for bursts and rhythm see them.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

struct EventTrain {
    std::vector<int32_t> onsets, offsets;  // samples; onsets ascend

    size_t Size() const { return onsets.size(); }
    size_t Intervals() const { return onsets.empty() ? 0 : onsets.size() - 1; }
    // From onset to onset, samples.
    int64_t Interval(size_t i) const { return int64_t{onsets[i + 1]} - onsets[i]; }
};

inline constexpr double natsPerDecade = 2.302585092994046;  // ln(10)

// A stretch of neighbouring events of a train, both ends included.
struct EventStretch {
    int32_t first = 0, last = 0;
    double surprise = 0.0;  // -log10 of a probability; 0 where there is none

    int32_t Count() const { return last - first + 1; }
    bool operator==(const EventStretch&) const = default;
};

// What a search has found, ascending. One that was ended early keeps what it had found until then.
struct FoundStretches {
    std::vector<EventStretch> stretches;
    bool isEnded = false;
};

}  // namespace kymora
