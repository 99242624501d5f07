#include "acquisition/serial_port.h"

// These instead of <termios.h>, which knows only the rates that have a name. See termios(3), tty_ioctl(2).
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace kymora {

namespace {

constexpr const char* heldText = "Another program holds the port.";
constexpr int bothQueues = 2;  // of TCFLSH

[[noreturn]] void Throw(int code) {
    throw SerialError(code == EBUSY ? heldText : std::generic_category().message(code) + ".");
}

void Refuse(int result) {
    if (result < 0) Throw(errno);
}

tcflag_t SizeOf(int dataBits) {
    constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    if (dataBits < 5 || dataBits > 8) Throw(EINVAL);
    return sizes[dataBits - 5];
}

tcflag_t FlagsOf(SerialParity parity) {
    constexpr tcflag_t flags[] = {0, PARENB | PARODD, PARENB, PARENB | PARODD | CMSPAR, PARENB | CMSPAR};
    return flags[static_cast<int>(parity)];
}

tcflag_t StopFlag(const SerialSettings& settings) {
    // With five data bits two stop bits are one and a half.
    const bool isFive = settings.dataBits == 5;
    if (settings.stopBits == SerialStopBits::one) return 0;
    if ((settings.stopBits == SerialStopBits::oneAndHalf) != isFive) Throw(EOPNOTSUPP);
    return CSTOPB;
}

}  // namespace

void CSerialPort::Open(const std::string& path, const SerialSettings& settings) {
    Close();
    m_nHandle = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    Refuse(m_nHandle);
    m_opened = Clock::now();
    try {
        // The administrator opens a port that is held all the same.
        int isHeld = 0;
        if (::ioctl(m_nHandle, TIOCGEXCL, &isHeld) == 0 && isHeld != 0) Throw(EBUSY);
        if (::flock(m_nHandle, LOCK_EX | LOCK_NB) != 0) Throw(errno == EWOULDBLOCK ? EBUSY : errno);
        Refuse(::ioctl(m_nHandle, TIOCEXCL));
        SetUp(settings);
    } catch (const SerialError&) {
        Close();
        throw;
    }
    int lines = 0;
    m_bModemLines = ::ioctl(m_nHandle, TIOCMGET, &lines) == 0;
}

void CSerialPort::SetUp(const SerialSettings& settings) {
    termios2 line{};
    Refuse(::ioctl(m_nHandle, TCGETS2, &line));
    line.c_iflag = settings.flow == SerialFlow::xonXoff ? IXON | IXOFF : 0;
    line.c_oflag = line.c_lflag = 0;
    // Not HUPCL: the device does not restart once more when the port is closed.
    line.c_cflag = CREAD | CLOCAL | BOTHER | (tcflag_t{BOTHER} << IBSHIFT) | SizeOf(settings.dataBits) |
                   FlagsOf(settings.parity) | StopFlag(settings);
    if (settings.flow == SerialFlow::ctsRts)
        line.c_cflag |= CRTSCTS;
    else if (settings.flow != SerialFlow::none && settings.flow != SerialFlow::xonXoff)
        Throw(EOPNOTSUPP);
    line.c_ispeed = line.c_ospeed = settings.baud;
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
    Refuse(::ioctl(m_nHandle, TCSETS2, &line));
}

void CSerialPort::Close() {
    if (m_nHandle < 0) return;
    ::ioctl(m_nHandle, TIOCNXCL);
    ::close(m_nHandle);
    m_nHandle = -1;
}

size_t CSerialPort::ReadUntil(std::span<std::byte> to, Clock::time_point deadline) {
    if (to.empty()) return 0;
    while (!m_bInterrupted) {
        const ssize_t count = ::read(m_nHandle, to.data(), to.size());
        if (count > 0) return static_cast<size_t>(count);
        // A port that hung up reads as an end.
        if (count == 0) Throw(EIO);
        if (errno != EAGAIN && errno != EINTR) Throw(errno);
        if (Clock::now() >= deadline) return 0;
        m_waker.WaitUntil(deadline, m_nHandle);
    }
    return 0;
}

size_t CSerialPort::ReadSome(std::span<std::byte> to) {
    return ReadUntil(to, Clock::now() + m_timeouts.read);
}

size_t CSerialPort::Read(std::span<std::byte> to) {
    const auto deadline = Clock::now() + m_timeouts.read;
    size_t done = 0;
    while (done < to.size()) {
        const size_t count = ReadUntil(to.subspan(done), deadline);
        if (count == 0) break;
        done += count;
    }
    return done;
}

void CSerialPort::Write(std::span<const std::byte> bytes) {
    const auto deadline = Clock::now() + m_timeouts.write;
    while (!bytes.empty()) {
        const ssize_t count = ::write(m_nHandle, bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<size_t>(count));
            continue;
        }
        if (count < 0 && errno != EAGAIN && errno != EINTR) Throw(errno);
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) Throw(ETIMEDOUT);
        pollfd waited{m_nHandle, POLLOUT, 0};
        ::poll(&waited, 1, static_cast<int>(left.count()));
    }
}

void CSerialPort::Purge() { Refuse(::ioctl(m_nHandle, TCFLSH, bothQueues)); }

void CSerialPort::Flush() { Refuse(::ioctl(m_nHandle, TCSBRK, 1)); }

void CSerialPort::Interrupt() {
    m_bInterrupted = true;
    m_waker.Wake();
}

void CSerialPort::Pause(Clock::duration time) {
    const auto deadline = Clock::now() + time;
    while (!m_bInterrupted && Clock::now() < deadline) m_waker.WaitUntil(deadline);
}

}  // namespace kymora
