#pragma once

namespace kymora {

// The version of the program, "1.2.3".
const char* ProgramVersion();

}  // namespace kymora
