#include <algorithm>

#include "events/event_chan.h"

namespace kymora {

bool IsOfKind(const CEventKM& event, EventKind kind) {
    switch (kind) {
    case EventKind::tagged:
        return event.eventTag != 0;
    case EventKind::labelled:
        return !event.eventLabel.empty();
    default:
        return true;
    }
}

namespace {

// Gathers distances in samples, which may exceed what a position can hold.
class RangeSum {
  public:
    void Add(int64_t value) {
        minimum_ = std::min(minimum_, value);
        maximum_ = std::max(maximum_, value);
        sum_ += static_cast<double>(value);
        ++count_;
    }
    CEventChan::Range Result() const {
        if (count_ == 0) return {};
        return {Hold(minimum_), Hold(maximum_), static_cast<float>(sum_ / static_cast<double>(count_)), true};
    }

  private:
    static int32_t Hold(int64_t value) {
        return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX));
    }

    int64_t minimum_ = INT64_MAX;
    int64_t maximum_ = INT64_MIN;
    double sum_ = 0.0;
    size_t count_ = 0;
};

// Counts starting positions, which ascend, in each run. `startOf` takes an element to its position.
template <typename Iterator, typename StartOf>
std::vector<int> CountStarts(Iterator begin, Iterator end, std::span<const std::pair<int32_t, int32_t>> runs,
                             StartOf startOf) {
    const auto firstFrom = [&](Iterator from, int64_t position) {
        return std::partition_point(from, end,
                                    [&](const auto& element) { return startOf(element) < position; });
    };
    std::vector<int> counts;
    counts.reserve(runs.size());
    for (const auto& [start, length] : runs) {
        begin = firstFrom(begin, start);  // runs ascend: what lies ahead of this one is done with
        counts.push_back(static_cast<int>(firstFrom(begin, int64_t{start} + length) - begin));
    }
    return counts;
}

}  // namespace

int CEventChan::FindEventAt(int32_t position) const {
    auto begin = events_.begin();
    auto end = events_.end();
    if (IsInOrder()) {
        // Only events that start within the longest duration before the position can reach it.
        const int64_t earliest = position - longestEvent_;
        begin = std::partition_point(begin, end, [&](const CEventKM& e) { return e.onPosition < earliest; });
        end = std::partition_point(begin, end, [&](const CEventKM& e) { return e.onPosition <= position; });
    }
    const auto found = std::find_if(
        begin, end, [&](const CEventKM& e) { return e.onPosition <= position && position < e.offPosition; });
    return found == end ? -1 : static_cast<int>(found - events_.begin());
}

int CEventChan::GetCount(EventKind kind) const {
    if (kind == EventKind::all) return GetNumEvents();
    return static_cast<int>(std::count_if(events_.begin(), events_.end(),
                                          [kind](const CEventKM& e) { return IsOfKind(e, kind); }));
}

bool CEventChan::HasEvents(EventKind kind) const {
    return std::any_of(events_.begin(), events_.end(),
                       [kind](const CEventKM& e) { return IsOfKind(e, kind); });
}

CEventChan::Range CEventChan::GetIntervalStats() const {
    RangeSum gaps;
    for (size_t i = 1; i < events_.size(); ++i)
        gaps.Add(int64_t{events_[i].onPosition} - events_[i - 1].offPosition);
    return gaps.Result();
}

CEventChan::Range CEventChan::GetDurationStats() const {
    RangeSum durations;
    for (const CEventKM& event : events_) durations.Add(int64_t{event.offPosition} - event.onPosition);
    return durations.Result();
}

std::vector<int> CEventChan::CountInRuns(std::span<const std::pair<int32_t, int32_t>> runs) const {
    if (IsInOrder())
        return CountStarts(events_.begin(), events_.end(), runs,
                           [](const CEventKM& e) { return e.onPosition; });
    std::vector<int32_t> starts;
    starts.reserve(events_.size());
    for (const CEventKM& event : events_) starts.push_back(event.onPosition);
    std::sort(starts.begin(), starts.end());
    return CountStarts(starts.begin(), starts.end(), runs, [](int32_t start) { return start; });
}

EventOrderFault CEventChan::CheckOrder() const {
    for (size_t i = 1; i < events_.size(); ++i) {
        if (events_[i].onPosition < 0) return EventOrderFault::negativePosition;
        if (DescentsAt(i) != 0) return EventOrderFault::outOfOrder;
    }
    return EventOrderFault::none;
}

}  // namespace kymora
