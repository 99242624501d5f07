#include "acquisition/ard_acq_view.h"

#include <fmt/format.h>

#include <array>
#include <system_error>

#include "acquisition/com_port_id.h"

namespace kymora {

namespace {

constexpr const char* openPortText =
    "Failed to open {} for Arduino communication. Is the Arduino plugged in?";
constexpr const char* channelsText =
    "Changing the number of active channels will delete unsaved data. Continue?";
constexpr const char* noArduinoText =
    "No serial port calls itself an Arduino. Choose the port of the board (port=PATH){}";
constexpr const char* othersText =
    "{} is also open in {}. What that reads is missing in a recording: close it there first.";
// Scans of a slot, so that the screen goes on at a usable pace at slow rates, too.
constexpr std::array<size_t, arduinoIntervals.size()> slotScans = {2,  2,  2,  2,   2,   5,
                                                                   10, 20, 50, 100, 200, 500};

}  // namespace

uint32_t HighestRateIndex(uint32_t channels) { return channels <= 1 ? 11 : channels == 2 ? 10 : 9; }

bool LimitRate(AcquisitionSettings& settings) {
    const uint32_t highest = HighestRateIndex(settings.ChannelsOn());
    if (settings.arduinoRate <= highest) return false;
    settings.SetArduinoRate(highest);
    return true;
}

CArdAcqView::CArdAcqView(Session& session, AcqEventLoop& loop, const SerialBoardSettings& board)
    : CHandAcqView(session, loop), m_board(board) {
    m_settings = AcquisitionSettings(RecordingType::arduino);
    m_format.bytesPerSample = 2;
}

CArdAcqView::~CArdAcqView() { End(); }

// The path; empty, told to the user, where it is not clear.
std::string CArdAcqView::FindPort() {
    m_strPortName = m_board.port;
    if (!m_board.port.empty()) return CComPortID::PathOf(m_board.port);
    const CComPortID found;
    if (!found.HasList()) {
        GetHost().Message(CComPortID::noListText);
        m_strPortName = CComPortID::assumedName;
        return CComPortID::PathOf(m_strPortName);
    }
    if (const ComPort* const arduino = found.Arduino()) {
        m_strPortName = arduino->Shown();
        return arduino->path;
    }
    std::string names;
    for (const ComPort& port : found.Ports()) names += (names.empty() ? ": " : ", ") + port.Shown();
    Fail(fmt::format(noArduinoText,
                     names.empty() ? ". There is none now: is the board plugged in?" : names + "."));
    return {};
}

// One that does not lock the port could take bytes of the board away.
void CArdAcqView::TellOthers(const std::string& path) {
    const std::vector<std::string> others = ProgramsWith(path);
    if (!others.empty()) GetHost().Message(fmt::format(othersText, m_strPortName, fmt::join(others, ", ")));
}

bool CArdAcqView::OpenPort() {
    const std::string path = FindPort();
    if (path.empty()) return false;
    try {
        m_Serial.Open(path, {});
        TellOthers(path);
        return true;
    } catch (const SerialError& error) {
        Fail(fmt::format(fmt::runtime(openPortText), m_strPortName) + "\n" + error.what());
        return false;
    }
}

bool CArdAcqView::PrepareStart() {
    const uint32_t channels = m_settings.ChannelsOn();
    if (channels < 1 || channels > mostChannels) {
        Fail(fmt::format("{} channels are on, and the board records 1 to {}.", channels, mostChannels));
        return false;
    }
    if (LimitRate(m_settings)) GetHost().Message(rateLimitText);
    m_settings.SetChannelsOn(channels);
    m_settings.SetArduinoRate(m_settings.arduinoRate);
    TakeFormat();
    // A port that has failed is opened anew.
    return m_Serial.IsOpen() || OpenPort();
}

void CArdAcqView::TakeFormat() {
    m_format.channels = m_settings.ChannelsOn();
    m_format.encoding = offsetBinary;
    m_format.bits = m_board.bits;
    m_format.low = 0.0;
    m_format.high = m_board.volts;
}

const char* CArdAcqView::ClearQuestion(const AcquisitionSettings& now) const {
    return HasUnsaved() && now.ChannelsOn() != m_settings.ChannelsOn() ? channelsText : nullptr;
}

size_t CArdAcqView::SlotScans() const { return slotScans[m_settings.arduinoRate]; }

bool CArdAcqView::StartSource(const DataRoad& road) {
    ArdPlan plan;
    plan.channels = static_cast<int>(m_format.channels);
    plan.rateIndex = m_settings.arduinoRate;
    plan.slotBytes = BufferScans() * m_format.ScanBytes();
    plan.scansPerSecond = 1000.0 / m_settings.m_dSampleInterval;
    plan.speed = m_board.speed;
    try {
        m_pReader = std::make_unique<ArdReader>(m_Serial, plan, road, m_mailbox);
        return true;
    } catch (const std::system_error& error) {
        Fail(fmt::format("Could not create thread for reading the board. {}", error.what()));
        return false;
    }
}

void CArdAcqView::StopSource() {
    m_pReader->Stop();
    if (!m_pReader->Fault().empty()) m_Serial.Close();
    m_pReader.reset();
}

void CArdAcqView::FillDocument(CAcqDoc& doc) const {
    FillTraces(doc);
    doc.m_strBoardName = m_strPortName;
    doc.m_fVoltHigh = static_cast<float>(m_format.high);
    doc.m_fVoltLow = static_cast<float>(m_format.low);
    doc.m_nEncoding = offsetBinary;
    doc.m_nResolutionBits = m_format.bits;
}

}  // namespace kymora
