#pragma once
// What a remote request needs of the program's windows. The desktop implements it; tests and the fuzz target
// bring their own. Recordings count from 0 in the order of their windows.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "display/kymora_view.h"
#include "remote/remote_recorder.h"

namespace kymora {

class CBatchBaseDlg;
struct Operation;

// A command of the main window, beside those of the view.
struct RemoteCommand {
    std::string id;
    std::string menu;     // the path of submenus
    std::string label;    // without access key and shortcut
    std::string key;      // as it is shown; empty for none
    std::string toolTip;  // what it does
    bool enabled = true;
    std::optional<bool> checked{};  // nothing: it has no check mark
};

enum class CommandResult { unknown, unavailable, done };

// One event of the mouse on a view, in pixels from its corner.
struct RemoteMouse {
    enum class Type { press, move, release, doubleClick, wheel };
    Type type = Type::move;
    MouseEvent event;
    int turn = 0;  // of the wheel, in steps; positive is away from the user
};

class RemoteTarget {
  public:
    virtual ~RemoteTarget() = default;

    virtual Session& GetSession() = 0;
    virtual std::vector<CKymoraView*> Views() = 0;
    // -1 when there is none.
    virtual int Active() = 0;
    virtual void Activate(int index) = 0;
    // The recording's number, or -1 when it did not open; the host was told why. What its reader would ask
    // takes the defaults unless it `asks`.
    virtual int Open(const std::filesystem::path& path, bool asks) = 0;
    // Asks about changes. False when the recording stays open.
    virtual bool Close(int index) = 0;
    // False when nothing was saved; the host was told why. Save As asks the host for the name.
    virtual bool Save(int index) = 0;
    virtual bool SaveAs(int index) = 0;

    virtual std::vector<RemoteCommand> FrameCommands() = 0;
    virtual CommandResult RunFrameCommand(std::string_view id) = 0;

    virtual Extent WindowSize() = 0;
    virtual void Resize(Extent size) = 0;
    // A PNG of the main window (-1), or of a recording's view alone. Empty when there cannot be one.
    virtual std::vector<std::byte> Picture(int index) = 0;
    // Presses and releases a key on a view; false when there is no key of that name.
    virtual bool PressKey(int index, std::string_view name) = 0;
    virtual void MoveMouse(int index, const RemoteMouse& mouse) = 0;

    // Opens the window of an operation on the active recording, or finds it, and answers what it shows.
    virtual CBatchBaseDlg& OpenOperation(const Operation& operation) = 0;
    // Its parameters were set from outside: its window shows them.
    virtual void OperationChanged(const Operation& operation) = 0;
    // False when it was refused, failed or was cancelled; the host was told why. Throws RemoteError where
    // only its window says why.
    virtual bool RunOperation(const Operation& operation) = 0;
    virtual void CloseOperation(const Operation& operation) = 0;
    // A PNG of its window; empty when there cannot be one.
    virtual std::vector<std::byte> OperationPicture(const Operation& operation) = 0;
    // A PNG of the preview of its transform, which is opened for it; empty when it has none.
    virtual std::vector<std::byte> PreviewPicture(const Operation& operation) = 0;

    // The window in which one records, which is made for it; null where there is none, or it is not to be
    // made.
    virtual RemoteRecorder* Recorder(bool /*makes*/) { return nullptr; }

    // The title of a dialog or menu that the person at the screen has open; empty when there is none. The
    // code that opened it is still at work, so nothing may change meanwhile.
    virtual std::string OpenDialog() = 0;
    // Closes the program. Asks about changes; false when it goes on.
    virtual bool Quit() = 0;
};

}  // namespace kymora
