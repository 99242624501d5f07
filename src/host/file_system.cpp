#include "host/file_system.h"

namespace kymora {

void ReadWhole(const DataFile& file, uint64_t offset, std::span<std::byte> to) {
    if (file.ReadAt(offset, to) != to.size())
        throw FileError(
            "The file has become shorter than it was when it was opened; what it has lost cannot be read.",
            0);
}

}  // namespace kymora
