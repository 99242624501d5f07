#include "eventedit/logic_of_events.h"

#include <algorithm>
#include <array>
#include <limits>

namespace kymora {

namespace {

// A set as the samples at which it begins and ends by turns, ascending: no two are the same.
using Bounds = std::vector<int32_t>;

Bounds BoundsOf(std::span<const SampleSpan> stretches) {
    Bounds bounds(2 * stretches.size());
    for (size_t i = 0; i < stretches.size(); ++i) {
        bounds[2 * i] = stretches[i].first;
        bounds[2 * i + 1] = stretches[i].end;
    }
    return bounds;
}

// Which samples belong to the result: those of neither set, of the first, of the second, of both.
using Table = std::array<bool, 4>;
constexpr Table bothSets = {false, false, false, true};
constexpr Table anySet = {false, true, true, true};
constexpr Table oneSet = {false, true, true, false};

// Without branches that follow the data, which no processor could foretell.
Bounds Joined(Bounds a, Bounds b, const Table& belongs) {
    constexpr int64_t never = std::numeric_limits<int64_t>::max();
    const size_t ofA = a.size(), ofB = b.size(), all = ofA + ofB;
    a.push_back(0);  // may be read, but counts for nothing
    b.push_back(0);
    Bounds joined(all + 1);
    size_t i = 0, k = 0, count = 0;
    bool isOpen = false;
    while (i + k < all) {
        const int64_t x = i < ofA ? a[i] : never, y = k < ofB ? b[k] : never, at = std::min(x, y);
        i += x == at;
        k += y == at;
        const bool holds = belongs[(i & 1) + 2 * (k & 1)];
        joined[count] = static_cast<int32_t>(at);
        count += holds != isOpen;
        isOpen = holds;
    }
    joined.resize(count);
    return joined;
}

// Each with its neighbour, in rounds.
Bounds JoinedOf(std::vector<Bounds> sets, const Table& belongs) {
    while (sets.size() > 1) {
        for (size_t i = 0; 2 * i < sets.size(); ++i)
            sets[i] = 2 * i + 1 < sets.size()
                          ? Joined(std::move(sets[2 * i]), std::move(sets[2 * i + 1]), belongs)
                          : std::move(sets[2 * i]);
        sets.resize((sets.size() + 1) / 2);
    }
    return sets.empty() ? Bounds() : std::move(sets.front());
}

Bounds RestOf(Bounds set, int32_t length) {
    if (length <= 0) return {};
    if (!set.empty() && set.front() == 0)
        set.erase(set.begin());
    else
        set.insert(set.begin(), 0);
    if (!set.empty() && set.back() == length)
        set.pop_back();
    else
        set.push_back(length);
    return set;
}

Bounds InSomeNotAll(std::vector<Bounds> sets) {
    if (sets.size() == 2) return JoinedOf(std::move(sets), oneSet);
    Bounds any = JoinedOf(sets, anySet);
    return Joined(std::move(any), JoinedOf(std::move(sets), bothSets), oneSet);
}

Bounds BoundsOfLogic(std::vector<Bounds> sets, EventLogic logic, int32_t length) {
    switch (logic) {
    case EventLogic::logicAnd:
        return JoinedOf(std::move(sets), bothSets);
    case EventLogic::logicOr:
        return JoinedOf(std::move(sets), anySet);
    case EventLogic::logicXor:
        return JoinedOf(std::move(sets), oneSet);
    case EventLogic::logicNot:
        return RestOf(JoinedOf(std::move(sets), anySet), length);
    case EventLogic::equals:
        return RestOf(InSomeNotAll(std::move(sets)), length);
    case EventLogic::andNot:
        break;
    }
    return {};
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
    std::vector<Bounds> sets;
    for (const auto& source : sources) sets.push_back(BoundsOf(source));
    const Bounds bounds = BoundsOfLogic(std::move(sets), logic, length);
    std::vector<SampleSpan> result(bounds.size() / 2);
    for (size_t i = 0; i < result.size(); ++i) result[i] = {bounds[2 * i], bounds[2 * i + 1]};
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
