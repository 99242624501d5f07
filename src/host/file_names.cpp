#include "host/file_names.h"

#include <fmt/format.h>

#include "numerics/fnv.h"

namespace kymora {

namespace {

// The first `count` bytes, less what would be a part of a character.
std::string FirstPart(const std::string& text, size_t count) {
    while (count > 0 && (static_cast<unsigned char>(text[count]) & 0xC0) == 0x80) --count;
    return text.substr(0, count);
}

}  // namespace

std::string FileNameOf(const std::string& start, std::string_view ending) {
    if (start.size() + ending.size() <= longestFileName) return start + std::string(ending);
    const std::string mark = fmt::format("~{:016x}", Fnv1a().Add(start).Value());
    const size_t taken = mark.size() + ending.size();
    return FirstPart(start, taken < longestFileName ? longestFileName - taken : 0) + mark +
           std::string(ending);
}

std::filesystem::path NameBehind(const std::filesystem::path& file, std::string_view ending) {
    return file.parent_path() / FileNameOf(file.filename().string(), ending);
}

std::filesystem::path NameInstead(const std::filesystem::path& file, std::string_view ending) {
    return file.parent_path() / FileNameOf(file.stem().string(), ending);
}

}  // namespace kymora
