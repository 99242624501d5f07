#pragma once
// Bytes written by hand, for files that no code of the program wrote.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace kymora::test {

class Bytes {
  public:
    std::vector<std::byte> data;

    template <typename T>
    Bytes& Raw(T value) {
        const size_t at = data.size();
        data.resize(at + sizeof value);
        std::memcpy(data.data() + at, &value, sizeof value);
        return *this;
    }
    Bytes& I16(int value) { return Raw<int16_t>(static_cast<int16_t>(value)); }
    Bytes& U16(unsigned value) { return Raw<uint16_t>(static_cast<uint16_t>(value)); }
    Bytes& I32(int64_t value) { return Raw<int32_t>(static_cast<int32_t>(value)); }
    Bytes& U32(uint32_t value) { return Raw<uint32_t>(value); }
    Bytes& U8(unsigned value) { return Raw<uint8_t>(static_cast<uint8_t>(value)); }
    Bytes& F32(float value) { return Raw<float>(value); }
    Bytes& F64(double value) { return Raw<double>(value); }
    // ASCII or UTF-16 text of fewer than 255 units in the wide form.
    Bytes& Wide(std::u16string_view text) {
        U8(0xFF).U8(0xFE).U8(0xFF).U8(static_cast<unsigned>(text.size()));
        for (const char16_t unit : text) U16(unit);
        return *this;
    }
    Bytes& Narrow(std::string_view text) {
        U8(static_cast<unsigned>(text.size()));
        for (const char c : text) U8(static_cast<unsigned char>(c));
        return *this;
    }
    Bytes& Append(const Bytes& other) {
        data.insert(data.end(), other.data.begin(), other.data.end());
        return *this;
    }
    size_t Size() const { return data.size(); }
};

}  // namespace kymora::test
