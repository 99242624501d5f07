#pragma once
// The main window: one child window for each open recording, and the menus made from the table of commands.

#include <QMainWindow>
#include <QMdiArea>
#include <filesystem>
#include <map>

#include "app/child_frame.h"
#include "app/desktop_host.h"
#include "display/commands.h"
#include "host/session.h"

class QLabel;

namespace kymora {

class CMainFrame : public QMainWindow {
    Q_OBJECT

  public:
    CMainFrame(Session& session, DesktopHost* host);
    ~CMainFrame() override;

    // Opens a file in a child window of its own; a file that is open already comes to the front. Null when it
    // cannot be opened; the user was told why.
    CChildFrame* OpenFile(const std::filesystem::path& path);
    // Opens each; a single one fills the main window.
    void OpenFiles(const std::vector<std::filesystem::path>& paths);

    CChildFrame* ActiveChild() const;
    std::vector<CChildFrame*> Children() const;

    // The commands of the File menu.
    void OnFileOpen();
    bool OnFileSave();
    // Asks for a name, writes the recording there as a native file, and shows that file in the place of this
    // one.
    bool OnFileSaveAs();
    void OnFileClose();
    void OnAbout();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void MakeFileMenu();
    void MakeCommandMenus();
    void MakeWindowMenu();
    void MakeHelpMenu();
    QMenu* MenuFor(std::string_view path);
    void AddCommand(const Command& command);
    void UpdateCommands();
    void UpdateFileMenu();
    void ListWindows();
    CChildFrame* FindOpen(const std::filesystem::path& path) const;
    CChildFrame* AddChild(std::unique_ptr<CDataDoc> doc);
    // Puts the converted file of an old version in the place of the old one and shows it.
    void FinishConversion(CChildFrame* child);

    Session& session_;
    QMdiArea* mdi_;
    QLabel* status_;
    QMenu* windowMenu_ = nullptr;
    QAction* saveAs_ = nullptr;
    QAction* save_ = nullptr;
    QAction* close_ = nullptr;
    std::vector<std::pair<const Command*, QAction*>> commandActions_;
    std::map<std::string, QMenu*, std::less<>> menus_;  // by their path
    std::vector<QAction*> windowListActions_;
};

}  // namespace kymora
