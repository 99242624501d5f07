#pragma once
// An equation that a user wants fitted: of one variable and of parameters named a to h.

#include <array>
#include <random>
#include <string>
#include <string_view>

#include "curves/gauss_newton.h"
#include "numerics/expression.h"

namespace kymora {

inline constexpr int mostFitParameters = 8;
inline constexpr const char* needsTimeText =
    "The equation must be a function of t, i.e. must contain 't' (for time) as a parameter.";
inline constexpr const char* needsXText =
    "The equation must be a function of x, i.e. must contain 'x' as a parameter.";
inline constexpr const char* needsParameterText =
    "The equation must have at least one parameter to fit and therefore must contain 'a' as a parameter.";
inline constexpr const char* skippedLettersText =
    "Don't skip letters in the parameter sequence (used parameters a, b, c etc must be contiguous). Please "
    "edit equation.";
inline constexpr const char* drawsRandomText =
    "An equation that draws random numbers cannot be fitted: it has another value each time.";

class FitEquation {
  public:
    // Of 't' or 'x'.
    explicit FitEquation(char variable);

    // Empty when the text can be fitted, else why not; the earlier equation is then gone.
    std::string ParseEquation(std::string_view text);
    // How many parameters it has, from a on; 0 while there is no equation.
    int Parameters() const { return parameters_; }
    // Not-a-number where it has no value.
    double Evaluate(std::span<const double> parameters, double at);

  private:
    std::string FaultOfNames();

    char variable_;
    std::mt19937 random_;
    double place_ = 0.0;
    std::array<double, mostFitParameters> values_{};
    int parameters_ = 0;
    Expression expression_;
};

// It at places of data.
class EquationModel : public FitModel {
  public:
    // Both outlive the model.
    EquationModel(FitEquation& equation, std::span<const double> places)
        : equation_(equation), places_(places) {}
    void Values(std::span<const double> parameters, size_t first, std::span<double> y) override {
        for (size_t i = 0; i < y.size(); ++i) y[i] = equation_.Evaluate(parameters, places_[first + i]);
    }

  private:
    FitEquation& equation_;
    std::span<const double> places_;
};

}  // namespace kymora
