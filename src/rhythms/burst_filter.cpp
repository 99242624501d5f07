#include "rhythms/burst_filter.h"

#include <algorithm>

namespace kymora {

namespace {

void Join(std::vector<Burst>& bursts, int64_t minInterval) {
    std::vector<Burst> joined;
    int64_t reach = 0;  // of the last one, as it was before it took others in
    for (const Burst& burst : bursts) {
        if (joined.empty() || burst.onset >= reach) {
            joined.push_back(burst);
            reach = burst.offset + minInterval;
            continue;
        }
        Burst& into = joined.back();
        into.offset = std::max(into.offset, burst.offset);
        into.events.last = std::max(into.events.last, burst.events.last);
        into.events.surprise = std::max(into.events.surprise, burst.events.surprise);
    }
    bursts = std::move(joined);
}

// Also those that the burst reaches over, since one of its events is longer.
int64_t CountWithin(const EventTrain& train, const Burst& burst) {
    const auto first = train.onsets.begin() + burst.events.first;
    const auto count = std::lower_bound(first, train.onsets.end(), burst.offset) - first;
    return std::max<int64_t>(count, burst.events.Count());
}

}  // namespace

std::vector<Burst> FilterBursts(const EventTrain& train, std::span<const EventStretch> found,
                                const BurstFilter& filter) {
    std::vector<Burst> bursts;
    for (const EventStretch& events : found)
        bursts.push_back({events, train.onsets[static_cast<size_t>(events.first)],
                          train.offsets[static_cast<size_t>(events.last)]});
    const bool limits = filter.times && (filter.minInterval > 0 || filter.minDuration > 0);
    if (limits) Join(bursts, filter.minInterval);
    std::erase_if(bursts, [&](const Burst& burst) {
        const bool isShort =
            limits && filter.minDuration > 1 && int64_t{burst.offset} - burst.onset < filter.minDuration;
        return isShort || CountWithin(train, burst) < filter.minEvents;
    });
    return bursts;
}

}  // namespace kymora
