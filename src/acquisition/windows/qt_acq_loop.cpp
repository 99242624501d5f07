#include "acquisition/windows/qt_acq_loop.h"

#include <QSocketNotifier>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace kymora {

// A handle of the system wakes the loop: a call that Qt queues takes a lock and memory.
QtAcqLoop::QtAcqLoop(QObject* parent) : QObject(parent), handle_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (handle_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    auto* notifier = new QSocketNotifier(handle_, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] { OnNotified(); });
}

QtAcqLoop::~QtAcqLoop() {
    delete findChild<QSocketNotifier*>();
    ::close(handle_);
}

void QtAcqLoop::Wake() {
    if (isAwake_.exchange(true, std::memory_order_acq_rel)) return;
    firstWake_.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
    const uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(handle_, &one, sizeof one);
}

void QtAcqLoop::OnNotified() {
    uint64_t count = 0;
    [[maybe_unused]] const auto read = ::read(handle_, &count, sizeof count);
    wakePending_ = true;
    if (held_ == 0) Call();
}

bool QtAcqLoop::SetTimer(int id, int ms) {
    KillTimer(id);
    auto* timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, [this, id] { OnTimer(id); });
    timers_[id] = timer;
    timer->start(ms);
    return timer->isActive();
}

void QtAcqLoop::KillTimer(int id) {
    timersPending_.erase(id);
    const auto found = timers_.find(id);
    if (found == timers_.end()) return;
    // It may be the one whose call is under way.
    found->second->stop();
    found->second->deleteLater();
    timers_.erase(found);
}

void QtAcqLoop::OnTimer(int id) {
    timersPending_.insert(id);
    if (held_ == 0) Call();
}

void QtAcqLoop::Call() {
    const Hold alone(*this);
    if (std::exchange(wakePending_, false)) {
        wokenAt_ = Clock::time_point(Clock::duration(firstWake_.load(std::memory_order_relaxed)));
        isAwake_.store(false, std::memory_order_release);
        if (target_) target_->OnWake();
    }
    while (!timersPending_.empty() && target_) {
        const int id = *timersPending_.begin();
        timersPending_.erase(timersPending_.begin());
        target_->OnTimer(id);
    }
}

void QtAcqLoop::Release() {
    if (--held_ > 0) return;
    if (atWork) atWork(false);
    if (!wakePending_ && timersPending_.empty()) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (held_ == 0 && (wakePending_ || !timersPending_.empty())) Call();
        },
        Qt::QueuedConnection);
}

}  // namespace kymora
