#pragma once
// The operations that a To Do list can be made of, under the heads of its window. It is made from the table
// of operations: what stands there stands here.

#include <string>
#include <vector>

#include "catalogue/operations.h"

namespace kymora {

struct OperationNode {
    std::string label;
    std::string toolTip{};
    const Operation* operation = nullptr;  // null: a head
    std::string key{}, value{};            // a parameter that is set when it is chosen
    std::vector<OperationNode> children{};
};

// The head "Operations" with what stands under it. Heads without anything are left out.
OperationNode OperationTree();

}  // namespace kymora
