#include "remote/remote_colour.h"

namespace kymora {

uint32_t AsColour(const Json& value, std::string_view name) {
    const std::string text = AsText(value, name);
    uint32_t number = 0;
    bool good = text.size() == 7 && text[0] == '#';
    for (size_t i = 1; good && i < text.size(); ++i) {
        const char c = text[i];
        const int digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : -1;
        good = digit >= 0;
        number = number << 4 | static_cast<uint32_t>(digit & 0xF);
    }
    if (!good) throw RemoteError("\"" + std::string(name) + "\" must be a colour, \"#rrggbb\".");
    return (number & 0xFF) << 16 | (number & 0xFF00) | number >> 16;
}

}  // namespace kymora
