// Undo, redo and the selected stretch of time.

#include "display/command_tables.h"

namespace kymora {

using namespace commands;

namespace {

bool CanUndo(const CKymoraView& view) { return view.GetDocument().Undo().CanUndo(); }
bool CanRedo(const CKymoraView& view) { return view.GetDocument().Undo().CanRedo(); }
void Undo(const CommandContext& context) { context.view.GetDocument().Undo().Undo(); }
void Redo(const CommandContext& context) { context.view.GetDocument().Undo().Redo(); }

}  // namespace

// clang-format off
CommandTable EditCommands() {
    return {
        {"undo", "&Edit", "&Undo\tCtrl+z", "Takes back the last change", CanUndo, nullptr, Undo},
        {"redo", "&Edit", "&Redo\tCtrl+y", "Makes the change again that was taken back", CanRedo, nullptr, Redo},
    };
}
// clang-format on

}  // namespace kymora
