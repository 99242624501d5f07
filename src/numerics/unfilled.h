#pragma once
// Arrays that are about to be filled: without the pass over their memory that would set it to zeros.

#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace kymora {

template <typename Value>
struct UnfilledAllocator : std::allocator<Value> {
    template <typename Other>
    struct rebind {
        using other = UnfilledAllocator<Other>;
    };
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
