#pragma once
// What `kymora run --json` tells of a file.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "operations/batch_base_dlg.h"
#include "results/output_sink.h"

namespace kymora {

struct RunRecord {
    std::string_view operation;  // its class name
    std::string file;
    bool isDone = false;
    std::optional<std::filesystem::path> output;
    std::vector<std::string> messages;
};

// Writes an object in one line: operation, file, settings as they were used, output, channels written,
// results, messages. Of a file whose run was not done there are neither output, channels nor results. Throws
// Cancelled when the user interrupts.
void WriteRunRecord(OutputSink& sink, const RunRecord& record, CBatchBaseDlg& block);

}  // namespace kymora
