#pragma once
// The model of a recording as a person reads it.

#include <string>
#include <string_view>

#include "document/data_doc.h"

namespace kymora {

std::string InfoText(const CDataDoc& doc, std::string_view path);

}  // namespace kymora
