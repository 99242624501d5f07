#pragma once
// The table of operations. Menus, the command line, batches, configuration files and the reference pages walk
// it: an operation that stands here is offered everywhere.

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "operations/batch_base_dlg.h"

namespace kymora {

// "Event > Detect" of "&Event/&Detect".
std::string PlainMenuPath(std::string_view menu);
// "trace" of what makes or changes traces, "event" of what does so with events, "listing" of what only tells.
const char* OperationKind(const CBatchBaseDlg& block);

// An operation that stands in the menu several times, each time with one parameter set when it opens.
struct OperationVariant {
    std::string_view id;       // of its command: "moving-median"
    std::string_view label;    // in the menu, with & before the access key
    std::string_view toolTip;  // what it does, in a sentence
    std::string_view key, value;
};

struct Operation {
    std::string_view className;  // "CEventThreshold"
    std::string_view menu;       // the path of submenus, with & before access keys
    std::string_view label;      // in the menu, with & before the access key; empty: in no menu, because
                                 // commands of their own ask for its settings
    std::string_view toolTip;    // what it does, in a sentence
    std::unique_ptr<CBatchBaseDlg> (*make)();
    std::string_view olderName{};  // another class name, which old configuration files have; empty for none
    std::span<const OperationVariant> variants{};  // its entries in the menu; none: it is an entry itself

    // "event-threshold": the other name on the command line, and the id of its command.
    std::string KebabName() const;
};

// In the order of the menus.
std::span<const Operation> Operations();

// By class name, older class name or kebab name; null when there is none.
const Operation* FindOperation(std::string_view name);

// An entry of the menus.
struct OperationEntry {
    const Operation* operation = nullptr;
    const OperationVariant* variant = nullptr;  // null: the operation with its last settings

    std::string Id() const { return variant ? std::string(variant->id) : operation->KebabName(); }
    std::string_view Label() const { return variant ? variant->label : operation->label; }
    std::string_view ToolTip() const { return variant ? variant->toolTip : operation->toolTip; }
};
std::vector<OperationEntry> EntriesOf(std::span<const Operation> operations);
// By the id of its command; no operation when there is none.
OperationEntry FindOperationEntry(std::string_view id);

}  // namespace kymora
