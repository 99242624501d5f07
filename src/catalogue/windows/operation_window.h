#pragma once
// The frame of all windows of operations: the panes of the operation, a line for what is to be said, the
// buttons that run it and save and load its settings, and the way of document and view to it. What the window
// does when it is run, and what else it has, its own class says.
//
// It stands in a panel beside the recordings, or on the desktop (SetDocked).
//
// The owner tells it which document and view are the active ones (SetActive), and, before either is
// destroyed, that there is none or another, and that the view goes (Forget). It destroys itself when it is
// closed.

#include <QDialog>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>

#include "catalogue/operations.h"

class QBoxLayout;
class QGridLayout;
class QHBoxLayout;
class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;

namespace kymora {

class LiveRun;
class LookAhead;
class MessageArea;
class OperationPanes;

class OperationWindow : public QDialog {
    Q_OBJECT

  public:
    ~OperationWindow() override;

    CBatchBaseDlg& Block() { return *block_; }
    const CBatchBaseDlg& Block() const { return *block_; }

    // What the window works on from now on; null for none. Telling it what it has shows all anew.
    virtual void SetActive(CDataDoc* doc, DocumentView* view);
    virtual void DocumentChanged(UpdateHint hint);
    // A view is about to go.
    virtual void Forget(const DocumentView&) {}
    void ViewMoved();
    void CursorsMoved();
    // Shows what the block has, after others than the user set it.
    void Refresh();

    // In a panel all stands in one column, with the buttons in two rows.
    void SetDocked(bool isDocked);
    // Of several windows one has its lines in the view.
    void SetInFront(bool isInFront);
    // Gives the keyboard to the first parameter.
    void FocusFirst();

    // Set before it is shown: it runs nothing. Its settings are asked for, which "OK" hands over. What the
    // recording at hand does not take may suit others, or be made by what is done before: it is told, and
    // stops nobody.
    virtual void SetConfiguring(std::function<void(CBatchBaseDlg&)> taken);
    bool IsConfiguring() const { return static_cast<bool>(taken_); }

    // False when the file was refused; the user was told.
    bool LoadConfigFile(const std::filesystem::path& path);
    // What the default button does.
    virtual void Start() { Run(); }
    // The same, until it is done. False when it was refused, failed or cancelled.
    virtual bool Run() = 0;
    // Why it was refused or failed, where its message line says it.
    const QString& WhyNotDone() const { return failText_; }
    // An operation or one of its actions is at work.
    virtual bool IsBusy() const { return busy_ > 0; }

    // Stores the settings in the session.
    void done(int result) override;
    void setVisible(bool visible) override;

  signals:
    // The operation has run.
    void Ran();
    // It is about to go, and with it the keyboard that it may have.
    void Going();

  protected:
    // The words on the buttons that run it and close it.
    struct Labels {
        QString run, close;
    };
    // `block` was made by the operation. It takes the settings that the session has from the last window of
    // this operation.
    OperationWindow(Session& session, const Operation& operation, std::unique_ptr<CBatchBaseDlg> block,
                    const Labels& labels, QWidget* parent);

    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    // Something that is drawn from the settings has been drawn anew.
    virtual void Drawn() {}
    // Buttons were enabled; what was entered `isUsable`.
    virtual void StateShown(bool isUsable) { (void)isUsable; }
    // Has the block do something, and shows what has become of it; a failure stands in the message line.
    void Work(const std::function<void()>& does);
    // What the last run gave; it is said until a setting changes, whoever changes it.
    void SetDoneText(const QString& text);
    // Why the operation may not run as it stands; empty when it may.
    virtual QString Fault();
    void FocusFault();
    // Runs by itself; null where the operation does not.
    LiveRun* Live() const { return live_; }
    // The code that the block is in is not done yet.
    bool IsInBlock() const { return busy_ > 0; }
    // A run begins: what it would find is not looked for any more.
    void StopLookingAhead();

    QPushButton* MakeButton(const QString& label, const char* name, const QString& tip);
    // Puts another button into the row, and into the order of the tab key.
    void AddButton(QWidget* button, QWidget* before);
    // What takes the keyboard behind the panes, where the window has more.
    virtual std::vector<QWidget*> MoreTabStops() const { return {}; }
    void OrderTabs();
    // Stands above the buttons.
    void AddRow(QWidget* row);

    Session& session_;
    OperationPanes* panes_ = nullptr;
    QPushButton *run_ = nullptr, *save_ = nullptr, *load_ = nullptr, *copy_ = nullptr, *close_ = nullptr;

  private:
    class Busy;  // while it lives, the block is at work

    void TakeLastSettings();
    void TakeFolds();
    void MakeWindow(const Labels& labels);

    void HandOver();
    void Edited(bool isTyping);
    void TellPutBack(const QString& why);
    void PressAction(const QString& key);
    void Save();
    void Load();
    void CopyCommand();
    void TakeLoaded();

    void ShowTitle();
    void ShowState();
    void ShowDrawn();
    // What is worked out from what was entered, where that may be used.
    void ShowWorkedOut();
    void ShowMessage(const QString& text, bool isFault);
    // Groups that unfold and rows that come make it higher, within its screen.
    void GrowToShow();
    void SetGuides();
    void ClearView(DocumentView* view);
    void MakeLookAhead();
    void ShowLookAhead();
    void MakeLiveRun();
    void ShowLiveRun();
    void ShowLiveProgress();
    // The user has dragged the line of a parameter in the view.
    void TakeDragged(const std::string& key, double at);
    // The user has set parameters in the graph.
    void TakeSet(const std::vector<std::pair<std::string, std::string>>& settings);
    // The finding in the row of the cursor: its ends in the view, and the way there.
    void AddFinding(std::vector<ViewGuide>& guides) const;
    void GoToFinding();
    void GoToEvent(int channel, int event);
    void RejectFindings();
    void LetGo();
    // Has the block do something; a failure stands in the message line.
    void Guarded(const std::function<void()>& does);

    const Operation& operation_;
    std::unique_ptr<CBatchBaseDlg> block_;

    MessageArea* message_ = nullptr;
    QGridLayout* messageRow_ = nullptr;
    QLabel* ahead_ = nullptr;    // what a run would find
    LookAhead* look_ = nullptr;  // null where the operation has none
    LiveRun* live_ = nullptr;
    QProgressBar* strip_ = nullptr;    // of a run by itself that takes its time
    std::unique_ptr<CDataDoc> blank_;  // for an operation that needs no recording
    QVBoxLayout* column_ = nullptr;
    QBoxLayout* buttonRows_ = nullptr;
    QHBoxLayout *settingsRow_ = nullptr, *runRow_ = nullptr;  // side by side, or below each other
    std::vector<QWidget*> buttons_;

    QTimer drawLater_;                           // joins the letters of a number that is typed
    std::function<void(CBatchBaseDlg&)> taken_;  // takes the settings; empty where it is no configuring
    QString doneText_;
    std::vector<std::byte> doneSettings_;
    QString failText_;  // why the last work on the block failed
    int busy_ = 0;
    // What happened while it was busy.
    struct Missed {
        std::set<UpdateHint> updates;
        bool viewMoves = false, cursorMoves = false;
    };
    Missed missed_;
    bool letGo_ = false, isInFront_ = true;
    bool wasRefused_ = false;  // what was entered, when it was last drawn
};

}  // namespace kymora
