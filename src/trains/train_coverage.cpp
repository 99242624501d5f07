#include "trains/train_coverage.h"

#include <algorithm>

namespace kymora {

namespace {

void Append(std::vector<SampleStretch>& joined, const SampleStretch& next) {
    if (next.Length() <= 0) return;
    if (!joined.empty() && next.first <= joined.back().end)
        joined.back().end = std::max(joined.back().end, next.end);
    else
        joined.push_back(next);
}

// Calls take(position) for those within.
template <typename Take>
void ForWithin(std::span<const int64_t> positions, std::span<const SampleStretch> joined, Take take) {
    size_t at = 0;
    for (const int64_t position : positions) {
        while (at < joined.size() && joined[at].end <= position) ++at;
        if (at == joined.size()) return;
        if (position >= joined[at].first) take(position);
    }
}

}  // namespace

std::vector<SampleStretch> JoinStretches(std::vector<SampleStretch> stretches) {
    std::ranges::sort(stretches, {}, &SampleStretch::first);
    std::vector<SampleStretch> joined;
    for (const SampleStretch& one : stretches) Append(joined, one);
    return joined;
}

int64_t LengthOf(std::span<const SampleStretch> joined) {
    int64_t sum = 0;
    for (const SampleStretch& one : joined) sum += one.Length();
    return sum;
}

int64_t CountWithin(std::span<const int64_t> positions, std::span<const SampleStretch> joined) {
    int64_t count = 0;
    ForWithin(positions, joined, [&](int64_t) { ++count; });
    return count;
}

std::vector<int64_t> PositionsWithin(std::span<const int64_t> positions,
                                     std::span<const SampleStretch> joined) {
    std::vector<int64_t> within;
    ForWithin(positions, joined, [&](int64_t position) { within.push_back(position); });
    return within;
}

std::vector<SampleStretch> CoverageOf(std::span<const int64_t> onsets, int64_t from, int64_t to,
                                      std::span<const SampleStretch> region) {
    std::vector<SampleStretch> windows, covered;
    for (const int64_t onset : onsets) Append(windows, {onset + from, onset + to + 1});
    size_t at = 0;
    for (const SampleStretch& window : windows) {
        while (at < region.size() && region[at].end <= window.first) ++at;
        for (size_t i = at; i < region.size() && region[i].first < window.end; ++i)
            Append(covered, {std::max(window.first, region[i].first), std::min(window.end, region[i].end)});
    }
    return covered;
}

}  // namespace kymora
