#include "acquisition/simulated_board.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace kymora {

namespace {

constexpr double masterClock = 20e6, slowest = 0.01, fastest = 1e6;  // Hz
constexpr float volts = 10.0f;
constexpr uint64_t noiseOfStart = 0x9E3779B97F4A7C15u;

bool IsAt(const std::optional<int64_t>& fault, int64_t scan) { return fault && scan >= *fault; }

}  // namespace

SimulatedBoard::SimulatedBoard(const SimulatedBoardSettings& settings)
    : m_settings(settings), m_codes{settings.bits, settings.encoding, -volts, volts} {}

// --- what it has ---

bool SimulatedBoard::Has(Subsystem subsystem) {
    if (subsystem == Subsystem::dac) return m_settings.outputs > 0;
    return subsystem == Subsystem::adc || m_settings.hasDigitalOutput;
}

BoardStatus SimulatedBoard::Open(Subsystem subsystem) {
    return Has(subsystem) ? boardGood : boardNoSubsystem;
}

BoardStatus SimulatedBoard::GetCapabilities(Subsystem subsystem, SubsystemCapabilities& capabilities) {
    if (!Has(subsystem)) return boardNoSubsystem;
    SubsystemCapabilities has;
    has.supportsSingleValue = true;
    has.channels = 1;
    if (subsystem != Subsystem::digitalOut) {
        has.hasInternalClock = has.supportsBuffering = has.supportsMessages = true;
        has.startsTogether = true;
        has.resolutionBits = m_settings.bits;
        has.encoding = m_settings.encoding;
        has.voltHigh = volts;
        has.voltLow = -volts;
        has.channels = subsystem == Subsystem::adc ? m_settings.inputs : m_settings.outputs;
        has.channelList = m_settings.channelList;
    }
    if (subsystem == Subsystem::adc)
        has.singleEnded = m_settings.inputs, has.differential = m_settings.inputs / 2;
    capabilities = has;
    return boardGood;
}

BoardStatus SimulatedBoard::GetFrequencyRange(Subsystem, int, FrequencyRange& range) {
    range = {slowest, fastest};
    return boardGood;
}

// --- how it is set ---

BoardStatus SimulatedBoard::SetDataFlow(Subsystem subsystem, DataFlow flow) {
    const bool isSingle = flow == DataFlow::singleValue;
    return isSingle == (subsystem == Subsystem::digitalOut) ? boardGood : boardNotSupported;
}

BoardStatus SimulatedBoard::SetInputMode(InputMode) { return boardGood; }

BoardStatus SimulatedBoard::SetChannelListSize(Subsystem subsystem, int size) {
    const int most = subsystem == Subsystem::adc ? m_settings.inputs : m_settings.outputs;
    if (size < 1 || size > most) return boardBadValue;
    SideOf(subsystem).channels.assign(static_cast<size_t>(size), 0);
    return boardGood;
}

BoardStatus SimulatedBoard::SetChannelListEntry(Subsystem subsystem, int entry, int channel, double gain) {
    std::vector<int>& list = SideOf(subsystem).channels;
    const int most = subsystem == Subsystem::adc ? m_settings.inputs : m_settings.outputs;
    if (entry < 0 || entry >= static_cast<int>(list.size()) || channel < 0 || channel >= most || gain != 1.0)
        return boardBadValue;
    list[static_cast<size_t>(entry)] = channel;
    return boardGood;
}

BoardStatus SimulatedBoard::SetClock(Subsystem subsystem, double wanted, double& answered) {
    if (!(wanted >= slowest && wanted <= fastest)) return boardBadValue;
    answered = masterClock / std::max(1.0, std::round(masterClock / wanted));
    if (m_settings.faults.answeredFrequency > 0.0) answered = m_settings.faults.answeredFrequency;
    SideOf(subsystem).frequency = answered;
    return boardGood;
}

BoardStatus SimulatedBoard::SetTrigger(Subsystem subsystem, TriggerSource source) {
    SideOf(subsystem).trigger = source;
    return boardGood;
}

BoardStatus SimulatedBoard::Configure(Subsystem subsystem) {
    return SideOf(subsystem).run == Run::idle ? boardGood : boardBusy;
}

// --- running ---

void SimulatedBoard::Begin(Side& side) {
    side.run = Run::running;
    if (&side != &m_sides[0]) return;
    m_start = Clock::now();
    m_bStalled = false;
    m_inputs.emplace(SimulatedSampling{m_settings.input, m_codes, side.channels, side.frequency,
                                       m_settings.seed + noiseOfStart * m_nStarts++},
                     [this](int output, double seconds) { return Output(output, seconds); });
}

BoardStatus SimulatedBoard::Start(Subsystem subsystem) {
    Side& side = SideOf(subsystem);
    if (side.run != Run::idle) return boardBusy;
    if (side.channels.empty()) return boardBadValue;
    if (subsystem == Subsystem::dac) m_nPlayed = 0, m_bPlayed = false;
    if (side.trigger == TriggerSource::software) {
        Begin(side);
        return boardGood;
    }
    side.run = Run::armed;
    m_armedAt = Clock::now();
    m_bTriggered = false;
    return boardGood;
}

BoardStatus SimulatedBoard::StartTogether(std::span<const Subsystem> list) {
    for (const Subsystem subsystem : list)
        if (const BoardStatus status = Start(subsystem); status != boardGood) return status;
    return boardGood;
}

BoardStatus SimulatedBoard::Abort(Subsystem subsystem) {
    SideOf(subsystem).run = Run::idle;
    return boardGood;
}

BoardStatus SimulatedBoard::WriteDigital(uint32_t value) {
    if (!m_settings.hasDigitalOutput) return boardNoSubsystem;
    if (value != 0) Trigger();
    return boardGood;
}

void SimulatedBoard::Trigger() {
    m_bTriggered = true;
    m_waker.Wake();
}

void SimulatedBoard::TakeTrigger() {
    const bool isDue = m_settings.triggerAfter &&
                       Clock::now() >= m_armedAt + std::chrono::duration<double>(*m_settings.triggerAfter);
    if (!m_bTriggered && !isDue) return;
    for (Side& side : m_sides)
        if (side.run == Run::armed) Begin(side);
}

// --- samples ---

SimulatedBoard::Clock::time_point SimulatedBoard::TimeOf(double seconds) const {
    return m_start + std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(seconds / m_settings.speed));
}

size_t SimulatedBoard::BufferScans() {
    const BufferQueue& ready = Of(Subsystem::adc).ready;
    return ready.Count() == 0 ? 0 : ready.At(0)->samples / m_sides[0].channels.size();
}

// Volts of an output while its buffers play; the last value stays.
double SimulatedBoard::Output(int output, double seconds) {
    Side& side = m_sides[1];
    if (output >= m_settings.outputs) return 0.0;
    const size_t channels = side.channels.size();
    Queues& queues = Of(Subsystem::dac);
    if (side.run != Run::running || channels == 0) return m_held[static_cast<size_t>(output)];
    const auto at = static_cast<int64_t>(seconds * side.frequency + 1e-6);
    while (queues.ready.Count() > 0) {
        const BoardBuffer& buffer = *queues.ready.At(0);
        const auto samples = static_cast<int64_t>(buffer.valid / channels);
        const int64_t in = std::min(at - m_nPlayed, samples - 1);
        for (size_t c = 0; c < channels && in >= 0; ++c) {
            uint32_t code = 0;
            const auto width = static_cast<size_t>(m_codes.Bytes());
            std::memcpy(&code, buffer.bytes.data() + (static_cast<size_t>(in) * channels + c) * width, width);
            m_held[static_cast<size_t>(side.channels[c])] = m_codes.VoltsOf(code);
        }
        if (at - m_nPlayed < samples) break;
        m_nPlayed += samples;
        queues.done.Put(queues.ready.Get());
        m_bPlayed = queues.ready.Count() == 0;
    }
    return m_held[static_cast<size_t>(output)];
}

std::optional<BoardEvent> SimulatedBoard::FaultNow() {
    SimulatedFaults& faults = m_settings.faults;
    const int64_t scan = m_inputs->Scans();
    const auto stop = [&](BoardEventKind kind, Subsystem subsystem) {
        for (Side& side : m_sides) side.run = Run::idle;
        return BoardEvent{kind, subsystem};
    };
    if (IsAt(faults.vanishAt, scan)) return stop(BoardEventKind::gone, Subsystem::adc);
    if (IsAt(faults.overrunAt, scan) || IsLate()) return stop(BoardEventKind::overrun, Subsystem::adc);
    if (IsAt(faults.underrunAt, scan)) return stop(BoardEventKind::underrun, Subsystem::dac);
    if (IsAt(faults.nullAt, scan)) return BoardEvent{BoardEventKind::bufferDone, Subsystem::adc};
    if (BufferScans() == 0) return stop(BoardEventKind::queueDone, Subsystem::adc);
    return {};
}

// Whether more buffers have become due than there are.
bool SimulatedBoard::IsLate() {
    if (m_settings.waitsForBuffers) return false;
    const size_t buffers = Of(Subsystem::adc).ready.Count();
    const double scans =
        static_cast<double>(m_inputs->Scans()) + static_cast<double>((buffers + 1) * BufferScans());
    return Clock::now() > TimeOf(scans / m_sides[0].frequency);
}

BoardEvent SimulatedBoard::Produce() {
    const Side& side = m_sides[0];
    if (const auto fault = FaultNow()) return *fault;
    const int64_t scan = m_inputs->Scans();
    Queues& queues = Of(Subsystem::adc);
    BoardBuffer* const buffer = queues.ready.Get();
    size_t scans = buffer->samples / side.channels.size();
    if (IsAt(m_settings.faults.shortFrom, scan)) scans = std::max<size_t>(1, scans / 2);
    buffer->valid = scans * side.channels.size();
    const size_t bytes = buffer->valid * static_cast<size_t>(m_codes.Bytes());
    m_inputs->Fill(std::span(buffer->bytes).first(bytes));
    // What plays must go on where no input listens to it.
    if (m_sides[1].run == Run::running) Output(0, static_cast<double>(m_inputs->Scans()) / side.frequency);
    if (IsAt(m_settings.faults.tornFrom, scan)) --buffer->valid;
    queues.done.Put(buffer);
    return {BoardEventKind::bufferDone, Subsystem::adc};
}

// When the next thing happens; nothing: only by a wake.
std::optional<SimulatedBoard::Clock::time_point> SimulatedBoard::NextDue() {
    const Side& side = m_sides[0];
    if (side.run == Run::armed && m_settings.triggerAfter)
        return m_armedAt + std::chrono::duration_cast<Clock::duration>(
                               std::chrono::duration<double>(*m_settings.triggerAfter));
    if (side.run != Run::running) return {};
    const int64_t scan = m_inputs->Scans();
    if (!m_bStalled && IsAt(m_settings.faults.stallAt, scan)) {
        m_bStalled = true;
        m_start += std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(m_settings.faults.stallSeconds));
    }
    const double scans = static_cast<double>(scan) + static_cast<double>(std::max<size_t>(1, BufferScans()));
    return TimeOf(scans / side.frequency);
}

BoardEvent SimulatedBoard::Wait() {
    for (;;) {
        if (std::exchange(m_bPlayed, false)) return {BoardEventKind::queueDone, Subsystem::dac};
        if (m_sides[0].run == Run::armed) TakeTrigger();
        const auto due = NextDue();
        if (m_waker.WaitUntil(due)) {
            // An external trigger wakes it, too.
            if (m_bTriggered && m_sides[0].run == Run::armed) continue;
            return {};
        }
        if (m_sides[0].run == Run::running && due && Clock::now() >= *due) return Produce();
    }
}

}  // namespace kymora
