#pragma once
// The table of operations. Menus, the command line, batches, configuration files and the reference pages walk
// it: an operation that stands here is offered everywhere.

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "batch/batch_base_dlg.h"

namespace kymora {

enum class OperationKind {
    trace,    // makes or changes traces
    event,    // makes or changes events
    listing,  // tells, and changes nothing
};
const char* OperationKindName(OperationKind kind);

struct Operation {
    std::string_view className;  // "CEventThreshold"
    std::string_view menu;       // the path of submenus, with & before access keys
    std::string_view label;      // in the menu, with & before the access key
    std::string_view toolTip;    // what it does, in a sentence
    OperationKind kind;
    std::unique_ptr<CBatchBaseDlg> (*make)();

    // "event-threshold": the other name on the command line, and the id of its command.
    std::string KebabName() const;
};

// In the order of the menus.
std::span<const Operation> Operations();

// By class name or kebab name; null when there is none.
const Operation* FindOperation(std::string_view name);

}  // namespace kymora
