#pragma once
// A board as tools/km_ard/km_ard.ino makes one, behind a pseudo terminal.

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kymora {

struct SerialBoardScript {
    std::string handshake = "\x04\x04";  // what it answers
    double speed = 1.0;                  // time passes so much faster
    double rateFactor = 1.0;             // it sends so much faster than it was told
    int64_t bytes = -1;                  // so many are sent; -1: until it is stopped
    bool vanishes = false;               // behind them, else it falls silent
    bool isSine = false;  // codes of a 10-bit converter, channel n has n Hz; else a 16-bit counter
};

class SerialBoard {
  public:
    explicit SerialBoard(const SerialBoardScript& script) : m_script(script) {
        m_nMaster = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (m_nMaster < 0 || ::grantpt(m_nMaster) != 0 || ::unlockpt(m_nMaster) != 0)
            throw std::runtime_error("no pseudo terminal");
        m_path = ::ptsname(m_nMaster);
        termios line{};
        ::tcgetattr(m_nMaster, &line);
        ::cfmakeraw(&line);
        ::tcsetattr(m_nMaster, TCSANOW, &line);
        m_thread = std::thread([this] { Run(); });
    }
    ~SerialBoard() {
        m_bQuit = true;
        m_thread.join();
        Vanish();
    }
    SerialBoard(const SerialBoard&) = delete;
    SerialBoard& operator=(const SerialBoard&) = delete;

    // The port.
    const std::string& Path() const { return m_path; }
    // All that it was told, for a test.
    std::string Heard() const { return {m_heard.begin(), m_heard.begin() + m_nHeard}; }
    int64_t Sent() const { return m_nSent; }

    static constexpr std::array<double, 12> intervals = {1000.0, 500.0, 200.0, 100.0, 50.0, 20.0,
                                                         10.0,   5.0,   2.0,   1.0,   0.5,  0.2};

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr int64_t mostAtOnce = 1 << 16;

    void Run() {
        while (!m_bQuit && m_nMaster >= 0) {
            Listen();
            if (m_bStreams) Send();
        }
    }

    void Listen() {
        pollfd waited{m_nMaster, POLLIN, 0};
        ::poll(&waited, 1, m_bStreams ? 0 : 10);
        char byte = 0;
        while (::read(m_nMaster, &byte, 1) == 1) Hear(byte);
        // Nobody has opened the port.
        if ((waited.revents & POLLHUP) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    void Hear(char byte) {
        if (const size_t at = m_nHeard; at < m_heard.size()) {
            m_heard[at] = byte;
            m_nHeard = at + 1;
        }
        if (byte >= '1' && byte <= '6') m_nChannels = byte - '0';
        if (byte == 'z') m_bStreams = false;
        if (byte < 'a' || byte > 'l') return;
        m_dBytesPerSecond = 2000.0 * m_nChannels / intervals[static_cast<size_t>(byte - 'a')];
        Put(reinterpret_cast<const uint8_t*>(m_script.handshake.data()), m_script.handshake.size());
        m_nSent = 0;
        m_begun = Clock::now();
        m_bStreams = true;
    }

    void Send() {
        const double seconds = std::chrono::duration<double>(Clock::now() - m_begun).count() * m_script.speed;
        auto due = static_cast<int64_t>(seconds * m_dBytesPerSecond * m_script.rateFactor);
        if (m_script.bytes >= 0) due = std::min(due, m_script.bytes);
        const int64_t count = std::min(due - m_nSent, mostAtOnce);
        if (m_nSent == m_script.bytes) {
            // What was not read when it vanishes is gone with it.
            if (m_script.vanishes) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                Vanish();
            }
            m_bStreams = false;
        } else if (count <= 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        } else {
            Fill(count);
            m_nSent += Put(m_bytes.data(), static_cast<size_t>(count));
        }
    }

    void Fill(int64_t count) {
        m_bytes.resize(static_cast<size_t>(count));
        for (int64_t i = 0; i < count; ++i) {
            const int64_t at = m_nSent + i;
            m_bytes[static_cast<size_t>(i)] = static_cast<uint8_t>(ValueAt(at / 2) >> (at % 2 * 8));
        }
    }

    uint16_t ValueAt(int64_t index) const {
        if (!m_script.isSine) return static_cast<uint16_t>(index);
        const double seconds =
            static_cast<double>(index / m_nChannels) * 2.0 * m_nChannels / m_dBytesPerSecond;
        const auto channel = static_cast<double>(index % m_nChannels + 1);
        return static_cast<uint16_t>(std::lround(512.0 + 400.0 * std::sin(2.0 * M_PI * channel * seconds)));
    }

    // So many were taken.
    int64_t Put(const uint8_t* bytes, size_t count) {
        const ssize_t done = ::write(m_nMaster, bytes, count);
        if (done > 0) return done;
        pollfd waited{m_nMaster, POLLOUT, 0};
        ::poll(&waited, 1, 10);
        return 0;
    }

    void Vanish() {
        if (m_nMaster >= 0) ::close(m_nMaster);
        m_nMaster = -1;
    }

    SerialBoardScript m_script;
    int m_nMaster = -1;
    std::string m_path;
    std::array<char, 64> m_heard{};
    std::atomic<size_t> m_nHeard{0};
    std::atomic<int64_t> m_nSent{0};
    int m_nChannels = 1;
    double m_dBytesPerSecond = 0.0;
    bool m_bStreams = false;
    Clock::time_point m_begun;
    std::vector<uint8_t> m_bytes;
    std::atomic<bool> m_bQuit{false};
    std::thread m_thread;
};

}  // namespace kymora
