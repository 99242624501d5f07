#pragma once
// Writes European Data Format files: EDF+ with numbers of 16 bits, and BDF+ with 24 (Kemp and Olivan 2003).
// Gaps make them discontinuous; events become annotations, a signal of them for each channel.

#include <filesystem>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

enum class EdfForm { edf, bdf };

// Writes the file; what was at `path` is replaced when all is written. Answers what the form does not hold as
// it was, a line each, for the user. The physical limits of a signal enclose its samples; signals of an EDF
// recording keep theirs, and so their numbers. Shows progress. Throws FileError, also where the recording
// cannot be written so, or Cancelled, and then leaves nothing behind.
std::vector<std::string> WriteEdfFile(CDataDoc& doc, const std::filesystem::path& path, EdfForm form);

}  // namespace kymora
