#include "acquisition/dt_acq_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <system_error>

#include "import/open_document.h"
#include "recording/output_pulse_buffers.h"

namespace kymora {

namespace {

constexpr const char* noThreadText = "Failed to create host window in recording thread";
constexpr const char* fewPointsText =
    "We need at least 9 points on the screen. Slow the timebase or increase the sample frequency.";
constexpr const char* noOutputFileText = "No file selected as source for output.";
constexpr const char* inexactFrequencyText = "NOTE: the output frequency cannot be set exactly to that "
                                             "specified in the file. The output timing will not "
                                             "exactly match the file.";
constexpr const char* cutStimulusText =
    "The stimulus was not built to its end, and nothing is recorded with a part of it. Allow the memory, or "
    "make the stimulus shorter.";
constexpr double sameRate = 1e-9;  // of it

InputMode ModeOf(uint32_t stored) {
    if (stored == 0) return InputMode::singleEnded;
    return stored == 1 ? InputMode::differential : InputMode::asBoard;
}

}  // namespace

CDTAcqView::CDTAcqView(Session& session, AcqEventLoop& loop, std::unique_ptr<Board> board)
    : CAcqView(session, loop), m_pBoard(std::move(board)), m_strBoardName(m_pBoard->Name()) {}

CDTAcqView::~CDTAcqView() {
    m_pThread.reset();
    // The board writes into the pipes no more.
    if (IsRunning()) EndStorage();
}

bool CDTAcqView::OnHost(const std::function<bool(CDTHost&)>& work) {
    bool isGood = false;
    HostWords words;
    m_pThread->Call([&](CDTHost& host) {
        isGood = work(host);
        words = host.TakeWords();
    });
    for (const std::string& line : words.log) GetHost().Log(line);
    for (const std::string& text : words.messages) GetHost().Message(text);
    if (!isGood) m_bFailed = true;
    return isGood;
}

bool CDTAcqView::OpenBoard() {
    try {
        m_pThread = std::make_unique<CDTThread>(*m_pBoard, m_mailbox);
    } catch (const std::system_error&) {
        Fail(noThreadText);
        return false;
    }
    return OnHost([this](CDTHost& host) {
        if (!host.Open()) return false;
        m_adc = host.Adc();
        m_dac = host.Dac();
        m_nDacChannels = host.DacChannels();
        m_bDigitalOutput = host.HasDigitalOutput();
        m_format.bytesPerSample = static_cast<size_t>(m_adc.BytesPerSample());
        return true;
    });
}

ConfigurationTarget::Board CDTAcqView::BoardTarget() const {
    return {m_strBoardName, m_adc.channels, m_nDacChannels, m_bDigitalOutput};
}

BoardFacts CDTAcqView::Facts() {
    BoardFacts facts{m_strBoardName, m_adc, m_dac, m_nDacChannels, m_bDigitalOutput, false, {}, {}};
    // A board that runs is left alone.
    const auto ask = [this](const std::function<void(CDTHost&)>& work) {
        if (IsIdle() && m_pThread) m_pThread->Call(work);
    };
    facts.rate = [ask](Subsystem subsystem, int channels, double kHz) {
        std::optional<double> answered;
        ask([&](CDTHost& host) { answered = host.AskRate(subsystem, channels, kHz); });
        return answered;
    };
    facts.rates = [ask](Subsystem subsystem, int channels) {
        std::optional<FrequencyRange> range;
        ask([&](CDTHost& host) { range = host.AskRates(subsystem, channels); });
        return range;
    };
    return facts;
}

// --- checks before a start ---

bool CDTAcqView::PrepareStart() {
    return CheckScreen() && CheckChannels() && ConfigureBoard() && CheckDisk() && BuildOutput();
}

bool CDTAcqView::CheckScreen() {
    if (m_settings.displaySpan * FrequencyKHz() + 1.0 >= leastPoints) return true;
    Fail(fewPointsText);
    return false;
}

bool CDTAcqView::CheckChannels() {
    const std::string fault = ChannelFault(m_settings, m_adc, m_strBoardName);
    if (!fault.empty()) Fail(fault);
    return fault.empty();
}

void CDTAcqView::TakeFormat() {
    const std::vector<int> active = ActiveChannels();
    m_format.channels = active.size();
    m_format.encoding = m_adc.encoding;
    m_format.bits = m_adc.resolutionBits;
    m_format.low = m_adc.voltLow;
    m_format.high = m_adc.voltHigh;
    for (size_t i = 0; i < active.size(); ++i)
        m_format.gains[i] = m_settings.channels[static_cast<size_t>(active[i])].m_dChanGain;
}

bool CDTAcqView::ConfigureBoard() {
    const std::vector<int> active = ActiveChannels();
    double interval = m_settings.m_dSampleInterval;
    TakeFormat();
    const bool isSet = OnHost([&](CDTHost& host) {
        if (!host.ConfigureInputs(active, ModeOf(m_settings.m_nInputMode), interval)) return false;
        m_settings.m_dSampleInterval = interval;
        return host.SetBufferSize(ScansOfBuffer());
    });
    if (!isSet || !ConfigureOutputs()) return false;
    return OnHost([this](CDTHost& host) { return host.ChooseTrigger(NeedsExternalTrigger(), m_nDacs); });
}

// --- stimulus ---

bool CDTAcqView::ConfigureOutputs() {
    m_nDacs = std::min(OutputsInUse(), m_nDacChannels);
    m_pOutputSource.reset();
    if (m_nDacs == 0) return true;
    const bool isFile = m_settings.m_nStimMode == 2;
    if (isFile && !OpenOutputFile()) return false;
    const double wanted = isFile ? 1.0 / m_pOutputSource->sampleInterval : m_settings.m_dOutputFreqKHz;
    m_dOutputKHz = wanted;
    if (!OnHost([this](CDTHost& host) { return host.ConfigureOutputs(m_nDacs, m_dOutputKHz); })) return false;
    if (isFile && std::abs(m_dOutputKHz - wanted) > sameRate * wanted)
        GetHost().Message(inexactFrequencyText);
    return true;
}

bool CDTAcqView::OpenOutputFile() {
    if (m_settings.m_strOutputFile.empty()) {
        Fail(noOutputFileText);
        return false;
    }
    m_pOutputSource =
        OpenDocument(GetSession(), m_settings.m_strOutputFile, {OpenFor::reading, OpenTalk::logs});
    if (!m_pOutputSource) {
        Fail(fmt::format("Couldn't open file {}", m_settings.m_strOutputFile));
        return false;
    }
    m_nDacs = std::min(m_nDacs, m_pOutputSource->traceCount);
    return true;
}

bool CDTAcqView::BuildOutput() {
    if (m_nDacs == 0) return true;
    const DacRange range{m_dac.voltHigh, m_dac.voltLow, 1 << m_dac.resolutionBits, m_dac.encoding};
    if (!OnHost([](CDTHost& host) { return host.ClearOutput(); })) return false;
    return BuildStimulus(range);
}

bool CDTAcqView::BuildStimulus(const DacRange& range) {
    return m_pOutputSource ? BuildFile(range) : BuildPulses(range);
}

bool CDTAcqView::Queue(std::span<const int32_t> codes) {
    return OnHost([codes](CDTHost& host) { return host.QueueOutput(codes); });
}

bool CDTAcqView::BuildPulses(const DacRange& range) {
    PulseCodes codes(std::span(m_settings.dac).first(static_cast<size_t>(m_nDacs)), m_nSeqIndex, range,
                     {m_dOutputKHz, m_settings.m_bTimeInSeconds}, &GetHost());
    bool isGood = true;
    const bool isWhole = BuildPulseBuffers(
        codes, GetHost(), [&](std::span<const int32_t> buffer) { return isGood = Queue(buffer); });
    if (!isWhole) Fail(cutStimulusText);
    return isWhole && isGood;
}

bool CDTAcqView::BuildFile(const DacRange& range) {
    const CDataDoc& source = *m_pOutputSource;
    const int first =
        std::min(static_cast<int>(m_settings.m_nOutputSourceTrace), source.traceCount - m_nDacs);
    std::vector<int> traces(static_cast<size_t>(m_nDacs));
    std::iota(traces.begin(), traces.end(), std::max(first, 0));
    int64_t from = 0, end = source.GetLength();
    if (m_settings.outputTraceSource != 0 && source.view.viewEnd > source.view.viewStart) {
        from = std::clamp<int64_t>(source.PositionOf(source.view.viewStart), 0, end);
        end = std::clamp<int64_t>(source.PositionOf(source.view.viewEnd) + 1, from, end);
    }
    std::vector<double> unitsPerVolt;
    for (const int trace : traces)
        unitsPerVolt.push_back(UnitsPerVolt(source.traces[static_cast<size_t>(trace)].traceUnits));
    FileCodes codes(*m_pOutputSource, from, end - from, traces, m_nDacs, range, std::move(unitsPerVolt));
    bool isGood = true;
    const bool isBuilt = BuildFileBuffers(
        codes, GetHost(), [&](std::span<const int32_t> buffer) { return isGood = Queue(buffer); });
    if (!isBuilt) Fail(cutStimulusText);
    return isBuilt && isGood;
}

void CDTAcqView::AdvanceSequence() {
    bool hasSequence = false;
    for (uint32_t i = 0; i < m_settings.m_nDacInUse && i < m_settings.dac.size(); ++i)
        for (const COutputPulse& pulse : m_settings.dac[i].pulses)
            hasSequence = hasSequence || pulse.HasSequence();
    if (hasSequence && !m_bSequencePaused) ++m_nSeqIndex;
}

// --- the board ---

bool CDTAcqView::StartBoard() {
    const DataRoad road{m_pStorePipe.get(), m_pObserver ? m_pDisplayPipe.get() : nullptr, &m_bSkippedDisplay};
    const bool pulses = m_settings.m_bDigitalTrigOut && m_bDigitalOutput;
    return OnHost([&](CDTHost& host) { return host.Start(road, m_nDacs, pulses); });
}

bool CDTAcqView::StartSweep(std::span<std::byte> sweep) {
    DataRoad road;
    road.sweep = sweep;
    const bool pulses = m_settings.m_bDigitalTrigOut && m_bDigitalOutput;
    return OnHost([&](CDTHost& host) { return host.Start(road, m_nDacs, pulses); });
}

void CDTAcqView::StopBoard() {
    OnHost([](CDTHost& host) {
        host.Stop();
        return true;
    });
}

void CDTAcqView::FillDocument(CAcqDoc& doc) const {
    FillTraces(doc);
    doc.m_strBoardName = m_strBoardName;
    doc.m_fVoltHigh = m_adc.voltHigh;
    doc.m_fVoltLow = m_adc.voltLow;
    doc.m_nEncoding = m_format.bytesPerSample == 4 ? wideSamples : static_cast<uint32_t>(m_adc.encoding);
    doc.m_nResolutionBits = m_adc.resolutionBits;
}

}  // namespace kymora
