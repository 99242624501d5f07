#include "numerics/expression.h"

#include <muParser.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

namespace kymora {

namespace {

using Random = std::mt19937;

constexpr size_t longestText = 20000;
struct RandomFunction {
    std::string_view name, arguments;  // those that it has where none are given
};
constexpr RandomFunction randomFunctions[] = {{"rndu", "0,1"}, {"rndn", "0,1"}, {"rndp", "1"}, {"rndo", "1"}};
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// The distributions are written out: the library's differ from one machine to the next.

// In [0, 1), with 53 random bits.
double Uniform(Random& random) {
    const uint64_t high = random() >> 5, low = random() >> 6;
    return (static_cast<double>(high) * 0x1p26 + static_cast<double>(low)) * 0x1p-53;
}

// Marsaglia's polar method.
double Normal(Random& random) {
    while (true) {
        const double x = 2.0 * Uniform(random) - 1.0, y = 2.0 * Uniform(random) - 1.0;
        const double square = x * x + y * y;
        if (square > 0.0 && square < 1.0) return x * std::sqrt(-2.0 * std::log(square) / square);
    }
}

// The number of unit-rate arrivals before `mean`; for large means the normal approximation.
double Poisson(Random& random, double mean) {
    constexpr double manyArrivals = 1e4;
    if (!(mean >= 0.0)) return notANumber;
    if (mean > manyArrivals) return std::fmax(0.0, std::floor(mean + std::sqrt(mean) * Normal(random) + 0.5));
    double count = -1.0;
    for (double time = 0.0; time <= mean; ++count) time -= std::log(1.0 - Uniform(random));
    return count;
}

Random& From(void* generator) { return *static_cast<Random*>(generator); }

double DrawUniform(void* generator, double from, double to) {
    return from + (to - from) * Uniform(From(generator));
}
double DrawNormal(void* generator, double mean, double deviation) {
    return mean + deviation * Normal(From(generator));
}
double DrawPoisson(void* generator, double mean) { return Poisson(From(generator), mean); }
double DrawOneSided(void* generator, double mean) { return -mean * std::log(1.0 - Uniform(From(generator))); }

double Fmod(double x, double y) { return std::fmod(x, y); }
double Erf(double x) { return std::erf(x); }
double Cbrt(double x) { return std::cbrt(x); }
double Trunc(double x) { return std::trunc(x); }
double Ceil(double x) { return std::ceil(x); }
double Floor(double x) { return std::floor(x); }
double Gamma(double x) { return std::tgamma(x); }

bool IsNameCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

// Where a name stands as a word from `from` on.
size_t FindName(std::string_view text, std::string_view name, size_t from = 0) {
    for (size_t at = text.find(name, from); at != std::string_view::npos; at = text.find(name, at + 1)) {
        const size_t end = at + name.size();
        const bool isPart =
            (at > 0 && IsNameCharacter(text[at - 1])) || (end < text.size() && IsNameCharacter(text[end]));
        if (!isPart) return at;
    }
    return std::string_view::npos;
}

// "rndn ( )" becomes "rndn(0,1)": a function of the parser has a fixed number of arguments.
std::string WithDefaultArguments(std::string text) {
    for (const RandomFunction& function : randomFunctions) {
        for (size_t at = FindName(text, function.name); at != std::string::npos;
             at = FindName(text, function.name, at + 1)) {
            const size_t open = text.find_first_not_of(' ', at + function.name.size());
            if (open == std::string::npos || text[open] != '(') continue;
            const size_t close = text.find_first_not_of(' ', open + 1);
            if (close != std::string::npos && text[close] == ')')
                text.replace(open + 1, close - open - 1, function.arguments);
        }
    }
    return text;
}

// An equals sign that is none of ==, <=, >= and !=. The parser would assign to a variable.
bool Assigns(std::string_view text) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '=') continue;
        const char before = i > 0 ? text[i - 1] : ' ';
        const bool compares = before == '=' || before == '<' || before == '>' || before == '!';
        const bool isFirst = i + 1 < text.size() && text[i + 1] == '=';
        if (!compares && !isFirst) return true;
    }
    return false;
}

std::string FaultOf(std::string_view text) {
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return "An equation is needed.";
    if (text.size() > longestText) return "The equation is too long.";
    if (Assigns(text))
        return "The equation is the part behind an equals sign: write sin(t), and not y = sin(t).";
    return {};
}

}  // namespace

struct Expression::Parser {
    mu::Parser parser;
    bool isParsed = false;
    std::vector<std::string> usedNames;
};

Expression::Expression(std::mt19937& random) : parser_(std::make_unique<Parser>()) {
    mu::Parser& parser = parser_->parser;
    parser.DefineFun("fmod", Fmod);
    parser.DefineFun("erf", Erf);
    parser.DefineFun("cbrt", Cbrt);
    parser.DefineFun("trunc", Trunc);
    parser.DefineFun("ceil", Ceil);
    parser.DefineFun("floor", Floor);
    parser.DefineFun("gamma", Gamma);
    // Not to be taken for constants, as other functions of constants are.
    constexpr bool foldable = false;
    parser.DefineFunUserData("rndu", DrawUniform, &random, foldable);
    parser.DefineFunUserData("rndn", DrawNormal, &random, foldable);
    parser.DefineFunUserData("rndp", DrawPoisson, &random, foldable);
    parser.DefineFunUserData("rndo", DrawOneSided, &random, foldable);
}

Expression::~Expression() = default;

void Expression::Bind(const std::string& name, double& variable) {
    parser_->parser.DefineVar(name, &variable);
}

std::string Expression::Parse(std::string_view text) {
    parser_->isParsed = false;
    parser_->usedNames.clear();
    if (std::string fault = FaultOf(text); !fault.empty()) return fault;
    try {
        parser_->parser.SetExpr(WithDefaultArguments(std::string(text)));
        const mu::varmap_type used = parser_->parser.GetUsedVar();
        parser_->parser.Eval();
        if (parser_->parser.GetNumResults() != 1) return "The equation has more than one value.";
        for (const auto& [name, variable] : used) parser_->usedNames.push_back(name);
        parser_->isParsed = true;
        return {};
    } catch (const mu::ParserError& error) {
        return "The equation cannot be used. " + error.GetMsg();
    } catch (const std::exception& error) {
        return std::string("The equation cannot be used. ") + error.what();
    }
}

double Expression::Evaluate() {
    if (!parser_->isParsed) return notANumber;
    try {
        return parser_->parser.Eval();
    } catch (const mu::ParserError&) {
        return notANumber;
    }
}

std::vector<std::string> Expression::UsedNames() const { return parser_->usedNames; }

bool Expression::DrawsRandom() const {
    const std::string& text = parser_->parser.GetExpr();
    return std::ranges::any_of(randomFunctions, [&](const RandomFunction& function) {
        return FindName(text, function.name) != std::string::npos;
    });
}

void EquationVariables::BindTo(Expression& expression) {
    expression.Bind("t", abscissa);
    expression.Bind("x", abscissa);
    for (size_t i = 0; i < parameters.size(); ++i)
        expression.Bind(std::string(1, static_cast<char>('a' + i)), parameters[i]);
}

}  // namespace kymora
