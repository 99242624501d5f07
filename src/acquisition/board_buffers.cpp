#include "acquisition/board_buffers.h"

#include <algorithm>
#include <new>

namespace kymora {

void BufferQueue::Reserve(size_t count) {
    if (count <= m_ring.size()) return;
    std::vector<BoardBuffer*> grown(count);
    for (size_t i = 0; i < m_nCount; ++i) grown[i] = At(i);
    m_ring = std::move(grown);
    m_nFirst = 0;
}

void BufferQueue::Put(BoardBuffer* buffer) {
    if (m_nCount == m_ring.size()) Reserve(std::max<size_t>(32, 2 * m_nCount));
    m_ring[(m_nFirst + m_nCount++) % m_ring.size()] = buffer;
}

BoardBuffer* BufferQueue::Get() {
    if (m_nCount == 0) return nullptr;
    BoardBuffer* const first = At(0);
    m_nFirst = (m_nFirst + 1) % m_ring.size();
    --m_nCount;
    return first;
}

BoardStatus BufferedBoard::AllocateBuffer(Subsystem subsystem, size_t samples, BoardBuffer*& buffer) {
    Queues& queues = Of(subsystem);
    try {
        auto made = std::make_unique<BoardBuffer>();
        made->bytes.resize(samples * static_cast<size_t>(BytesPerSample(subsystem)));
        made->samples = samples;
        buffer = queues.all.emplace_back(std::move(made)).get();
        // Neither queue takes memory while the board runs.
        queues.ready.Reserve(queues.all.size());
        queues.done.Reserve(queues.all.size());
    } catch (const std::bad_alloc&) {
        return boardNoMemory;
    }
    return boardGood;
}

BoardStatus BufferedBoard::FreeBuffer(Subsystem subsystem, BoardBuffer* buffer) {
    return std::erase_if(Of(subsystem).all, [&](const auto& one) { return one.get() == buffer; }) == 1
               ? boardGood
               : boardBadValue;
}

BoardStatus BufferedBoard::PutBuffer(Subsystem subsystem, BoardBuffer* buffer) {
    if (!buffer) return boardBadValue;
    Of(subsystem).ready.Put(buffer);
    return boardGood;
}

BoardStatus BufferedBoard::GetBuffer(Subsystem subsystem, BoardBuffer*& buffer) {
    buffer = Of(subsystem).done.Get();
    return boardGood;
}

BoardStatus BufferedBoard::FlushBuffers(Subsystem subsystem) {
    Queues& queues = Of(subsystem);
    while (BoardBuffer* buffer = queues.ready.Get()) queues.done.Put(buffer);
    return boardGood;
}

}  // namespace kymora
