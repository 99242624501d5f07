#pragma once
// What `kymora run --json` tells of a file.

#include "batch/file_runner.h"
#include "results/json_writer.h"

namespace kymora {

// Writes an object in one line: operation, file, settings as they were used, output, channels written,
// results, messages. Of a file whose run was not done there are neither output, channels nor results, and of
// one that did not come to a run the settings are those of `tried`. False where the results could not be
// read: their rows end, and the reason is the last message. Throws Cancelled where `goesOn` says no.
bool WriteRunRecord(OutputSink& sink, FileReport& report, CBatchBaseDlg& tried,
                    const std::function<bool()>& goesOn);

// The members `channels` and `messages` of it.
void WriteChannels(JsonWriter& json, const FileReport& report);
void WriteMessages(JsonWriter& json, const RunMessages& messages);

}  // namespace kymora
