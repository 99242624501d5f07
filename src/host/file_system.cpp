#include "host/file_system.h"

#include <algorithm>
#include <cerrno>

namespace kymora {

void ReadWhole(const DataFile& file, uint64_t offset, std::span<std::byte> to) {
    if (file.ReadAt(offset, to) != to.size())
        throw FileError(
            "The file has become shorter than it was when it was opened; what it has lost cannot be read.",
            0);
}

void FileSystem::RenameNew(const std::filesystem::path& from, const std::filesystem::path& to) {
    if (Stamp(to))
        throw FileError("Couldn't rename " + from.string() + " to " + to.string() + ": it exists", EEXIST);
    Rename(from, to);
}

// The block stays in the cache between its reading and its writing. On a local disk that is as fast as the
// system's own copying, and faster where the offsets in the two files lie differently in their pages.
void CopyBytes(const DataFile& from, uint64_t offset, DataFile& to, uint64_t at, uint64_t count) {
    constexpr uint64_t blockSize = uint64_t{1} << 18;
    const auto block = std::make_unique_for_overwrite<std::byte[]>(std::min(count, blockSize));
    for (uint64_t done = 0; done < count;) {
        const std::span<std::byte> part(block.get(), std::min(count - done, blockSize));
        ReadWhole(from, offset + done, part);
        to.WriteAt(at + done, part);
        done += part.size();
    }
}

}  // namespace kymora
