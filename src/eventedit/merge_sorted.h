#pragma once
// Several ascending lists become one. Of equal items those of an earlier list come first.

#include <algorithm>
#include <utility>
#include <vector>

namespace kymora {

// In rounds of pairs: n log k comparisons for k lists.
template <typename T, typename Less>
std::vector<T> MergeSorted(std::vector<std::vector<T>> lists, Less less) {
    if (lists.empty()) return {};
    while (lists.size() > 1) {
        std::vector<std::vector<T>> merged;
        merged.reserve((lists.size() + 1) / 2);
        for (size_t i = 0; i + 1 < lists.size(); i += 2) {
            std::vector<T>& pair = merged.emplace_back(lists[i].size() + lists[i + 1].size());
            std::merge(lists[i].begin(), lists[i].end(), lists[i + 1].begin(), lists[i + 1].end(),
                       pair.begin(), less);
            lists[i] = {};
            lists[i + 1] = {};
        }
        if (lists.size() % 2 != 0) merged.push_back(std::move(lists.back()));
        lists = std::move(merged);
    }
    return std::move(lists.front());
}

}  // namespace kymora
