#pragma once
// Writes MATLAB files of version 5: a structure for each trace with its values, interval, unit and title, one
// for each event channel with its times, and the comment. Layout: "MAT-File Format" (MathWorks).

#include <filesystem>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

// Writes the file; what was at `path` is replaced when all is written. Gap samples are not-a-number. Answers
// what the form does not hold as it was, a line each, for the user. Shows progress. Throws FileError, also
// where a trace takes more than 2 GB, which no variable may, or Cancelled, and then leaves nothing behind.
std::vector<std::string> WriteMatFile(CDataDoc& doc, const std::filesystem::path& path);

}  // namespace kymora
