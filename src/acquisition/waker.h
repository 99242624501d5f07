#pragma once
// What a thread sleeps on until another one, or a moment, wakes it.

#include <chrono>
#include <optional>

namespace kymora {

class Waker {
  public:
    using Clock = std::chrono::steady_clock;

    Waker();
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

    // Any thread; without a lock or an allocation. It counts, too, for who only begins to wait later.
    void Wake();
    // Until it is woken, which it answers with true; false at the deadline and after a signal.
    bool WaitUntil(std::optional<Clock::time_point> deadline = {});
    // The same, and also until a device has something to read (its file handle).
    bool WaitUntil(std::optional<Clock::time_point> deadline, int device);

  private:
    int handle_;
};

}  // namespace kymora
