#pragma once
// Where the chunks of an HDF5 array lie.

#include <functional>

#include "import/hdf5_file.h"

namespace kymora {

// Calls `take` with each chunk that was written: its place along each side, counted in chunks, its address as
// stored, its stored bytes (0: all of them) and the filters that were left out. Throws OpenError.
using Hdf5ChunkTaker =
    std::function<void(std::span<const uint64_t> place, uint64_t address, uint64_t bytes, uint32_t mask)>;
void ForEachHdf5Chunk(Hdf5File& file, const Hdf5Array& array, const Hdf5ChunkTaker& take);

}  // namespace kymora
