#pragma once
// A recording as a text file: a heading, then a row for each sample with the values of all traces, and beside
// them the times of the events.

#include <filesystem>

#include "document/data_doc.h"

namespace kymora {

// Asked before a recording with gaps is written.
inline constexpr const char* textExportGapText =
    "This file has gaps, which will be saved as zero-valued data. Continue?";

// Writes the file; what was at `path` is replaced when all is written. Gap samples are written as zero. Lines
// end with "\n", and so do those of the comment. In a row past the last sample the columns of the traces are
// left out. Shows progress; throws FileError or Cancelled, and then leaves nothing behind.
void WriteTextExport(CDataDoc& doc, const std::filesystem::path& path);
// The same for a user, who is asked about gaps and told of failures: false then. Throws Cancelled.
bool ExportAsText(CDataDoc& doc, const std::filesystem::path& path);

}  // namespace kymora
