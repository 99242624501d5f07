#pragma once
// A serial port, by the system's calls. One thread reads and writes; any may interrupt it.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

#include "acquisition/waker.h"

namespace kymora {

// What a port refused, in the system's words.
class SerialError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class SerialParity { none, odd, even, mark, space };
enum class SerialStopBits { one, oneAndHalf, two };
enum class SerialFlow { none, ctsRts, ctsDtr, dsrRts, dsrDtr, xonXoff };

struct SerialSettings {
    uint32_t baud = 256000;  // any that the device can divide its clock to
    SerialParity parity = SerialParity::none;
    int dataBits = 8;  // 5 to 8
    SerialStopBits stopBits = SerialStopBits::one;
    SerialFlow flow = SerialFlow::none;
};

struct SerialTimeouts {
    std::chrono::milliseconds read{1500};   // for all bytes of a read
    std::chrono::milliseconds write{1500};  // for all bytes of a write
};

class CSerialPort {
  public:
    CSerialPort() = default;
    ~CSerialPort() { Close(); }
    CSerialPort(const CSerialPort&) = delete;
    CSerialPort& operator=(const CSerialPort&) = delete;

    // Opens it for this program alone. Throws SerialError: also where another program holds it, and where the
    // system has no such setting (one and a half stop bits but with 5 data bits, flow control by DTR or DSR).
    void Open(const std::string& path, const SerialSettings& settings);
    void Close();
    bool IsOpen() const { return m_nHandle >= 0; }
    // The device restarts when its port is opened, as those with modem lines do: when that was.
    bool HasModemLines() const { return m_bModemLines; }
    std::chrono::steady_clock::time_point OpenedAt() const { return m_opened; }

    // Returns when all bytes have come, or with fewer after the time-out or an interrupt. Throws SerialError,
    // also where the device is gone.
    size_t Read(std::span<std::byte> to);
    // Returns with what has come as soon as something has; 0 after the time-out or an interrupt.
    size_t ReadSome(std::span<std::byte> to);
    // Throws SerialError where not all bytes can be written.
    void Write(std::span<const std::byte> bytes);
    // Forgets what has come and was not read, and what was written and has not gone.
    void Purge();
    // Waits until what was written has gone.
    void Flush();

    void SetTimeouts(const SerialTimeouts& timeouts) { m_timeouts = timeouts; }
    const SerialTimeouts& GetTimeouts() const { return m_timeouts; }

    // Any thread: ends the present read and those after it, until it is taken back.
    void Interrupt();
    void ClearInterrupt() { m_bInterrupted = false; }
    bool IsInterrupted() const { return m_bInterrupted; }
    // Sleeps unless it is interrupted.
    void Pause(std::chrono::steady_clock::duration time);

  private:
    using Clock = std::chrono::steady_clock;

    void SetUp(const SerialSettings& settings);
    size_t ReadUntil(std::span<std::byte> to, Clock::time_point deadline);

    int m_nHandle = -1;
    bool m_bModemLines = false;
    Clock::time_point m_opened;
    SerialTimeouts m_timeouts;
    std::atomic<bool> m_bInterrupted{false};
    Waker m_waker;
};

}  // namespace kymora
