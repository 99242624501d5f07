#pragma once
// The main window: child windows for the views of the open recordings, and the menus, tool bar and lists that
// are made from the tables of commands.

#include <QMainWindow>
#include <QMdiArea>
#include <QPointer>
#include <filesystem>
#include <functional>
#include <map>

#include "app/child_frame.h"
#include "app/frame_commands.h"
#include "catalogue/operations.h"
#include "display/commands/commands.h"
#include "host/recent_files.h"
#include "host/session.h"
#include "import/open_document.h"
#include "widgets/command_finder.h"

class QDockWidget;
class QLabel;

namespace kymora {

class CursorPane;
class DesktopHost;
struct MenuEntry;
class NoticeBar;
class StartPage;
class BatchWindow;
class CTransformDlg;
class MultiBatchWindow;
class OperationWindows;
struct BatchOrder;
class RecordingWindow;
class ViewPlayback;
class TransformStep;

class CMainFrame : public QMainWindow {
    Q_OBJECT

  public:
    // Files open as `opening` says.
    CMainFrame(Session& session, DesktopHost* host, OpenRequest opening = {});
    ~CMainFrame() override;

    Session& GetSession() const { return session_; }
    BatchDocuments& Batch() { return batch_; }
    RecentFiles& Recent() { return recent_; }
    OperationWindows& OperationDialogs() const { return *operations_; }

    // Opens a file in a child window of its own; a file that is open already comes to the front. Null when it
    // cannot be opened; the user was told why. Says as much as the frame's files do, or as `talk` says.
    CChildFrame* OpenFile(const std::filesystem::path& path, std::optional<OpenTalk> talk = {});
    // Opens each. Those that do not open are told of in one message when the others are open. Settings and
    // lists of operations go to the recording that is then in front.
    void OpenEach(const std::vector<std::filesystem::path>& paths, std::optional<OpenTalk> talk = {});
    // The same; a single one fills the main window, several stand side by side.
    void OpenFiles(const std::vector<std::filesystem::path>& paths, std::optional<OpenTalk> talk = {});
    // What is dropped on the window.
    void DropFile(const std::filesystem::path& path) { OpenEach({path}); }
    // Opens one of the recent files; one that is gone is taken out of the list if the user agrees.
    void OpenRecent(const std::filesystem::path& path);

    // A demonstration recording by its place in their list: made when it is not there yet, else as the user
    // has left it.
    void OpenDemo(size_t number);
    // Makes the folder of the demonstration recordings and answers it. Throws std::runtime_error.
    std::function<std::filesystem::path()> demoFolder;
    // Shows the start page while no recording is open, and what is true of the recent files.
    void ShowStart();

    CChildFrame* ActiveChild() const;
    std::vector<CChildFrame*> Children() const;
    // The open documents, each once.
    std::vector<CDataDoc*> Documents() const;

    // Stands above the recordings until the user closes it; nothing waits for that.
    void ShowNotice(const QString& text);

    // Runs a command of either table by its id; false when there is none, or it is not enabled.
    bool RunCommandById(std::string_view id);
    // All commands, in the order of the menus, as they stand.
    std::vector<ListedCommand> ListCommands();

    // The commands of the File menu.
    void OnFileOpen();
    // Goes on with what another program has written since the recording in front was opened. Views that stood
    // at its end follow it.
    void OnFileReload();
    void OnFileClose();
    bool OnFileSave();
    // Asks for a name, writes the recording there as a native file, and shows that file in the place of this
    // one.
    bool OnFileSaveAs();
    void OnFileSaveAsLegacy();
    // Offers what a crash has left of recordings, and opens those that the user saves.
    void TakeUpLeftRecordings(const std::filesystem::path& folder);
    void OnFileSaveAll();
    void OnNewUserDefined();
    void OnNewFromAverage();
    void OnPasteContiguous();
    void OnPasteSparse();
    void OnConvertToText();
    void OnFileProperties();
    void OnRecord();
    // Plays what the view in front shows, or ends that.
    void OnPlayVisible();
    bool IsPlaying() const { return !playback_.isNull(); }
    void OnGeneralOptions();
    void OnRetainSettings();
    void OnExit();

    // frame_batches.cpp: the window of the To Do list, and that of a batch under way.
    void OnBatchList();
    MultiBatchWindow* BatchList() const;
    BatchWindow* RunningBatch() const;
    // Of several batches each has its turn: false while one runs, and the user was told.
    bool MayStartBatch();
    // False where there is no order, because the user has given up.
    bool StartBatch(std::optional<BatchOrder> order);

    // frame_recording.cpp: the window in which one records; null while there is none.
    RecordingWindow* Recorder() const;
    // Makes it, or brings it to the front.
    RecordingWindow& OpenRecorder();

    // frame_transforms.cpp: runs a transform on the recording of its dialog, or on files that the user
    // chooses, and shows what was made. False when nothing was made; throws what the dialog is to show of it.
    bool RunTransform(const Operation& operation, CTransformDlg& dialog);
    // The same of another operation that makes traces: its recording is replaced.
    bool RunWithTraces(CBatchBaseDlg& block);
    // One reads a recording at this moment, which is no time to put another in its place.
    bool IsTransforming() const { return isTransforming_; }
    // For steps of undo: opens a recording that will be shown in the place of another; null where it does not
    // open, which the user was told.
    std::shared_ptr<CDataDoc> OpenVersion(const std::filesystem::path& path);
    // Shows another document in all windows of one, in the views that are given as far as there are any.
    // Gives the document that was shown, and its views, in their place.
    void ShowVersion(CDataDoc& present, std::shared_ptr<CDataDoc>& doc,
                     std::vector<std::unique_ptr<CKymoraView>>& views);

    void ToggleToolBar();
    void ToggleFullScreen();
    bool IsToolBarShown() const;
    void ToggleCursorTable();
    bool IsCursorTableShown() const;
    void SetTheme(int theme);

    void OnWindowNew();
    void OnWindowTile();
    void OnWindowTileHorizontally();
    void OnWindowTileVertically();
    void OnWindowCascade();
    void OnWindowNext();
    void OnWindowPrevious();

    void OnHelpFirstSteps();
    void OnHelpShortcuts();
    void OnHelpFindCommand();
    void OnAbout();

  signals:
    // Options, recent files or the like have changed and should be kept.
    void SettingsChanged();

  protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    // frame_menus.cpp
    void MakeMenus();
    void TakeThemeColours();
    QMenu* MenuFor(std::string_view path);
    QAction* AddAction(std::string_view menu, std::string_view label, std::string_view toolTip, bool isFirst);
    void AddCommand(const Command& command);
    void AddCommand(const FrameCommand& command);
    void AddCommand(const OperationEntry& entry);
    void MakeToolBar();
    void SetCheckMark(QAction* action, bool isRadio);
    void ShowWhatHasNoRoom();
    void ListWindows();
    void ListRecent();
    void MakeCursorTable();
    void ShowContextMenu(CChildFrame* child, const QPoint& at);
    void AddEntry(QMenu& menu, const MenuEntry& entry, CChildFrame& child);
    void AddAllMenus(QMenu& menu);
    void RunEntry(const MenuEntry& entry, CChildFrame& child);
    void UpdateCommands();
    void NameUndo(QAction* action, const Command& command) const;

    // frame_documents.cpp
    void MakeStart();
    void OpenRecordings(const std::vector<std::filesystem::path>& paths, std::optional<OpenTalk> talk);
    bool TakeAdcDacConfiguration(const std::filesystem::path& path);
    // Opens "Import sorting" with the folder.
    void ImportSortingOf(const std::filesystem::path& folder);
    void LoadSettings(const std::filesystem::path& settings);
    CChildFrame* OpenAs(const std::filesystem::path& path, const OpenRequest& request, std::string* fault);
    CChildFrame* FindOpen(const std::filesystem::path& path) const;
    std::vector<CChildFrame*> ChildrenOf(const CDataDoc& doc) const;
    CChildFrame* AddChild(std::shared_ptr<CDataDoc> doc, const CKymoraView* like = nullptr);
    // A recording that opens gets what the user has the view in front hand on.
    void TakeRetained(CDataDoc& opened) const;
    uint32_t Retained() const;
    void NumberWindows();
    bool SaveChild(CChildFrame* child);
    bool SaveVisiblePart(CDataDoc& doc, const std::filesystem::path& path);
    // Takes the windows of a document away, without questions.
    void RemoveDocument(const CDataDoc& doc);
    // frame_transforms.cpp: has an operation that makes traces write them, and shows what was made. The
    // question, if there is one, is asked before.
    bool WriteAndShow(CBatchBaseDlg& dialog, bool isNewFile, const std::string& question);
    // frame_transforms.cpp: closes a document, whose file was replaced or is not needed any more, and opens a
    // file that was just made, without the dialogs of an open. With a step the document goes there instead,
    // and can come back. False where the file does not open; the user was told.
    bool ReplaceDocument(CDataDoc& doc, const std::filesystem::path& path,
                         std::unique_ptr<TransformStep> step = {});
    void TakeBack(TransformStep& step, CDataDoc& doc);
    // What a killed program has kept of a recording that opens can be undone.
    void TakeLeftVersions(CDataDoc& doc);
    void OfferToPutBack(CDataDoc& doc);
    void Watch(CChildFrame& child);
    // Puts the converted file of an old version in the place of the old one and shows it.
    void FinishConversion(CChildFrame* child);

    // frame_batches.cpp
    void MakeBatchList();
    void LoadBatchList(const std::filesystem::path& path);
    bool MayEndBatches();
    void EndBatches();

    // frame_recording.cpp
    class Desk;
    void ShowRecorded(const std::filesystem::path& path, bool follows);
    bool MayEndRecording();
    void EndRecording();

    // frame_windows.cpp
    void TileInRows(bool horizontally);

    Session& session_;
    DesktopHost* host_;
    const OpenRequest opening_;
    QMdiArea* mdi_;
    QLabel* status_;
    NoticeBar* notice_ = nullptr;
    StartPage* start_ = nullptr;
    QToolBar* toolBar_ = nullptr;
    CursorPane* cursorPane_ = nullptr;
    QDockWidget* cursorDock_ = nullptr;
    QMenu* recentMenu_ = nullptr;
    BatchDocuments batch_;
    RecentFiles recent_;
    OperationWindows* operations_ = nullptr;
    QPointer<MultiBatchWindow> batchList_;
    std::unique_ptr<Desk> desk_;
    QPointer<RecordingWindow> recorder_;
    QPointer<ViewPlayback> playback_;
    bool isTransforming_ = false;
    std::vector<std::pair<const Command*, QAction*>> viewActions_;
    std::vector<std::pair<const FrameCommand*, QAction*>> frameActions_;
    std::vector<std::pair<OperationEntry, QAction*>> operationActions_;
    std::map<std::string, QMenu*, std::less<>> menus_;  // by their path
    std::vector<QAction*> windowListActions_;
    // Where the mouse was when the context menu came up, for the commands that it runs.
    std::optional<Point> contextPoint_;
};

}  // namespace kymora
