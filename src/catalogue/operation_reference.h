#pragma once
// The page of the documentation that follows from the table of operations: docs/operations.md.

#include <span>
#include <string>

#include "catalogue/operations.h"

namespace kymora {

// A section for each operation: what it does, its names, its parameters and a command line.
std::string OperationReference(std::span<const Operation> operations);

}  // namespace kymora
