#include "acquisition/comedi_board.h"

#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>

namespace kymora {

namespace {

constexpr unsigned int voltUnit = 0;                       // UNIT_volt
constexpr double slowestScans = 0.3, fastestScans = 10e6;  // Hz, as far as a period of whole ns can tell it
constexpr unsigned int shortestNs = 100, longestNs = 4000000000u;
constexpr int testRounds = 4;  // each mends what the one before has found
constexpr auto outputLook = std::chrono::milliseconds(5);

void CopySample(std::byte* to, size_t toWidth, const std::byte* from, size_t fromWidth) {
    uint32_t code = 0;
    std::memcpy(&code, from, fromWidth);
    std::memcpy(to, &code, toWidth);
}

}  // namespace

ComediBoard::ComediBoard(const ComediLibrary& library, const std::string& file)
    : m_library(library), m_pDevice(library.open(file.c_str())) {
    if (!m_pDevice) return;
    const int handle = m_library.fileno(m_pDevice);
    ::fcntl(handle, F_SETFL, ::fcntl(handle, F_GETFL) | O_NONBLOCK);
    FindSide(Subsystem::adc, COMEDI_SUBD_AI, SDF_CMD_READ);
    FindSide(Subsystem::dac, COMEDI_SUBD_AO, SDF_CMD_WRITE);
    m_nDigital = m_library.findSubdevice(m_pDevice, COMEDI_SUBD_DO, 0);
    if (m_nDigital < 0) m_nDigital = m_library.findSubdevice(m_pDevice, COMEDI_SUBD_DIO, 0);
}

ComediBoard::~ComediBoard() {
    if (!m_pDevice) return;
    for (const Subsystem subsystem : {Subsystem::adc, Subsystem::dac})
        if (SideOf(subsystem).isRunning) Abort(subsystem);
    m_library.close(m_pDevice);
}

// --- what it has ---

bool ComediBoard::FindSide(Subsystem subsystem, int type, int streams) {
    Side& side = SideOf(subsystem);
    for (unsigned int from = 0;; from = static_cast<unsigned int>(side.subdevice) + 1) {
        side.subdevice = m_library.findSubdevice(m_pDevice, type, from);
        if (side.subdevice < 0) return false;
        const int flags = m_library.flags(m_pDevice, static_cast<unsigned int>(side.subdevice));
        if ((flags & streams) == 0) continue;
        side.width = (static_cast<unsigned int>(flags) & SDF_LSAMPL) != 0 ? 4 : 2;
        break;
    }
    const auto subdevice = static_cast<unsigned int>(side.subdevice);
    side.channels = m_library.channels(m_pDevice, subdevice);
    side.bits = std::bit_width(m_library.maxData(m_pDevice, subdevice, 0));
    ChooseRange(side);
    return true;
}

// The widest one in volts. The greatest code stands for its upper end.
void ComediBoard::ChooseRange(Side& side) {
    const auto subdevice = static_cast<unsigned int>(side.subdevice);
    double widest = 0.0;
    for (int i = 0; i < m_library.rangeCount(m_pDevice, subdevice, 0); ++i) {
        const ComediRange* const range =
            m_library.range(m_pDevice, subdevice, 0, static_cast<unsigned int>(i));
        if (!range || range->unit != voltUnit || !(range->max - range->min > widest)) continue;
        widest = range->max - range->min;
        const double codes = std::ldexp(1.0, side.bits);
        side.range = static_cast<unsigned int>(i);
        side.low = range->min;
        side.high = range->min + widest * codes / (codes - 1.0);
    }
}

std::string ComediBoard::Name() const {
    const char* const name = m_pDevice ? m_library.boardName(m_pDevice) : nullptr;
    return name ? name : "Comedi";
}

bool ComediBoard::Has(Subsystem subsystem) {
    if (!m_pDevice) return false;
    return subsystem == Subsystem::digitalOut ? m_nDigital >= 0 : SideOf(subsystem).subdevice >= 0;
}

BoardStatus ComediBoard::Open(Subsystem subsystem) {
    if (!Has(subsystem)) return boardNoSubsystem;
    if (subsystem != Subsystem::digitalOut) return boardGood;
    const auto digital = static_cast<unsigned int>(m_nDigital);
    return m_library.configureDigital(m_pDevice, digital, 0, COMEDI_OUTPUT) < 0 ? boardNotSupported
                                                                                : boardGood;
}

BoardStatus ComediBoard::GetCapabilities(Subsystem subsystem, SubsystemCapabilities& capabilities) {
    if (!Has(subsystem)) return boardNoSubsystem;
    SubsystemCapabilities has;
    has.supportsSingleValue = true;
    has.channels = 1;
    if (subsystem != Subsystem::digitalOut) {
        const Side& side = SideOf(subsystem);
        comedi_cmd command{};
        has.hasInternalClock = m_library.timedCommand(m_pDevice, static_cast<unsigned int>(side.subdevice),
                                                      &command, 1, 1000000) >= 0;
        has.supportsBuffering = has.supportsMessages = true;
        has.channels = side.channels;
        has.resolutionBits = side.bits;
        has.voltLow = static_cast<float>(side.low);
        has.voltHigh = static_cast<float>(side.high);
    }
    if (subsystem == Subsystem::adc) {
        const auto flags = static_cast<unsigned int>(
            m_library.flags(m_pDevice, static_cast<unsigned int>(SideOf(subsystem).subdevice)));
        has.differential = (flags & SDF_DIFF) != 0 ? has.channels : 0;
        has.singleEnded = has.differential == 0 || (flags & SDF_GROUND) != 0 ? has.channels : 0;
    }
    capabilities = has;
    return boardGood;
}

// What a driver really can, it says of the command.
BoardStatus ComediBoard::GetFrequencyRange(Subsystem, int, FrequencyRange& range) {
    range = {slowestScans, fastestScans};
    return boardGood;
}

// --- how it is set ---

BoardStatus ComediBoard::SetDataFlow(Subsystem subsystem, DataFlow flow) {
    const bool isSingle = flow == DataFlow::singleValue;
    return isSingle == (subsystem == Subsystem::digitalOut) ? boardGood : boardNotSupported;
}

BoardStatus ComediBoard::SetInputMode(InputMode mode) {
    SubsystemCapabilities has;
    GetCapabilities(Subsystem::adc, has);
    if (mode == InputMode::differential && has.differential == 0) return boardNotSupported;
    const bool isDifferential =
        mode == InputMode::differential || (mode == InputMode::asBoard && has.singleEnded == 0);
    m_nReference = isDifferential ? AREF_DIFF : AREF_GROUND;
    return boardGood;
}

BoardStatus ComediBoard::SetChannelListSize(Subsystem subsystem, int size) {
    Side& side = SideOf(subsystem);
    if (size < 1 || size > side.channels) return boardBadValue;
    side.list.assign(static_cast<size_t>(size), 0);
    return boardGood;
}

BoardStatus ComediBoard::SetChannelListEntry(Subsystem subsystem, int entry, int channel, double gain) {
    Side& side = SideOf(subsystem);
    if (entry < 0 || entry >= static_cast<int>(side.list.size()) || channel < 0 || channel >= side.channels ||
        gain != 1.0)
        return boardBadValue;
    const unsigned int reference = subsystem == Subsystem::adc ? m_nReference : AREF_GROUND;
    side.list[static_cast<size_t>(entry)] =
        CR_PACK(static_cast<unsigned int>(channel), side.range, reference);
    return boardGood;
}

// Of a scan, ns.
double ComediBoard::Period(const Side& side) const {
    const comedi_cmd& command = side.command;
    if (command.scan_begin_src == TRIG_TIMER) return command.scan_begin_arg;
    return static_cast<double>(command.convert_arg) * static_cast<double>(side.list.size());
}

BoardStatus ComediBoard::SetClock(Subsystem subsystem, double wanted, double& answered) {
    Side& side = SideOf(subsystem);
    const double period = std::round(1e9 / wanted);
    if (!(period >= shortestNs && period <= longestNs)) return boardBadValue;
    side.command = {};
    const auto subdevice = static_cast<unsigned int>(side.subdevice);
    const auto channels = static_cast<unsigned int>(side.list.size());
    if (m_library.timedCommand(m_pDevice, subdevice, &side.command, channels,
                               static_cast<unsigned int>(period)) < 0)
        return boardNotSupported;
    side.command.chanlist = side.list.data();
    side.command.chanlist_len = channels;
    // The driver puts the nearest time there is in the place of the one that was wanted.
    for (int round = 0; round < testRounds && m_library.testCommand(m_pDevice, &side.command) != 0; ++round) {
    }
    if (!(Period(side) > 0.0)) return boardNotSupported;
    answered = 1e9 / Period(side);
    return boardGood;
}

BoardStatus ComediBoard::SetTrigger(Subsystem subsystem, TriggerSource source) {
    SideOf(subsystem).trigger = source;
    return boardGood;
}

BoardStatus ComediBoard::Configure(Subsystem subsystem) {
    Side& side = SideOf(subsystem);
    if (side.isRunning) return boardBusy;
    const bool isInput = subsystem == Subsystem::adc;
    const bool isExternal = side.trigger == TriggerSource::external;
    side.command.start_src = isExternal ? TRIG_EXT : isInput ? TRIG_NOW : TRIG_INT;
    side.command.start_arg = 0;
    side.command.stop_src = TRIG_NONE;
    side.command.stop_arg = 0;
    for (int round = 0; round < testRounds; ++round)
        if (m_library.testCommand(m_pDevice, &side.command) == 0) return boardGood;
    return boardNotSupported;
}

// --- running ---

BoardStatus ComediBoard::Start(Subsystem subsystem) {
    Side& side = SideOf(subsystem);
    if (side.isRunning) return boardBusy;
    const auto subdevice = static_cast<unsigned int>(side.subdevice);
    if (subsystem == Subsystem::adc) {
        m_nRead = 0;
        m_pFilling = nullptr;
    } else {
        m_output.clear();
        m_nWritten = 0;
        const BufferQueue& ready = Of(Subsystem::dac).ready;
        const auto width = static_cast<size_t>(BytesPerSample(Subsystem::dac));
        for (size_t b = 0; b < ready.Count(); ++b)
            for (size_t i = 0; i < ready.At(b)->valid; ++i) {
                m_output.resize(m_output.size() + side.width);
                CopySample(&m_output[m_output.size() - side.width], side.width,
                           &ready.At(b)->bytes[i * width], width);
            }
        side.command.stop_src = TRIG_COUNT;
        side.command.stop_arg = static_cast<unsigned int>(m_output.size() / side.width / side.list.size());
    }
    if (m_library.command(m_pDevice, &side.command) < 0) return boardNotSupported;
    side.isRunning = true;
    if (subsystem == Subsystem::adc) return boardGood;
    if (!FeedOutputs()) return boardNotSupported;
    const bool waits = side.trigger == TriggerSource::external;
    return waits || m_library.internalTrigger(m_pDevice, subdevice, 0) >= 0 ? boardGood : boardNotSupported;
}

BoardStatus ComediBoard::StartTogether(std::span<const Subsystem>) { return boardNotSupported; }

BoardStatus ComediBoard::Abort(Subsystem subsystem) {
    Side& side = SideOf(subsystem);
    if (!side.isRunning) return boardGood;
    side.isRunning = false;
    if (subsystem == Subsystem::adc && m_pFilling) {
        PutBuffer(Subsystem::adc, m_pFilling);
        m_pFilling = nullptr;
    }
    return m_library.cancel(m_pDevice, static_cast<unsigned int>(side.subdevice)) < 0 ? boardGoneAway
                                                                                      : boardGood;
}

BoardStatus ComediBoard::WriteDigital(uint32_t value) {
    if (m_nDigital < 0) return boardNoSubsystem;
    return m_library.writeDigital(m_pDevice, static_cast<unsigned int>(m_nDigital), 0, value & 1u) < 0
               ? boardNotSupported
               : boardGood;
}

// Writes as much as the driver takes; false where it takes nothing any more.
bool ComediBoard::FeedOutputs() {
    const int handle = m_library.fileno(m_pDevice);
    while (m_nWritten < m_output.size()) {
        const ssize_t n = m_library.write(handle, m_output.data() + m_nWritten, m_output.size() - m_nWritten);
        if (n <= 0) return n == 0 || errno == EAGAIN || errno == EINTR;
        m_nWritten += static_cast<size_t>(n);
    }
    return true;
}

BoardEvent ComediBoard::Gone(BoardEventKind kind, Subsystem subsystem) {
    for (const Subsystem one : {Subsystem::adc, Subsystem::dac}) Abort(one);
    return {kind, subsystem};
}

// Takes what was read into the buffer; true when that is full.
bool ComediBoard::TakeRead(size_t bytes) {
    const Side& side = SideOf(Subsystem::adc);
    m_nRead += bytes;
    if (m_nRead < m_pFilling->samples * side.width) return false;
    const auto width = static_cast<size_t>(BytesPerSample(Subsystem::adc));
    for (size_t i = 0; i < m_pFilling->samples; ++i)
        CopySample(&m_pFilling->bytes[i * width], width, &m_read[i * side.width], side.width);
    m_pFilling->valid = m_pFilling->samples;
    Of(Subsystem::adc).done.Put(m_pFilling);
    m_pFilling = nullptr;
    m_nRead = 0;
    return true;
}

BoardEvent ComediBoard::ReadInputs() {
    if (!m_pFilling) m_pFilling = Of(Subsystem::adc).ready.Get();
    if (!m_pFilling) return Gone(BoardEventKind::queueDone, Subsystem::adc);
    const size_t wanted = m_pFilling->samples * SideOf(Subsystem::adc).width;
    if (m_read.size() < wanted) m_read.resize(wanted);
    const ssize_t n = m_library.read(m_library.fileno(m_pDevice), m_read.data() + m_nRead, wanted - m_nRead);
    if (n > 0)
        return {TakeRead(static_cast<size_t>(n)) ? BoardEventKind::bufferDone : BoardEventKind::none,
                Subsystem::adc};
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return {};
    // The driver ends a command that it could not keep up with by a broken pipe.
    return Gone(n < 0 && errno == EPIPE ? BoardEventKind::overrun : BoardEventKind::gone, Subsystem::adc);
}

BoardEvent ComediBoard::Wait() {
    const Side& outputs = SideOf(Subsystem::dac);
    for (;;) {
        if (outputs.isRunning && !FeedOutputs()) return Gone(BoardEventKind::underrun, Subsystem::dac);
        const bool feeds = outputs.isRunning && m_nWritten < m_output.size();
        const auto deadline = feeds ? std::optional(Waker::Clock::now() + outputLook) : std::nullopt;
        const bool reads = SideOf(Subsystem::adc).isRunning;
        if (m_waker.WaitUntil(deadline, reads ? m_library.fileno(m_pDevice) : -1)) return {};
        if (!reads) continue;
        if (const BoardEvent event = ReadInputs(); event.kind != BoardEventKind::none) return event;
    }
}

}  // namespace kymora
