#pragma once
// The minimum of a function of several variables without derivatives, after M. J. D. Powell, Comput. J. 7,
// 155 (1964): line searches along a set of directions, of which the one of the largest decrease gives way to
// the way just gone where that keeps the set independent. The function may be infinite, its value at the
// start too; what is not a number counts as infinite.

#include <functional>
#include <span>
#include <vector>

#include "numerics/poll.h"

namespace kymora {

using SpaceFunction = std::function<double(std::span<const double>)>;

struct PowellOptions {
    double tolerance = 3e-8;  // of the function's value between rounds, and of each line search
    int mostRounds = 200;
    int mostLineIterations = 100;
    // First step along each variable, about how far the minimum may be; empty: 1 each. A 0 is taken as 1.
    std::vector<double> steps;
};

struct PowellResult {
    enum class End {
        converged,
        rounds,          // the rounds ran out
        lineIterations,  // the iterations of a line search ran out
        cancelled,
    };
    End end = End::converged;
    std::vector<double> at;  // the best place known, however it ended
    double value = 0.0;
};

// What a user is told of an end; empty for converged and cancelled.
const char* TextOf(PowellResult::End end);

PowellResult FindMinimum(const SpaceFunction& function, std::span<const double> start,
                         const PowellOptions& options = {}, const Poll& poll = {});

}  // namespace kymora
