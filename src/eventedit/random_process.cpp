#include "eventedit/random_process.h"

#include <algorithm>

#include "numerics/random_draws.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr double leastGaussian = 1.0;  // sample
constexpr int64_t askEvery = 65536;    // events

double DrawOnce(const RandomProcess& process, std::mt19937& random) {
    switch (process.law) {
    case IntervalLaw::poisson:
        // What is left of such an interval behind the dead time is distributed as the whole.
        return process.deadTime + ExponentialDraw(random, process.mean);
    case IntervalLaw::gamma:
        return GammaDraw(random, process.shape, process.mean);
    case IntervalLaw::gaussian:
        return process.mean + process.sd * NormalDraw(random);
    case IntervalLaw::uniform: {
        const double least = std::max(process.minimum, process.deadTime);
        return least + (process.maximum - least) * UniformDraw(random);
    }
    case IntervalLaw::regular:
        break;
    }
    return process.mean;
}

double DrawInterval(const RandomProcess& process, std::mt19937& random) {
    if (process.law == IntervalLaw::regular) return process.mean;
    const double least =
        process.law == IntervalLaw::gaussian ? std::max(process.deadTime, leastGaussian) : process.deadTime;
    double interval = DrawOnce(process, random);
    while (interval < least) interval = DrawOnce(process, random);
    return interval;
}

double DrawStart(const RandomProcess& process, std::mt19937& random) {
    switch (process.rule) {
    case StartRule::expectation:
        return process.start + DrawInterval(process, random) - process.Mean();
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
    const double start = DrawStart(process, random);
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
        time = isRegular ? start + static_cast<double>(drawn) * process.mean
                         : time + DrawInterval(process, random);
        if (drawn % askEvery == 0 && goesOn) goesOn(std::ssize(onsets));
    }
    return onsets;
}

}  // namespace kymora
