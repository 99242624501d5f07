#include "acquisition/waker.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace kymora {

Waker::Waker() : handle_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (handle_ < 0) throw std::system_error(errno, std::generic_category(), "Couldn't make an event");
}

Waker::~Waker() { ::close(handle_); }

void Waker::Wake() {
    const uint64_t one = 1;
    // It fails only where it is woken already, more often than can be counted.
    [[maybe_unused]] const auto written = ::write(handle_, &one, sizeof one);
}

bool Waker::WaitUntil(std::optional<Clock::time_point> deadline) { return WaitUntil(deadline, -1); }

bool Waker::WaitUntil(std::optional<Clock::time_point> deadline, int device) {
    pollfd waited[2] = {{handle_, POLLIN, 0}, {device, POLLIN, 0}};
    timespec left{};
    if (deadline) {
        const auto ns =
            std::chrono::duration_cast<std::chrono::nanoseconds>(*deadline - Clock::now()).count();
        if (ns > 0) left = {ns / 1000000000, ns % 1000000000};
    }
    if (::ppoll(waited, device < 0 ? 1 : 2, deadline ? &left : nullptr, nullptr) <= 0) return false;
    uint64_t wakes = 0;
    return ::read(handle_, &wakes, sizeof wakes) == sizeof wakes;
}

}  // namespace kymora
