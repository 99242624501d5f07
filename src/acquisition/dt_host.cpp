#include "acquisition/dt_host.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <thread>
#include <utility>

namespace kymora {

namespace {

constexpr const char* noInputsText = "No Available A/D Subsystems!";
constexpr const char* noInputClockText =
    "PROBLEM: the board ADC does not support an internal clock. We need one!";
constexpr const char* noInputBuffersText = "A/D Subsystem does not support buffering. It needs to!";
constexpr const char* noInputModeText = "ERROR: A/D Subsystem reports it does not support either Single "
                                        "Ended or Differential input mode. At least "
                                        "one is essential!";
constexpr const char* noChannelListText =
    "This board does not support the necessary AD channel list! Please inform author if you think it should.";
constexpr const char* noOutputsText = "No Available D/A Subsystems!";
constexpr const char* noOutputClockText =
    "PROBLEM: the board DAC does not support an internal clock. DAC disabled.";
constexpr const char* noOutputBuffersText = "A/D Subsystem does not support buffering. DAC disabled.";
constexpr const char* noOutputMessagesText = "A/D Subsystem does not support message posting. DAC disabled.";
constexpr const char* noDigitalText = "No Available Digital output!";
constexpr const char* noSingleValueText = "Digital output SubSystem cannot run in single value mode.";
constexpr const char* frequencyRangeText =
    "The frequency is outside the allowed range for this number of channels. Setting to closest value.";
constexpr const char* inputTriggerText[] = {
    "Board did not configure correctly for ADC internal software trigger. ",
    "Board did not configure correctly for ADC external trigger. Does it support it?"};
constexpr const char* outputTriggerText[] = {
    "Board did not configure correctly for DAC internal software trigger. ",
    "Board did not configure correctly for DAC external trigger. Does it support it?"};
constexpr const char* runningAlreadyText =
    "You are attempting to start ADC which is already running. Please slow down the acquisition rate.";
constexpr const char* refusedText = "The board does not take these settings; its log tells the error.";

constexpr auto pulseDelay = std::chrono::milliseconds(10);
constexpr double sameFrequency = 1e-7;   // Hz
constexpr size_t outputSamples = 10000;  // of a buffer

}  // namespace

HostWords CDTHost::TakeWords() { return std::exchange(m_words, {}); }

bool CDTHost::Good(BoardStatus status, int site) {
    if (status != boardGood)
        m_words.log.push_back(fmt::format("Error DT ecode = {}, my code = {}\n", status, site));
    return status == boardGood;
}

bool CDTHost::Refuse(const char* text) {
    m_words.messages.emplace_back(text);
    return false;
}

// --- opening ---

bool CDTHost::Open() {
    if (!OpenInputs()) return false;
    OpenOutputs();
    OpenDigital();
    return SetBufferSize(m_nBufferSamples);
}

bool CDTHost::OpenInputs() {
    if (!m_board.Has(Subsystem::adc) || !Good(m_board.Open(Subsystem::adc), 1)) return Refuse(noInputsText);
    if (!Good(m_board.GetCapabilities(Subsystem::adc, m_adc), 2)) return Refuse(noInputsText);
    if (!m_adc.hasInternalClock) return Refuse(noInputClockText);
    if (!m_adc.supportsBuffering) return Refuse(noInputBuffersText);
    if (m_adc.singleEnded == 0 && m_adc.differential == 0) return Refuse(noInputModeText);
    if (!Good(m_board.SetDataFlow(Subsystem::adc, DataFlow::continuous), 3))
        return Refuse(noInputBuffersText);
    return SetChannels(Subsystem::adc, {0}) || Refuse(noChannelListText);
}

void CDTHost::OpenOutputs() {
    const char* fault = nullptr;
    if (!m_board.Has(Subsystem::dac) || !Good(m_board.Open(Subsystem::dac), 4) ||
        !Good(m_board.GetCapabilities(Subsystem::dac, m_dac), 5))
        fault = noOutputsText;
    else if (!m_dac.hasInternalClock)
        fault = noOutputClockText;
    else if (!m_dac.supportsBuffering || !Good(m_board.SetDataFlow(Subsystem::dac, DataFlow::continuous), 6))
        fault = noOutputBuffersText;
    else if (!m_dac.supportsMessages)
        fault = noOutputMessagesText;
    if (fault) Refuse(fault);
    m_nDacChannels = fault ? 0 : m_dac.channels;
}

void CDTHost::OpenDigital() {
    SubsystemCapabilities digital;
    m_bDigital = m_board.Has(Subsystem::digitalOut) && Good(m_board.Open(Subsystem::digitalOut), 7) &&
                 Good(m_board.GetCapabilities(Subsystem::digitalOut, digital), 8);
    if (!m_bDigital) {
        Refuse(noDigitalText);
        return;
    }
    m_bDigital = digital.supportsSingleValue &&
                 Good(m_board.SetDataFlow(Subsystem::digitalOut, DataFlow::singleValue), 9);
    if (!m_bDigital) Refuse(noSingleValueText);
}

// --- configuring ---

bool CDTHost::SetChannels(Subsystem subsystem, const std::vector<int>& channels) {
    if (!Good(m_board.SetChannelListSize(subsystem, static_cast<int>(channels.size())), 10)) return false;
    for (size_t i = 0; i < channels.size(); ++i)
        if (!Good(m_board.SetChannelListEntry(subsystem, static_cast<int>(i), channels[i], 1.0), 11))
            return false;
    return true;
}

bool CDTHost::SetTheClock(Subsystem subsystem, int channels, bool hasOneClock, double& kHz) {
    const int clocked = hasOneClock ? 1 : channels;
    double wanted = kHz * 1000.0 * clocked;
    FrequencyRange range;
    if (!Good(m_board.GetFrequencyRange(subsystem, channels, range), 12)) return false;
    if (!(wanted >= range.least && wanted <= range.greatest)) {
        m_words.messages.emplace_back(frequencyRangeText);
        wanted = std::clamp(wanted, range.least, range.greatest);
        kHz = wanted / 1000.0 / clocked;
    }
    double answered = wanted;
    if (!Good(m_board.SetClock(subsystem, wanted, answered), 13)) return false;
    if (!(answered > 0.0)) return false;
    if (std::abs(answered - wanted) > sameFrequency) kHz = answered / 1000.0 / clocked;
    return true;
}

bool CDTHost::HasOneClock(Subsystem subsystem) const {
    return (subsystem == Subsystem::adc ? m_adc : m_dac).hasOneClock;
}

std::optional<double> CDTHost::AskRate(Subsystem subsystem, int channels, double kHz) {
    if (m_bRunning || channels < 1 || !(kHz > 0.0)) return {};
    std::vector<int> list(static_cast<size_t>(channels));
    std::iota(list.begin(), list.end(), 0);
    const HostWords words = m_words;
    const bool isSet =
        SetChannels(subsystem, list) && SetTheClock(subsystem, channels, HasOneClock(subsystem), kHz);
    m_words = words;
    return isSet ? std::optional(kHz) : std::nullopt;
}

std::optional<FrequencyRange> CDTHost::AskRates(Subsystem subsystem, int channels) {
    FrequencyRange range;
    if (m_bRunning || channels < 1 || m_board.GetFrequencyRange(subsystem, channels, range) != boardGood)
        return {};
    const int clocked = HasOneClock(subsystem) ? 1 : channels;
    return FrequencyRange{range.least / clocked, range.greatest / clocked};
}

bool CDTHost::ConfigureInputs(const std::vector<int>& channels, InputMode mode, double& interval) {
    const double wanted = 1.0 / interval;
    double kHz = wanted;
    const bool isSet = Good(m_board.SetInputMode(mode), 14) && SetChannels(Subsystem::adc, channels) &&
                       SetTheClock(Subsystem::adc, static_cast<int>(channels.size()), m_adc.hasOneClock, kHz);
    if (!isSet) return Refuse(refusedText);
    m_nListSize = channels.size();
    if (kHz != wanted) interval = 1.0 / kHz;
    return true;
}

bool CDTHost::ConfigureOutputs(int channels, double& kHz) {
    std::vector<int> list;
    for (int i = 0; i < channels; ++i) list.push_back(i);
    return (SetChannels(Subsystem::dac, list) &&
            SetTheClock(Subsystem::dac, channels, m_dac.hasOneClock, kHz)) ||
           Refuse(refusedText);
}

bool CDTHost::ChooseTrigger(bool isExternal, int dacs) {
    const TriggerSource source = isExternal ? TriggerSource::external : TriggerSource::software;
    if (!Good(m_board.SetTrigger(Subsystem::adc, source), 15) || !Good(m_board.Configure(Subsystem::adc), 16))
        return Refuse(inputTriggerText[isExternal]);
    if (dacs > 0 && (!Good(m_board.SetTrigger(Subsystem::dac, source), 17) ||
                     !Good(m_board.Configure(Subsystem::dac), 18)))
        return Refuse(outputTriggerText[isExternal]);
    return true;
}

// --- buffers ---

// Takes all buffers from the queues, and puts them back or frees them.
bool CDTHost::TakeBack(Subsystem subsystem, bool putsThem) {
    if (!Good(m_board.FlushBuffers(subsystem), 19)) return false;
    std::vector<BoardBuffer*> buffers;
    for (;;) {
        BoardBuffer* buffer = nullptr;
        if (!Good(m_board.GetBuffer(subsystem, buffer), 20)) return false;
        if (!buffer) break;
        buffers.push_back(buffer);
    }
    for (BoardBuffer* const buffer : buffers)
        if (!Good(putsThem ? m_board.PutBuffer(subsystem, buffer) : m_board.FreeBuffer(subsystem, buffer),
                  21))
            return false;
    return true;
}

bool CDTHost::AllocateInputs(size_t samples) {
    m_nAllocated = 0;  // where not all can be had
    for (size_t i = 0; i < boardBufferCount; ++i) {
        BoardBuffer* buffer = nullptr;
        if (!Good(m_board.AllocateBuffer(Subsystem::adc, samples, buffer), 22) ||
            !Good(m_board.PutBuffer(Subsystem::adc, buffer), 23))
            return Refuse(refusedText);
    }
    m_nAllocated = samples;
    return true;
}

bool CDTHost::SetBufferSize(size_t scans) {
    m_nBufferSamples = scans;
    const size_t samples = scans * m_nListSize;
    const bool isSame = samples == m_nAllocated;
    if (!TakeBack(Subsystem::adc, isSame)) return Refuse(refusedText);
    return isSame || AllocateInputs(samples);
}

bool CDTHost::ClearOutput() { return TakeBack(Subsystem::dac, false) || Refuse(refusedText); }

bool CDTHost::QueueOutput(std::span<const int32_t> codes) {
    BoardBuffer* buffer = nullptr;
    if (!Good(m_board.AllocateBuffer(Subsystem::dac, outputSamples, buffer), 24))
        return Refuse("Error allocating output buffer.");
    if (!buffer) return Refuse("Error accessing allocated output buffer.");
    if (codes.size() > buffer->samples) return Refuse("Error setting valid sample size in output buffer.");
    const auto width = static_cast<size_t>(m_dac.BytesPerSample());
    // Little-endian: the low bytes stand first.
    for (size_t i = 0; i < codes.size(); ++i) std::memcpy(buffer->bytes.data() + i * width, &codes[i], width);
    buffer->valid = codes.size();
    return Good(m_board.PutBuffer(Subsystem::dac, buffer), 25) ||
           Refuse("Error putting output buffer back on q.");
}

// --- running ---

bool CDTHost::Start(const DataRoad& road, int dacs, bool pulsesDigitalOutput) {
    if (m_bRunning) return Refuse(runningAlreadyText);
    m_road = road;
    m_bStopped = false;
    m_bRunning = StartSubsystems(dacs) && (!pulsesDigitalOutput || PulseDigitalOutput());
    if (m_bRunning) return true;
    Stop();
    return Refuse(refusedText);
}

bool CDTHost::StartSubsystems(int dacs) {
    if (dacs == 0) {
        m_words.log.emplace_back("CDTHost::StartADC()\n");
        return Good(m_board.Start(Subsystem::adc), 26);
    }
    m_words.log.emplace_back("CDTHost::StartADCandDAC()\n");
    constexpr Subsystem both[] = {Subsystem::adc, Subsystem::dac};
    if (m_adc.startsTogether && m_dac.startsTogether) return Good(m_board.StartTogether(both), 27);
    return Good(m_board.Start(Subsystem::adc), 28) && Good(m_board.Start(Subsystem::dac), 29);
}

bool CDTHost::PulseDigitalOutput() {
    std::this_thread::sleep_for(pulseDelay);
    return Good(m_board.WriteDigital(1), 30) && Good(m_board.WriteDigital(0), 31);
}

void CDTHost::Stop() {
    m_bStopped = true;
    m_bRunning = false;
    Good(m_board.Abort(Subsystem::adc), 32);
    if (m_nDacChannels > 0) Good(m_board.Abort(Subsystem::dac), 33);
}

void CDTHost::StopFor(AcqMessage message) {
    m_bStopped = true;
    m_mailbox.Post(message);
}

void CDTHost::OnEvent(const BoardEvent& event) {
    if (m_bStopped) return;
    switch (event.kind) {
    case BoardEventKind::none:
        break;
    case BoardEventKind::bufferDone:
        OnBufferDone();
        break;
    case BoardEventKind::queueDone:
        // The end of a stimulus is no end of the recording.
        if (event.subsystem == Subsystem::adc) StopFor(AcqMessage::queueDone);
        break;
    case BoardEventKind::overrun:
        StopFor(AcqMessage::boardOverrun);
        break;
    case BoardEventKind::underrun:
        StopFor(AcqMessage::boardUnderrun);
        break;
    case BoardEventKind::gone:
        StopFor(AcqMessage::boardGone);
        break;
    }
}

void CDTHost::OnBufferDone() {
    BoardBuffer* buffer = nullptr;
    if (m_board.GetBuffer(Subsystem::adc, buffer) != boardGood) return StopFor(AcqMessage::boardRefused);
    if (!buffer) return StopFor(AcqMessage::nullBuffer);
    if (!m_road.sweep.empty()) return TakeSweep(*buffer);
    Pass(*buffer);
    if (m_board.PutBuffer(Subsystem::adc, buffer) != boardGood) StopFor(AcqMessage::boardRefused);
}

void CDTHost::TakeSweep(BoardBuffer& buffer) {
    const bool isFilled = buffer.valid >= buffer.samples && buffer.bytes.size() >= m_road.sweep.size();
    if (isFilled) std::copy_n(buffer.bytes.begin(), m_road.sweep.size(), m_road.sweep.begin());
    const bool isBack = m_board.PutBuffer(Subsystem::adc, &buffer) == boardGood;
    Stop();
    m_mailbox.Post(!isFilled ? AcqMessage::bufferNotFilled
                   : isBack  ? AcqMessage::dataReady
                             : AcqMessage::boardRefused);
}

void CDTHost::Pass(const BoardBuffer& buffer) {
    if (buffer.valid % m_nListSize != 0) return StopFor(AcqMessage::bufferNotFilled);
    if (buffer.valid == 0) return;
    const auto bytes =
        std::span(buffer.bytes).first(buffer.valid * static_cast<size_t>(m_adc.BytesPerSample()));
    if (!m_road.store->Write(bytes)) return StopFor(AcqMessage::overrun);
    if (m_road.display && !m_road.display->Write(bytes))
        m_road.skippedDisplay->store(true, std::memory_order_release);
    m_mailbox.Post(AcqMessage::dataReady);
}

}  // namespace kymora
