#include "numerics/running_order.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

namespace kymora {

RunningOrder::RunningOrder(size_t window, size_t rank)
    : count_(static_cast<uint32_t>(window)), rank_(static_cast<uint32_t>(rank)) {
    if (window == 0 || window > static_cast<size_t>(std::numeric_limits<int32_t>::max()) || rank == 0 ||
        rank > window)
        throw std::invalid_argument("RunningOrder");
    try {
        heap_.resize(count_);
        positions_.resize(count_);
    } catch (const std::bad_alloc&) {
        throw std::runtime_error(mallocFailureText);
    }
    for (uint32_t i = 0; i < count_; ++i) {
        heap_[i] = {0.0f, count_ - 1 - i};
        positions_[i] = count_ - 1 - i;
    }
}

float RunningOrder::Push(float sample) {
    const uint32_t slot = oldest_;
    oldest_ = slot + 1 == count_ ? 0 : slot + 1;
    const uint32_t start = positions_[slot];
    uint32_t at = TowardsHighEnd(start, sample);
    if (at == start) at = TowardsLowEnd(start, sample);
    heap_[at] = {sample, slot};
    positions_[slot] = at;
    return heap_[rank_ - 1].value;
}

void RunningOrder::Move(uint32_t from, uint32_t to) {
    const Entry entry = heap_[from];
    heap_[to] = entry;
    positions_[entry.slot] = to;
}

// Both walks move the entries that the newcomer passes and answer where it belongs. Positions are unsigned:
// one that would be negative is far beyond the window, so one comparison tells whether a child exists. Of two
// equal children the one nearer to the root counts.
uint32_t RunningOrder::TowardsHighEnd(uint32_t at, float value) {
    while (at < rank_ - 1) {
        const uint32_t parent = (at + rank_ + 1) >> 1;
        if (!(value < heap_[parent].value)) return at;
        Move(parent, at);
        at = parent;
    }
    for (;;) {
        uint32_t child = 2 * at - rank_ + 2;
        if (child >= count_) return at;
        if (child + 1 < count_) child += static_cast<uint32_t>(heap_[child + 1].value > heap_[child].value);
        if (!(heap_[child].value > value)) return at;
        Move(child, at);
        at = child;
    }
}

uint32_t RunningOrder::TowardsLowEnd(uint32_t at, float value) {
    while (at > rank_ - 1) {
        const uint32_t parent = ((at + rank_) >> 1) - 1;
        if (!(value > heap_[parent].value)) return at;
        Move(parent, at);
        at = parent;
    }
    for (;;) {
        uint32_t child = 2 * at - rank_;
        if (child >= count_) return at;
        if (child >= 1) child -= static_cast<uint32_t>(heap_[child - 1].value < heap_[child].value);
        if (!(heap_[child].value < value)) return at;
        Move(child, at);
        at = child;
    }
}

namespace {

// A strict weak order over all floats.
bool Below(float a, float b) { return a < b || (b != b && a == a); }

}  // namespace

void SortedWindow::Push(float sample) {
    const float gone = ring_[oldest_];
    ring_[oldest_] = sample;
    oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1;
    const auto from = std::lower_bound(sorted_.begin(), sorted_.end(), gone, Below);
    const auto to = std::lower_bound(sorted_.begin(), sorted_.end(), sample, Below);
    if (from < to) {
        std::move(from + 1, to, from);
        *(to - 1) = sample;
    } else {
        std::move_backward(to, from, from + 1);
        *to = sample;
    }
}

}  // namespace kymora
