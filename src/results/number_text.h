#pragma once
// Numbers and texts as results tell them.

#include <cstdint>
#include <string>
#include <string_view>

#include "host/colour_text.h"

namespace kymora {

// The shortest decimal that reads back to the same number, also for a reader that takes every number as f64.
// Not-a-number and infinities are "nan", "inf" and "-inf".
void AppendNumber(std::string& to, float value);
void AppendNumber(std::string& to, double value);
void AppendNumber(std::string& to, int64_t value);

// A time for reading: 12 significant digits, so that the noise of binary fractions does not show.
void AppendTime(std::string& to, double ms);

// Valid UTF-8 in one line: control characters, tabs and line ends are blanks.
std::string TerminalLine(std::string_view text);

// "h:mm:ss.mmm"; empty for what is no time.
std::string ClockText(double ms);

}  // namespace kymora
