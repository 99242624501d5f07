#include "numerics/powell.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numerics/brent.h"

namespace kymora {

namespace {

class PowellSearch {
  public:
    PowellSearch(const SpaceFunction& function, std::span<const double> start, const PowellOptions& options)
        : function_(function), options_(options), at_(start.begin(), start.end()) {
        for (size_t i = 0; i < at_.size(); ++i) {
            std::vector<double> direction(at_.size(), 0.0);
            const double step = i < options.steps.size() ? options.steps[i] : 1.0;
            direction[i] = step != 0.0 && std::isfinite(step) ? step : 1.0;
            directions_.push_back(std::move(direction));
        }
        value_ = ValueAt(at_);
    }

    PowellResult Run(const Poll& poll) {
        using End = PowellResult::End;
        for (int round = 0; round < options_.mostRounds; ++round) {
            if (!IsWanted(poll, static_cast<double>(round) / options_.mostRounds))
                return Result(End::cancelled);
            const std::vector<double> from = at_;
            const double fromValue = value_;
            size_t steepest = 0;
            double decrease = 0.0;
            for (size_t i = 0; i < directions_.size(); ++i) {
                const double before = value_;
                if (!GoAlong(directions_[i])) return Result(End::lineIterations);
                if (before - value_ <= decrease) continue;
                decrease = before - value_;
                steepest = i;
            }
            if (HasSettled(fromValue)) return Result(End::converged);
            if (!Turn(from, fromValue, steepest, decrease)) return Result(End::lineIterations);
        }
        return Result(End::rounds);
    }

  private:
    double ValueAt(std::span<const double> at) const {
        const double value = function_(at);
        return std::isnan(value) ? std::numeric_limits<double>::infinity() : value;
    }

    bool HasSettled(double before) const {
        constexpr double nothing = 1e-25;
        if (before == value_) return true;  // also where both are infinite
        return 2.0 * (before - value_) <=
               options_.tolerance * (std::fabs(before) + std::fabs(value_)) + nothing;
    }

    // False when the line search did not end.
    bool GoAlong(const std::vector<double>& direction) {
        std::vector<double> place(at_.size());
        const auto placeAt = [&](double length) {
            for (size_t i = 0; i < place.size(); ++i) place[i] = at_[i] + length * direction[i];
        };
        const LineFunction along = [&](double length) {
            placeAt(length);
            return ValueAt(place);
        };
        const LineMinimum found =
            FindLineMinimum(along, 0.0, value_, 1.0, options_.tolerance, options_.mostLineIterations);
        placeAt(found.at);
        at_ = place;
        value_ = found.value;
        return found.converged;
    }

    // Takes the way of the round for a direction where a step beyond tells that it is worth it.
    bool Turn(const std::vector<double>& from, double fromValue, size_t steepest, double decrease) {
        std::vector<double> way(at_.size());
        std::vector<double> beyond(at_.size());
        for (size_t i = 0; i < at_.size(); ++i) {
            way[i] = at_[i] - from[i];
            beyond[i] = at_[i] + way[i];
        }
        const double beyondValue = ValueAt(beyond);
        if (!(beyondValue < fromValue) || !std::isfinite(fromValue)) return true;
        const double rest = fromValue - value_ - decrease;
        const double fall = fromValue - beyondValue;
        if (2.0 * (fromValue - 2.0 * value_ + beyondValue) * rest * rest >= decrease * fall * fall)
            return true;
        const bool ended = GoAlong(way);
        directions_[steepest] = directions_.back();
        directions_.back() = way;
        return ended;
    }

    PowellResult Result(PowellResult::End end) const { return {end, at_, value_}; }

    const SpaceFunction& function_;
    const PowellOptions& options_;
    std::vector<double> at_;
    double value_ = 0.0;
    std::vector<std::vector<double>> directions_;
};

}  // namespace

const char* TextOf(PowellResult::End end) {
    switch (end) {
    case PowellResult::End::rounds:
        return "powell exceeding maximum iterations.";
    case PowellResult::End::lineIterations:
        return "Too many iterations in brent";
    default:
        return "";
    }
}

PowellResult FindMinimum(const SpaceFunction& function, std::span<const double> start,
                         const PowellOptions& options, const Poll& poll) {
    return PowellSearch(function, start, options).Run(poll);
}

}  // namespace kymora
