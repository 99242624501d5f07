#include "acquisition/dt_thread.h"

#include <utility>

namespace kymora {

CDTThread::CDTThread(Board& board, AcqMailbox& mailbox)
    : m_board(board), m_mailbox(mailbox), m_thread([this] { Run(); }) {}

CDTThread::~CDTThread() {
    {
        const std::scoped_lock alone(m_access);
        m_bQuit = m_bAsked = true;
    }
    m_asked.notify_one();
    m_board.Wake();
    m_thread.join();
}

void CDTThread::Call(const std::function<void(CDTHost&)>& work) {
    std::unique_lock lock(m_access);
    m_pWork = &work;
    m_bAsked = true;
    m_asked.notify_one();
    m_board.Wake();
    m_served.wait(lock, [this] { return m_pWork == nullptr; });
}

bool CDTThread::Serve(CDTHost& host) {
    std::unique_lock lock(m_access);
    if (!host.IsRunning()) m_asked.wait(lock, [this] { return m_bAsked.load(); });
    m_bAsked = false;
    if (m_pWork) (*m_pWork)(host);
    m_pWork = nullptr;
    m_served.notify_one();
    return !m_bQuit;
}

void CDTThread::Run() {
    CDTHost host(m_board, m_mailbox);
    for (;;) {
        if ((m_bAsked || !host.IsRunning()) && !Serve(host)) break;
        if (host.IsRunning()) host.OnEvent(m_board.Wait());
    }
    if (host.IsRunning()) host.Stop();
}

}  // namespace kymora
