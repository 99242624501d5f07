#pragma once
// Numbers as the view's edit boxes and axes show them. Independent of the locale.

#include <string>

namespace kymora {

// Six decimals without the zeros behind the last digit that counts: "12.5", "3", "0".
std::string ShortNumber(double value);

// Rounded to that many significant figures, without an exponent while the number is of a readable length; 0
// gives ShortNumber.
std::string AxisNumber(double value, int significantFigures);

// A number to be read and written over: 12 significant figures, so that the noise of binary fractions does
// not show, with an exponent only where there would be many zeros. One that came from a float, and that 12
// figures do not tell, has the fewest by which that float is known: 0.1, not 0.10000000149.
std::string PreciseNumber(double value);
// The same with the fewest figures that read back as the same float, for what is known no better.
std::string SingleNumber(double value);

// Time units: 0 ms, 1 s, 2 min, 3 h.
double TimeUnitFactor(int unit);  // ms in one unit
const char* TimeUnitName(int unit);
// The unit in which a stretch of so many ms reads best.
int TimeUnitFor(double durationMs);
// "12.50 ms" with two decimals; longer units get three more.
std::string TimeInUnit(double timeMs, int unit, int decimals);

}  // namespace kymora
