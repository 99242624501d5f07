#include "trains/train_coverage.h"

#include <algorithm>

namespace kymora {

namespace {

void Append(std::vector<TrainStretch>& joined, const TrainStretch& next) {
    if (next.Length() <= 0) return;
    if (!joined.empty() && next.first <= joined.back().end)
        joined.back().end = std::max(joined.back().end, next.end);
    else
        joined.push_back(next);
}

// Calls take(i) for those within.
template <typename Take>
void ForWithin(std::span<const int64_t> positions, std::span<const TrainStretch> joined, Take take) {
    size_t at = 0;
    for (size_t i = 0; i < positions.size(); ++i) {
        const int64_t position = positions[i];
        while (at < joined.size() && joined[at].end <= position) ++at;
        if (at == joined.size()) return;
        if (position >= joined[at].first) take(i);
    }
}

}  // namespace

std::vector<TrainStretch> JoinStretches(std::vector<TrainStretch> stretches) {
    std::ranges::sort(stretches, {}, &TrainStretch::first);
    std::vector<TrainStretch> joined;
    for (const TrainStretch& one : stretches) Append(joined, one);
    return joined;
}

int64_t LengthOf(std::span<const TrainStretch> joined) {
    int64_t sum = 0;
    for (const TrainStretch& one : joined) sum += one.Length();
    return sum;
}

int64_t CountWithin(std::span<const int64_t> positions, std::span<const TrainStretch> joined) {
    // Each step goes on in one of the two, without a branch that nobody could foresee.
    int64_t count = 0;
    size_t i = 0, at = 0;
    while (i < positions.size() && at < joined.size()) {
        const int64_t position = positions[i];
        const bool isBehind = joined[at].end <= position;
        count += !isBehind & (joined[at].first <= position);
        at += isBehind;
        i += !isBehind;
    }
    return count;
}

std::vector<int64_t> PositionsWithin(std::span<const int64_t> positions,
                                     std::span<const TrainStretch> joined) {
    std::vector<int64_t> within;
    ForWithin(positions, joined, [&](size_t i) { within.push_back(positions[i]); });
    return within;
}

std::vector<int32_t> PlacesWithin(std::span<const int64_t> positions, std::span<const TrainStretch> joined) {
    std::vector<int32_t> places;
    ForWithin(positions, joined, [&](size_t i) { places.push_back(static_cast<int32_t>(i)); });
    return places;
}

std::vector<TrainStretch> CoverageOf(std::span<const int64_t> onsets, int64_t from, int64_t to,
                                     std::span<const TrainStretch> region) {
    std::vector<TrainStretch> windows, covered;
    for (const int64_t onset : onsets) Append(windows, {onset + from, onset + to + 1});
    size_t at = 0;
    for (const TrainStretch& window : windows) {
        while (at < region.size() && region[at].end <= window.first) ++at;
        for (size_t i = at; i < region.size() && region[i].first < window.end; ++i)
            Append(covered, {std::max(window.first, region[i].first), std::min(window.end, region[i].end)});
    }
    return covered;
}

}  // namespace kymora
