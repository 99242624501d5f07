#pragma once
// Colours as "#rrggbb".

#include "remote/remote_json.h"

namespace kymora {

std::string ColourName(uint32_t colour);  // of 0x00BBGGRR
uint32_t AsColour(const Json& value, std::string_view name);

}  // namespace kymora
