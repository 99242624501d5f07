#include "eventedit/merge_overlaps.h"

#include <algorithm>

#include "eventedit/merge_sorted.h"

namespace kymora {

std::vector<CEventKM> MergeOverlaps(std::span<const EventSpan> sources) {
    const auto isEarlier = [](const CEventKM* a, const CEventKM* b) { return a->onPosition < b->onPosition; };
    std::vector<std::vector<const CEventKM*>> lists;
    for (const EventSpan& source : sources) {
        auto& list = lists.emplace_back();
        list.reserve(source.size());
        for (const CEventKM& event : source) list.push_back(&event);
        if (!std::is_sorted(list.begin(), list.end(), isEarlier))
            std::stable_sort(list.begin(), list.end(), isEarlier);
    }
    std::vector<CEventKM> merged;
    for (const CEventKM* event : MergeSorted(std::move(lists), isEarlier)) {
        if (!merged.empty() && event->onPosition < merged.back().offPosition)
            merged.back().offPosition = std::max(merged.back().offPosition, event->offPosition);
        else
            merged.push_back(*event);
    }
    return merged;
}

}  // namespace kymora
