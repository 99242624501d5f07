#include "acquisition/storage_thread.h"

#include <algorithm>

#include "host/file_system.h"

namespace kymora {

StorageThread::StorageThread(CPipe& pipe, ScanStore& store, AcqMailbox& mailbox, StoragePlan plan)
    : m_pipe(pipe),
      m_store(store),
      m_mailbox(mailbox),
      m_plan(std::move(plan)),
      m_flusher([this] { RunFlusher(); }),
      m_thread([this] { Run(); }) {}

StorageThread::~StorageThread() {
    m_bAbandon = true;
    Stop();
    Join();
}

void StorageThread::Stop() {
    m_bStopStorage = true;
    m_pipe.Wake();
}

void StorageThread::Join() {
    if (m_thread.joinable()) m_thread.join();
}

void StorageThread::Run() {
    while (!m_bAbandon) {
        const int seen = m_pipe.Signal();
        // Before the look at the pipe: what was written before the stop is stored.
        const bool isStopped = m_bStopStorage;
        const auto slot = m_pipe.Peek();
        if (!slot.empty()) {
            Take(slot);
            m_pipe.Advance();
            FlushIfDue();
        } else if (isStopped) {
            break;
        } else {
            m_pipe.Await(seen);
        }
    }
    m_nFlushAsked = flusherEnds;
    m_nFlushAsked.notify_one();
    m_flusher.join();
    m_bEnded = true;
}

void StorageThread::RunFlusher() {
    for (int seen = 0;;) {
        m_nFlushAsked.wait(seen);
        seen = m_nFlushAsked;
        if (seen == flusherEnds) return;
        Guarded([&] { m_store.Flush(); });
        m_nFlushDone = seen;
    }
}

// A disk that has failed is left alone; the rest of what comes is passed over.
template <typename Work>
void StorageThread::Guarded(const Work& work) {
    if (m_bFailed) return;
    try {
        work();
    } catch (const FileError& error) {
        if (m_bFailing.exchange(true)) return;
        m_fault = error.what();
        m_bFailed = true;
        m_mailbox.Post(AcqMessage::storageFailed);
    }
}

void StorageThread::Take(std::span<const std::byte> slot) {
    if (m_plan.trigger)
        TakeArmed(slot);
    else
        Keep(slot);
}

void StorageThread::TakeArmed(std::span<const std::byte> slot) {
    const auto crossing = m_plan.trigger->Find(slot);
    if (!crossing) {
        m_nArmed += slot.size();
        return m_plan.trigger->Keep(slot);
    }
    const size_t before = *crossing * m_plan.trigger->ScanBytes();
    m_plan.trigger->Keep(slot.first(before));
    const auto trigger = std::move(m_plan.trigger);
    m_nBeforeTrigger = trigger->Kept();
    m_nLetGo = m_nArmed + before - m_nBeforeTrigger;
    m_bTriggered = true;
    m_mailbox.Post(AcqMessage::triggered);
    trigger->Release([this](std::span<const std::byte> kept) { Keep(kept); });
    Keep(slot.subspan(before));
}

void StorageThread::Keep(std::span<const std::byte> scans) {
    const uint64_t done = BytesStored();
    const uint64_t left = m_plan.sweepBytes - std::min(done, m_plan.sweepBytes);
    const auto part = scans.first(static_cast<size_t>(std::min<uint64_t>(scans.size(), left)));
    if (part.empty()) return;
    Guarded([&] {
        if (!m_plan.displayOnly) {
            m_store.Store(part);
            m_bUnflushed = true;
        }
        m_nBytesStored.store(done + part.size(), std::memory_order_relaxed);
        if (part.size() == left) m_mailbox.Post(AcqMessage::done);
    });
}

void StorageThread::FlushIfDue() {
    if (!m_bUnflushed || Clock::now() - m_flushed < flushInterval || m_nFlushDone != m_nFlushAsked) return;
    m_bUnflushed = false;
    m_flushed = Clock::now();
    m_nFlushAsked.fetch_add(1);
    m_nFlushAsked.notify_one();
}

}  // namespace kymora
