#include "sorting/sorting_scores.h"

#include <algorithm>
#include <limits>

namespace kymora {

namespace {

using UnitTrains = std::vector<std::vector<int64_t>>;

double Share(int64_t part, int64_t whole) {
    return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole)
                     : std::numeric_limits<double>::quiet_NaN();
}

// How many of the times have none of `others` within the tolerance.
int64_t CountAlone(const std::vector<int64_t>& times, const std::vector<int64_t>& others, int64_t tolerance) {
    return std::ranges::count_if(times, [&](int64_t time) {
        const auto next = std::ranges::lower_bound(others, time - tolerance);
        return next == others.end() || *next > time + tolerance;
    });
}

std::vector<int64_t> AllOf(const UnitTrains& trains) {
    std::vector<int64_t> all;
    for (const auto& train : trains) all.insert(all.end(), train.begin(), train.end());
    std::ranges::sort(all);
    return all;
}

std::vector<int> FindPartners(const SortingScores& scores) {
    std::vector<int> partners(scores.pairs.size(), -1);
    std::vector<bool> isTaken(scores.sortedCounts.size());
    for (size_t round = 0; round < partners.size(); ++round) {
        double best = 0.0;
        size_t truth = 0, sorted = 0;
        for (size_t i = 0; i < scores.pairs.size(); ++i)
            for (size_t k = 0; k < scores.pairs[i].size(); ++k) {
                if (partners[i] >= 0 || isTaken[k] || !(scores.pairs[i][k].f1 > best)) continue;
                best = scores.pairs[i][k].f1;
                truth = i;
                sorted = k;
            }
        if (best == 0.0) break;
        partners[truth] = static_cast<int>(sorted);
        isTaken[sorted] = true;
    }
    return partners;
}

}  // namespace

double SortingScores::MeanF1() const {
    double sum = 0.0;
    for (size_t i = 0; i < partners.size(); ++i)
        if (partners[i] >= 0) sum += pairs[i][static_cast<size_t>(partners[i])].f1;
    return partners.empty() ? 0.0 : sum / static_cast<double>(partners.size());
}

// Taking the earliest partner for each in turn leaves the most for the later ones.
int64_t CountMatches(std::span<const int64_t> truth, std::span<const int64_t> sorted, int64_t tolerance) {
    int64_t matches = 0;
    size_t k = 0;
    for (const int64_t time : truth) {
        while (k < sorted.size() && sorted[k] < time - tolerance) ++k;
        if (k == sorted.size()) break;
        if (sorted[k] > time + tolerance) continue;
        ++matches;
        ++k;
    }
    return matches;
}

SortingScores ScoreSorting(const UnitTrains& truth, const UnitTrains& sorted, int64_t tolerance,
                           const std::function<void()>& poll) {
    SortingScores scores;
    const std::vector<int64_t> allTruth = AllOf(truth), allSorted = AllOf(sorted);
    for (const auto& train : sorted) {
        scores.sortedCounts.push_back(std::ssize(train));
        scores.nowhere.push_back(CountAlone(train, allTruth, tolerance));
    }
    for (const auto& train : truth) {
        scores.truthCounts.push_back(std::ssize(train));
        scores.missed.push_back(CountAlone(train, allSorted, tolerance));
        std::vector<PairScore>& row = scores.pairs.emplace_back();
        for (const auto& found : sorted) {
            if (poll) poll();
            PairScore& pair = row.emplace_back();
            pair.matched = CountMatches(train, found, tolerance);
            pair.recall = Share(pair.matched, std::ssize(train));
            pair.precision = Share(pair.matched, std::ssize(found));
            pair.f1 = Share(2 * pair.matched, std::ssize(train) + std::ssize(found));
        }
    }
    scores.partners = FindPartners(scores);
    return scores;
}

}  // namespace kymora
