#pragma once
// Equations that are fitted often, with starts that are guessed from the data.

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace kymora {

struct ReadyEquation {
    const char* name;      // in the list
    const char* equation;  // of x
    // Starts for a, b, .. from points, of which there is at least one; the places ascend.
    std::vector<double> (*guess)(std::span<const double> x, std::span<const double> y);
    // As an equation of 't' or 'x'.
    std::string Of(char variable) const;
};

std::span<const ReadyEquation> ReadyEquations();
// The one that the text is, blanks aside; null for any other.
const ReadyEquation* FindReadyEquation(const std::string& text, char variable);

}  // namespace kymora
