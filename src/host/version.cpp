#include "host/version.h"

namespace kymora {

const char* ProgramVersion() { return KYMORA_VERSION; }

}  // namespace kymora
