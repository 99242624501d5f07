#pragma once
// What `kymora run --json` tells of a file.

#include "batch/file_runner.h"
#include "catalogue/operations.h"
#include "results/output_sink.h"

namespace kymora {

// Writes an object in one line: operation, file, settings as they were used, output, channels written,
// results, messages. Of a file whose run was not done there are neither output, channels nor results. Throws
// Cancelled when the user interrupts.
void WriteRunRecord(OutputSink& sink, const Operation& operation, const FileReport& report);

}  // namespace kymora
