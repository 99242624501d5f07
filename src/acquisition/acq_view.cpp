#include "acquisition/acq_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <thread>

#include "recording/recording_recovery.h"

namespace kymora {

namespace {

constexpr const char* temporaryFaultText = "Couldn't open temporary storage file. Abandoning";
constexpr const char* slowTimebaseText = "The timebase is too slow for scroll mode to advance.\nStop the "
                                         "recording and speed up the timebase or change "
                                         "mode.";
constexpr const char* anotherRecordsText =
    "Another recording is under way. Stop it, or close its window, before you start this one.";
constexpr const char* noMemoryText = "There is not enough memory for what the disk could fall behind. Record "
                                     "fewer channels, or at a lower rate.";
constexpr const char* noRoomText =
    "There is no room for a recording on the disk. Make some, or record to another disk.";
constexpr const char* otherFileText =
    "{} is another file than at the start of the recording and is not replaced. Save under another name.";
constexpr auto storagePatience = std::chrono::milliseconds(500);
constexpr auto storageLook = std::chrono::milliseconds(20);

}  // namespace

class CAcqView::DocumentStore : public ScanStore {
  public:
    explicit DocumentStore(CAcqDoc& doc) : doc_(doc) {}
    void Store(std::span<const std::byte> scans) override { doc_.StoreScans(scans); }
    void Flush() override { doc_.FlushScans(); }

  private:
    CAcqDoc& doc_;
};

CAcqView::CAcqView(Session& session, AcqEventLoop& loop)
    : m_pDoc(std::make_unique<CAcqDoc>(session)), m_mailbox(loop), m_session(session), m_loop(loop) {
    loop.SetTarget(this);
}

CAcqView::~CAcqView() {
    m_loop.SetTarget(nullptr);
    if (m_session.recordingInterface == this) {
        m_session.recordingInterface = nullptr;
        m_session.acquisitionState = static_cast<int>(AcqState::idle);
    }
}

// --- state ---

AcqState CAcqView::State() const {
    return m_session.recordingInterface == this ? static_cast<AcqState>(m_session.acquisitionState)
                                                : AcqState::idle;
}

void CAcqView::SetState(AcqState state) {
    m_session.acquisitionState = static_cast<int>(state);
    m_session.recordingInterface = state == AcqState::idle ? nullptr : this;
    if (m_pObserver) m_pObserver->OnStateChanged();
}

bool CAcqView::MayRecord() {
    if (m_session.recordingInterface == nullptr || m_session.recordingInterface == this) return true;
    Fail(anotherRecordsText);
    return false;
}

void CAcqView::Fail(std::string_view text) {
    m_bFailed = true;
    GetHost().Failure(text);
}

int64_t CAcqView::StoredScans() const {
    return m_pStorage ? static_cast<int64_t>(m_pStorage->BytesStored() / m_nScanBytes)
                      : m_pDoc->StoredScans();
}

int64_t CAcqView::ScansLetGo() const {
    return static_cast<int64_t>((m_pStorage ? m_pStorage->BytesLetGo() : m_nLetGo) / m_nScanBytes);
}

double CAcqView::PipeFill() const {
    return m_pStorePipe
               ? static_cast<double>(m_pStorePipe->Count()) / static_cast<double>(m_pStorePipe->Slots())
               : 0.0;
}

double CAcqView::BytesPerSecond() const {
    return FrequencyKHz() * 1000.0 * static_cast<double>(m_format.bytesPerSample * ActiveChannels().size());
}

std::optional<double> CAcqView::DiskSeconds() const {
    const auto folder = m_temporaryFolder.empty() ? TemporaryFolder() : m_temporaryFolder;
    return DiskWatch(m_session.files, folder, BytesPerSecond()).SecondsLeft();
}

bool CAcqView::CheckDisk() {
    const auto seconds = DiskSeconds();
    if (m_bDisplayOnly || !seconds || *seconds > 1.0) return true;
    Fail(noRoomText);
    return false;
}

bool CAcqView::IsDiskFull() {
    const auto left = m_bDisplayOnly ? std::nullopt : DiskSeconds();
    if (!left) return false;
    if (*left <= 0.0) return true;
    const double needed = static_cast<double>(m_nScansPerSweep - StoredScans()) / (FrequencyKHz() * 1000.0);
    if (m_bWarnedOfDisk || *left > DiskWatch::warningSeconds || *left > needed) return false;
    m_bWarnedOfDisk = true;
    GetHost().Message(
        fmt::format("The disk has room for another {} of this recording.", DurationText(*left)));
    return false;
}

bool CAcqView::MaySaveAs() {
    if (m_saveAs.empty() || m_session.files.Stamp(m_saveAs) == m_saveAsStamp) return true;
    GetHost().Failure(fmt::format(otherFileText, m_saveAs.string()));
    return false;
}

void CAcqView::OnPause() {
    const AcqState state = State();
    if (state == AcqState::displayPaused) return SetState(m_beforePause);
    const bool isRecording =
        state == AcqState::recording || state == AcqState::episode || state == AcqState::triggered;
    if (!isRecording) return;
    m_beforePause = state;
    SetState(AcqState::displayPaused);
}

// --- sizes ---

std::vector<int> CAcqView::ActiveChannels() const {
    std::vector<int> active;
    for (size_t i = 0; i < m_settings.channels.size(); ++i)
        if (m_settings.channels[i].m_nChanOn) active.push_back(static_cast<int>(i));
    return active;
}

bool CAcqView::ComputeSweep() {
    const double ms =
        m_settings.m_nSweepMode == 0 ? m_settings.displaySpan : m_settings.m_dTimeLimit * 1000.0;
    const double scans = std::round(ms * FrequencyKHz()) + 1.0;
    if (!(scans <= static_cast<double>(longestRecording))) {
        const double seconds = static_cast<double>(longestRecording - 1) / (FrequencyKHz() * 1000.0);
        Fail(fmt::format("{}\nAt this rate a recording lasts {:.0f} s at most.", tooLongText,
                         std::floor(seconds)));
        return false;
    }
    m_nScansPerSweep = static_cast<int64_t>(scans);
    m_nScanBytes = m_format.ScanBytes();
    m_nSweepBytes = static_cast<uint64_t>(m_nScansPerSweep) * m_nScanBytes;
    return true;
}

size_t CAcqView::WantedBufferScans() const {
    double ms = usualBufferMs;
    // A column of a slow scroll.
    if (m_settings.m_nSweepMode == 2 && m_nDisplayWidth > 0)
        ms = std::clamp(m_settings.displaySpan / m_nDisplayWidth, usualBufferMs, longestBufferMs);
    return static_cast<size_t>(std::max(1.0, std::ceil(ms * FrequencyKHz())));
}

bool CAcqView::MakePipes(size_t bufferScans) {
    m_nBufferScans = bufferScans;
    const double scansAcross = m_settings.displaySpan * FrequencyKHz();
    if (m_settings.m_nSweepMode == 2 && m_nDisplayWidth > 0 &&
        static_cast<double>(bufferScans) * m_nDisplayWidth < scansAcross) {
        Fail(slowTimebaseText);
        return false;
    }
    const double slots =
        std::ceil(PipeSeconds() * 1000.0 * FrequencyKHz() / static_cast<double>(bufferScans));
    const size_t slotBytes = bufferScans * m_nScanBytes;
    try {
        m_pStorePipe =
            std::make_unique<CPipe>(std::max(leastStoreSlots, static_cast<size_t>(slots)), slotBytes);
        m_pDisplayPipe = std::make_unique<CPipe>(displaySlots, slotBytes);
    } catch (const std::bad_alloc&) {
        Fail(noMemoryText);
        return false;
    }
    return true;
}

// --- storage ---

bool CAcqView::BeginStorage(AcqState state, std::unique_ptr<InternalTrigger> trigger) {
    auto doc = std::make_unique<CAcqDoc>(m_session);
    FillDocument(*doc);
    if (!m_bDisplayOnly) {
        try {
            if (!doc->WriteAcqFileStart(m_temporaryFolder)) {
                m_bFailed = true;
                return false;
            }
        } catch (const FileError& error) {
            Fail(std::string(temporaryFaultText) + "\n" + error.what());
            return false;
        }
        doc->SetModifiedFlag();
    }
    // What was not saved before is overwritten, but not what could not be saved.
    if (!m_bSaveFailed) DiscardSamples();
    m_pDoc = std::move(doc);
    m_mailbox.Clear();
    m_bSkippedDisplay = m_bSkippedAny = false;
    m_nScansCame = 0;
    m_pStore = std::make_unique<DocumentStore>(*m_pDoc);
    SetState(m_bDisplayOnly ? AcqState::displayOnly : state);
    m_pStorage = std::make_unique<StorageThread>(
        *m_pStorePipe, *m_pStore, m_mailbox, StoragePlan{m_nSweepBytes, m_bDisplayOnly, std::move(trigger)});
    if (m_pObserver) m_pObserver->OnBegun();
    return true;
}

// A slow disk may still have much to take; the user sees how far it is.
void CAcqView::WaitForStorage() {
    const auto patient = std::chrono::steady_clock::now() + storagePatience;
    while (!m_pStorage->HasEnded() && std::chrono::steady_clock::now() < patient)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (m_pStorage->HasEnded()) return;
    const uint64_t waiting = std::max<uint64_t>(m_pStorePipe->Count(), 1);
    ProgressScope progress(GetHost(), "Storing what was recorded", waiting);
    while (!m_pStorage->HasEnded()) {
        progress.GoesOn(waiting - std::min<uint64_t>(waiting, m_pStorePipe->Count()));
        std::this_thread::sleep_for(storageLook);
    }
}

void CAcqView::EndStorage() {
    m_pStorage->Stop();
    WaitForStorage();
    m_pStorage->Join();
    const std::string fault = m_pStorage->Fault();
    m_nBeforeTrigger = m_pStorage->BytesBeforeTrigger();
    m_nLetGo = m_pStorage->BytesLetGo();
    m_pStorage.reset();
    m_pStorePipe.reset();
    m_pDisplayPipe.reset();
    m_mailbox.Clear();
    if (!m_bDisplayOnly) m_pDoc->TakeStoredScans();
    KeepTail();
    if (!fault.empty()) Fail("The samples could not be written. Recording stopped.\n" + fault);
}

std::optional<int64_t> CAcqView::ScansBeforeTrigger() const {
    const auto bytes = m_pStorage ? m_pStorage->BytesBeforeTrigger() : m_nBeforeTrigger;
    return bytes ? std::optional(static_cast<int64_t>(*bytes / m_nScanBytes)) : std::nullopt;
}

void CAcqView::KeepTail() {
    if (m_pDoc->TemporaryPath().empty()) return;
    m_pDoc->KeepTail();
    if (!m_pStorage) m_pDoc->FlushTail();
}

void CAcqView::GiveUp() {
    if (!IsIdle()) return;
    DiscardSamples();
    m_bUnsaved = m_bSaveFailed = false;
}

void CAcqView::DiscardSamples() {
    try {
        m_pDoc->DiscardRecording();
    } catch (const FileError& error) {
        // Gone already, or its folder is.
        GetHost().Log(std::string(error.what()) + "\n");
    }
}

void CAcqView::SpanUnsetAxes() {
    TakeFormat();
    const AcquisitionSettings unset(m_settings.m_eRecordingType);
    for (size_t i = 0; i < m_settings.channels.size(); ++i) {
        AcquisitionChannel& channel = m_settings.channels[i];
        if (channel.axisA != unset.channels[i].axisA || channel.axisB != unset.channels[i].axisB) continue;
        channel.axisA = m_format.high / channel.m_dChanGain;
        channel.axisB = m_format.low / channel.m_dChanGain;
    }
}

void CAcqView::FillTraces(CAcqDoc& doc) const {
    const std::vector<int> active = ActiveChannels();
    doc.m_eRecordingType = m_settings.m_eRecordingType;
    doc.m_nChannels = static_cast<uint32_t>(active.size());
    doc.m_dSampleInterval = m_settings.m_dSampleInterval;
    doc.fileComment = m_settings.notes;
    doc.view.viewStart = 0.0;
    doc.view.viewEnd = m_settings.displaySpan;
    for (size_t i = 0; i < active.size(); ++i) {
        const AcquisitionChannel& channel = m_settings.channels[static_cast<size_t>(active[i])];
        doc.m_dChannelGain[i] = channel.m_dChanGain;
        TraceSettings& trace = doc.traces[i];
        trace.axisTop = channel.axisA;
        trace.axisBottom = channel.axisB;
        trace.traceLabel = channel.label;
        trace.traceColour = channel.colour;
        trace.traceUnits = Unit();
        trace.traceGain = channel.m_dChanGain;
        if (!channel.note.empty()) trace.axisLabel = channel.note;
    }
}

// --- display ---

void CAcqView::OnDataReady(uint32_t count) {
    if (m_bSkippedDisplay.exchange(false, std::memory_order_acquire)) {
        m_bSkippedAny = true;
        size_t bytes = 0;
        for (; !m_pDisplayPipe->Peek().empty(); m_pDisplayPipe->Advance())
            bytes += m_pDisplayPipe->Peek().size();
        // There is room now: what was refused came before all that will be read.
        bytes += m_pDisplayPipe->TakeRefused();
        m_nScansCame += static_cast<int64_t>(bytes / m_nScanBytes);
        if (m_pObserver) m_pObserver->OnSkipped(m_nScansCame);
        return;
    }
    for (; count > 0; --count) {
        const auto scans = m_pDisplayPipe->Peek();
        if (scans.empty()) return;
        const auto came = static_cast<int64_t>(scans.size() / m_nScanBytes);
        m_nScansCame += came;
        if (m_pObserver && State() == AcqState::displayPaused)
            m_pObserver->OnScansPassed(came);
        else if (m_pObserver)
            m_pObserver->OnScans(scans);
        m_pDisplayPipe->Advance();
    }
}

}  // namespace kymora
