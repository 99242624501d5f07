#pragma once
// The table of operations as the command line prints it, as JSON and for reading.

#include <span>
#include <string>

#include "catalogue/operations.h"
#include "cli/output.h"
#include "results/json_writer.h"

namespace kymora {

// {"operations": [{className, name, title, kind, menu, toolTip, changesRecording, needsRecording, drawsGraph,
// parameters[]}]}, each parameter with its key, other keys, label, type, default, limits, choices, step,
// unit, group, linked keys, tool tip, and whether it counts while all stand at their defaults. Values are
// written as --set takes them: traces from 1, channels from 0, a choice as its number; a limit that is none
// is null.
void WriteOperationsJson(OutputSink& sink, std::span<const Operation> operations);

// The same as tables, an operation after the other.
void WriteOperationsText(OutputSink& sink, std::span<const Operation> operations);

}  // namespace kymora
