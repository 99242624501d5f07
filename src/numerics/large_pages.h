#pragma once
// Memory in pages of 2 MB instead of 4 KB, where the system has them.

#include <cstddef>

namespace kymora {

// Touching memory for the first time, and giving it back, takes a fraction of the time in large pages. It is
// no more than advice, for memory that is not touched yet.
void AdviseLargePages(void* memory, size_t bytes);

}  // namespace kymora
