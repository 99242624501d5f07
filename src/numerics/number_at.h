#pragma once
// A number that stands anywhere in a row of bytes, in the machine's own order.

#include <cstddef>
#include <cstring>

namespace kymora {

template <typename T>
T NumberAt(const std::byte* bytes) {
    T number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

}  // namespace kymora
