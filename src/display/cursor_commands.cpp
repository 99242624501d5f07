// The commands of cursors.

#include "display/command_tables.h"

namespace kymora {

CommandTable CursorCommands() { return {}; }

}  // namespace kymora
