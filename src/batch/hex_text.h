#pragma once
// Bytes as text: names need not be UTF-8, as the strings of JSON are.

#include <span>
#include <string>

namespace kymora {

inline std::string ToHex(std::span<const std::byte> bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::byte byte : bytes) {
        text += digits[std::to_integer<size_t>(byte) >> 4];
        text += digits[std::to_integer<size_t>(byte) & 15];
    }
    return text;
}
inline std::string ToHex(std::string_view text) { return ToHex(std::as_bytes(std::span(text))); }

// Empty where the text is none of these.
inline std::string FromHex(std::string_view text) {
    std::string bytes;
    if (text.size() % 2 != 0 || text.find_first_not_of("0123456789abcdef") != std::string_view::npos)
        return bytes;
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    for (size_t i = 0; i < text.size(); i += 2)
        bytes += static_cast<char>(digit(text[i]) * 16 + digit(text[i + 1]));
    return bytes;
}

}  // namespace kymora
