#pragma once
// Choosing stretches of a row of things that do not touch each other, the best first: what storing each
// candidate, taking the best and deleting those that overlap it would leave, in the memory of one candidate
// for each start.

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace kymora {

struct Candidate {
    int32_t first = 0, last = 0;
    double score = 0.0;

    // Ties: the earliest, then the shortest.
    bool IsBetterThan(const Candidate& other) const {
        if (score != other.score) return score > other.score;
        return first != other.first ? first < other.first : last < other.last;
    }
};

// What no further candidate may reach into: from `first` to `last`.
struct TakenRange {
    int32_t first = 0, last = 0;
};

// Adds a range to those that are taken (first, last), which stay apart from each other.
inline void AddTaken(std::map<int32_t, int32_t>& gone, TakenRange range) {
    auto at = gone.upper_bound(range.first);
    if (at != gone.begin() && std::prev(at)->second >= range.first) range.first = (--at)->first;
    for (; at != gone.end() && at->first <= range.last; at = gone.erase(at))
        range.last = std::max(range.last, at->second);
    gone[range.first] = range.last;
}

// `best(first, last)` is the best candidate that begins at `first` and ends at `last` at most, if there is
// one. `taken(candidate)` answers the range that a candidate takes up. `goesOn(starts)` is asked for each
// start of the `count` there are; false ends the choice, which keeps what it has. In the order of choice.
//
// Each start has its best candidate on a heap. One that reaches into what was taken since is looked for anew
// when it comes to the top, and not before: its score is no less than what it will have then.
template <typename Best, typename Taken, typename GoesOn>
std::vector<Candidate> ChooseGreedily(int32_t count, Best best, Taken taken, GoesOn goesOn) {
    std::vector<Candidate> heap, chosen;
    const auto isWorse = [](const Candidate& a, const Candidate& b) { return b.IsBetterThan(a); };
    for (int32_t first = 0; first < count; ++first) {
        if (!goesOn(first + 1)) return chosen;
        if (const std::optional<Candidate> found = best(first, count - 1)) heap.push_back(*found);
    }
    std::make_heap(heap.begin(), heap.end(), isWorse);
    std::map<int32_t, int32_t> gone;  // taken ranges: first, last
    while (!heap.empty()) {
        std::pop_heap(heap.begin(), heap.end(), isWorse);
        const Candidate top = heap.back();
        heap.pop_back();
        const auto next = gone.upper_bound(top.first);
        if (next != gone.begin() && std::prev(next)->second >= top.first) continue;
        if (next == gone.end() || top.last < next->first) {
            AddTaken(gone, taken(top));
            chosen.push_back(top);
            continue;
        }
        if (!goesOn(count)) return chosen;
        if (const std::optional<Candidate> found = best(top.first, next->first - 1)) {
            heap.push_back(*found);
            std::push_heap(heap.begin(), heap.end(), isWorse);
        }
    }
    return chosen;
}

}  // namespace kymora
