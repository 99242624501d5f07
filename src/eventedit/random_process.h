#pragma once
// Points in time at random intervals, or at regular ones. All times are in samples from the start of a
// stretch.

#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <vector>

namespace kymora {

// The numbers of configuration files.
enum class IntervalLaw : int32_t { poisson = 0, gamma = 1, gaussian = 2, uniform = 3, regular = 4 };
enum class StartRule : int32_t {
    fixed = 0,        // at the start time
    expectation = 1,  // there, and an interval less the mean later
    uniform = 2,      // anywhere from 0 to the start time
};

struct RandomProcess {
    IntervalLaw law = IntervalLaw::poisson;
    double mean = 1.0;
    double shape = 1.0;                   // gamma
    double sd = 0.0;                      // Gaussian
    double minimum = 0.0, maximum = 1.0;  // uniform
    double deadTime = 0.0;                // shorter intervals are drawn again
    StartRule rule = StartRule::fixed;
    double start = 0.0;

    // Of the intervals, whatever is drawn again.
    double Mean() const;
    // An interval that is drawn again until it is long enough comes soon: at least one of a few is.
    bool IsDrawable() const;
};

// The samples of [0, length) on which events begin, ascending, each once: an event that would begin in the
// sample of the one before it, or ahead of it, begins in the next one. Those that would lie before the
// stretch are passed over. No more than `most`. `goesOn` is asked now and then, told how many there are.
std::vector<int32_t> DrawOnsets(const RandomProcess& process, int64_t length, int64_t most,
                                std::mt19937& random, const std::function<void(int64_t)>& goesOn = {});

}  // namespace kymora
