// The commands that copy, save and print the view.

#include "display/command_tables.h"

namespace kymora {

CommandTable OutputCommands() { return {}; }

}  // namespace kymora
