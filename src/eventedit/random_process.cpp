#include "eventedit/random_process.h"

#include <algorithm>

#include "numerics/rounding.h"
#include "statistics/random_draws.h"

namespace kymora {

namespace {

constexpr double leastGaussian = 1.0;  // sample
constexpr int64_t askEvery = 65536;    // events

class Intervals {
  public:
    Intervals(const RandomProcess& process, std::mt19937& random)
        : process_(process), random_(random), normals_(random) {}

    double Draw() {
        if (process_.law == IntervalLaw::regular) return process_.mean;
        const double least = process_.law == IntervalLaw::gaussian
                                 ? std::max(process_.deadTime, leastGaussian)
                                 : process_.deadTime;
        double interval = DrawOnce();
        while (interval < least) interval = DrawOnce();
        return interval;
    }

  private:
    double DrawOnce() {
        switch (process_.law) {
        case IntervalLaw::poisson:
            // What is left of such an interval behind the dead time is distributed as the whole.
            return process_.deadTime + ExponentialDraw(random_, process_.mean);
        case IntervalLaw::gamma:
            return normals_.Gamma(process_.shape, process_.mean);
        case IntervalLaw::gaussian:
            return process_.mean + process_.sd * normals_.Normal();
        case IntervalLaw::uniform: {
            const double least = std::max(process_.minimum, process_.deadTime);
            return least + (process_.maximum - least) * UniformDraw(random_);
        }
        case IntervalLaw::regular:
            break;
        }
        return process_.mean;
    }

    const RandomProcess& process_;
    std::mt19937& random_;
    NormalDraws normals_;
};

double DrawStart(const RandomProcess& process, Intervals& intervals, std::mt19937& random) {
    switch (process.rule) {
    case StartRule::expectation:
        return process.start + intervals.Draw() - process.Mean();
    case StartRule::uniform:
        return process.start * UniformDraw(random);
    case StartRule::fixed:
        break;
    }
    return process.start;
}

}  // namespace

double RandomProcess::Mean() const {
    if (law == IntervalLaw::poisson) return deadTime + mean;
    if (law != IntervalLaw::uniform) return mean;
    const double least = std::max(minimum, deadTime);
    return least + (maximum - least) / 2.0;
}

bool RandomProcess::IsDrawable() const {
    if (law == IntervalLaw::regular || law == IntervalLaw::poisson) return true;
    return law == IntervalLaw::uniform ? deadTime < maximum : deadTime <= mean;
}

std::vector<int32_t> DrawOnsets(const RandomProcess& process, int64_t length, int64_t most,
                                std::mt19937& random, const std::function<void(int64_t)>& goesOn) {
    std::vector<int32_t> onsets;
    Intervals intervals(process, random);
    const double start = DrawStart(process, intervals, random);
    const bool isRegular = process.law == IntervalLaw::regular;
    double time = start;
    int64_t last = -1;
    for (int64_t drawn = 1; std::ssize(onsets) < most; ++drawn) {
        if (const int64_t at = RoundHalfAway64(time); at >= 0) {
            last = std::max(at, last + 1);
            if (last >= length) break;
            onsets.push_back(static_cast<int32_t>(last));
        }
        // Regular times are no sums, which would drift.
        time = isRegular ? start + static_cast<double>(drawn) * process.mean : time + intervals.Draw();
        if (drawn % askEvery == 0 && goesOn) goesOn(std::ssize(onsets));
    }
    return onsets;
}

}  // namespace kymora
