#pragma once
// The minimum of a function of one variable, after R. P. Brent, Algorithms for Minimization without
// Derivatives (1973), chapter 5: parabolas through the best points, and golden sections where those do not
// serve. The function may be infinite; what is not a number counts as infinite.

#include <functional>

namespace kymora {

using LineFunction = std::function<double(double)>;

struct LineMinimum {
    double at = 0.0;
    double value = 0.0;
    bool converged = false;  // false: the iterations ran out
};

// Goes from `start`, whose value is known, first by `step`, then downhill in growing steps until the function
// rises, and searches between the last three points. The minimum is found to a fraction of `tolerance` of its
// place; nothing below 1e-10 of the step is told apart. Its value is never above `startValue`.
LineMinimum FindLineMinimum(const LineFunction& function, double start, double startValue, double step,
                            double tolerance, int mostIterations);

}  // namespace kymora
