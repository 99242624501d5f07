#pragma once
// Numbers as the view's edit boxes and axes show them. Independent of the locale.

#include <string>

namespace kymora {

// Six decimals without the zeros behind the last digit that counts: "12.5", "3", "0".
std::string ShortNumber(double value);

// Rounded to that many significant figures, without an exponent while the number is of a readable length; 0
// gives ShortNumber.
std::string AxisNumber(double value, int significantFigures);

// Time units: 0 ms, 1 s, 2 min.
double TimeUnitFactor(int unit);  // ms in one unit
const char* TimeUnitName(int unit);

}  // namespace kymora
