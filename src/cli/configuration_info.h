#pragma once
// What `info` tells of a configuration: of a recording session, of an operation's dialog, or of the sorter.

#include "cli/command_context.h"

namespace kymora {

// Throws CommandError where the file cannot be read or is none of them.
void WriteConfigurationInfo(SubcommandContext& context, const std::string& path, bool asJson);

}  // namespace kymora
