#include "fitting/fit_equation.h"

#include <algorithm>

namespace kymora {

FitEquation::FitEquation(char variable) : variable_(variable), expression_(random_) {
    values_.fill(1.0);
    expression_.Bind(std::string(1, variable), place_);
    for (size_t i = 0; i < values_.size(); ++i)
        expression_.Bind(std::string(1, static_cast<char>('a' + i)), values_[i]);
}

std::string FitEquation::ParseEquation(std::string_view text) {
    parameters_ = 0;
    const bool isBlank = text.find_first_not_of(" \t\r\n") == std::string_view::npos;
    if (!isBlank)
        if (std::string fault = expression_.Parse(text); !fault.empty()) return fault;
    if (isBlank) return variable_ == 't' ? needsTimeText : needsXText;
    return FaultOfNames();
}

std::string FitEquation::FaultOfNames() {
    const std::vector<std::string> names = expression_.UsedNames();
    const auto uses = [&](char name) {
        return std::ranges::find(names, std::string(1, name)) != names.end();
    };
    if (!uses(variable_)) return variable_ == 't' ? needsTimeText : needsXText;
    if (!uses('a')) return needsParameterText;
    int count = 0;
    while (count < mostFitParameters && uses(static_cast<char>('a' + count))) ++count;
    for (int i = count; i < mostFitParameters; ++i)
        if (uses(static_cast<char>('a' + i))) return skippedLettersText;
    if (expression_.DrawsRandom()) return drawsRandomText;
    parameters_ = count;
    return {};
}

double FitEquation::Evaluate(std::span<const double> parameters, double at) {
    place_ = at;
    std::ranges::copy(parameters.first(std::min(parameters.size(), values_.size())), values_.begin());
    return expression_.Evaluate();
}

}  // namespace kymora
