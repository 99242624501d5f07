#pragma once
// What the program calls itself.

namespace kymora {

// The version of the program, "1.2.3".
const char* ProgramVersion();

}  // namespace kymora
