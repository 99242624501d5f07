#pragma once
// Colours as users and files write them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kymora {

// "#rrggbb" of 0x00BBGGRR.
std::string ColourText(uint32_t colour);
// The way back; nothing for a text that is none.
std::optional<uint32_t> ParseColour(std::string_view text);

}  // namespace kymora
