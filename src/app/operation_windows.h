#pragma once
// The open windows of operations: one for each, in panels beside the recordings, save those of transforms,
// which stop the rest. They follow the active view, hear of what changes in it, and close with the last
// recording. The one in front has its lines in the view.

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QTimer>
#include <QVariant>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "app/operation_dock.h"
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

    // Asks for the settings of an operation in its window, which runs nothing: those given (null: as they
    // were used last), and a parameter that is set before. False without a recording to ask on.
    bool Configure(const Operation& operation, const std::vector<std::byte>* settings, const std::string& key,
                   const std::string& value, std::function<void(CBatchBaseDlg&)> taken);
    OperationWindow* Configuring() const { return configuring_; }

    // Moves the keyboard from the recording to the panels that can be seen, one after the other, and back.
    void GoToNextPanel();
    // Where the panels stand, or stood, and which of their parts are folded away: what is kept of them.
    QVariantMap SaveState() const;
    void RestoreState(const QVariantMap& state);

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
    void ShowIn(const std::string& name, OperationWindow& window);
    void Dock(const std::string& name, OperationWindow& window);
    PanelPlace FirstPlace(const OperationWindow& window) const;
    int PanelWidth() const;
    void GiveKeysBack(const OperationWindow& window);
    void Closed(const std::string& name, OperationWindow& window);
    void BringToFront(OperationWindow* window);
    OperationWindow* FrontCandidate() const;
    OperationDock* PanelOf(const OperationWindow& window) const;
    std::vector<OperationDock*> ShownPanels() const;
    void OnFocus(const QWidget* before, const QWidget* now);
    void GiveKeysToView();
    void CompareView();
    void OnDocumentChanged(UpdateHint hint);
    std::vector<OperationWindow*> Windows() const;

    CMainFrame& frame_;
    std::map<std::string, QPointer<OperationWindow>, std::less<>> windows_;  // by class name
    QPointer<OperationWindow> configuring_;
    std::map<std::string, PanelPlace, std::less<>> panels_;  // where they stood last
    std::map<std::string, QRect, std::less<>> places_;       // of those without a panel
    std::optional<int> panelWidth_;                          // as the user has left it
    QPointer<OperationWindow> front_;
    WindowOwner owner_, configuringOwner_;
    QPointer<CChildFrame> active_;
    std::optional<Seen> seen_;
    QTimer compare_;  // joins the many changes of a drag
};

}  // namespace kymora
