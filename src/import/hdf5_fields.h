#pragma once
// A piece of an HDF5 file, taken field by field from its beginning to its end.

#include <string>

#include "import/file_fields.h"

namespace kymora {

inline constexpr uint64_t noHdf5Address = UINT64_MAX;

// Each function throws OpenError where the piece ends before. The fields must outlive it.
class Hdf5Fields {
  public:
    Hdf5Fields(const FileFields& fields, uint64_t place, size_t at, size_t length)
        : fields_(&fields), place_(place), at_(at), end_(at + length) {}

    uint8_t U8() { return fields_->U8(Next(1)); }
    uint16_t U16() { return fields_->U16(Next(2)); }
    uint32_t U32() { return fields_->U32(Next(4)); }
    uint64_t U64() { return fields_->Number<uint64_t>(Next(8)); }
    // Of 1 to 8 bytes.
    uint64_t Whole(size_t bytes);
    void Skip(size_t bytes) { Next(bytes); }
    // To a multiple of eight bytes from `start`.
    void Align(size_t start) { Skip((8 - (at_ - start) % 8) % 8); }
    std::string_view Bytes(size_t length) { return fields_->Bytes(Next(length), length); }
    // Up to the first zero of `length` bytes.
    std::string Text(size_t length);
    Hdf5Fields Part(size_t length);
    void Expect(std::string_view signature);

    size_t At() const { return at_; }
    size_t Left() const { return end_ - at_; }
    uint64_t Place() const { return place_ + at_; }  // in the file

  private:
    size_t Next(size_t bytes);

    const FileFields* fields_;
    uint64_t place_;
    size_t at_, end_;
};

}  // namespace kymora
