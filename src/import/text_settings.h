#pragma once
// The import settings of text files.

#include <optional>
#include <stdexcept>

#include "host/session.h"

namespace kymora {

// The settings that the dialog asks for, too.
inline constexpr const char* textLayoutKeys[] = {"sampleInterval", "skipRows", "skipColumns", "labelRow",
                                                 "dataInColumns"};

// A setting cannot be used; what() is a sentence for the user.
class TextSettingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Puts those that are given into the layout, and answers the decimal separator where one is given. Throws
// TextSettingError.
std::optional<char> TakeTextSettings(Session& session, TextFileDefaults& layout);

}  // namespace kymora
