#pragma once
// The parts of the table of commands, in the order of the menus, and what their entries are made of.

#include <vector>

#include "display/commands/commands.h"

namespace kymora {

using CommandTable = std::vector<Command>;

CommandTable EditCommands();
CommandTable NavigationCommands();  // with Zoom
CommandTable GainCommands();
CommandTable ViewCommandTable();
CommandTable FindCommands();
CommandTable FindEventCommands();  // at the end of FindCommands
CommandTable CursorCommands();
CommandTable OverlayCommands();  // markers, annotations and scale bars
CommandTable EventCommands();
CommandTable ExchangeCommands();  // event channels and files, text and the clipboard
CommandTable OutputCommands();

namespace commands {

inline constexpr unsigned group = startsGroup, asks = asksFirst;

inline bool HasAxes(const CKymoraView& view) { return view.m_fDataArea > 0.0f && view.m_nVisibleAxes > 0; }
inline bool HasSelection(const CKymoraView& view) { return view.m_selection.has_value(); }
inline bool HasWindow(const CKymoraView& view) { return view.Window() != nullptr; }
inline bool HasPlot(const CKymoraView& view) { return view.Plot().layout.plot.Width() > 0; }

// Where the mouse is: that of the context menu, or the one that it was last seen at.
inline std::optional<Point> MouseOf(const CommandContext& context) {
    return context.at ? context.at : context.view.m_mouse;
}
// Runs a command as if it came from the context menu at the mouse.
template <void (*run)(const CommandContext&)>
void AtMouse(const CommandContext& context) {
    run({context.view, context.ctrl, MouseOf(context)});
}

// Runs an operation of the view.
template <auto operation>
void Run(const CommandContext& context) {
    (context.view.*operation)();
}

template <void (*operation)(CKymoraView&)>
void Do(const CommandContext& context) {
    operation(context.view);
}

// The same for an operation that takes "all axes" when Ctrl is held.
template <void (*operation)(CKymoraView&, bool)>
void DoOnAxes(const CommandContext& context) {
    operation(context.view, context.ctrl);
}

template <auto member>
bool IsOn(const CKymoraView& view) {
    return view.*member;
}

template <int mode>
void EnterMode(const CommandContext& context) {
    context.view.SetMouseMode(context.view.m_nMouseMode == mode ? mouseNormal : mode);
}

// Only one mode is in force at a time.
template <int mode>
inline constexpr CheckMark<CKymoraView> IsInMode{
    [](const CKymoraView& view) { return view.m_nMouseMode == mode; }, true};

}  // namespace commands

}  // namespace kymora
