#include "eventedit/retimed_events.h"

#include <algorithm>

namespace kymora {

RetimedEvents Retime(const EventsByOnset& source, std::span<const EventEnds> ends) {
    std::vector<int> ranks;
    ranks.reserve(ends.size());
    for (size_t rank = 0; rank < ends.size(); ++rank)
        if (ends[rank].stays) ranks.push_back(static_cast<int>(rank));
    const auto isBefore = [&](int a, int b) {
        return ends[static_cast<size_t>(a)].on < ends[static_cast<size_t>(b)].on;
    };
    if (!std::is_sorted(ranks.begin(), ranks.end(), isBefore))
        std::stable_sort(ranks.begin(), ranks.end(), isBefore);
    RetimedEvents made;
    made.events.reserve(ranks.size());
    const bool hasExtra = source.Channel() && !source.Channel()->EventExtra().empty();
    for (const int rank : ranks) {
        CEventKM& event = made.events.emplace_back(source[rank]);
        event.onPosition = static_cast<int32_t>(ends[static_cast<size_t>(rank)].on);
        event.offPosition = static_cast<int32_t>(ends[static_cast<size_t>(rank)].off);
        if (hasExtra)
            made.extra.push_back(source.Channel()->EventExtra()[static_cast<size_t>(source.IndexOf(rank))]);
    }
    return made;
}

}  // namespace kymora
