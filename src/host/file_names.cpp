#include "host/file_names.h"

#include <cstdint>

#include <fmt/format.h>

namespace kymora {

namespace {

// FNV-1a, 64 bits.
uint64_t Hash(std::string_view text) {
    uint64_t hash = 0xCBF29CE484222325ULL;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
    return hash;
}

// The first `count` bytes, less what would be a part of a character.
std::string FirstPart(const std::string& text, size_t count) {
    while (count > 0 && (static_cast<unsigned char>(text[count]) & 0xC0) == 0x80) --count;
    return text.substr(0, count);
}

}  // namespace

std::string FileNameOf(const std::string& start, std::string_view ending) {
    if (start.size() + ending.size() <= longestFileName) return start + std::string(ending);
    const std::string mark = fmt::format("~{:016x}", Hash(start));
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
