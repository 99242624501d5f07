// The commands of events and their channels.

#include "display/command_tables.h"

namespace kymora {

CommandTable EventCommands() { return {}; }

}  // namespace kymora
