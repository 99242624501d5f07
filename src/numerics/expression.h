#pragma once
// Equations that a user writes: a value computed from variables. The language is muParser's, with its own
// functions and these: fmod(x, y), erf(x), cbrt(x), trunc(x), ceil(x), floor(x), gamma(x), and four that
// draw random numbers: rndu(from, to) uniform, rndn(mean, sd) normal, rndp(mean) Poisson, rndo(mean)
// one-sided (exponential). Without arguments these four take 0 and 1, or a mean of 1.

#include <array>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace kymora {

class Expression {
  public:
    // The random functions draw from `random`, which must outlive the expression.
    explicit Expression(std::mt19937& random);
    ~Expression();
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    // Makes a variable known under a name. Evaluate reads what it then holds.
    void Bind(const std::string& name, double& variable);

    // Takes a text. Empty when it is an equation with one value, else a sentence that says why it is none;
    // the earlier equation is then gone. Tries it once, with the variables as they are.
    std::string Parse(std::string_view text);

    // The value of the equation that was parsed; not-a-number where it has none. Infinite and not-a-number
    // results are values like others.
    double Evaluate();

    // The names of the variables that the equation uses; none when it has been refused.
    std::vector<std::string> UsedNames() const;
    // The equation that was parsed calls one of the random functions.
    bool DrawsRandom() const;

  private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
};

// What an equation of one abscissa and eight parameters is made of, as test and curve equations are. It must
// outlive the expression that it is bound to.
struct EquationVariables {
    double abscissa = 0.0;               // "t" and "x"
    std::array<double, 8> parameters{};  // "a" to "h"

    void BindTo(Expression& expression);
};

}  // namespace kymora
