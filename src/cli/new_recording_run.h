#pragma once
// Runs an operation that makes a recording and needs none.

#include "cli/operation_run.h"

namespace kymora {

// True for operations that make a recording from a file that is none (`kymora run NAME FILE -o OUT`).
bool MakesRecording(const Operation& operation);

// FILE, or the setting `file`, is what the recording is made from. Throws CommandError, Cancelled or
// FileError.
void RunNewRecording(SubcommandContext& context, const Operation& operation, const RunRequest& request,
                     OutputSink& results);

}  // namespace kymora
