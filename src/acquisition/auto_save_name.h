#pragma once
// Names of recordings that are saved without a question.

#include <filesystem>

#include "host/file_system.h"

namespace kymora {

// The base name with its number one higher, which keeps its digits: "cell7" -> "cell8", "rec099" -> "rec100",
// "rec" -> "rec1".
std::string NextBaseName(const std::string& base);

// The recording file of a base name. Where there is one already, the base name goes on to the next that is
// free: no recording takes the place of another.
std::filesystem::path FreeRecordingName(FileSystem& files, std::string& base);

}  // namespace kymora
