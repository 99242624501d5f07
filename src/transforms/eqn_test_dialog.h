#pragma once
// A dialog to try an expression with values for its variables, and the list of what expressions may hold.

#include <random>
#include <string>

#include "host/session.h"
#include "numerics/expression.h"

namespace kymora {

class CEqnTest {
  public:
    std::string m_strEquation = "x + 3*a";
    EquationVariables m_variables;  // t and x, a to h
    int m_nDecimals = 6;

    // The value, or why there is none. Draws from a copy of the generator.
    std::string Calculate(std::mt19937 random) const;
    // Shows the dialog until the user closes it.
    void Ask(Session& session);
};

void AskEqnTest(Session& session);

}  // namespace kymora
