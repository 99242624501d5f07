#pragma once
// A ring of slots between one thread that writes and one that reads, without locks. A slot holds up to its
// size; how much it holds travels with it.

#include <atomic>
#include <cstddef>
#include <span>
#include <vector>

namespace kymora {

class CPipe {
  public:
    // All memory that it will ever need is taken, and touched, here.
    CPipe(size_t slots, size_t slotBytes);
    CPipe(const CPipe&) = delete;
    CPipe& operator=(const CPipe&) = delete;

    // Producer: copies at most a slot's bytes; false, with nothing written, while the ring is full.
    bool Write(std::span<const std::byte> bytes);

    // Consumer: what the oldest slot holds, until it advances; empty when there is none.
    std::span<const std::byte> Peek() const;
    void Advance();
    // Consumer: the bytes for which there was no room, since the last call.
    size_t TakeRefused() { return m_nRefused.exchange(0, std::memory_order_relaxed); }
    // Consumer: waits while nothing was written, and Wake was not called, since `Signal` answered `seen`.
    int Signal() const { return m_nSignal.load(std::memory_order_acquire); }
    void Await(int seen) const { m_nSignal.wait(seen, std::memory_order_acquire); }

    // Any thread.
    void Wake();
    size_t Count() const { return m_nCount.load(std::memory_order_relaxed); }
    size_t Slots() const { return m_nSlots; }
    size_t SlotBytes() const { return m_nSlotBytes; }

  private:
    size_t Next(size_t index) const { return index == m_nSlots ? 0 : index + 1; }

    size_t m_nSlots, m_nSlotBytes;
    std::vector<std::byte> m_storage;  // one slot more than can be filled: full differs from empty
    std::vector<size_t> m_lengths;
    alignas(64) std::atomic<size_t> m_nWrite{0};
    alignas(64) std::atomic<size_t> m_nRead{0};
    alignas(64) std::atomic<size_t> m_nCount{0};
    std::atomic<int> m_nSignal{0};
    std::atomic<size_t> m_nRefused{0};
};

}  // namespace kymora
