#pragma once
// The pages of the documentation that follow from the tables: docs/remote.md and docs/shortcuts.md.

#include <span>
#include <string>

#include "remote/remote_target.h"

namespace kymora {

// `frame` are the commands of the main window.
std::string RemoteReference(std::span<const RemoteCommand> frame);
std::string ShortcutReference(std::span<const RemoteCommand> frame);

}  // namespace kymora
