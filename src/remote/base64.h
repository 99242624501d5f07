#pragma once
// Bytes as text, for pictures that go through the remote control.

#include <cstddef>
#include <span>
#include <string>

namespace kymora {

// RFC 4648, with padding and without line ends.
std::string ToBase64(std::span<const std::byte> bytes);

}  // namespace kymora
