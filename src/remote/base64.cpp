#include "remote/base64.h"

#include <algorithm>
#include <cstdint>

namespace kymora {

std::string ToBase64(std::span<const std::byte> bytes) {
    static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t here = std::min<size_t>(3, bytes.size() - at);
        uint32_t group = 0;
        for (size_t i = 0; i < 3; ++i)
            group = group << 8 | (i < here ? static_cast<uint32_t>(bytes[at + i]) : 0u);
        for (size_t i = 0; i < 4; ++i) text += i <= here ? digits[group >> (18 - 6 * i) & 63] : '=';
    }
    return text;
}

}  // namespace kymora
