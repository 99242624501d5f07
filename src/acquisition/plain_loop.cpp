#include "acquisition/plain_loop.h"

#include <algorithm>
#include <vector>

namespace kymora {

bool PlainLoop::SetTimer(int id, int ms) {
    const std::chrono::duration<double, std::milli> wanted(ms * m_dTimerScale);
    const auto period = std::chrono::duration_cast<Waker::Clock::duration>(wanted);
    m_timers[id] = {period, Waker::Clock::now() + period};
    return true;
}

void PlainLoop::CallTimers() {
    std::vector<int> due;
    for (auto& [id, timer] : m_timers) {
        const auto now = Waker::Clock::now();
        if (timer.due > now) continue;
        // A timer that was missed comes once.
        timer.due = std::max(timer.due + timer.period, now);
        due.push_back(id);
    }
    for (const int id : due)
        if (m_pTarget && m_timers.contains(id)) m_pTarget->OnTimer(id);
}

void PlainLoop::Run(const std::function<bool()>& goesOn, std::chrono::milliseconds often) {
    while (goesOn()) {
        auto deadline = Waker::Clock::now() + often;
        for (const auto& [id, timer] : m_timers) deadline = std::min(deadline, timer.due);
        if (m_waker.WaitUntil(deadline) && m_pTarget) m_pTarget->OnWake();
        CallTimers();
    }
}

}  // namespace kymora
