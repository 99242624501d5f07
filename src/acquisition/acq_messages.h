#pragma once
// How the threads of a recording tell the interface thread of what happened, and the loop in which that
// thread hears of it.

#include <atomic>
#include <cstdint>

namespace kymora {

enum class AcqMessage : uint32_t {
    dataReady = 0x83D6,  // one more buffer is in the display pipe
    overrun = 0x83D8,    // the storage pipe was full
    done = 0x83D9,       // the limit was reached
    rearm = 0x83DA,      // arm the trigger again
    // What a trace was waited for has come.
    triggered = 0x83E0,
    storageFailed,  // a write failed
    // Of the board.
    nullBuffer,
    bufferNotFilled,
    boardOverrun,
    boardUnderrun,
    queueDone,
    boardGone,
    boardRefused,  // an operation of it failed while it ran
    // Of a source that is no board.
    sourceEnded = 0x83EC,  // by itself, as it may
    sourceFault,           // the words are the source's
    sourceRemark,          // words for the user; it goes on
};

// What the interface thread runs in: an event loop of a window, of the terminal, or of a test.
class AcqEventLoop {
  public:
    class Target {
      public:
        virtual ~Target() = default;
        virtual void OnWake() = 0;
        virtual void OnTimer(int id) = 0;
    };

    virtual ~AcqEventLoop() = default;
    // Any thread, without locks and allocations: OnWake is called soon, once for all wakes until then.
    virtual void Wake() = 0;
    // Interface thread. Who is called; null: nobody.
    virtual void SetTarget(Target* target) = 0;
    // Calls OnTimer every so many ms from now on; a second call sets it anew. False: there is no timer.
    virtual bool SetTimer(int id, int ms) = 0;
    virtual void KillTimer(int id) = 0;
};

// What was posted and not taken. Posting takes neither lock nor memory.
class AcqMailbox {
  public:
    explicit AcqMailbox(AcqEventLoop& loop) : m_loop(loop) {}

    // Any thread.
    void Post(AcqMessage message) {
        if (message == AcqMessage::dataReady)
            m_nDataReady.fetch_add(1, std::memory_order_release);
        else
            m_nPosted.fetch_or(BitOf(message), std::memory_order_release);
        m_loop.Wake();
    }
    // Interface thread: whether it was posted since it was taken last.
    bool Take(AcqMessage message) {
        const uint32_t bit = BitOf(message);
        return (m_nPosted.fetch_and(~bit, std::memory_order_acquire) & bit) != 0;
    }
    uint32_t TakeDataReady() { return m_nDataReady.exchange(0, std::memory_order_acquire); }
    void Clear() {
        m_nPosted = 0;
        m_nDataReady = 0;
    }

  private:
    static uint32_t BitOf(AcqMessage message) { return 1u << (static_cast<uint32_t>(message) & 31u); }

    AcqEventLoop& m_loop;
    std::atomic<uint32_t> m_nPosted{0};
    std::atomic<uint32_t> m_nDataReady{0};
};

}  // namespace kymora
