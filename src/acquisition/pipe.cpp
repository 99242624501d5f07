#include "acquisition/pipe.h"

#include <algorithm>

namespace kymora {

CPipe::CPipe(size_t slots, size_t slotBytes)
    : m_nSlots(slots), m_nSlotBytes(slotBytes), m_storage((slots + 1) * slotBytes), m_lengths(slots + 1) {}

bool CPipe::Write(std::span<const std::byte> bytes) {
    const size_t write = m_nWrite.load(std::memory_order_relaxed);
    const size_t next = Next(write);
    if (next == m_nRead.load(std::memory_order_acquire)) {
        m_nRefused.fetch_add(std::min(bytes.size(), m_nSlotBytes), std::memory_order_relaxed);
        return false;
    }
    m_lengths[write] = std::min(bytes.size(), m_nSlotBytes);
    std::copy_n(bytes.data(), m_lengths[write], m_storage.data() + write * m_nSlotBytes);
    // Before the slot can be taken, so that the count never falls below nothing.
    m_nCount.fetch_add(1, std::memory_order_relaxed);
    m_nWrite.store(next, std::memory_order_release);
    Wake();
    return true;
}

std::span<const std::byte> CPipe::Peek() const {
    const size_t read = m_nRead.load(std::memory_order_relaxed);
    if (read == m_nWrite.load(std::memory_order_acquire)) return {};
    return {m_storage.data() + read * m_nSlotBytes, m_lengths[read]};
}

void CPipe::Advance() {
    m_nRead.store(Next(m_nRead.load(std::memory_order_relaxed)), std::memory_order_release);
    m_nCount.fetch_sub(1, std::memory_order_relaxed);
}

void CPipe::Wake() {
    m_nSignal.fetch_add(1, std::memory_order_release);
    m_nSignal.notify_one();
}

}  // namespace kymora
