#include "transforms/eqn_test_dialog.h"

#include <fmt/format.h>

#include <cmath>

#include "host/form.h"

namespace kymora {

namespace {

constexpr int greatestDecimals = 15;
constexpr const char* parameterNames[] = {"a", "b", "c", "d", "e", "f", "g", "h"};
constexpr double hugeValue = 1e15;  // from here on, decimals say nothing

std::vector<std::vector<std::string>> FunctionRows() {
    return {{"+ - * / ^", "sum, difference, product, quotient, power"},
            {"< <= > >= == !=  && ||  c ? p : q", "comparisons, and, or: 1 or 0; p if c, else q"},
            {"_pi, _e", "3.14159..., 2.71828..."},
            {"abs sign rint trunc ceil floor", "size; -1, 0 or 1; nearest whole; towards 0; up; down"},
            {"sqrt cbrt exp", "square root, cube root, power of e"},
            {"log ln, log2, log10", "logarithms: log and ln are natural"},
            {"sin cos tan asin acos atan atan2(y, x)", "of angles in radians"},
            {"sinh cosh tanh asinh acosh atanh", "hyperbolic functions"},
            {"fmod(x, y)", "remainder of x / y"},
            {"erf gamma", "error function, gamma function"},
            {"min max sum avg", "of any number of values: max(a, b, c)"},
            {"rndu()", "random, uniform from 0 to 1; rndu(from, to)"},
            {"rndn()", "random, normal with mean 0 and s.d. 1; rndn(mean, sd)"},
            {"rndp(mean)", "random, Poisson"},
            {"rndo()", "random, exponential with mean 1; rndo(mean)"}};
}

void AddFunctions(Form& form) {
    form.AddTable("functions", {"Write", "Meaning"}, FunctionRows(), "Functions");
}

CEqnTest TestOf(const Form& form) {
    CEqnTest test;
    test.m_strEquation = form.Text("equation");
    test.m_variables.abscissa = form.Number("x");
    for (size_t i = 0; i < test.m_variables.parameters.size(); ++i)
        test.m_variables.parameters[i] = form.Number(parameterNames[i]);
    test.m_nDecimals = form.Integer("decimals");
    return test;
}

}  // namespace

std::string CEqnTest::Calculate(std::mt19937 random) const {
    EquationVariables variables = m_variables;
    Expression expression(random);
    variables.BindTo(expression);
    if (std::string fault = expression.Parse(m_strEquation); !fault.empty()) return fault;
    const double value = expression.Evaluate();
    if (std::isnan(value)) return "not a number";
    if (std::isinf(value)) return value > 0.0 ? "infinite" : "-infinite";
    if (std::fabs(value) >= hugeValue) return fmt::format("{:.{}e}", value, m_nDecimals);
    return fmt::format("{:.{}f}", value, m_nDecimals);
}

void CEqnTest::Ask(Session& session) {
    Form form("Test equation");
    form.okLabel = "Close";
    form.AddText("equation", "Equation", m_strEquation,
                 "A value computed from t or x, which are the same, and the parameters a to h.");
    form.AddNumber("x", "x, t", m_variables.abscissa, "The value of x and of t.");
    for (size_t i = 0; i < m_variables.parameters.size(); ++i)
        form.AddNumber(parameterNames[i], parameterNames[i], m_variables.parameters[i]);
    form.AddInteger("decimals", "Decimal places", m_nDecimals, "Of the result.").Limits(0, greatestDecimals);
    form.AddAction(
        "setToOne", "Set all parameters to 1",
        [](Form& asked) {
            for (const char* name : parameterNames) asked[name].number = 1.0;
        },
        "Gives a to h the value 1.");
    form.AddAction(
        "calculate", "Calculate",
        [&session](Form& asked) { asked["result"].text = TestOf(asked).Calculate(session.random); },
        "Works the equation out.");
    form.AddNote("result", Calculate(session.random), "Result of test calculation");
    AddFunctions(form);
    if (session.host.AskForm(form)) *this = TestOf(form);
}

void AskEqnTest(Session& session) { CEqnTest().Ask(session); }

}  // namespace kymora
