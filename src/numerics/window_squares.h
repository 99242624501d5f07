#pragma once
// Of all windows of n neighbouring samples those with the least and the greatest sum of squared deviations
// from their mean, the earliest of equals. Running sums bound the result of each window; the few that the
// bounds leave in the race are held against each other without any rounding, by sums that go on from one to
// the next. So the time does not depend on n, and windows of a periodic signal that hold the same values are
// equal.

#include <cstdint>
#include <span>
#include <vector>

#include "numerics/exact_sums.h"
#include "numerics/window_deviations.h"

namespace kymora {

class WindowSquares {
  public:
    // Windows of `length` samples, from 1 to 2^31 - 1.
    explicit WindowSquares(int64_t length);

    // The next sample is the one at this position, and does not neighbour those before.
    void StartAt(int64_t position);
    // The next samples; blocks of about a thousand are best. A window with a sample that is no finite number
    // does not take part.
    void Add(std::span<const float> samples);

    // Where the windows start, or -1 when none was complete; and their squared deviations.
    int64_t LeastStart() const { return least_.start; }
    int64_t GreatestStart() const { return greatest_.start; }
    double LeastSquares() const { return least_.rounded; }
    double GreatestSquares() const { return greatest_.rounded; }

  private:
    struct Best {
        int64_t start = -1;
        ExactSums sums;
        ExactSums::Squares squares{};
        double rounded = 0.0;
    };
    // The squared deviations of a window lie between the bounds.
    struct Candidate {
        size_t end;  // an index into samples_
        double lower, upper;
    };

    void TakeStretch(std::span<const float> samples);
    void TakeOne(size_t index);
    void Anchor(size_t end);
    void Bound(size_t end);
    void JudgeCandidates();
    void Judge(const Candidate& candidate);
    void MoveSumsTo(size_t end);

    size_t length_;
    int64_t position_ = 0;  // of the next sample
    Best least_, greatest_;
    std::vector<Candidate> candidates_;
    double leastUpper_, greatestLower_;  // bounds of the results

    // The latest samples of the stretch of finite ones at work; how many it has, up to a window.
    std::vector<float> samples_;
    size_t taken_ = 0;
    WindowDeviations deviations_;
    // Of the window that was judged last, and its end in samples_; 0 where there is none.
    ExactSums sums_;
    size_t sumsEnd_ = 0;
};

}  // namespace kymora
