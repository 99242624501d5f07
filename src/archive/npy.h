#pragma once
// Arrays in NumPy's files (.npy, format versions 1 to 3).

#include <cstdint>
#include <span>
#include <vector>

#include "archive/archive.h"

namespace kymora {

// Version 1.0, little-endian, rows of the last dimension after each other. The shape multiplies out to the
// number of values. For int32_t, uint32_t, int64_t, float and double.
template <typename Value>
void WriteNpy(CArchive& archive, std::span<const size_t> shape, std::span<const Value> values);

// The numbers of an array with one dimension, or with no more than one that is not 1: integers of any size,
// or floating-point numbers that are whole. Throws FileError, and ArchiveError in words for the user.
std::vector<int64_t> ReadNpyIntegers(const DataFile& file);

}  // namespace kymora
