#pragma once
// Arrays in NumPy's files (.npy, format versions 1 to 3).

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "archive/archive.h"

namespace kymora {

// Version 1.0, little-endian, rows of the last dimension after each other. The shape multiplies out to the
// number of values. For int32_t, uint32_t, int64_t, float and double.
template <typename Value>
void WriteNpy(CArchive& archive, std::span<const size_t> shape, std::span<const Value> values);

// An array with one dimension, or with no more than one that is not 1.
class NpyArray {
  public:
    // Throws FileError, and ArchiveError in words for the user where it is none of numbers, truth values or
    // texts of bytes. The file must outlive the object.
    explicit NpyArray(const DataFile& file);

    char Kind() const { return kind_; }               // 'i', 'u', 'f', 'b' or 'S'
    uint64_t StatedCount() const { return stated_; }  // of items
    // As many as the file holds: what a crash has left states fewer.
    int64_t Count() const { return count_; }
    // A whole number; 0 for texts. Throw FileError, and ArchiveError for one that is not whole or too large.
    int64_t Whole(int64_t index) const;
    // The first `most` items.
    std::vector<int64_t> Wholes(int64_t most) const;
    // Of an array of texts; empty for others. Throws FileError.
    std::string Text(int64_t index) const;

  private:
    void TakeType(std::string_view text);
    void TakeShape(std::string_view text);
    int64_t Decode(const unsigned char* bytes) const;

    const DataFile& file_;
    bool isBigEndian_ = false;
    char kind_ = 'i';
    size_t bytes_ = 1;  // of an item
    uint64_t start_ = 0;
    uint64_t stated_ = 0;
    int64_t count_ = 0;
};

// The numbers of an array with one dimension, or with no more than one that is not 1: integers of any size,
// or floating-point numbers that are whole. Throws FileError, and ArchiveError in words for the user.
std::vector<int64_t> ReadNpyIntegers(const DataFile& file);

}  // namespace kymora
