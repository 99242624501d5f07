#pragma once
// The parameters that need no samples, for one event at a time, in double precision.

#include <limits>

#include "eventanalysis/event_parameters.h"
#include "eventanalysis/partner_events.h"

namespace kymora {

inline constexpr double noValue = std::numeric_limits<double>::quiet_NaN();

// An event of a block, with what its values need of its neighbours there.
struct EventPlace {
    int block = 0;
    int k = 0;      // in the block
    int index = 0;  // in the channel
    int32_t on = 0;
    int32_t off = 0;
    bool hasNext = false;  // in the block
    int32_t nextOn = 0;
    bool hasPrevious = false;
    int32_t previousOn = 0;
};

// Hands on every event of a filled block, in order, until `work` answers false; that is then the answer.
template <typename Work>
bool ForEachEvent(const CEventBlock& block, Work work) {
    const EventsByOnset& events = block.Channel1();
    for (int b = 0; b < block.GetNumBlocks(); ++b) {
        const int count = block.GetNumEvents(b);
        const int first = block.RankOf(b, 0);
        for (int k = 0; k < count; ++k) {
            const CEventKM& event = events[first + k];
            EventPlace place{b, k, events.IndexOf(first + k), event.onPosition, event.offPosition};
            place.hasNext = k + 1 < count;
            if (place.hasNext) place.nextOn = events.On(first + k + 1);
            place.hasPrevious = k > 0;
            if (place.hasPrevious) place.previousOn = events.On(first + k - 1);
            if (!work(place)) return false;
        }
    }
    return true;
}

// Samples from one position to another.
inline double SamplesBetween(int32_t from, int32_t to) { return static_cast<double>(int64_t{to} - from); }

// A parameter of the event and its neighbours alone. A frequency or duty cycle over an interval of 0 is no
// answer. Not-a-number for other parameters.
double TimingValue(const CDataDoc& doc, EvParam param, const EventPlace& place);
// A parameter of two channels.
double PartnerValue(const CDataDoc& doc, EvParam param, PartnerEvents& partner, const EventPlace& place);

}  // namespace kymora
