// Fits of curves, each against a floor measured in the same run: the values of the same equation as plain
// code, and one pass over the points.

#include <cmath>
#include <random>

#include "bench_files.h"
#include "curves/gauss_newton.h"
#include "curves/reweighted_polynomial.h"
#include "fitting/fit_equation.h"

namespace kymora::bench {
namespace {

constexpr size_t points = 100'000;
double kept = 0.0;  // what keeps results from being optimised away

struct Data {
    std::vector<double> x, y;
};

Data Decay() {
    Data data;
    std::mt19937 random(1);
    for (size_t i = 0; i < points; ++i) {
        data.x.push_back(static_cast<double>(i) * 1e-3);
        const double noise = static_cast<double>(random()) * 0x1p-32 - 0.5;
        data.y.push_back(2.0 + 5.0 * std::exp(-data.x.back() / 12.0) + 0.2 * noise);
    }
    return data;
}

class PlainModel : public FitModel {
  public:
    explicit PlainModel(std::span<const double> x) : x_(x) {}
    void Values(std::span<const double> p, size_t first, std::span<double> y) override {
        for (size_t i = 0; i < y.size(); ++i) y[i] = p[0] + p[1] * std::exp(-x_[first + i] / p[2]);
    }

  private:
    std::span<const double> x_;
};

// Milliseconds of a fit to its end.
double FitTime(FitModel& model, const Data& data) {
    return 1e3 * Seconds(5, [&] {
               std::vector<double> parameters{1.0, 1.0, 10.0};
               FitControl control;
               CurveFitResult result;
               if (!FitCurve(model, data.y, control, parameters, result) || !result.hasConverged)
                   std::abort();
               kept += parameters[2];
           });
}

void Equation(const Data& data) {
    FitEquation equation('x');
    if (!equation.ParseEquation("a + b*exp(-x/c)").empty()) std::abort();
    EquationModel typed(equation, data.x);
    PlainModel plain(data.x);
    const double typedMs = FitTime(typed, data), plainMs = FitTime(plain, data);
    std::printf(
        "fit of a + b exp(-x/c) to 100,000 points, to its end: %.0f ms, %.2f of the speed of plain code\n",
        typedMs, plainMs / typedMs);
}

void Polynomial(const Data& data) {
    constexpr int degree = 5;
    const double once = Seconds(5, [&] {
        double sum = 0.0;
        for (size_t i = 0; i < points; ++i) sum += data.x[i] * data.y[i];
        kept += sum;
    });
    const auto time = [&](int rounds) {
        return Seconds(
            5, [&] { kept += FitReweightedPolynomial(data.x, data.y, degree, rounds, 6.0).coefficients[0]; });
    };
    const double round = (time(10) - time(0)) / 10;
    std::printf(
        "robust polynomial of degree 5, 100,000 points: %.1f ms a round, %.0f passes over the points\n",
        round * 1e3, round / once);
}

}  // namespace
}  // namespace kymora::bench

int main() {
    const auto data = kymora::bench::Decay();
    kymora::bench::Equation(data);
    kymora::bench::Polynomial(data);
    return kymora::bench::kept == 0.5 ? 1 : 0;
}
