#include "acquisition/mic_acq_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <system_error>

namespace kymora {

namespace {

constexpr const char* couplingText = "You are running microphone/line-in acquisition.\nThis will be "
                                     "AC-coupled. The exact properties depend upon "
                                     "your computer hardware.";
constexpr const char* clearText = "Warning: this will clear the data. Continue?";
constexpr const char* noAudioThreadText = "Could not create thread for audio recording.";
// So much the device keeps while the machine is busy, s.
constexpr double deviceSeconds = 0.5;

}  // namespace

CMicAcqView::CMicAcqView(Session& session, AcqEventLoop& loop, std::shared_ptr<SoundSystem> sound,
                         std::string device)
    : CHandAcqView(session, loop), m_pSound(std::move(sound)), m_strDevice(std::move(device)) {
    m_settings = AcquisitionSettings(RecordingType::microphone);
}

CMicAcqView::~CMicAcqView() { End(); }

bool CMicAcqView::OpenDevice() {
    if (!m_pSound) {
        Fail(noSoundLibraryText);
        return false;
    }
    const auto devices = m_pSound->Devices();
    const bool isThere = std::any_of(devices.begin(), devices.end(), [this](const SoundDevice& one) {
        return one.inputs > 0 && (m_strDevice.empty() ? one.isUsualInput : one.name == m_strDevice);
    });
    // What there is is told by who opens it.
    if (!isThere) return Open({});
    GetHost().Notice("soundInput", Host::usualTitle, couplingText);
    return true;
}

bool CMicAcqView::Open(const SoundFormat& format) {
    m_pInput.reset();
    try {
        m_pInput = m_pSound->OpenInput(m_strDevice, format, deviceSeconds);
        return true;
    } catch (const SoundError& error) {
        Fail(error.what());
        return false;
    }
}

bool CMicAcqView::PrepareStart() {
    m_settings.channels[0].m_nChanOn = true;
    SoundFormat format;
    format.channels = m_settings.channels[1].m_nChanOn ? 2 : 1;
    format.bits = m_settings.m_nResolutionBits;
    format.rate = static_cast<int>(std::lround(1000.0 * FrequencyKHz()));
    if (!m_pSound) {
        Fail(noSoundLibraryText);
        return false;
    }
    if (!Open(format)) return false;
    if (m_pInput->Rate() != format.rate)
        GetHost().Message(
            fmt::format("The device records at {} Hz and not at {} Hz. That is the rate of the recording.",
                        m_pInput->Rate(), format.rate));
    m_settings.m_dSampleInterval = 1000.0 / m_pInput->Rate();
    TakeFormat();
    return CheckLength();
}

void CMicAcqView::TakeFormat() {
    const int bits = m_settings.m_nResolutionBits;
    m_format.channels = m_settings.channels[1].m_nChanOn ? 2 : 1;
    m_format.bytesPerSample = static_cast<size_t>(bits / 8);
    m_format.bits = bits;
    m_format.encoding = bits == 16 ? twosComplement : offsetBinary;
    // Sound has no volts: values are codes.
    m_format.high = std::ldexp(1.0, bits - 1);
    m_format.low = -m_format.high;
}

const char* CMicAcqView::ClearQuestion(const AcquisitionSettings& now) const {
    const bool isSame = now.channels[1].m_nChanOn == m_settings.channels[1].m_nChanOn &&
                        now.m_nResolutionBits == m_settings.m_nResolutionBits &&
                        now.m_dSampleInterval == m_settings.m_dSampleInterval;
    return HasUnsaved() && !isSame ? clearText : nullptr;
}

// A wave file states its bytes in 32 bits.
bool CMicAcqView::CheckLength() {
    const double most = std::numeric_limits<uint32_t>::max() / BytesPerSecond() - 1.0;
    const double wanted =
        m_settings.m_nSweepMode == 0 ? m_settings.displaySpan / 1000.0 : m_settings.m_dTimeLimit;
    if (wanted <= most) return true;
    Fail(fmt::format("A sound recording of {:g} s would be longer than its file can say. At this rate it "
                     "lasts {:.0f} s at "
                     "most: set a shorter limit.",
                     wanted, std::floor(most)));
    return false;
}

bool CMicAcqView::StartSource(const DataRoad& road) {
    try {
        m_pThread = std::make_unique<CRecordAudioThread>(*m_pInput, BufferScans() * m_format.ScanBytes(),
                                                         road, m_mailbox);
        return true;
    } catch (const std::system_error&) {
        Fail(noAudioThreadText);
        return false;
    }
}

void CMicAcqView::StopSource() {
    m_pThread.reset();
    m_pInput.reset();
}

// Nobody knows what a code is.
std::string CMicAcqView::Unit() const { return TraceSettings::Default(0).traceUnits; }

void CMicAcqView::FillDocument(CAcqDoc& doc) const {
    FillTraces(doc);
    doc.m_nBytesPerSample = static_cast<uint16_t>(m_format.bytesPerSample);
    doc.m_nResolutionBits = m_format.bits;
}

}  // namespace kymora
