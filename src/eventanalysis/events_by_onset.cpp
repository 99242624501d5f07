#include "eventanalysis/events_by_onset.h"

#include <algorithm>
#include <numeric>

namespace kymora {

EventsByOnset::EventsByOnset(const CEventChan& chan) : chan_(&chan), size_(chan.GetNumEvents()) {
    if (chan.IsInOrder()) return;
    const auto& events = chan.Events();
    order_.resize(events.size());
    std::iota(order_.begin(), order_.end(), 0);
    std::stable_sort(order_.begin(), order_.end(), [&](int32_t a, int32_t b) {
        return events[static_cast<size_t>(a)].onPosition < events[static_cast<size_t>(b)].onPosition;
    });
}

// Steps that double, then halves: near answers, which most are, cost next to nothing.
int EventsByOnset::FirstFrom(int64_t position, int from) const {
    const int size = Size();
    if (from >= size || On(from) >= position) return from;
    int before = from;  // starts before the position
    int step = 1;
    while (step < size - before && On(before + step) < position) {
        before += step;
        step *= 2;
    }
    int high = step < size - before ? before + step : size;
    for (int low = before + 1; low < high;) {
        const int middle = low + (high - low) / 2;
        if (On(middle) < position)
            low = middle + 1;
        else
            high = middle;
    }
    return high;
}

}  // namespace kymora
