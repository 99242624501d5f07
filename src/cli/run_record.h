#pragma once
// What `kymora run --json` tells of a file.

#include "batch/file_runner.h"
#include "results/output_sink.h"

namespace kymora {

// Writes an object in one line: operation, file, settings as they were used, output, channels written,
// results, messages. Of a file whose run was not done there are neither output, channels nor results, and of
// one that did not come to a run the settings are those of `tried`. False where the results could not be
// read: their rows end, and the reason is the last message. Throws Cancelled when the user interrupts.
bool WriteRunRecord(OutputSink& sink, FileReport& report, CBatchBaseDlg& tried);

}  // namespace kymora
