#pragma once
// Ticks of an axis at round numbers.

#include <string>
#include <vector>

namespace kymora {

// The step of 1, 2 or 5 times a power of ten that gives at most that many ticks, and at least one.
double TickStep(double low, double high, int most);
// The same for angles: the least part of a turn that makes no more ticks than that, or half a turn. Where
// hardly a part is seen, that of TickStep.
double TurnStep(double low, double high, double turn, int most);
// The multiples of the step within [low, high].
std::vector<double> Ticks(double low, double high, double step);
// Of a log axis: the powers of ten within [low, high] with 2 and 5 between them where that makes no more than
// `most` ticks, or every so many powers; where hardly a power is seen, those of Ticks. `low` is above 0.
std::vector<double> LogTicks(double low, double high, int most);
// 0.001, 200, 5e+06.
std::string LogTickText(double value);
// With the decimals that the step needs.
std::string TickText(double value, double step);

// The same for times of day, in ms: steps of whole seconds, minutes and hours that clocks have.
double ClockStep(double lowMs, double highMs, int most);
// "14:03:05", with as many decimals as the step needs; days begin anew at midnight.
std::string ClockText(double msSinceMidnight, double stepMs);

}  // namespace kymora
