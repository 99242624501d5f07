#include "acquisition/ard_reader.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

namespace kymora {

namespace {

constexpr const char* wrongHeaderText = "Header from Arduino incorrect. Suggest re-plug board and try again. "
                                        "If that fails, reload sketch km_ard.ino.";
constexpr const char* startFaultText = "Error initializing Arduinio. {} Restart recording session.";
constexpr const char* streamFaultText =
    "Error communicating with Arduinio. {} Suggest unplug and replug board.";
constexpr const char* rateText =
    "The board sends {:.1f} bytes a second and not {:.1f}, as it should at this rate and with so many "
    "channels. "
    "Times of this recording will be wrong, and values may stand under other channels: stop it, re-plug the "
    "board and record again.";
constexpr std::byte ready{0x04};
constexpr char stopByte = 'z';
// A read that brings fewer bytes is followed by a rest, so that they need not be fetched one by one.
constexpr size_t fewBytes = 256;
constexpr auto rest = std::chrono::milliseconds(5);

}  // namespace

std::optional<double> ByteRateWatch::Take(size_t bytes, Clock::time_point now) {
    if (!m_start) {
        // Those before the first moment have come some time before it.
        m_start = now;
        return {};
    }
    m_nBytes += bytes;
    const double seconds = std::chrono::duration<double>(now - *m_start).count();
    if (seconds < m_dLeastTime || seconds * m_dExpected < static_cast<double>(leastScans * m_nScanBytes))
        return {};
    const double rate = static_cast<double>(m_nBytes) / seconds;
    m_start = now;
    m_nBytes = 0;
    if (std::abs(rate - m_dExpected) <= tolerance * m_dExpected) return {};
    return rate;
}

ArdReader::ArdReader(CSerialPort& port, const ArdPlan& plan, const DataRoad& road, AcqMailbox& mailbox)
    : m_port(port),
      m_plan(plan),
      m_road(road),
      m_mailbox(mailbox),
      m_watch(static_cast<size_t>(plan.channels) * 2, plan.scansPerSecond * plan.speed),
      m_slot(plan.slotBytes) {
    m_port.ClearInterrupt();
    m_thread = std::thread([this] { Run(); });
}

void ArdReader::Stop() {
    if (!m_thread.joinable()) return;
    m_bStopReader = true;
    m_port.Interrupt();
    m_thread.join();
}

void ArdReader::Send(char byte) {
    const auto sent = static_cast<std::byte>(byte);
    m_port.Write({&sent, 1});
}

void ArdReader::Fail(std::string text) {
    m_fault = std::move(text);
    m_mailbox.Post(AcqMessage::sourceFault);
}

void ArdReader::Run() {
    try {
        if (m_port.HasModemLines())
            m_port.Pause(m_port.OpenedAt() + m_plan.restart - ByteRateWatch::Clock::now());
        if (m_bStopReader || !ShakeHands()) return;
    } catch (const SerialError& error) {
        return Fail(fmt::format(fmt::runtime(startFaultText), error.what()));
    }
    try {
        Stream();
        Send(stopByte);
    } catch (const SerialError& error) {
        // Whole scans that came before it count.
        const size_t scanBytes = static_cast<size_t>(m_plan.channels) * 2;
        if (m_nFilled >= scanBytes) Pass(std::span(m_slot).first(m_nFilled - m_nFilled % scanBytes));
        Fail(fmt::format(fmt::runtime(streamFaultText), error.what()));
    }
}

bool ArdReader::ShakeHands() {
    m_port.Purge();
    Send(static_cast<char>('0' + m_plan.channels));
    Send(static_cast<char>('a' + m_plan.rateIndex));
    std::array<std::byte, 2> answer{};
    const bool isWhole =
        m_port.Read(std::span(answer).first(1)) == 1 && m_port.Read(std::span(answer).last(1)) == 1;
    if (isWhole && answer[0] == ready && answer[1] == ready) return true;
    Send(stopByte);
    if (!m_bStopReader) Fail(wrongHeaderText);
    return false;
}

void ArdReader::Stream() {
    while (!m_bStopReader) {
        const auto room = std::span(m_slot).subspan(m_nFilled);
        const size_t count = m_port.ReadSome(room);
        if (m_bStopReader) return;
        if (count == 0) return m_mailbox.Post(AcqMessage::sourceEnded);
        Watch(count);
        m_nFilled += count;
        if (m_nFilled == m_slot.size()) {
            if (!Pass(m_slot)) return;
            m_nFilled = 0;
        }
        if (count < fewBytes && count < room.size()) m_port.Pause(rest);
    }
}

bool ArdReader::Pass(std::span<const std::byte> scans) {
    if (!m_road.store->Write(scans)) {
        m_mailbox.Post(AcqMessage::overrun);
        return false;
    }
    if (m_road.display && !m_road.display->Write(scans)) *m_road.skippedDisplay = true;
    m_mailbox.Post(AcqMessage::dataReady);
    return true;
}

void ArdReader::Watch(size_t bytes) {
    const auto rate = m_watch.Take(bytes, ByteRateWatch::Clock::now());
    if (!rate || !m_remark.empty()) return;
    m_remark = fmt::format(fmt::runtime(rateText), *rate, m_watch.Expected());
    m_mailbox.Post(AcqMessage::sourceRemark);
}

}  // namespace kymora
