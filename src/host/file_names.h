#pragma once
// Names of files that stand beside another one and are called after it.

#include <filesystem>
#include <string>
#include <string_view>

namespace kymora {

// What file systems hold of a name, in bytes.
inline constexpr size_t longestFileName = 255;

// "START<ending>". Where that is longer than a name can be, START becomes its first part, "~" and a check sum
// of the whole of it: the same for the same start, and another for another.
std::string FileNameOf(const std::string& start, std::string_view ending);

// The path of `file` with an ending behind its whole name, extension included.
std::filesystem::path NameBehind(const std::filesystem::path& file, std::string_view ending);

// The path of `file` with an ending in the place of its extension: "cell7_tr.kymr-dat" for "cell7.edf".
std::filesystem::path NameInstead(const std::filesystem::path& file, std::string_view ending);

}  // namespace kymora
