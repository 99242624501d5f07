#include "remote/remote_colour.h"

#include "host/colour_text.h"

namespace kymora {

uint32_t AsColour(const Json& value, std::string_view name) {
    if (const auto colour = ParseColour(AsText(value, name))) return *colour;
    throw RemoteError("\"" + std::string(name) + "\" must be a colour, \"#rrggbb\".");
}

}  // namespace kymora
