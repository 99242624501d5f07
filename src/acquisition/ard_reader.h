#pragma once
// The thread that reads a serial board.
//
// On the line: the host sends the number of channels as a digit and the rate as a letter ('a' for index 0),
// the board answers two bytes 0x04 and then scans without framing, one little-endian 16-bit value for each
// channel, until the host sends 'z'. A byte that is lost or added on the line shifts all that follow, and
// nothing in the protocol tells of it, but that the number of bytes a second departs from the rate.

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/acq_messages.h"
#include "acquisition/dt_host.h"
#include "acquisition/serial_port.h"

namespace kymora {

// Holds the bytes that come against those that should.
class ByteRateWatch {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr double tolerance = 0.02;     // of the rate
    static constexpr double leastSeconds = 10.0;  // of a look
    static constexpr uint64_t leastScans = 500;   // in it, so that a scan more or less is no departure

    // Bytes of a scan, and scans a second.
    ByteRateWatch(size_t scanBytes, double scansPerSecond, double leastTime = leastSeconds)
        : m_nScanBytes(scanBytes),
          m_dExpected(static_cast<double>(scanBytes) * scansPerSecond),
          m_dLeastTime(leastTime) {}

    // So many have come, now. Answers how many come a second where that is not what should.
    std::optional<double> Take(size_t bytes, Clock::time_point now);
    double Expected() const { return m_dExpected; }  // bytes a second

  private:
    size_t m_nScanBytes;
    double m_dExpected, m_dLeastTime;
    std::optional<Clock::time_point> m_start;
    uint64_t m_nBytes = 0;  // since then
};

struct ArdPlan {
    int channels = 1;  // 1 to 6
    uint32_t rateIndex = 9;
    size_t slotBytes = 2;
    double scansPerSecond = 1000.0;
    // The board is so much faster than its rate; a simulated one may be.
    double speed = 1.0;
    // A board restarts when its port is opened and hears nothing for so long.
    std::chrono::milliseconds restart{2500};
};

class ArdReader {
  public:
    // Begins. Port, pipes and mailbox outlive it. Posts dataReady, overrun, sourceEnded (the board was silent
    // for the port's time-out), sourceFault and sourceRemark, with words.
    ArdReader(CSerialPort& port, const ArdPlan& plan, const DataRoad& road, AcqMailbox& mailbox);
    ~ArdReader() { Stop(); }
    ArdReader(const ArdReader&) = delete;
    ArdReader& operator=(const ArdReader&) = delete;

    // Has the board stop, and ends. What does not fill a slot is dropped.
    void Stop();
    // Once they were posted; interface thread.
    const std::string& Fault() const { return m_fault; }
    const std::string& Remark() const { return m_remark; }

  private:
    void Run();
    bool ShakeHands();
    void Stream();
    bool Pass(std::span<const std::byte> scans);
    void Watch(size_t bytes);
    void Send(char byte);
    void Fail(std::string text);

    CSerialPort& m_port;
    ArdPlan m_plan;
    DataRoad m_road;
    AcqMailbox& m_mailbox;
    ByteRateWatch m_watch;
    std::string m_fault, m_remark;  // each written before it is posted, and never after
    std::vector<std::byte> m_slot;
    size_t m_nFilled = 0;
    std::atomic<bool> m_bStopReader{false};
    std::thread m_thread;
};

}  // namespace kymora
