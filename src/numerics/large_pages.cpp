#include "numerics/large_pages.h"

#include <memory>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace kymora {

void AdviseLargePages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) {
#ifdef __linux__
    constexpr size_t page = 1 << 21;
    if (std::align(page, page, memory, bytes)) madvise(memory, bytes / page * page, MADV_HUGEPAGE);
#endif
}

}  // namespace kymora
