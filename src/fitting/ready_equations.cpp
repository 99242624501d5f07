#include "fitting/ready_equations.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

using Places = std::span<const double>;

// The means of the tenth of the points at either end, and the extent of the places.
struct Ends {
    double first, last, width;
};

double Mean(Places values) {
    double sum = 0.0;
    for (const double value : values) sum += value;
    return sum / static_cast<double>(values.size());
}

Ends EndsOf(Places x, Places y) {
    const size_t tenth = std::max<size_t>(1, y.size() / 10);
    const double width = x.back() - x.front();
    return {Mean(y.first(tenth)), Mean(y.last(tenth)), width > 0.0 ? width : 1.0};
}

// The first place at which y has come a part of the way from its first end to its last one.
double PlaceOf(Places x, Places y, const Ends& ends, double part) {
    const double level = ends.first + part * (ends.last - ends.first);
    const bool rises = ends.last > ends.first;
    for (size_t i = 0; i < y.size(); ++i)
        if (rises ? y[i] >= level : y[i] <= level) return x[i];
    return x.front() + ends.width / 2.0;
}

// The point farthest from a level.
size_t FarthestFrom(Places y, double level) {
    size_t best = 0;
    for (size_t i = 1; i < y.size(); ++i)
        if (std::fabs(y[i] - level) > std::fabs(y[best] - level)) best = i;
    return best;
}

double OrOne(double value) { return value != 0.0 && std::isfinite(value) ? value : 1.0; }

std::vector<double> GuessLine(Places x, Places y) {
    const Ends ends = EndsOf(x, y);
    const double slope = (ends.last - ends.first) / ends.width;
    return {OrOne(ends.first - slope * x.front()), OrOne(slope)};
}

// The amplitude is that at x = 0.
std::vector<double> GuessExponential(Places x, Places y) {
    const Ends ends = EndsOf(x, y);
    constexpr double fallen = 1.0 - 0.36787944117144233;
    const double tau = OrOne(PlaceOf(x, y, ends, fallen) - x.front());
    return {OrOne(ends.last), OrOne((y.front() - ends.last) * std::exp(x.front() / tau)), tau};
}

std::vector<double> GuessTwoExponentials(Places x, Places y) {
    const auto one = GuessExponential(x, y);
    return {one[0], one[1] / 2.0, one[2] / 3.0, one[1] / 2.0, one[2] * 2.0};
}

std::vector<double> GuessAlpha(Places x, Places y) {
    const double base = y.front();
    const size_t peak = FarthestFrom(y, base);
    return {OrOne(base), OrOne(y[peak] - base), OrOne(x[peak])};
}

std::vector<double> GuessBoltzmann(Places x, Places y) {
    const Ends ends = EndsOf(x, y);
    const double quarters = PlaceOf(x, y, ends, 0.75) - PlaceOf(x, y, ends, 0.25);
    constexpr double slopesBetweenQuarters = 2.1972245773362196;  // 2 ln 3
    return {OrOne(ends.first), OrOne(ends.last - ends.first), OrOne(PlaceOf(x, y, ends, 0.5)),
            OrOne(std::fabs(quarters) / slopesBetweenQuarters)};
}

std::vector<double> GuessHill(Places x, Places y) {
    const Ends ends = EndsOf(x, y);
    return {OrOne(ends.first), OrOne(ends.last - ends.first), OrOne(std::fabs(PlaceOf(x, y, ends, 0.5))),
            1.0};
}

std::vector<double> GuessGaussian(Places x, Places y) {
    const Ends ends = EndsOf(x, y);
    const double base = (ends.first + ends.last) / 2.0;
    const size_t peak = FarthestFrom(y, base);
    const double half = (y[peak] + base) / 2.0;
    size_t from = peak, to = peak;
    const auto isHigh = [&](size_t i) { return (y[i] > half) == (y[peak] > half); };
    while (from > 0 && isHigh(from - 1)) --from;
    while (to + 1 < y.size() && isHigh(to + 1)) ++to;
    constexpr double widthOfSd = 2.3548200450309493;  // 2 sqrt(2 ln 2)
    const double width = std::max(x[to] - x[from], ends.width / static_cast<double>(y.size()));
    return {OrOne(base), OrOne(y[peak] - base), OrOne(x[peak]), OrOne(width / widthOfSd)};
}

std::string WithoutBlanks(std::string text) {
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    return text;
}

constexpr ReadyEquation equations[] = {
    {"line", "a + b*x", GuessLine},
    {"exponential", "a + b*exp(-x/c)", GuessExponential},
    {"two exponentials", "a + b*exp(-x/c) + d*exp(-x/e)", GuessTwoExponentials},
    {"alpha function", "a + b*(x/c)*exp(1 - x/c)", GuessAlpha},
    {"Boltzmann", "a + b/(1 + exp((c - x)/d))", GuessBoltzmann},
    {"Hill", "a + b*x^d/(c^d + x^d)", GuessHill},
    {"Gaussian", "a + b*exp(-((x - c)/d)^2/2)", GuessGaussian},
};

}  // namespace

// The only other x is that of exp.
std::string ReadyEquation::Of(char variable) const {
    std::string text = equation;
    for (size_t i = 0; i < text.size(); ++i)
        if (text[i] == 'x' && (i == 0 || text[i - 1] != 'e')) text[i] = variable;
    return text;
}

std::span<const ReadyEquation> ReadyEquations() { return equations; }

const ReadyEquation* FindReadyEquation(const std::string& text, char variable) {
    const std::string wanted = WithoutBlanks(text);
    const auto found = std::ranges::find_if(
        equations, [&](const ReadyEquation& ready) { return WithoutBlanks(ready.Of(variable)) == wanted; });
    return found == std::end(equations) ? nullptr : found;
}

}  // namespace kymora
