#pragma once
// A parameter of an operation as a field of a form, and what the user entered there as the parameter takes
// it.

#include "host/form.h"
#include "operations/param.h"

namespace kymora {

// What of the surroundings decides how a parameter is shown.
struct ParamSurroundings {
    int eventChannelMode = 26;  // letters, or numbers when it is 999
    int traceCount = 0;         // 0: not known
};

// Not for actions, which are buttons.
FormField FieldOf(const Param& param, const ParamSurroundings& surroundings);

// The value of a field of FieldOf, as Param::SetFromText takes it; `typed` is what the user typed.
std::string EnteredText(const Param& param, const FormField& field, const std::string& typed);

// The tip of each button of a choice: a tip of as many parts ("a; b") as there are choices gives each its
// own.
std::vector<std::string> ChoiceTips(const Param& param);

}  // namespace kymora
