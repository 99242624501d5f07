#pragma once
// The keys of commands in words, for the sheet of shortcuts and the reference pages.

#include <string>

#include "display/commands/commands.h"

namespace kymora {

// The keys of a command for reading, "Ctrl+Left arrow" or "0, Ctrl+0"; empty when it has none.
std::string KeyText(const Command& command);

}  // namespace kymora
