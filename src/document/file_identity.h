#pragma once
// Which names stand for one file, and what kind of file a name is for.

#include <filesystem>
#include <string>

#include "host/file_system.h"

namespace kymora {

// Whether two paths name one file as far as spelling goes; case does not count.
bool SamePath(const std::filesystem::path& a, const std::filesystem::path& b);
// Whether two paths lead to one file, links included. Files that do not exist are compared by SamePath.
bool IsSameFile(FileSystem& files, const std::filesystem::path& a, const std::filesystem::path& b);
// The extension in lower case, with its dot.
std::string FoldedExtension(const std::filesystem::path& path);

}  // namespace kymora
