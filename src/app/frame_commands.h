#pragma once
// The commands of the program (as opposed to those of a view, display/commands.h) in one table: menus, keys,
// tool bar, the command finder and the sheet of keys are made from both.

#include <span>
#include <string_view>

#include "display/commands/commands.h"

namespace kymora {

class CMainFrame;

struct FrameCommand {
    std::string_view id;
    std::string_view menu;               // the path of submenus, "&File/&New"
    std::string_view label;              // with & before the access key and the shortcut behind a tab
    std::string_view toolTip;            // what it does, in a sentence
    bool (*enabled)(const CMainFrame&);  // null: always
    CheckMark<CMainFrame> checked;       // null: has none
    void (*run)(CMainFrame&);
    unsigned marks = 0;  // CommandMark
};

// In the order of the menus: File stands before the menus of the view, Window and Help behind them.
std::span<const FrameCommand> FrameCommands();

const FrameCommand* FindFrameCommand(std::string_view id);

}  // namespace kymora
