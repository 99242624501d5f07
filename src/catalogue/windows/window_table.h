#pragma once
// Which window an operation has. Classes with a window of their own stand in a table; all others have the one
// that is made from their description.

#include <functional>

#include "catalogue/windows/operation_window.h"
#include "display/windows/preview_window.h"
#include "transforms/transform_dlg.h"

namespace kymora {

// What windows of operations need of whoever shows them. It outlives them.
struct WindowOwner {
    Session& session;
    QWidget* parent = nullptr;
    PreviewLook previewLook{};  // of the last preview
    // Does the transform that a window was set for; true closes the window.
    std::function<bool(const Operation&, CTransformDlg&)> transform{};
    // Runs another operation that makes traces of the recording.
    std::function<bool(CBatchBaseDlg&)> withTraces{};
    // Shows another operation with these settings.
    decltype(CBatchBaseDlg::onOpenOther) openOther{};
    // Runs an operation over files.
    std::function<void(const Operation&, CBatchBaseDlg&)> batch{};
};

OperationWindow* MakeOperationWindow(WindowOwner& owner, const Operation& operation);

}  // namespace kymora
