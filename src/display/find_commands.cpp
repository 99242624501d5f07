// The commands that look for the next marker, annotation or event.

#include "display/command_tables.h"

namespace kymora {

CommandTable FindCommands() { return {}; }

}  // namespace kymora
