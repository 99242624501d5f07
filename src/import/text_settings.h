#pragma once
// The import settings of text files.

#include <optional>

#include "document/open_request.h"
#include "host/options.h"

namespace kymora {

// The settings that the dialog asks for, too.
inline constexpr const char* textLayoutKeys[] = {"sampleInterval", "skipRows", "skipColumns", "labelRow",
                                                 "dataInColumns"};

// Puts those that are given into the layout, and answers the decimal separator where one is given. Throws
// ImportSettingError.
std::optional<char> TakeTextSettings(Opening& opening, TextFileDefaults& layout);

}  // namespace kymora
