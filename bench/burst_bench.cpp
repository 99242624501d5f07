// The searches for bursts and rhythm. The floor of the Poisson search is one logarithm for each stretch,
// which any search that looks at all of them needs at least.

#include <sys/resource.h>

#include <cmath>
#include <random>

#include "bench_files.h"
#include "rhythms/poisson_bursts.h"
#include "rhythms/rank_bursts.h"
#include "rhythms/regular_stretches.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

enum class Kind { poisson, bursty, regular };
constexpr const char* kindNames[] = {"Poisson train", "bursts", "regular with jitter"};

EventTrain MakeTrain(Kind kind, size_t intervals) {
    std::mt19937 random(7);
    std::exponential_distribution<double> gap(0.01);
    EventTrain train;
    int32_t at = 0;
    for (size_t i = 0; i <= intervals; ++i) {
        train.onsets.push_back(at);
        train.offsets.push_back(at + 1);
        const double long_ = gap(random);
        if (kind == Kind::poisson) at += 1 + static_cast<int32_t>(long_);
        if (kind == Kind::bursty) at += 1 + static_cast<int32_t>(i % 12 == 11 ? long_ * 5 : long_ / 10);
        if (kind == Kind::regular) at += 95 + static_cast<int32_t>(random() % 11);
    }
    return train;
}

double KilobytesAtMost() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss);
}

// All in one run, so that each stretch is one to look at.
void Poisson(Kind kind, size_t intervals, double goal, double surprise = 2.0) {
    const EventTrain train = MakeTrain(kind, intervals);
    PoissonSettings settings;
    settings.maxInterval = INT32_MAX;
    settings.surprise = surprise;
    size_t found = 0;
    const double before = KilobytesAtMost();
    const double took = Seconds(intervals > 5000 ? 1 : 3,
                                [&] { found = FindPoissonBursts(train, settings).stretches.size(); });
    const double megabytes = (KilobytesAtMost() - before) / 1024.0;
    double sum = 0.0;
    const double floor = Seconds(1, [&] {
        for (size_t u = 0; u < intervals; ++u)
            for (size_t v = u + 1; v <= intervals; ++v)
                sum += std::log(static_cast<double>(train.onsets[v] - train.onsets[u]));
    });
    const double stretches = static_cast<double>(intervals) * static_cast<double>(intervals + 1) / 2.0;
    std::printf("Poisson surprise %g, %s, %.1f million stretches: %.3f s (goal %.2f), %zu bursts, %.1f MB "
                "more; a logarithm "
                "each: %.3f s, ratio %.2f (%.0f)\n",
                surprise, kindNames[static_cast<int>(kind)], stretches / 1e6, took, goal, found, megabytes,
                floor, took / floor, std::fmod(sum, 10.0));
}

// How long the search goes on after it is asked to stop.
void Cancel(Kind kind) {
    const EventTrain train = MakeTrain(kind, 1'000'000);
    PoissonSettings settings;
    settings.maxInterval = INT32_MAX;
    double longest = 0.0;
    auto last = std::chrono::steady_clock::now();
    const auto start = last;
    FindPoissonBursts(train, settings, [&](double) {
        const auto now = std::chrono::steady_clock::now();
        longest = std::max(longest, std::chrono::duration<double>(now - last).count());
        last = now;
        return std::chrono::duration<double>(now - start).count() < 3.0;
    });
    std::printf("a million events in one run, %s: asked every %.4f s at most (goal 0.2)\n",
                kindNames[static_cast<int>(kind)], longest);
}

void Rank(Kind kind, size_t intervals) {
    const EventTrain train = MakeTrain(kind, intervals);
    size_t found = 0;
    const double took = Seconds(3, [&] {
        found = FindRankBursts(train, RanksOf(train), {2.0, INT32_MAX}).stretches.size();
    });
    std::printf("rank surprise, %s, %zu intervals: %.3f s (goal 2), %zu bursts\n",
                kindNames[static_cast<int>(kind)], intervals, took, found);
}

void Rhythm() {
    RegularSettings settings{
        .window = 20, .maxCv = 0.05, .useLimits = true, .maxInterval = INT32_MAX, .mergeGaps = true};
    settings.requireTest = true;
    double tenth = 0.0;
    for (const size_t intervals : {200'000u, 2'000'000u}) {
        const EventTrain train = MakeTrain(Kind::regular, intervals);
        const double took = Seconds(3, [&] { FindRegularStretches(train, settings); });
        if (tenth == 0.0)
            tenth = took;
        else
            std::printf("rhythm of %zu intervals: %.3f s, %.1f of a tenth of them (10 where it is linear)\n",
                        intervals, took, took / tenth);
    }
}

}  // namespace

int main() {
    for (const Kind kind : {Kind::poisson, Kind::bursty, Kind::regular}) {
        Poisson(kind, 3'000, 0.33);
        Poisson(kind, 20'000, 15.0);
        Cancel(kind);
        Rank(kind, 2'000);
    }
    Poisson(Kind::poisson, 3'000, 0.33, 0.0);
    Rhythm();
}
