#pragma once
// The report of a batch: {"records": [...]}, a record for each file in the order in which they were named.

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/file_system.h"

namespace kymora {

// Replaces a file of that name in one step. Throws FileError.
void WriteReport(FileSystem& files, const std::filesystem::path& path, std::span<const std::string> records);

// The records of a report, as they stand there. Throws std::runtime_error where it is none, and FileError.
std::vector<std::string> ReadReport(FileSystem& files, const std::filesystem::path& path);

}  // namespace kymora
