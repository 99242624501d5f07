#include "numerics/brent.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace kymora {

namespace {

constexpr double endless = std::numeric_limits<double>::infinity();
constexpr double goldenSection = 0.3819660112501051;  // (3 - sqrt(5)) / 2
constexpr double goldenGrowth = 1.618033988749895;

struct LinePoint {
    double at;
    double value;
};

// Three points in order, the middle one not above the others.
struct Bracket {
    LinePoint low;
    LinePoint middle;
    LinePoint high;
};

class LineSearch {
  public:
    LineSearch(const LineFunction& function, double step, double tolerance)
        : function_(function), least_(1e-10 * std::fabs(step)), tolerance_(tolerance) {}

    LinePoint At(double at) const {
        const double value = function_(at);
        return {at, std::isnan(value) ? endless : value};
    }

    // Goes downhill until the function no longer falls; where it falls for ever, that is after so many steps.
    Bracket Surround(LinePoint start, double step) const {
        constexpr int mostSteps = 100;
        LinePoint behind = start;
        LinePoint middle = At(start.at + step);
        if (middle.value > start.value) std::swap(behind, middle);
        LinePoint ahead = At(middle.at + goldenGrowth * (middle.at - behind.at));
        for (int i = 0; i < mostSteps && ahead.value < middle.value; ++i) {
            behind = std::exchange(middle, ahead);
            ahead = At(middle.at + goldenGrowth * (middle.at - behind.at));
        }
        if (behind.at > ahead.at) std::swap(behind, ahead);
        return {behind, middle, ahead};
    }

    LineMinimum Narrow(const Bracket& bracket, int mostIterations) {
        low_ = bracket.low.at;
        high_ = bracket.high.at;
        best_ = second_ = third_ = bracket.middle;
        for (int i = 0; i < mostIterations; ++i) {
            const double near = Near();
            if (std::fabs(best_.at - (low_ + high_) / 2.0) <= 2.0 * near - (high_ - low_) / 2.0)
                return {best_.at, best_.value, true};
            double move = NextMove(near);
            if (std::fabs(move) < near) move = std::copysign(near, move);
            Take(At(best_.at + move));
        }
        return {best_.at, best_.value, false};
    }

  private:
    double Near() const { return tolerance_ * std::fabs(best_.at) + least_; }

    // To the vertex of the parabola through the three best points, if that lies inside and the moves become
    // smaller by half every two steps; else a golden section of the longer side.
    double NextMove(double near) {
        const double oneBefore = moveBeforeLast_;
        moveBeforeLast_ = lastMove_;
        if (std::fabs(oneBefore) > near) {
            const double r = (best_.at - second_.at) * (best_.value - third_.value);
            const double q = (best_.at - third_.at) * (best_.value - second_.value);
            const double p = (best_.at - third_.at) * q - (best_.at - second_.at) * r;
            const double move = -p / (2.0 * (q - r));
            const double to = best_.at + move;
            // None of these hold of what is not a number.
            if (std::fabs(move) < std::fabs(oneBefore) / 2.0 && to > low_ && to < high_) {
                const bool atEnd = to - low_ < 2.0 * near || high_ - to < 2.0 * near;
                return lastMove_ = atEnd ? std::copysign(near, (low_ + high_) / 2.0 - best_.at) : move;
            }
        }
        moveBeforeLast_ = best_.at < (low_ + high_) / 2.0 ? high_ - best_.at : low_ - best_.at;
        return lastMove_ = goldenSection * moveBeforeLast_;
    }

    void Take(const LinePoint& point) {
        if (point.value <= best_.value) {
            (point.at >= best_.at ? low_ : high_) = best_.at;
            third_ = second_;
            second_ = best_;
            best_ = point;
            return;
        }
        (point.at < best_.at ? low_ : high_) = point.at;
        if (point.value <= second_.value || second_.at == best_.at) {
            third_ = second_;
            second_ = point;
        } else if (point.value <= third_.value || third_.at == best_.at || third_.at == second_.at) {
            third_ = point;
        }
    }

    const LineFunction& function_;
    double least_;
    double tolerance_;
    double low_ = 0.0;
    double high_ = 0.0;
    LinePoint best_{}, second_{}, third_{};
    double lastMove_ = 0.0;
    double moveBeforeLast_ = 0.0;
};

}  // namespace

LineMinimum FindLineMinimum(const LineFunction& function, double start, double startValue, double step,
                            double tolerance, int mostIterations) {
    LineSearch search(function, step, tolerance);
    const Bracket bracket = search.Surround({start, startValue}, step);
    const LineMinimum found = search.Narrow(bracket, mostIterations);
    if (found.value < startValue) return found;
    return {start, startValue, found.converged};
}

}  // namespace kymora
