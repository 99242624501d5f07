#include "numerics/large_pages.h"

#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace kymora {

void AdviseLargePages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) {
#ifdef __linux__
    constexpr uintptr_t page = 1 << 21;
    const auto start = reinterpret_cast<uintptr_t>(memory);
    const uintptr_t first = (start + page - 1) / page * page, end = (start + bytes) / page * page;
    if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#endif
}

}  // namespace kymora
