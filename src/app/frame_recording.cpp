// The main frame and the window in which one records.

#include <QStandardPaths>

#include "acquisition/port_audio.h"
#include "acquisition/windows/recording_window.h"
#include "app/desktop_host.h"
#include "app/main_frame.h"
#include "app/view_playback.h"
#include "host/file_names.h"
#include "widgets/text.h"

namespace kymora {

class CMainFrame::Desk : public RecordingDesk {
  public:
    explicit Desk(CMainFrame& frame) : frame_(frame) {}

    bool IsOpen(const std::filesystem::path& path) override { return frame_.FindOpen(path) != nullptr; }
    void ShowRecording(const std::filesystem::path& path, bool follows) override {
        frame_.ShowRecorded(path, follows);
    }
    void TakeMessages(const MessageTaker* taker) override {
        if (frame_.host_) frame_.host_->SetMessageTaker(taker);
    }
    void StandDialogsOn(QWidget* window) override {
        if (frame_.host_) frame_.host_->StandOn(window);
    }
    std::filesystem::path DesktopFolder() override {
        return ToPath(QStandardPaths::writableLocation(QStandardPaths::DesktopLocation));
    }

    std::vector<std::filesystem::path> OpenFiles() override {
        std::vector<std::filesystem::path> files;
        for (const CDataDoc* doc : frame_.Documents()) files.push_back(doc->filePath);
        return files;
    }

  private:
    CMainFrame& frame_;
};

RecordingWindow* CMainFrame::Recorder() const { return recorder_; }

RecordingWindow& CMainFrame::OpenRecorder() {
    if (!recorder_) {
        if (!desk_) desk_ = std::make_unique<Desk>(*this);
        recorder_ = new RecordingWindow(session_, *desk_);
    }
    if (recorder_->isMinimized()) recorder_->showNormal();
    recorder_->show();
    recorder_->raise();
    recorder_->activateWindow();
    return *recorder_;
}

void CMainFrame::OnRecord() { OpenRecorder(); }

void CMainFrame::OnPlayVisible() {
    if (playback_) return delete playback_.data();
    try {
        playback_ = new ViewPlayback(ActiveChild()->Widget(), MakeSoundSystem());
    } catch (const SoundError& error) {
        return GetSession().host.Failure(error.what());
    } catch (const FileError& error) {
        return GetSession().host.Failure(error.what());
    } catch (const Cancelled&) {
        return;
    }
    connect(playback_, &ViewPlayback::Ended, this, [this](const QString& fault) {
        if (!fault.isEmpty()) GetSession().host.Failure(fault.toStdString());
    });
}

bool CMainFrame::MayEndRecording() { return !recorder_ || recorder_->MayClose(); }

void CMainFrame::EndRecording() {
    if (recorder_) recorder_->CloseAtOnce();
    delete recorder_.data();
}

// What was just recorded is seen at once: no dialogs of an open.
void CMainFrame::ShowRecorded(const std::filesystem::path& path, bool follows) {
    CChildFrame* child = FindOpen(path);
    if (child)
        ReplaceDocument(child->Document(), path);
    else
        child = OpenFile(path, OpenTalk::tells);
    if (!child || !follows) return;
    CKymoraView& view = child->View();
    const double end = view.GetDocument().GetEndTime(), span = view.GetViewport().Duration();
    view.ChangeViewport({std::max(0.0, end - span), std::max(0.0, end - span) + span}, false);
}

}  // namespace kymora
