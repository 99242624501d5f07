#pragma once
// The open windows of operations: one for each, beside the recordings. They follow the active view, hear of
// what changes in it, and close with the last recording.

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QTimer>
#include <filesystem>
#include <map>
#include <string>

#include "catalogue/operations.h"
#include "catalogue/windows/window_table.h"
#include "display/kymora_view.h"

namespace kymora {

class CChildFrame;
class CKymoraView;
class CMainFrame;

class OperationWindows : public QObject {
    Q_OBJECT

  public:
    explicit OperationWindows(CMainFrame& frame);
    ~OperationWindows() override;

    // Shows the window of an operation, and makes it when it is not open. It stands where it stood last. A
    // variant sets its parameter.
    OperationWindow* Open(const OperationEntry& entry);
    // Opens the dialog that a configuration file names, with the settings of the file. What the file is not
    // is told to the user.
    void OnLoadConfigFile(const std::filesystem::path& path);
    // The open window of a class, or null.
    OperationWindow* Find(std::string_view className) const;

    // Another child window has become the active one, or none is.
    void SetActive(CChildFrame* child);
    // A child is about to show another view: what works on the one that it shows lets go at once.
    void LetGo(const CChildFrame* child);
    // A child is about to go: what works on it lets go at once, and closes when it is the last.
    void Forget(const CChildFrame* child);

  private:
    // What of a view an operation may depend on.
    struct Seen {
        Viewport viewport;
        std::vector<double> cursors;
        std::vector<bool> shownTraces;
        bool operator==(const Seen&) const = default;
    };
    Seen SeenOf(const CKymoraView& view) const;
    void CompareView();
    void OnDocumentChanged(UpdateHint hint);
    std::vector<OperationWindow*> Windows() const;

    CMainFrame& frame_;
    std::map<std::string, QPointer<OperationWindow>, std::less<>> windows_;  // by class name
    std::map<std::string, QRect, std::less<>> places_;
    WindowOwner owner_;
    QPointer<CChildFrame> active_;
    std::optional<Seen> seen_;
    QTimer compare_;  // joins the many changes of a drag
};

}  // namespace kymora
