#include "rhythms/rank_bursts.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "rhythms/greedy_choice.h"
#include "statistics/rank_sum_tail.h"

namespace kymora {

namespace {

constexpr int32_t leastIntervals = 2;

class RankRun {
  public:
    // The intervals from `begin` to `end`, the latter not included; places count from `begin`.
    RankRun(std::span<const double> ranks, size_t begin, size_t end, double surprise)
        : ranks_(ranks.subspan(begin, end - begin)),
          most_(static_cast<int64_t>(ranks.size())),
          threshold_(surprise * natsPerDecade) {
        // Of so many ranks, the mean and the s.d. of their sum.
        const auto n = static_cast<double>(most_);
        for (size_t q = 0; q <= ranks_.size(); ++q) {
            const auto count = static_cast<double>(q);
            means_.push_back(count * (n + 1.0) / 2.0);
            sds_.push_back(std::sqrt(count * (n * n - 1.0) / 12.0));
        }
    }

    std::optional<Candidate> Best(int32_t first, int32_t last) const {
        Candidate best{first, -1, threshold_};
        const auto take = [&](int32_t q, double surprise) {
            if (surprise > best.score) best = {first, first + q - 1, surprise};
        };
        const int32_t most = last - first + 1;
        double sum = 0.0;
        int32_t q = 0;
        while (q < std::min(most, leastNormalRanks - 1)) {
            sum += ranks_[static_cast<size_t>(first + q)];
            if (++q >= leastIntervals && IsWorthIt(q, sum)) take(q, 0.0 - LogRankSumTail(q, sum, most_));
        }
        // Of the normal tail the smallest score is the greatest surprise.
        double smallest = std::numeric_limits<double>::infinity();
        int32_t smallestAt = 0;
        while (q < most) {
            sum += ranks_[static_cast<size_t>(first + q)];
            ++q;
            const auto at = static_cast<size_t>(q);
            const double score = (sum - means_[at]) / sds_[at];
            if (score < smallest) {
                smallest = score;
                smallestAt = q;
            }
        }
        if (smallestAt > 0) take(smallestAt, 0.0 - LogNormalTail(smallest));
        if (best.last < 0) return {};
        return best;
    }

  private:
    // At or above its mean a sum has half the chance or more.
    bool IsWorthIt(int32_t q, double sum) const {
        return threshold_ < 0.69 || sum < means_[static_cast<size_t>(q)];
    }

    std::span<const double> ranks_;
    int64_t most_;
    double threshold_;
    std::vector<double> means_, sds_;
};

}  // namespace

std::vector<double> RanksOf(const EventTrain& train) {
    const size_t count = train.Intervals();
    std::vector<int32_t> order(count);
    std::iota(order.begin(), order.end(), 0);
    const auto interval = [&](int32_t i) { return train.Interval(static_cast<size_t>(i)); };
    std::ranges::sort(order, {}, interval);
    std::vector<double> ranks(count);
    for (size_t from = 0; from < count;) {
        size_t to = from;
        while (to < count && interval(order[to]) == interval(order[from])) ++to;
        for (size_t i = from; i < to; ++i)
            ranks[static_cast<size_t>(order[i])] = static_cast<double>(from + 1 + to) / 2.0;
        from = to;
    }
    return ranks;
}

FoundStretches FindRankBursts(const EventTrain& train, std::span<const double> ranks,
                              const RankSettings& settings, const Poll& poll) {
    FoundStretches found;
    const size_t count = train.Intervals();
    for (size_t begin = 0; begin < count && !found.isEnded;) {
        size_t end = begin;
        while (end < count && train.Interval(end) <= settings.maxInterval) ++end;
        if (end - begin >= static_cast<size_t>(leastIntervals)) {
            const RankRun run(ranks, begin, end, settings.surprise);
            const auto intervals = static_cast<int32_t>(end - begin), before = static_cast<int32_t>(begin);
            // An interval to spare on each side: a neighbour would share an event.
            const auto bursts = ChooseGreedily(
                intervals, [&](int32_t first, int32_t last) { return run.Best(first, last); },
                [](const Candidate& burst) {
                    return TakenRange{burst.first - 1, burst.last + 1};
                },
                [&](int32_t starts) {
                    const double done = static_cast<double>(begin) + starts;
                    found.isEnded |= !IsWanted(poll, done / static_cast<double>(count));
                    return !found.isEnded;
                });
            for (const Candidate& burst : bursts)
                found.stretches.push_back(
                    {before + burst.first, before + burst.last + 1, burst.score / natsPerDecade});
        }
        begin = std::max(end, begin + 1);
    }
    std::ranges::sort(found.stretches, {}, &EventStretch::first);
    return found;
}

}  // namespace kymora
