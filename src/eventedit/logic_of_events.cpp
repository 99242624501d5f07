#include "eventedit/logic_of_events.h"

#include <algorithm>

#include "eventedit/merge_sorted.h"

namespace kymora {

namespace {

// Where a set begins (+1) or ends (-1).
struct Edge {
    int32_t position = 0;
    int32_t change = 0;
};

std::vector<Edge> EdgesOf(std::span<const SampleSpan> stretches) {
    std::vector<Edge> edges;
    edges.reserve(2 * stretches.size());
    for (const SampleSpan& stretch : stretches) {
        edges.push_back({stretch.first, 1});
        edges.push_back({stretch.end, -1});
    }
    return edges;
}

bool Holds(EventLogic logic, int inside, int sources) {
    switch (logic) {
    case EventLogic::logicAnd:
        return inside == sources;
    case EventLogic::logicOr:
        return inside > 0;
    case EventLogic::logicXor:
        return inside % 2 != 0;
    case EventLogic::logicNot:
        return inside == 0;
    case EventLogic::equals:
        return inside == 0 || inside == sources;
    case EventLogic::andNot:
        break;
    }
    return false;
}

bool StartsEarlier(const SampleSpan& a, const SampleSpan& b) { return a.first < b.first; }

}  // namespace

std::vector<SampleSpan> StretchesOf(EventSpan events, int32_t length) {
    std::vector<SampleSpan> stretches;
    stretches.reserve(events.size());
    for (const CEventKM& event : events) {
        const SampleSpan held{std::max(event.onPosition, 0), std::min(event.offPosition, length)};
        if (held.first < held.end) stretches.push_back(held);
    }
    if (!std::is_sorted(stretches.begin(), stretches.end(), StartsEarlier))
        std::sort(stretches.begin(), stretches.end(), StartsEarlier);
    size_t count = 0;
    for (const SampleSpan& stretch : stretches) {
        if (count > 0 && stretch.first <= stretches[count - 1].end)
            stretches[count - 1].end = std::max(stretches[count - 1].end, stretch.end);
        else
            stretches[count++] = stretch;
    }
    stretches.resize(count);
    return stretches;
}

std::vector<SampleSpan> Combine(std::span<const std::vector<SampleSpan>> sources, EventLogic logic,
                                int32_t length) {
    std::vector<std::vector<Edge>> lists;
    for (const auto& source : sources) lists.push_back(EdgesOf(source));
    const std::vector<Edge> edges =
        MergeSorted(std::move(lists), [](const Edge& a, const Edge& b) { return a.position < b.position; });
    std::vector<SampleSpan> result;
    result.reserve(edges.size() / 2 + 1);
    int inside = 0;
    int32_t start = -1;  // of the stretch that is open
    size_t i = 0;
    for (int32_t at = 0; at < length;) {
        for (; i < edges.size() && edges[i].position == at; ++i) inside += edges[i].change;
        const bool holds = Holds(logic, inside, static_cast<int>(sources.size()));
        if (holds && start < 0) start = at;
        if (!holds && start >= 0) {
            result.push_back({start, at});
            start = -1;
        }
        at = i < edges.size() ? edges[i].position : length;
    }
    if (start >= 0) result.push_back({start, length});
    return result;
}

std::vector<SampleSpan> Common(std::span<const SampleSpan> a, std::span<const SampleSpan> b) {
    std::vector<SampleSpan> common;
    for (size_t i = 0, k = 0; i < a.size() && k < b.size();) {
        const SampleSpan both{std::max(a[i].first, b[k].first), std::min(a[i].end, b[k].end)};
        if (both.first < both.end) common.push_back(both);
        a[i].end < b[k].end ? ++i : ++k;
    }
    return common;
}

std::vector<uint8_t> LieInNone(EventSpan events, std::span<const EventSpan> others) {
    std::vector<SampleSpan> covers;  // ascending; each end is the latest of all that begin no later
    for (const EventSpan& other : others)
        for (const CEventKM& event : other) covers.push_back({event.onPosition, event.offPosition});
    if (!std::is_sorted(covers.begin(), covers.end(), StartsEarlier))
        std::sort(covers.begin(), covers.end(), StartsEarlier);
    for (size_t i = 1; i < covers.size(); ++i) covers[i].end = std::max(covers[i].end, covers[i - 1].end);
    std::vector<uint8_t> outside(events.size(), 1);
    const bool ascends =
        std::is_sorted(events.begin(), events.end(),
                       [](const CEventKM& a, const CEventKM& b) { return a.onPosition < b.onPosition; });
    size_t behind = 0;  // the first cover that begins after the event
    for (size_t i = 0; i < events.size(); ++i) {
        const int32_t on = events[i].onPosition;
        if (ascends)
            while (behind < covers.size() && covers[behind].first <= on) ++behind;
        else
            behind = static_cast<size_t>(
                std::upper_bound(covers.begin(), covers.end(), SampleSpan{on, on}, StartsEarlier) -
                covers.begin());
        if (behind > 0 && covers[behind - 1].end >= events[i].offPosition) outside[i] = 0;
    }
    return outside;
}

}  // namespace kymora
