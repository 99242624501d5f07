#pragma once
// What is said of a parameter outside its window: on the command line and in the reference.

#include <string>

#include "operations/param.h"

namespace kymora {

// Limits as the user counts them; a number with no limit but that of its type has none.
struct ParamLimits {
    bool hasLeast = false, hasGreatest = false;
    double least = 0.0, greatest = 0.0;
};
ParamLimits LimitsOf(const Param& param);

// "0 to 100", "from 1", "up to 5", or empty.
std::string LimitsText(const Param& param);

// "Event > Detect" of "&Event/&Detect".
std::string PlainMenuPath(std::string_view menu);

}  // namespace kymora
