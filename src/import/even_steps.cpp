#include "import/even_steps.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kymora {

EvenSteps::EvenSteps(double first, double last, int64_t count, double coarseness)
    : first_(first),
      step_((last - first) / static_cast<double>(count - 1)),
      coarse_(coarseness * std::max(std::fabs(first), std::fabs(last))),
      count_(count) {}

double EvenSteps::Step() const {
    constexpr int leastDigits = 3, mostDigits = 15;
    const double uncertainty = coarse_ / static_cast<double>(count_ - 1);
    for (int digits = leastDigits; std::isfinite(step_) && digits <= mostDigits; ++digits)
        if (const double round = std::strtod(fmt::format("{:.{}g}", step_, digits).c_str(), nullptr);
            std::fabs(round - step_) <= uncertainty)
            return round;
    return step_;
}

bool EvenSteps::Take(std::span<const double> times) {
    constexpr double mostJitter = 1e-3;
    const double tolerance = mostJitter * step_ + 2.0 * coarse_;
    if (!(step_ > 0.0)) return false;
    for (const double time : times) {
        const bool isEven =
            std::fabs(time - (first_ + step_ * static_cast<double>(taken_))) <= 2.0 * tolerance;
        if (!isEven || (taken_ > 0 && !(std::fabs(time - before_ - step_) <= tolerance))) return false;
        before_ = time;
        ++taken_;
    }
    return true;
}

}  // namespace kymora
