#pragma once
// Arrays that are about to be filled: without the pass over their memory that would set it to zeros.

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "numerics/large_pages.h"

namespace kymora {

inline constexpr size_t largePagesFrom = size_t{1} << 26;  // bytes

template <typename Value>
struct UnfilledAllocator : std::allocator<Value> {
    template <typename Other>
    struct rebind {
        using other = UnfilledAllocator<Other>;
    };
    Value* allocate(size_t count) {
        Value* const memory = std::allocator<Value>::allocate(count);
        if (count * sizeof(Value) >= largePagesFrom) AdviseLargePages(memory, count * sizeof(Value));
        return memory;
    }
    template <typename Other>
    void construct(Other* place) noexcept {
        ::new (static_cast<void*>(place)) Other;
    }
    template <typename Other, typename... From>
    void construct(Other* place, From&&... from) {
        ::new (static_cast<void*>(place)) Other(std::forward<From>(from)...);
    }
};

// Its values are of no use before they are set.
template <typename Value>
using UnfilledVector = std::vector<Value, UnfilledAllocator<Value>>;

}  // namespace kymora
