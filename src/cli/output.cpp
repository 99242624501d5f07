#include "cli/output.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include "cli/command.h"
#include "cli/interrupt.h"
#include "document/native_writer.h"

namespace kymora {
namespace {
constexpr size_t outputBufferSize = 1 << 16;
}

StandardOutput::StandardOutput() { buffer_.reserve(outputBufferSize); }

void StandardOutput::Write(std::string_view text) {
    if (buffer_.size() + text.size() > outputBufferSize) Flush();
    if (text.size() >= outputBufferSize)
        WriteThrough(text);
    else
        buffer_ += text;
}

void StandardOutput::WriteBytes(std::span<const std::byte> bytes) {
    Write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void StandardOutput::Flush() {
    // Emptied first, so that a failed write is not tried again.
    std::string pending;
    pending.swap(buffer_);
    WriteThrough(pending);
    pending.clear();
    buffer_.swap(pending);
}

bool StandardOutput::IsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

void StandardOutput::WriteThrough(std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(STDOUT_FILENO, text.data(), text.size());
        if (n >= 0) {
            text.remove_prefix(static_cast<size_t>(n));
        } else if (errno == EINTR) {
            if (WasInterrupted()) throw Cancelled();
        } else if (errno == EAGAIN) {
            pollfd ready{STDOUT_FILENO, POLLOUT, 0};
            ::poll(&ready, 1, -1);
            if (WasInterrupted()) throw Cancelled();
        } else if (errno == EPIPE) {
            throw OutputClosed();
        } else {
            throw CommandError(exitFailed,
                               std::string("Couldn't write to standard output: ") + std::strerror(errno));
        }
    }
}

}  // namespace kymora
