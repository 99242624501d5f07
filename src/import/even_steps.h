#pragma once
// Whether times that are written down one by one lie at equal intervals. Since each is rounded, the interval
// is their mean step, or what has fewest digits of all that the times can mean.

#include <cstdint>
#include <span>

namespace kymora {

class EvenSteps {
  public:
    // Of `count` times, at least two; from one that can be written down to the next lie at most `coarseness`
    // of itself.
    EvenSteps(double first, double last, int64_t count, double coarseness);
    double Step() const;
    // False where the next times do not go up, or a step differs by more than 0.1 % from the mean.
    bool Take(std::span<const double> times);

  private:
    double first_, step_, coarse_;
    int64_t count_;
    double before_ = 0.0;
    int64_t taken_ = 0;
};

}  // namespace kymora
