#pragma once
// Colours as "#rrggbb".

#include "remote/remote_json.h"

namespace kymora {

uint32_t AsColour(const Json& value, std::string_view name);

}  // namespace kymora
