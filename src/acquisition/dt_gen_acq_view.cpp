#include "acquisition/dt_gen_acq_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "acquisition/acq_faults.h"

namespace kymora {

namespace {

constexpr const char* triggerLabel = "trigger";
constexpr const char* shortSpanText = "The trigger came {:.6g} ms after arming. Of the {:.6g} ms before it "
                                      "that were asked for, so many are kept. "
                                      "The marker \"trigger\" stands where it came.";
constexpr int firstTickMs = 1, tickMs = 1000;
constexpr double mostPreTriggerBytes = 512e6;

}  // namespace

CDTGenAcqView::CDTGenAcqView(Session& session, AcqEventLoop& loop, std::unique_ptr<Board> board)
    : CDTAcqView(session, loop, std::move(board)), m_isOpen([&session](const std::filesystem::path& path) {
          return session.files.Stamp(path).has_value();
      }) {}

CDTGenAcqView::~CDTGenAcqView() {
    m_pObserver = nullptr;
    EndSeries();
    if (IsRunning()) Halt();
    // What could not be saved stays where it can be recovered.
    if (!m_bSaveFailed) DiscardSamples();
}

bool CDTGenAcqView::NeedsExternalTrigger() const {
    return Trigger() == TriggerMode::external || m_settings.m_bDigitalTrigOut;
}

SaveMode CDTGenAcqView::Saving() const {
    const auto chosen = static_cast<SaveMode>(m_settings.m_nSaveMode);
    const bool isByHand = chosen == SaveMode::byHand || chosen == SaveMode::appendByHand;
    return Trigger() == TriggerMode::repeat && isByHand ? SaveMode::fileEach : chosen;
}

const char* CDTGenAcqView::StartButton() const {
    if (!IsArming()) return "Start";
    const bool hasFired = State() == AcqState::triggered || State() == AcqState::displayPaused;
    return State() == AcqState::armed || (hasFired && m_settings.m_bRearm) ? "Disarm" : "Arm";
}

bool CDTGenAcqView::IsTaking() const { return IsRunning() && State() != AcqState::armed; }

// --- start ---

bool CDTGenAcqView::OnAcqStart() {
    if (State() == AcqState::armed) {
        AbortArm();
        return true;
    }
    if (!IsIdle()) {
        GetHost().Failure(underWayText);
        return false;
    }
    m_bEnding = m_bFailed = m_bRearming = false;
    if (!MayRecord()) return false;
    if (!m_bDisplayOnly && SavesByItself() && !Appends() && !HasBaseName()) return false;
    if (Trigger() == TriggerMode::repeat) return StartSeries();
    return StartWithChecks(IsArming() ? AcqState::armed : AcqState::recording);
}

bool CDTGenAcqView::StartWithChecks(AcqState state) {
    if (PrepareStart() && AcqStart(state)) return true;
    if (!IsIdle() && State() != AcqState::betweenEpisodes) SetState(AcqState::idle);
    return false;
}

bool CDTGenAcqView::AcqStart(AcqState state) {
    if (!ComputeSweep()) return false;
    std::string fault;
    std::unique_ptr<InternalTrigger> trigger = MakeTrigger(fault);
    if (!fault.empty()) {
        Fail(fault);
        return false;
    }
    if (!MakePipes(WantedBufferScans()) || !BeginStorage(state, std::move(trigger))) return false;
    m_bUnsaved = m_bSaveFailed = m_bTriggerNoted = false;
    if (!StartBoard()) {
        EndStorage();
        DiscardSamples();
        SetState(AcqState::idle);
        return false;
    }
    m_bWarnedOfDisk = false;
    Loop().SetTimer(watchTimer, watchMs);
    ShowStatus();
    return true;
}

double CDTGenAcqView::PreTriggerScans() const { return std::round(m_trigger.preTriggerMs * FrequencyKHz()); }

// The moment of the trigger stands in the file as a marker, and the file begins with its first scan, not with
// the arming.
void CDTGenAcqView::NoteTrigger() {
    if (std::exchange(m_bTriggerNoted, true)) return;
    const int64_t before = ScansBeforeTrigger().value_or(0);
    const double kept = static_cast<double>(before) / FrequencyKHz();
    CAcqDoc& doc = Document();
    doc.SetStartTime(GetSession().now() - std::llround(kept / 1000.0));
    const bool isShort =
        Trigger() == TriggerMode::internal && static_cast<double>(before) < PreTriggerScans();
    doc.InsertMarker({doc.TimeOf(static_cast<int32_t>(before)),
                      isShort ? fmt::format("{} ({:.6g} of {:.6g} ms before it)", triggerLabel, kept,
                                            m_trigger.preTriggerMs)
                              : triggerLabel});
    KeepTail();
}

void CDTGenAcqView::TellShortSpan() {
    const auto before = ScansBeforeTrigger();
    if (Trigger() == TriggerMode::internal && before && static_cast<double>(*before) < PreTriggerScans())
        GetHost().Message(fmt::format(shortSpanText, static_cast<double>(*before) / FrequencyKHz(),
                                      m_trigger.preTriggerMs));
}

std::unique_ptr<InternalTrigger> CDTGenAcqView::MakeTrigger(std::string& fault) const {
    if (Trigger() != TriggerMode::internal) return nullptr;
    const double scans = PreTriggerScans();
    if (m_trigger.trace < 1 || m_trigger.trace > Format().channels)
        fault = fmt::format("The trigger waits for trace {}, and {} are recorded.", m_trigger.trace,
                            Format().channels);
    else if (const double gain = Format().gains[m_trigger.trace - 1];
             !(fault = TriggerLevelFault(m_trigger, Format().low / gain, Format().high / gain)).empty())
        return nullptr;
    else if (!(scans >= 0.0 && scans < static_cast<double>(ScansPerSweep())))
        fault = longPreTriggerText;
    else if (scans * static_cast<double>(Format().ScanBytes()) > mostPreTriggerBytes)
        fault =
            "What is kept before the trigger takes too much memory. Keep less, or record at a lower rate.";
    if (!fault.empty()) return nullptr;
    return std::make_unique<InternalTrigger>(m_trigger, Format(), static_cast<size_t>(scans));
}

// --- stop ---

// Board and storage end, in this order.
void CDTGenAcqView::Halt() {
    Loop().KillTimer(watchTimer);
    StopBoard();
    EndStorage();
    // What came while the board was stopped.
    if (ScansBeforeTrigger() || (Trigger() == TriggerMode::external && StoredScans() > 0)) NoteTrigger();
}

void CDTGenAcqView::StopRecording() {
    GetHost().Log(fmt::format("CDTGenAcqView::StopRecording(), m_eState = {}\n", static_cast<int>(State())));
    const bool wasArmed = State() == AcqState::armed;
    Halt();
    GetHost().Log("CDTGenAcqView::StopRecording(): THREADS stopped, pipes deleted\n");
    const bool hasData = !m_bDisplayOnly && Document().StoredScans() > 0;
    m_bUnsaved = !m_bDisplayOnly && (hasData || !(IsArming() || wasArmed));
    SetState(AcqState::idle);
    if (Trigger() == TriggerMode::external && !hasData && m_settings.m_bRearm && !m_bEnding && !HasFailed()) {
        StartWithChecks(AcqState::armed);
        return;
    }
    if (m_bSkippedAny && !m_bDisplayOnly) GetHost().Message(someSkippedText);
    SaveWhatCame();
    GoOn(hasData);
}

void CDTGenAcqView::SaveWhatCame() {
    TellShortSpan();
    if (!m_bUnsaved) {
        DiscardSamples();
        return;
    }
    if (Saving() == SaveMode::fileEach || Saving() == SaveMode::append) OnSave();
    if (Saving() == SaveMode::appendByHand && m_nAppendCount > 0) CheckAppendFile();
}

// What comes behind a recording: the next episode, the trigger once more, the next of the stimulus.
void CDTGenAcqView::GoOn(bool hasData) {
    if (hasData) AdvanceSequence();
    if (Trigger() == TriggerMode::repeat) {
        ++m_nEpisode;
        if (m_bEnding || HasFailed() || m_nEpisode >= static_cast<int>(m_settings.m_nRepeatCount))
            EndSeries();
        else
            SetState(AcqState::betweenEpisodes);
        ShowStatus();
    } else if (Trigger() == TriggerMode::external && m_settings.m_bRearm && !m_bEnding && !HasFailed()) {
        m_bRearming = true;
        m_mailbox.Post(AcqMessage::rearm);
    }
}

void CDTGenAcqView::AbortArm() {
    Halt();
    GetHost().Log("CDTGenAcqView::AbortArm(): THREADS stopped, pipes deleted\n");
    // The trigger may have come in the meantime.
    m_bUnsaved = !m_bDisplayOnly && Document().StoredScans() > 0;
    SetState(AcqState::idle);
    SaveWhatCame();
    ShowStatus();
}

void CDTGenAcqView::OnAcqStop() {
    switch (State()) {
    case AcqState::idle:
        return;
    case AcqState::armed:
        return AbortArm();
    case AcqState::betweenEpisodes:
        EndSeries();
        return ShowStatus();
    default:
        if (Trigger() == TriggerMode::repeat) m_nEpisode = static_cast<int>(m_settings.m_nRepeatCount) - 1;
        StopRecording();
    }
}

void CDTGenAcqView::StopForGood() {
    m_bEnding = true;
    m_bRearming = false;
    OnAcqStop();
}

void CDTGenAcqView::StopFor(AcqMessage message, const std::string& text) {
    if (message == AcqMessage::queueDone) GetHost().Log("CDTHost::OnQueueDone\n");
    m_bFailed = true;
    if (State() == AcqState::armed)
        AbortArm();
    else
        StopRecording();
    if (!text.empty()) Fail(text);
}

// --- messages ---

bool CDTGenAcqView::TakeFault() {
    for (const auto& [message, text] : acqFaults)
        if (m_mailbox.Take(message)) {
            StopFor(message, text);
            return true;
        }
    return false;
}

void CDTGenAcqView::OnWake() {
    if (IsRunning()) {
        const uint32_t buffers = m_mailbox.TakeDataReady();
        const bool isExternal = Trigger() == TriggerMode::external && buffers > 0;
        if (m_mailbox.Take(AcqMessage::triggered) || (isExternal && State() == AcqState::armed)) {
            NoteTrigger();
            SetState(AcqState::triggered);
        }
        if (buffers > 0) OnDataReady(buffers);
        if (TakeFault()) return;
        if (m_mailbox.Take(AcqMessage::done)) {
            GetHost().Log("CAcqView::OnAcqDone: Stopped recording in response to ACQ_DONE message from "
                          "storage thread.\n");
            StopRecording();
        }
    }
    if (!m_mailbox.Take(AcqMessage::rearm)) return;
    if (IsIdle() && std::exchange(m_bRearming, false)) StartWithChecks(AcqState::armed);
}

void CDTGenAcqView::OnTimer(int id) {
    if (id == repeatTimer) OnRepeatTick();
    if (id != watchTimer || !IsTaking() || !IsDiskFull()) return;
    m_bFailed = true;
    StopRecording();
    Fail(diskFullText);
}

// --- repeats ---

bool CDTGenAcqView::StartSeries() {
    m_nEpisode = 0;
    m_nElapsed = -1;
    SetState(AcqState::betweenEpisodes);
    ShowStatus();
    Loop().SetTimer(repeatTimer, firstTickMs);
    return true;
}

void CDTGenAcqView::EndSeries() {
    Loop().KillTimer(repeatTimer);
    if (!IsRunning() && !IsIdle()) SetState(AcqState::idle);
}

void CDTGenAcqView::OnRepeatTick() {
    ++m_nElapsed;
    ShowStatus();
    if (m_nElapsed != std::max(1, static_cast<int>(m_settings.m_nRepeatInterval))) return;
    if (IsRunning()) {
        m_nEpisode = static_cast<int>(m_settings.m_nRepeatCount) - 1;
        StopRecording();
        Fail(shortRepeatText);
        return;
    }
    if (!StartWithChecks(AcqState::episode)) return EndSeries();
    if (m_nEpisode == 0) Loop().SetTimer(repeatTimer, tickMs);
    m_nElapsed = 0;
}

void CDTGenAcqView::ShowStatus() {
    const int count = static_cast<int>(m_settings.m_nRepeatCount);
    if (Trigger() == TriggerMode::repeat && IsRunning())
        m_strStatus = fmt::format("acquiring {} of {}", m_nEpisode + 1, count);
    else if (State() == AcqState::betweenEpisodes)
        m_strStatus = fmt::format("next: {} of {}, countdown {}", m_nEpisode + 1, count,
                                  static_cast<int>(m_settings.m_nRepeatInterval) - m_nElapsed);
    else if (Trigger() == TriggerMode::repeat)
        m_strStatus = "n sweep: 0";
    else
        m_strStatus = m_nAppendCount > 0 ? fmt::format("n sweep: {}", m_nAppendCount) : std::string();
    if (m_pObserver) m_pObserver->OnStateChanged();
}

}  // namespace kymora
