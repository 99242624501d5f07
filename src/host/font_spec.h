#pragma once
// A font as a user chooses it, free of any window system.

#include <string>

namespace kymora {

struct FontSpec {
    std::string face;      // a font that does not exist is replaced by the nearest one
    int pixelHeight = 11;  // of the characters
    int weight = 400;      // 400 normal, 700 bold
    bool italic = false, underline = false, strikeOut = false;

    bool operator==(const FontSpec&) const = default;
};

}  // namespace kymora
