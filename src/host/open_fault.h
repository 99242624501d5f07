#pragma once
// What a person is told of a file that does not open: what was wanted, what the system says, what can be
// done.

#include <string>
#include <string_view>

#include "host/file_system.h"

namespace kymora {

// `text` says what was not done; it stands in the first line.
std::string OpenFaultText(std::string_view text, const FileError& error);

}  // namespace kymora
