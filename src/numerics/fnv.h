#pragma once
// FNV-1a, 64 bits, by Fowler, Noll and Vo: a check sum against damage and a mark that tells names apart, not
// against forgery.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace kymora {

class Fnv1a {
  public:
    static constexpr uint64_t offsetBasis = 0xCBF29CE484222325ULL;

    explicit Fnv1a(uint64_t start = offsetBasis) : value_(start) {}
    Fnv1a& Add(std::span<const std::byte> bytes) {
        for (const std::byte b : bytes) value_ = (value_ ^ static_cast<uint64_t>(b)) * 0x100000001B3ULL;
        return *this;
    }
    Fnv1a& Add(std::string_view text) { return Add(std::as_bytes(std::span(text))); }
    uint64_t Value() const { return value_; }

  private:
    uint64_t value_;
};

}  // namespace kymora
