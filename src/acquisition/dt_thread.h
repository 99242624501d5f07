#pragma once
// The thread that owns a board: all operations of the board are called on it.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "acquisition/dt_host.h"

namespace kymora {

class CDTThread {
  public:
    // The board and the mailbox outlive it. Throws std::system_error where there is no thread.
    CDTThread(Board& board, AcqMailbox& mailbox);
    // Stops the board.
    ~CDTThread();
    CDTThread(const CDTThread&) = delete;
    CDTThread& operator=(const CDTThread&) = delete;

    // Interface thread: has the work done on the board's thread, and waits for it without limit.
    void Call(const std::function<void(CDTHost&)>& work);

  private:
    void Run();
    // Does what was asked for; false at the end.
    bool Serve(CDTHost& host);

    Board& m_board;
    AcqMailbox& m_mailbox;
    std::mutex m_access;
    std::condition_variable m_asked, m_served;
    const std::function<void(CDTHost&)>* m_pWork = nullptr;
    bool m_bQuit = false;
    std::atomic<bool> m_bAsked{false};  // so that a running board needs no lock
    std::thread m_thread;
};

}  // namespace kymora
