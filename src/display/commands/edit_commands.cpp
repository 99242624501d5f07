// Undo, redo and the selected stretch of time.

#include "display/commands/command_tables.h"
#include "display/view_times.h"

namespace kymora {

using namespace commands;

namespace {

bool CanUndo(const CKymoraView& view) { return view.GetDocument().Undo().CanUndo(); }
bool CanRedo(const CKymoraView& view) { return view.GetDocument().Undo().CanRedo(); }
void Undo(const CommandContext& context) { context.view.GetDocument().Undo().Undo(); }
void Redo(const CommandContext& context) { context.view.GetDocument().Undo().Redo(); }

void CancelSelection(const CommandContext& context) { context.view.Select({}); }

}  // namespace

// clang-format off
CommandTable EditCommands() {
    return {
        {"undo", "E&dit", "&Undo\tCtrl+z", "Takes back the last change", CanUndo, nullptr, Undo},
        {"redo", "E&dit", "&Redo\tCtrl+y", "Makes the change again that was taken back", CanRedo, nullptr, Redo},
        {"select-time", "E&dit", "&Select stretch of time", "Selects a stretch of time by its two ends", nullptr, nullptr, Do<AskSelection>, group},
        {"select-with-mouse", "E&dit", "Select with &mouse", "Selects the stretch of time that the mouse is dragged over; a drag with Shift does the same", HasPlot, IsInMode<mouseSelectTime>, EnterMode<mouseSelectTime>},
        {"cancel-selection", "E&dit", "&Cancel selection", "Selects nothing", HasSelection, nullptr, CancelSelection},
    };
}
// clang-format on

}  // namespace kymora
