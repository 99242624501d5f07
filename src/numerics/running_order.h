#pragma once
// The k-th largest of the last N samples, sample by sample: what a running median or percentile is made of.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

// What a running order throws when there is no memory for its window.
inline constexpr const char* mallocFailureText = "Malloc failure!";

// Two heaps that share their root. Heap position k - 1 holds the answer; the positions below it are a heap of
// the larger values, the positions above it one of the smaller values, both rooted there. An update replaces
// the oldest sample where it stands and lets the newcomer travel to its place, in O(log N) and without
// allocating. The window is full of zeros at first.
//
// Comparisons are the strict ones of floats, so a not-a-number stays where it was put until it leaves the
// window, and results near it follow the structure rather than any order.
class RunningOrder {
  public:
    // A window of N samples and the k in 1 .. N. Throws std::runtime_error(mallocFailureText).
    RunningOrder(size_t window, size_t rank);

    // Takes the next sample in place of the oldest and answers the k-th largest of the window.
    float Push(float sample);

  private:
    // A value and the slot of the ring of samples that it came to.
    struct Entry {
        float value;
        uint32_t slot;
    };

    uint32_t TowardsHighEnd(uint32_t at, float value);
    uint32_t TowardsLowEnd(uint32_t at, float value);
    void Move(uint32_t from, uint32_t to);

    uint32_t count_;
    uint32_t rank_;
    uint32_t oldest_ = 0;              // slot of the ring
    std::vector<Entry> heap_;          // by heap position
    std::vector<uint32_t> positions_;  // of a slot's sample in the heap
};

// The same window kept in ascending order, not-a-numbers last: any rank can be read, an update costs O(N).
class SortedWindow {
  public:
    explicit SortedWindow(size_t window) : ring_(window), sorted_(window) {}

    // Takes the next sample in place of the oldest.
    void Push(float sample);
    // 0 is the smallest.
    float At(size_t index) const { return sorted_[index]; }
    // The n-th newest sample, 0 being the newest.
    float Newest(size_t n) const { return ring_[(oldest_ + ring_.size() - 1 - n) % ring_.size()]; }

  private:
    std::vector<float> ring_;
    std::vector<float> sorted_;
    size_t oldest_ = 0;
};

}  // namespace kymora
