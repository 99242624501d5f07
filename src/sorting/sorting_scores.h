#pragma once
// How well sorted units agree with known ones, spike by spike (as in A. P. Buccino et al., eLife 9, 2020,
// e61834).

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace kymora {

struct PairScore {
    int64_t matched = 0;
    double recall = 0.0, precision = 0.0, f1 = 0.0;  // not a number where there is nothing to divide by
};

struct SortingScores {
    std::vector<std::vector<PairScore>> pairs;  // by truth, then by sorted unit
    std::vector<int64_t> truthCounts, sortedCounts;
    // Known spikes with no sorted one of any unit within the tolerance, and sorted ones with no known one.
    std::vector<int64_t> missed, nowhere;
    // The sorted unit of each known one, each taken once, the pairs of the greatest F1 first (the first of
    // equals); -1 where none is left that has a spike in common.
    std::vector<int> partners;

    double MeanF1() const;  // of the known units with their partners; one without counts as 0
};

// The most pairs of a known and a sorted time that are no farther apart than the tolerance, each in one pair.
// Both ascend.
int64_t CountMatches(std::span<const int64_t> truth, std::span<const int64_t> sorted, int64_t tolerance);

// Times of each unit, ascending, and the tolerance in the same unit. The poll is asked for each pair.
SortingScores ScoreSorting(const std::vector<std::vector<int64_t>>& truth,
                           const std::vector<std::vector<int64_t>>& sorted, int64_t tolerance,
                           const std::function<void()>& poll = {});

}  // namespace kymora
