#include "import/file_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "archive/text_encoding.h"
#include "document/open_request.h"

namespace kymora {

namespace {

[[noreturn]] void ThrowCutOff() {
    throw OpenError("The file ends before what its header says it holds, or its header is damaged.");
}

}  // namespace

FileFields::FileFields(const DataFile& file, uint64_t offset, uint64_t length, ByteOrder order)
    : order_(order) {
    const uint64_t size = file.Length();
    if (offset > size || length > size - offset) ThrowCutOff();
    bytes_.resize(static_cast<size_t>(length));
    ReadWhole(file, offset, bytes_);
}

std::span<const std::byte> FileFields::Piece(size_t at, size_t length) const {
    if (at > bytes_.size() || length > bytes_.size() - at) ThrowCutOff();
    return std::span(bytes_).subspan(at, length);
}

template <typename T>
T FileFields::Number(size_t at) const {
    std::array<std::byte, sizeof(T)> raw;
    std::ranges::copy(Piece(at, sizeof(T)), raw.begin());
    if ((order_ == ByteOrder::big) != (std::endian::native == std::endian::big)) std::ranges::reverse(raw);
    return std::bit_cast<T>(raw);
}

template uint8_t FileFields::Number(size_t) const;
template int16_t FileFields::Number(size_t) const;
template uint16_t FileFields::Number(size_t) const;
template int32_t FileFields::Number(size_t) const;
template uint32_t FileFields::Number(size_t) const;
template int64_t FileFields::Number(size_t) const;
template uint64_t FileFields::Number(size_t) const;
template float FileFields::Number(size_t) const;
template double FileFields::Number(size_t) const;

std::string_view FileFields::Bytes(size_t at, size_t length) const {
    const auto piece = Piece(at, length);
    return {reinterpret_cast<const char*>(piece.data()), piece.size()};
}

std::string FileFields::Text(size_t at, size_t length) const {
    const std::string_view bytes = Bytes(at, length);
    return TextOfUnknownEncoding(bytes.substr(0, bytes.find('\0')));
}

std::string FileFields::PascalText(size_t at, size_t most) const {
    return Text(at + 1, std::min<size_t>(U8(at), most));
}

double SevenDigits(float number) { return std::stod(fmt::format("{:.7g}", number)); }

std::string TextOfUnknownEncoding(std::string_view bytes) {
    while (!bytes.empty() && (bytes.back() == ' ' || bytes.back() == '\0')) bytes.remove_suffix(1);
    bytes.remove_prefix(std::min(bytes.find_first_not_of(' '), bytes.size()));
    if (ToDisplayText(bytes) == bytes) return std::string(bytes);
    return NarrowToText(std::as_bytes(std::span(bytes)));
}

}  // namespace kymora
