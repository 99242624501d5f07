#include "rhythms/poisson_bursts.h"

#include <cmath>

#include "rhythms/greedy_choice.h"
#include "statistics/poisson_tail.h"

namespace kymora {

namespace {

constexpr double slackOfBound = 1e-9;
constexpr double leastDuration = 0.5;  // samples

// The best stretches of one run of short intervals.
class PoissonRun {
  public:
    // The run holds the events from `begin` to `end`, both included; places count from `begin`.
    PoissonRun(const EventTrain& train, int32_t begin, double rate, const PoissonSettings& settings)
        : onsets_(train.onsets.data() + begin),
          offsets_(train.offsets.data() + begin),
          rate_(rate),
          threshold_(settings.surprise * natsPerDecade),
          minEvents_(settings.minEvents) {}

    // Halves the ends that there may be until no half can hold a better one.
    std::optional<Candidate> Best(int32_t first, int32_t last) {
        first_ = first;
        bestLast_ = -1;
        best_ = threshold_;
        const int32_t least = first + minEvents_ - 1;
        if (least > last) return {};
        // Where the last search has ended, this one most likely will, too.
        if (hint_ >= least && hint_ <= last) Try(hint_);
        Search(least, last);
        if (bestLast_ < 0) return {};
        hint_ = bestLast_;
        return Candidate{first, bestLast_, best_};
    }

    // All events that begin within the burst.
    TakenRange Taken(const Candidate& burst, int32_t count) const {
        TakenRange range{burst.first, burst.last};
        while (range.first > 0 && onsets_[range.first - 1] == onsets_[burst.first]) --range.first;
        const int64_t end = std::max(int64_t{onsets_[burst.last]} + 1, int64_t{offsets_[burst.last]});
        while (range.last + 1 < count && onsets_[range.last + 1] < end) ++range.last;
        return range;
    }

  private:
    double Mean(int32_t last) const {
        const auto duration = static_cast<double>(int64_t{onsets_[last]} - onsets_[first_]);
        return std::max(duration, leastDuration) * rate_;
    }
    bool MayBeBest(int32_t shortest, int32_t longest) const {
        return PoissonSurpriseBound(longest - first_, Mean(shortest)) + slackOfBound * (1.0 + best_) >= best_;
    }
    void Try(int32_t last) {
        const double surprise = 0.0 - LogPoissonTail(last - first_, Mean(last));  // never -0
        const bool isTie = surprise == best_ && (bestLast_ < 0 || last < bestLast_);
        if (!(surprise > best_) && !isTie) return;
        best_ = surprise;
        bestLast_ = last;
    }
    // A stretch with as many events as the longest in the time of the shortest would be the best of them.
    void Search(int32_t shortest, int32_t longest) {
        if (!MayBeBest(shortest, longest)) return;
        if (shortest == longest) return Try(longest);
        const int32_t middle = shortest + (longest - shortest) / 2;
        Search(shortest, middle);
        Search(middle + 1, longest);
    }

    const int32_t *onsets_, *offsets_;
    double rate_, threshold_;
    int32_t minEvents_;
    int32_t hint_ = -1;
    int32_t first_ = 0, bestLast_ = -1;
    double best_ = 0.0;
};

}  // namespace

FoundStretches FindPoissonBursts(const EventTrain& train, const PoissonSettings& settings, const Poll& poll) {
    FoundStretches found;
    const auto count = static_cast<int32_t>(train.Size());
    if (train.Size() < leastPoissonEvents || train.onsets.front() == train.onsets.back()) return found;
    const double rate = static_cast<double>(train.Intervals()) /
                        static_cast<double>(int64_t{train.onsets.back()} - train.onsets.front());
    for (int32_t begin = 0; begin < count && !found.isEnded;) {
        int32_t end = begin;
        while (end + 1 < count && train.Interval(static_cast<size_t>(end)) < settings.maxInterval) ++end;
        const int32_t events = end - begin + 1;
        if (events >= settings.minEvents) {
            PoissonRun run(train, begin, rate, settings);
            const auto bursts = ChooseGreedily(
                events, [&](int32_t first, int32_t last) { return run.Best(first, last); },
                [&](const Candidate& burst) { return run.Taken(burst, events); },
                [&](int32_t starts) {
                    found.isEnded |= !IsWanted(poll, static_cast<double>(begin + starts) / count);
                    return !found.isEnded;
                });
            for (const Candidate& burst : bursts)
                found.stretches.push_back(
                    {begin + burst.first, begin + burst.last, burst.score / natsPerDecade});
        }
        begin = end + 1;
    }
    std::ranges::sort(found.stretches, {}, &EventStretch::first);
    return found;
}

}  // namespace kymora
