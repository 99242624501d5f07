#pragma once
// An event loop without windows, for the terminal and for tests.

#include <functional>
#include <map>

#include "acquisition/acq_messages.h"
#include "acquisition/waker.h"

namespace kymora {

class PlainLoop : public AcqEventLoop {
  public:
    void Wake() override { m_waker.Wake(); }
    void SetTarget(Target* target) override { m_pTarget = target; }
    bool SetTimer(int id, int ms) override;
    void KillTimer(int id) override { m_timers.erase(id); }

    // Calls what is due until `goesOn` answers false, which it is asked at least so often.
    void Run(const std::function<bool()>& goesOn, std::chrono::milliseconds often);

    // A timer's ms last so much longer.
    double m_dTimerScale = 1.0;

  private:
    struct Timer {
        Waker::Clock::duration period;
        Waker::Clock::time_point due;
    };

    void CallTimers();

    Waker m_waker;
    Target* m_pTarget = nullptr;
    std::map<int, Timer> m_timers;
};

}  // namespace kymora
