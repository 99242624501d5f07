// The commands of markers, annotations and scale bars.

#include "display/command_tables.h"

namespace kymora {

CommandTable OverlayCommands() { return {}; }

}  // namespace kymora
