// What becomes of a recording: a file, a file behind which others are appended, or one file each.

#include <fmt/format.h>

#include "acquisition/acq_faults.h"
#include "acquisition/auto_save_name.h"
#include "acquisition/dt_gen_acq_view.h"
#include "recording/recording_save.h"

namespace kymora {

namespace {

constexpr uint32_t saveWholeCommand = 0;
constexpr const char* noAppendFileText = "Unable to find open Append file.\nIf you want to keep these data, "
                                         "please switch to Manual save and Save to a new "
                                         "file.\nIf you closed the Append file intentionally, to avoid this "
                                         "message in future click Done before starting "
                                         "new acquisition.";
constexpr const char* closedAppendFileText = "You seem to have closed the Append file:\nyou can only append "
                                             "to a file while it is open in Kymora.\nSave to a "
                                             "new file.";
constexpr const char* noBaseNameText =
    "There is no base name for files that are saved by themselves. Set an autosave base name first.";

}  // namespace

bool CDTGenAcqView::Appends() const {
    return m_nAppendCount > 0 && (Saving() == SaveMode::append || Saving() == SaveMode::appendByHand);
}

bool CDTGenAcqView::OnSave() {
    if (!m_bUnsaved) {
        GetHost().Failure(nothingToSaveText);
        return false;
    }
    if (!Appends()) OnDone();
    const bool isSaved = Appends() ? Append() : SaveFirst();
    m_bUnsaved = m_bSaveFailed = !isSaved;
    if (!isSaved) {
        Fail(fmt::format(samplesKeptText, Document().TemporaryPath().string()));
        return false;
    }
    ShowStatus();
    return true;
}

bool CDTGenAcqView::SavesByItself() const {
    return Saving() == SaveMode::fileEach || (Saving() == SaveMode::append && m_saveAs.empty());
}

bool CDTGenAcqView::HasBaseName() {
    if (!m_settings.m_strAutoSaveBase.empty()) return true;
    GetHost().Failure(noBaseNameText);
    return false;
}

bool CDTGenAcqView::SaveFirst() {
    RecordingSave how;
    how.presetName = m_saveAs;
    FileSystem& files = GetSession().files;
    std::string& base = m_settings.m_strAutoSaveBase;
    const bool isNamedByBase = SavesByItself() || (m_saveAs.empty() && m_settings.m_bPresetName);
    if (!isNamedByBase && !MaySaveAs()) return false;
    if (isNamedByBase && !HasBaseName()) return false;
    if (isNamedByBase) how.presetName = FreeRecordingName(files, base);
    how.beginsSeries = Saving() == SaveMode::append || Saving() == SaveMode::appendByHand;
    const auto saved = SaveRecording(Document(), saveWholeCommand, how);
    if (!saved) return false;
    if (!isNamedByBase && !m_saveAs.empty()) m_saveAsStamp = files.Stamp(m_saveAs);
    if (isNamedByBase) base = NextBaseName(base);
    if (how.beginsSeries) {
        m_appendFile = *saved;
        m_nAppendCount = 1;
    }
    if (m_pObserver) m_pObserver->OnSaved(*saved);
    return true;
}

bool CDTGenAcqView::CheckAppendFile() {
    if (m_isOpen(m_appendFile)) return true;
    GetHost().Message(closedAppendFileText);
    OnDone();
    return false;
}

bool CDTGenAcqView::Append() {
    if (!m_isOpen(m_appendFile)) {
        GetHost().Failure(noAppendFileText);
        OnDone();
        return false;
    }
    CAcqDoc first(GetSession());
    try {
        if (!first.OnOpenDocument(m_appendFile, {OpenFor::reading, OpenTalk::logs})) {
            GetHost().Failure(noAppendFileText);
            return false;
        }
        // An interrupt ends the recording and not its saving.
        WriteAppended(first, Document(), m_appendFile, MayCancel::no, MayAddInPlace::yes);
    } catch (const FileError& error) {
        GetHost().Failure(fmt::format("{}\n{}", problemSavingText, error.what()));
        return false;
    }
    ++m_nAppendCount;
    DiscardSamples();
    if (m_pObserver) m_pObserver->OnSaved(m_appendFile);
    return true;
}

void CDTGenAcqView::OnDone() {
    m_nAppendCount = 0;
    m_appendFile.clear();
    ShowStatus();
}

}  // namespace kymora
