#pragma once
// The main window as the remote control sees it.

#include <QObject>
#include <functional>

#include "app/remote_recording.h"
#include "remote/remote_host.h"
#include "remote/remote_target.h"

namespace kymora {

class CChildFrame;
class CMainFrame;
class ViewWidget;

class DesktopRemote : public RemoteTarget {
  public:
    // All of them outlive it.
    DesktopRemote(CMainFrame& frame, Session& session) : frame_(frame), session_(session), recorder_(frame) {}

    Session& GetSession() override { return session_; }
    std::vector<CKymoraView*> Views() override;
    int Active() override;
    void Activate(int index) override;
    int Open(const std::filesystem::path& path, bool asks) override;
    bool Close(int index) override;
    bool Save(int index) override;
    bool SaveAs(int index) override;
    std::vector<RemoteCommand> FrameCommands() override;
    CommandResult RunFrameCommand(std::string_view id) override;
    Extent WindowSize() override;
    void Resize(Extent size) override;
    std::vector<std::byte> Picture(int index) override;
    bool PressKey(int index, std::string_view name) override;
    void MoveMouse(int index, const RemoteMouse& mouse) override;
    CBatchBaseDlg& OpenOperation(const Operation& operation) override;
    void OperationChanged(const Operation& operation) override;
    bool RunOperation(const Operation& operation) override;
    void CloseOperation(const Operation& operation) override;
    std::vector<std::byte> OperationPicture(const Operation& operation) override;
    std::vector<std::byte> PreviewPicture(const Operation& operation) override;
    RemoteRecorder* Recorder(bool makes) override;
    std::string OpenDialog() override;
    bool Quit() override;

    // Calls `done` when the view of a recording (-1: the main window) has been painted as it is now, unless
    // `coarse` with all that is still being read: with true, or with false when there is nothing to paint or
    // the time is over. Never before it returns, and not any more when `context` is gone.
    void WhenPainted(int index, int timeoutMs, bool coarse, QObject* context, std::function<void(bool)> done);

  private:
    CChildFrame& Child(int index) const;
    ViewWidget& Widget(int index) const;
    bool CanOpen(const Operation& operation);

    CMainFrame& frame_;
    Session& session_;
    DesktopRecorder recorder_;
};

// The commands of the main window, without a window: for the reference.
std::vector<RemoteCommand> FrameCommandList();

// Closes the dialogs and menus that come up while a request runs, since nobody would answer them, and tells
// the host of it. Progress boxes stay.
class DialogGuard : public QObject {
  public:
    explicit DialogGuard(Host& host);
    ~DialogGuard() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    Host& host_;
};

}  // namespace kymora
