#include "cli/interrupt.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace kymora {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterrupt(int) { interrupted = 1; }

}  // namespace

void CatchInterrupts() {
    // Without SA_RESTART, so that a write to a reader that does not read comes back.
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        // A caller that has the signal ignored (nohup, a background job of a script) means it.
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
}

void FailAtFileLimits() {
    // The write answers EFBIG instead.
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, nullptr);
}

bool WasInterrupted() { return interrupted != 0; }

void HoldStandardStreams() {
    // Read-only, so that a write to it fails as a write to a closed stream does.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF && ::open("/dev/null", O_RDONLY) < 0) return;
}

}  // namespace kymora
