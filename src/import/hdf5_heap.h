#pragma once
// Where HDF5 objects with many links or attributes keep them: a heap of pieces (a "fractal heap") and a tree
// of records ("version 2 B-tree").

#include <functional>
#include <optional>

#include "import/hdf5_file.h"

namespace kymora {

class Hdf5Heap {
  public:
    // Throws OpenError.
    Hdf5Heap(Hdf5File& file, uint64_t address);

    size_t IdBytes() const { return idBytes_; }
    struct Piece {
        uint64_t address = 0, length = 0;
    };
    // Nothing for pieces that lie elsewhere than in the heap's own blocks, which links and attributes of
    // recordings do not.
    std::optional<Piece> Find(std::span<const std::byte> id) const;

  private:
    uint64_t RowBytes(uint32_t row) const { return row < 2 ? start_ : start_ << std::min(row - 1, 48u); }
    std::optional<uint64_t> AddressOf(uint64_t offset, uint64_t block, uint64_t blockOffset, uint32_t rows,
                                      int depth) const;

    Hdf5File& file_;
    size_t idBytes_ = 0, offsetBytes_ = 0, lengthBytes_ = 0;
    uint32_t width_ = 0, rows_ = 0, directRows_ = 0;
    uint64_t start_ = 0, largestDirect_ = 0, root_ = noHdf5Address;
};

// Calls `take` with each record. Throws OpenError.
void ForEachHdf5Record(Hdf5File& file, uint64_t tree, const std::function<void(Hdf5Fields)>& take);

}  // namespace kymora
