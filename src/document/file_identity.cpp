#include "document/file_identity.h"

#include "archive/text_encoding.h"

namespace kymora {

bool SamePath(const std::filesystem::path& a, const std::filesystem::path& b) {
    const auto folded = [](const std::filesystem::path& p) {
        std::error_code ignored;
        return FoldCase(std::filesystem::absolute(p, ignored).lexically_normal().string());
    };
    return folded(a) == folded(b);
}

bool IsSameFile(FileSystem& files, const std::filesystem::path& a, const std::filesystem::path& b) {
    const auto first = files.Stamp(a), second = files.Stamp(b);
    if (!first || !second) return SamePath(a, b);
    return first->device == second->device && first->inode == second->inode;
}

std::string FoldedExtension(const std::filesystem::path& path) { return FoldCase(path.extension().string()); }

}  // namespace kymora
