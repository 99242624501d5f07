#pragma once
// Check sums of files (FIPS 180-4, SHA-256).

#include <memory>
#include <span>
#include <string>

#include "host/file_system.h"

namespace kymora {

class Sha256 {
  public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Add(std::span<const std::byte> bytes);
    void Add(std::string_view text) { Add(std::as_bytes(std::span(text))); }
    // 64 digits, hexadecimal. Nothing is added afterwards.
    std::string Hex();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Of a whole file. Throws FileError.
std::string Sha256Of(const DataFile& file);

}  // namespace kymora
