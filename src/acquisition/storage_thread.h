#pragma once
// The thread that takes samples from the storage pipe to the disk, and one beside it that has them reach the
// disk: that may take long, and the first one goes on meanwhile.

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "acquisition/acq_messages.h"
#include "acquisition/internal_trigger.h"
#include "acquisition/pipe.h"

namespace kymora {

// Where the samples go; a recording document, or a trial's stand-in. Storage thread only. Both throw
// FileError.
class ScanStore {
  public:
    virtual ~ScanStore() = default;
    virtual void Store(std::span<const std::byte> scans) = 0;
    // What was stored has reached the disk.
    virtual void Flush() = 0;
};

struct StoragePlan {
    uint64_t sweepBytes = 0;                     // m_nSweepBytes: so many are stored
    bool displayOnly = false;                    // m_bDisplayOnly: counted and not stored
    std::unique_ptr<InternalTrigger> trigger{};  // waited for; null: all is stored
};

class StorageThread {
  public:
    // What was stored longer ago than this has reached the disk, unless the disk takes longer for it.
    static constexpr std::chrono::milliseconds flushInterval{500};

    // Begins. Pipe, store and mailbox outlive it.
    StorageThread(CPipe& pipe, ScanStore& store, AcqMailbox& mailbox, StoragePlan plan);
    // Ends it, with what the pipe holds left there.
    ~StorageThread();
    StorageThread(const StorageThread&) = delete;
    StorageThread& operator=(const StorageThread&) = delete;

    // The producer has ended: stores what the pipe holds, and ends.
    void Stop();
    bool HasEnded() const { return m_bEnded; }
    // Waits for its end.
    void Join();

    // Any thread.
    uint64_t BytesStored() const { return m_nBytesStored.load(std::memory_order_relaxed); }
    // The bytes that are stored from before the trigger, once `triggered` was posted.
    std::optional<uint64_t> BytesBeforeTrigger() const {
        return m_bTriggered ? std::optional(m_nBeforeTrigger) : std::nullopt;
    }
    // The bytes that came before the first that is stored; 0 until `triggered` was posted.
    uint64_t BytesLetGo() const { return m_bTriggered ? m_nLetGo : 0; }
    // Why a write failed; empty where none did. Once storageFailed was posted.
    std::string Fault() const { return m_bFailed ? m_fault : std::string(); }

  private:
    using Clock = std::chrono::steady_clock;

    void Run();
    void Take(std::span<const std::byte> slot);
    void TakeArmed(std::span<const std::byte> slot);
    void Keep(std::span<const std::byte> scans);
    void FlushIfDue();
    void RunFlusher();
    template <typename Work>
    void Guarded(const Work& work);

    CPipe& m_pipe;
    ScanStore& m_store;
    AcqMailbox& m_mailbox;
    StoragePlan m_plan;
    std::atomic<uint64_t> m_nBytesStored{0};
    std::atomic<bool> m_bStopStorage{false}, m_bAbandon{false}, m_bEnded{false}, m_bFailed{false};
    std::atomic<bool> m_bFailing{false}, m_bTriggered{false};
    uint64_t m_nBeforeTrigger = 0, m_nLetGo = 0;  // written before m_bTriggered, and never after
    uint64_t m_nArmed = 0;                        // bytes that came without the trigger
    bool m_bUnflushed = false;
    Clock::time_point m_flushed = Clock::now();
    static constexpr int flusherEnds = -1;
    std::atomic<int> m_nFlushAsked{0}, m_nFlushDone{0};
    std::string m_fault;  // written before m_bFailed, and never after
    std::thread m_flusher, m_thread;
};

}  // namespace kymora
