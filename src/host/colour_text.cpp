#include "host/colour_text.h"

#include <fmt/format.h>

#include <charconv>

namespace kymora {

std::string ColourText(uint32_t colour) {
    return fmt::format("#{:02x}{:02x}{:02x}", colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
}

std::optional<uint32_t> ParseColour(std::string_view text) {
    uint32_t number = 0;
    if (text.size() != 7 || text[0] != '#') return {};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + 1, end, number, 16);
    if (error != std::errc() || stop != end) return {};
    return (number & 0xFF) << 16 | (number & 0xFF00) | number >> 16;
}

}  // namespace kymora
