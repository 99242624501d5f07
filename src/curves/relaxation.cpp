#include "curves/relaxation.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

// Of all time, where a fit is tried again; a fit that converges is taken before one that is not much better.
constexpr std::pair<double, double> otherStarts[] = {{0.1, 0.3}, {0.01, 0.05}, {0.03, 0.3}, {0.3, 3.0}};
constexpr double alikeSquares = 1.01;
constexpr int fewIterations = 20;
constexpr double leastTau = 0.01, mostTau = 1000.0;  // of the interval and of all time
constexpr double mostTold = 10.0;                    // of all time

// As the vector of a fit has them: the first time constant, of two the weight and the second one, then V(0)
// and V(inf) unless they are fixed.
class RelaxationCurve : public FitModel {
  public:
    RelaxationCurve(const Relaxation& start, const RelaxationControl& control, std::span<const double> t)
        : curve_(start), control_(control), t_(t) {}

    std::vector<double> Vector() {
        std::vector<double> values;
        Each(curve_, [&](double& member) { values.push_back(member); });
        return values;
    }
    Relaxation Of(std::span<const double> values) const {
        Relaxation curve = curve_;
        size_t k = 0;
        Each(curve, [&](double& member) { member = values[k++]; });
        return curve;
    }
    void Values(std::span<const double> parameters, size_t first, std::span<double> y) override {
        const Relaxation curve = Of(parameters);
        for (size_t i = 0; i < y.size(); ++i) y[i] = curve.At(t_[first + i]);
    }
    double Rounding() const override { return std::numeric_limits<float>::epsilon(); }
    // Above 0, so that no exponential grows, nor comes to a number without end.
    std::vector<std::pair<double, double>> Bounds() const {
        double interval = std::numeric_limits<double>::infinity();
        for (size_t i = 1; i < t_.size(); ++i)
            if (t_[i] > t_[i - 1]) interval = std::min(interval, t_[i] - t_[i - 1]);
        if (!std::isfinite(interval)) interval = 1.0;
        const double length = std::max(t_.back() - t_.front(), interval);
        constexpr double anything = std::numeric_limits<double>::max();
        std::vector<std::pair<double, double>> bounds;
        Relaxation curve = curve_;
        Each(curve, [&](double& member) {
            const bool isTau = &member == &curve.tau0 || &member == &curve.tau1;
            bounds.push_back(isTau ? std::pair(leastTau * interval, mostTau * length)
                                   : std::pair(-anything, anything));
        });
        return bounds;
    }

  private:
    template <typename Does>
    void Each(Relaxation& curve, Does does) const {
        does(curve.tau0);
        if (curve.model == RelaxationModel::twoExponentials) {
            does(curve.weight);
            does(curve.tau1);
        }
        if (!control_.fixesV0) does(curve.v0);
        if (!control_.fixesVInf) does(curve.vInf);
    }

    Relaxation curve_;
    const RelaxationControl& control_;
    std::span<const double> t_;
};

// Of a fit by RelaxationCurve, whose time constants stand at the places 0 and 2.
void JudgeTimeConstants(RelaxationFit& fit, double length, bool fixesVInf) {
    const bool hasTwo = fit.curve.model == RelaxationModel::twoExponentials;
    fit.tauErrors.fill(std::numeric_limits<double>::quiet_NaN());
    for (size_t k = 0; k < (hasTwo ? 2 : 1); ++k) {
        const double tau = k == 0 ? fit.curve.tau0 : fit.curve.tau1;
        fit.tauErrors[k] = fit.result.Error(2 * k);
        if (!(fit.tauErrors[k] <= tau) || (!fixesVInf && tau > mostTold * length)) fit.isVague = true;
    }
}

template <typename IsIn>
double MeanWhere(std::span<const double> t, std::span<const double> y, IsIn isIn, double otherwise) {
    double sum = 0.0, count = 0.0;
    for (size_t i = 0; i < t.size(); ++i)
        if (isIn(t[i])) {
            sum += y[i];
            ++count;
        }
    return count > 0.0 ? sum / count : otherwise;
}

}  // namespace

double Relaxation::PartAt(int k, double t) const {
    if (model == RelaxationModel::cable) return (v0 - vInf) * (1.0 - std::erf(std::sqrt(t / tau0)));
    if (model == RelaxationModel::single) return (v0 - vInf) * std::exp(-t / tau0);
    return (v0 - vInf) * (k == 0 ? weight * std::exp(-t / tau0) : (1.0 - weight) * std::exp(-t / tau1));
}

double Relaxation::At(double t) const {
    if (model == RelaxationModel::cable)
        return static_cast<float>((vInf - v0) * std::erf(std::sqrt(t / tau0)) + v0);
    const double away = model == RelaxationModel::single ? PartAt(0, t) : PartAt(0, t) + PartAt(1, t);
    return static_cast<float>(away + vInf);
}

double AkaikeCriterion(double squares, size_t points, int parameters) {
    const auto n = static_cast<double>(points);
    return n * std::log(squares / n) + 2.0 * parameters;
}
double BayesCriterion(double squares, size_t points, int parameters) {
    const auto n = static_cast<double>(points);
    return n * std::log(squares / n) + parameters * std::log(n);
}

Relaxation StartOfRelaxation(RelaxationModel model, std::span<const double> t, std::span<const double> y,
                             double average, double fitTime) {
    const double length = t.back();
    Relaxation start{model};
    start.v0 = MeanWhere(
        t, y, [&](double at) { return at < average; }, y.front());
    start.vInf = MeanWhere(
        t, y, [&](double at) { return at > length - average; }, y.back());
    const bool hasTwo = model == RelaxationModel::twoExponentials;
    const double whole = fitTime > 0.0 ? fitTime : length > 0.0 ? length : 1.0;
    start.tau0 = hasTwo ? whole / 10.0 : whole / 3.0;
    start.tau1 = whole;
    return start;
}

namespace {

struct Trial {
    RelaxationFit fit;
    double squares = 0.0;
    bool isLost = false;
};

Trial FitFrom(const Relaxation& start, std::span<const double> t, std::span<const double> y,
              const RelaxationControl& control, const FitPoll& poll) {
    RelaxationCurve model(start, control, t);
    Trial trial;
    RelaxationFit& fit = trial.fit;
    FitControl within = control.fit;
    within.bounds = model.Bounds();
    std::vector<double> parameters = model.Vector();
    for (size_t k = 0; k < parameters.size(); ++k)
        parameters[k] = std::clamp(parameters[k], within.bounds[k].first, within.bounds[k].second);
    fit.parameters = static_cast<int>(parameters.size());
    fit.isDone = FitCurve(model, y, within, parameters, fit.result, poll);
    bool isAtBound = false;
    for (size_t k = 0; k < parameters.size(); ++k)
        isAtBound |= parameters[k] <= within.bounds[k].first || parameters[k] >= within.bounds[k].second;
    fit.result.hasConverged &= !isAtBound;
    // One that creeps, each step of it damped, has been led astray.
    const bool creeps = !fit.result.hasConverged && fit.result.iterations >= fewIterations &&
                        fit.result.damped >= fit.result.iterations;
    trial.isLost = !fit.isDone || fit.result.isStuck || isAtBound || creeps;
    fit.curve = model.Of(parameters);
    for (size_t i = 0; i < t.size(); ++i) trial.squares += std::pow(y[i] - fit.curve.At(t[i]), 2);
    return trial;
}

}  // namespace

RelaxationFit FitRelaxation(const Relaxation& start, std::span<const double> t, std::span<const double> y,
                            const RelaxationControl& control, const FitPoll& poll) {
    Trial best = FitFrom(start, t, y, control, poll);
    const bool hasTwo = start.model == RelaxationModel::twoExponentials;
    const double length = t.back() > 0.0 ? t.back() : 1.0;
    for (const auto& [first, second] : otherStarts) {
        if (!control.fit.damps || !best.isLost) break;
        Relaxation other = start;
        other.tau0 = first * length;
        other.tau1 = second * length;
        if (hasTwo) other.weight = 0.5;
        Trial trial = FitFrom(other, t, y, control, poll);
        if (!trial.fit.isDone) continue;
        const bool isBetter =
            !best.fit.isDone || trial.squares < best.squares * (trial.isLost ? 1.0 : alikeSquares);
        if (isBetter) best = std::move(trial);
    }
    RelaxationFit fit = std::move(best.fit);
    if (fit.isDone) JudgeTimeConstants(fit, length, control.fixesVInf);
    if (hasTwo && fit.curve.tau1 < fit.curve.tau0) {
        std::swap(fit.curve.tau0, fit.curve.tau1);
        fit.curve.weight = 1.0 - fit.curve.weight;
        std::swap(fit.tauErrors[0], fit.tauErrors[1]);
    }
    fit.aic = AkaikeCriterion(best.squares, y.size(), fit.parameters);
    fit.bic = BayesCriterion(best.squares, y.size(), fit.parameters);
    return fit;
}

}  // namespace kymora
