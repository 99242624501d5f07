#pragma once
// The buffers of a board in its queues: the common half of boards whose driver has none.

#include <array>

#include "acquisition/board.h"

namespace kymora {

// First in, first out, of buffers that are kept elsewhere; takes memory only where it grows.
class BufferQueue {
  public:
    void Reserve(size_t count);
    void Put(BoardBuffer* buffer);
    // Null when it is empty.
    BoardBuffer* Get();
    size_t Count() const { return m_nCount; }
    // The i-th that Get would answer.
    BoardBuffer* At(size_t i) const { return m_ring[(m_nFirst + i) % m_ring.size()]; }

  private:
    std::vector<BoardBuffer*> m_ring;
    size_t m_nFirst = 0, m_nCount = 0;
};

class BufferedBoard : public Board {
  public:
    BoardStatus AllocateBuffer(Subsystem subsystem, size_t samples, BoardBuffer*& buffer) override;
    BoardStatus FreeBuffer(Subsystem subsystem, BoardBuffer* buffer) override;
    BoardStatus PutBuffer(Subsystem subsystem, BoardBuffer* buffer) override;
    BoardStatus GetBuffer(Subsystem subsystem, BoardBuffer*& buffer) override;
    BoardStatus FlushBuffers(Subsystem subsystem) override;

  protected:
    struct Queues {
        std::vector<std::unique_ptr<BoardBuffer>> all;
        BufferQueue ready, done;
    };
    virtual int BytesPerSample(Subsystem subsystem) = 0;
    Queues& Of(Subsystem subsystem) { return m_queues[subsystem == Subsystem::adc ? 0 : 1]; }

  private:
    std::array<Queues, 2> m_queues;  // of inputs and outputs
};

}  // namespace kymora
