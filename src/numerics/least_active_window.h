#pragma once
// The search for the stretch of a trace in which least happens: of all windows of n neighbouring samples the
// one whose sum of squared deviations from its mean is smallest, ties going to the earliest.
//
// The rule: a running sum gives back the oldest sample and takes the new one, in double; the mean is the sum
// divided by n; the squared deviations of the n samples from this mean are summed from the oldest to the
// newest. Summing n deviations at each step is slow for long windows. So the search bounds each window's
// result from below and above by running sums of deviations and their squares, with their rounding errors,
// and applies the rule only to the few windows that the bounds leave in the race. The window found is the
// rule's, bit for bit.

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "numerics/window_deviations.h"

namespace kymora {

class LeastActiveWindow {
  public:
    // Asked whether to go on, with the number of samples done, before every 1024 samples.
    using Poll = std::function<bool(int64_t done)>;
    static constexpr size_t pollInterval = 1024;

    // Windows of `length` samples, at least 1.
    explicit LeastActiveWindow(int64_t length);

    // The next samples, from position 0 on; blocks of some ten thousand are best. A window with a sample that
    // is no finite number does not take part; the rule begins anew behind it. False when the poll ended the
    // search.
    bool Add(std::span<const float> samples, const Poll& goOn = {});

    // Start of the best window so far, or -1 when none was complete.
    int64_t Start() const { return bestStart_; }
    // The rule's sum of squared deviations of that window.
    double Squares() const { return bestSquares_; }

  private:
    struct Candidate {
        size_t end;  // of the window, an index into samples_
        double sum;
        double bound;  // the rule's result is not below it
    };

    void TakeStretch(std::span<const float> samples);
    void TakeOne(size_t index);
    void Anchor(size_t end);
    void Bound(size_t end);
    void JudgeCandidates();
    void Judge(const Candidate& candidate);
    double SquaresOf(const Candidate& candidate, double stopAt) const;
    int64_t StartOf(const Candidate& candidate) const;
    void Restart();

    size_t length_;
    int64_t position_ = 0;  // of the next sample
    double bestSquares_ = 0.0;
    int64_t bestStart_ = -1;
    std::vector<Candidate> candidates_;
    double leastUpper_;  // of the candidates

    // The stretch of finite samples at work.
    std::vector<float> samples_;  // its latest samples
    size_t taken_ = 0;            // how many it has, up to a window
    double sum_ = 0.0;            // the rule's running sum
    double sumError_ = 0.0;       // its rounding error is not above this
    size_t sameFor_ = 0;          // number of latest samples with one value

    WindowDeviations deviations_;
};

}  // namespace kymora
