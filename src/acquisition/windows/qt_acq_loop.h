#pragma once
// The event loop of a window, for a recording interface.

#include <QObject>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <set>

#include "acquisition/acq_messages.h"

namespace kymora {

class QtAcqLoop : public QObject, public AcqEventLoop {
    Q_OBJECT

  public:
    using Clock = std::chrono::steady_clock;

    explicit QtAcqLoop(QObject* parent = nullptr);
    ~QtAcqLoop() override;

    void Wake() override;
    void SetTarget(Target* target) override { target_ = target; }
    bool SetTimer(int id, int ms) override;
    void KillTimer(int id) override;

    // As long as one lives nothing is called: the interface is at work, and a dialog that it shows has a loop
    // of its own. What came meanwhile comes behind it.
    class Hold {
      public:
        explicit Hold(QtAcqLoop& loop) : loop_(loop) {
            if (loop_.held_++ == 0 && loop_.atWork) loop_.atWork(true);
        }
        ~Hold() { loop_.Release(); }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

      private:
        QtAcqLoop& loop_;
    };

    // Told when the interface begins its work, and when it has done it.
    std::function<void(bool begins)> atWork;

    // When the first wake came that the present call answers.
    Clock::time_point WokenAt() const { return wokenAt_; }

  private:
    void OnNotified();
    void OnTimer(int id);
    void Call();
    void Release();

    Target* target_ = nullptr;
    int handle_;
    int held_ = 0;
    bool wakePending_ = false;
    std::set<int> timersPending_;
    std::map<int, QTimer*> timers_;
    std::atomic<bool> isAwake_{false};
    std::atomic<Clock::rep> firstWake_{0};
    Clock::time_point wokenAt_;
};

}  // namespace kymora
