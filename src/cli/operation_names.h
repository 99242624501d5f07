#pragma once
// Finds an operation by the name that a command line gives it.

#include <string>

#include "catalogue/operations.h"

namespace kymora {

// Throws CommandError, with the names that were probably meant, for a name that no operation has.
const Operation& NamedOperation(const std::string& name);

}  // namespace kymora
