#pragma once
// A piece of a binary file, taken field by field. Places are bytes from the start of the piece; every one is
// held against its end.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/file_system.h"

namespace kymora {

enum class ByteOrder { little, big };

class FileFields {
  public:
    // Reads `length` bytes at `offset`. Throws OpenError where the file does not hold them.
    FileFields(const DataFile& file, uint64_t offset, uint64_t length, ByteOrder order = ByteOrder::little);

    size_t Length() const { return bytes_.size(); }
    // Each throws OpenError for a place outside the piece.
    template <typename T>
    T Number(size_t at) const;
    uint8_t U8(size_t at) const { return Number<uint8_t>(at); }
    int16_t I16(size_t at) const { return Number<int16_t>(at); }
    uint16_t U16(size_t at) const { return Number<uint16_t>(at); }
    int32_t I32(size_t at) const { return Number<int32_t>(at); }
    uint32_t U32(size_t at) const { return Number<uint32_t>(at); }
    int64_t I64(size_t at) const { return Number<int64_t>(at); }
    float F32(size_t at) const { return Number<float>(at); }
    double F64(size_t at) const { return Number<double>(at); }
    // The bytes as they stand.
    std::string_view Bytes(size_t at, size_t length) const;
    // Text up to the first zero, without blanks at its ends, as UTF-8.
    std::string Text(size_t at, size_t length) const;
    // Text behind a byte that tells its length, of at most `most` bytes.
    std::string PascalText(size_t at, size_t most) const;

  private:
    std::span<const std::byte> Piece(size_t at, size_t length) const;

    std::vector<std::byte> bytes_;
    ByteOrder order_;
};

// A number that was written in single precision: what its seven digits say.
double SevenDigits(float number);

// Text of unknown encoding, which is UTF-8 where it can be and else Windows-1252, without blanks at its ends.
std::string TextOfUnknownEncoding(std::string_view bytes);

}  // namespace kymora
