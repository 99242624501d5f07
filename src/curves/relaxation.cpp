#include "curves/relaxation.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

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
                             double average) {
    const double length = t.back();
    Relaxation start{model};
    start.v0 = MeanWhere(
        t, y, [&](double at) { return at < average; }, y.front());
    start.vInf = MeanWhere(
        t, y, [&](double at) { return at > length - average; }, y.back());
    const bool hasTwo = model == RelaxationModel::twoExponentials;
    const double whole = length > 0.0 ? length : 1.0;
    start.tau0 = hasTwo ? whole / 10.0 : whole / 3.0;
    start.tau1 = whole;
    return start;
}

RelaxationFit FitRelaxation(const Relaxation& start, std::span<const double> t, std::span<const double> y,
                            const RelaxationControl& control, const FitPoll& poll) {
    RelaxationCurve model(start, control, t);
    RelaxationFit fit;
    std::vector<double> parameters = model.Vector();
    fit.parameters = static_cast<int>(parameters.size());
    fit.isDone = FitCurve(model, y, control.fit, parameters, fit.result, poll);
    fit.curve = model.Of(parameters);
    if (fit.curve.model == RelaxationModel::twoExponentials && fit.curve.tau1 < fit.curve.tau0) {
        std::swap(fit.curve.tau0, fit.curve.tau1);
        fit.curve.weight = 1.0 - fit.curve.weight;
    }
    double squares = 0.0;
    for (size_t i = 0; i < t.size(); ++i) squares += std::pow(y[i] - fit.curve.At(t[i]), 2);
    fit.aic = AkaikeCriterion(squares, y.size(), fit.parameters);
    fit.bic = BayesCriterion(squares, y.size(), fit.parameters);
    return fit;
}

}  // namespace kymora
