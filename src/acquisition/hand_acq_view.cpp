#include "acquisition/hand_acq_view.h"

#include <fmt/format.h>

#include "acquisition/acq_faults.h"
#include "recording/recording_save.h"

namespace kymora {

namespace {

constexpr uint32_t saveAllCommand = 0;

}  // namespace

void CHandAcqView::End() {
    m_pObserver = nullptr;
    if (IsRunning()) Halt();
    // What could not be saved stays where it can be recovered.
    if (!m_bSaveFailed) DiscardSamples();
}

bool CHandAcqView::OnAcqStart() {
    if (!IsIdle()) {
        GetHost().Failure(underWayText);
        return false;
    }
    m_bFailed = false;
    if (!MayRecord() || !PrepareStart() || !CheckDisk()) return false;
    if (AcqStart()) return true;
    SetState(AcqState::idle);
    return false;
}

bool CHandAcqView::AcqStart() {
    if (!ComputeSweep() || !MakePipes(SlotScans()) || !BeginStorage(AcqState::recording, nullptr))
        return false;
    m_bUnsaved = m_bSaveFailed = m_bWarnedOfDisk = false;
    if (!StartSource(
            {m_pStorePipe.get(), m_pObserver ? m_pDisplayPipe.get() : nullptr, &m_bSkippedDisplay})) {
        EndStorage();
        DiscardSamples();
        return false;
    }
    Loop().SetTimer(watchTimer, watchMs);
    return true;
}

void CHandAcqView::OnAcqStop() {
    if (IsRunning()) StopRecording();
}

// Source and storage end, in this order.
void CHandAcqView::Halt() {
    Loop().KillTimer(watchTimer);
    StopSource();
    EndStorage();
}

void CHandAcqView::StopRecording() {
    GetHost().Log(fmt::format("{}::StopRecording(), m_eState = {}\n", Name(), static_cast<int>(State())));
    Halt();
    GetHost().Log(fmt::format("{}::StopRecording(): THREADS stopped, pipes deleted\n", Name()));
    // A start that failed leaves nothing.
    m_bUnsaved = !m_bDisplayOnly && (!HasFailed() || Document().StoredScans() > 0);
    if (!m_bUnsaved) DiscardSamples();
    SetState(AcqState::idle);
    if (m_bSkippedAny && !m_bDisplayOnly) GetHost().Message(someSkippedText);
}

void CHandAcqView::StopFor(const std::string& text) {
    m_bFailed = true;
    StopRecording();
    if (!text.empty()) Fail(text);
}

bool CHandAcqView::TakeFault() {
    for (const auto& [message, text] : acqFaults)
        if (m_mailbox.Take(message)) {
            StopFor(text);
            return true;
        }
    if (!m_mailbox.Take(AcqMessage::sourceFault)) return false;
    StopFor(SourceFault());
    return true;
}

void CHandAcqView::OnWake() {
    if (!IsRunning()) return;
    if (const uint32_t buffers = m_mailbox.TakeDataReady(); buffers > 0) OnDataReady(buffers);
    if (m_mailbox.Take(AcqMessage::sourceRemark)) GetHost().Message(SourceRemark());
    if (TakeFault()) return;
    if (m_mailbox.Take(AcqMessage::done)) {
        GetHost().Log(
            "CAcqView::OnAcqDone: Stopped recording in response to ACQ_DONE message from storage thread.\n");
        StopRecording();
    } else if (m_mailbox.Take(AcqMessage::sourceEnded)) {
        StopRecording();
    }
}

void CHandAcqView::OnTimer(int) {
    if (IsRunning() && IsDiskFull()) StopFor(diskFullText);
}

bool CHandAcqView::OnSave() {
    if (!m_bUnsaved) {
        GetHost().Failure(nothingToSaveText);
        return false;
    }
    RecordingSave how;
    how.presetName = m_saveAs;
    const auto saved = MaySaveAs() ? SaveRecording(Document(), saveAllCommand, how) : std::nullopt;
    m_bUnsaved = m_bSaveFailed = !saved;
    if (!saved) {
        Fail(fmt::format(samplesKeptText, Document().TemporaryPath().string()));
        return false;
    }
    if (!m_saveAs.empty()) m_saveAsStamp = GetSession().files.Stamp(m_saveAs);
    if (m_pObserver) m_pObserver->OnSaved(*saved);
    return true;
}

}  // namespace kymora
