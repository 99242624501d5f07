#include "batch/operation_tree.h"

#include <algorithm>
#include <array>

#include "batch/multi_batch.h"

namespace kymora {

namespace {

struct Head {
    const char* name;
    const char* parent;
};
// In the order of the tree; parents first.
constexpr Head heads[] = {
    {"Trace transform", nullptr},         {"Filter", "Trace transform"},     {"Normalize", "Trace transform"},
    {"Local energy", "Trace transform"},  {"Event detection", nullptr},      {"Event edit", nullptr},
    {"Logical operations", "Event edit"}, {"Lists and statistics", nullptr},
};

constexpr std::pair<std::string_view, const char*> headsOfClasses[] = {
    {"CGenSmooth", "Filter"},         {"CDebuzz", "Filter"},
    {"CDigitalFIR", "Filter"},        {"CFilterRCDlg", "Filter"},
    {"CNarrowBandDlg", "Filter"},     {"CWaveletDenoise", "Filter"},
    {"CRemoveLocalDC", "Filter"},     {"CNormalize", "Normalize"},
    {"CLocalEnergy", "Local energy"}, {"CEventLogic", "Logical operations"},
};

constexpr std::string_view logicClass = "CEventLogic";
constexpr const char* logicKey = "logic";
// In the tree's order, with the parameter's values.
constexpr std::pair<const char*, const char*> logicKinds[] = {
    {"AND", "0"}, {"XOR", "2"}, {"EQUALS", "4"}, {"NOT", "3"}, {"AND_NOT", "5"}};

const char* HeadOf(const Operation& operation, const CBatchBaseDlg& block) {
    for (const auto& [name, head] : headsOfClasses)
        if (operation.className == name) return head;
    switch (block.WhatItAffects()) {
    case Affects::traces:
        return "Trace transform";
    case Affects::nothing:
        return "Lists and statistics";
    default:
        return operation.menu.find("Detect") == std::string_view::npos ? "Event edit" : "Event detection";
    }
}

// "Moving average" of "&Moving average...".
std::string PlainEntry(std::string_view label) {
    std::string plain;
    for (const char c : label)
        if (c != '&') plain += c;
    while (plain.ends_with('.')) plain.pop_back();
    return plain;
}

void AddLeaves(OperationNode& head, const Operation& operation) {
    if (operation.className == logicClass) {
        for (const auto& [name, value] : logicKinds)
            head.children.push_back({name, std::string(operation.toolTip), &operation, logicKey, value});
        return;
    }
    for (const OperationEntry& entry : EntriesOf(std::span(&operation, 1))) {
        OperationNode leaf{PlainEntry(entry.Label()), std::string(entry.ToolTip()), &operation};
        if (entry.variant) leaf.key = entry.variant->key, leaf.value = entry.variant->value;
        head.children.push_back(std::move(leaf));
    }
}

// The heads come behind the operations that stand beside them.
OperationNode MakeHead(const char* name, const char* label) {
    OperationNode head{label};
    for (const Operation& operation : Operations()) {
        const auto block = operation.make();
        const bool isOffered = !operation.label.empty() && CMultiBatch::ItemFault(*block).empty();
        if (isOffered && name && std::string_view(HeadOf(operation, *block)) == name)
            AddLeaves(head, operation);
    }
    const std::string_view parent = name ? name : "";
    for (const Head& below : heads) {
        if (parent != (below.parent ? below.parent : "")) continue;
        OperationNode child = MakeHead(below.name, below.name);
        if (!child.children.empty()) head.children.push_back(std::move(child));
    }
    return head;
}

}  // namespace

OperationNode OperationTree() { return MakeHead(nullptr, "Operations"); }

}  // namespace kymora
