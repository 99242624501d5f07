#pragma once
// The window of an operation: its parameters, what it shows, and the buttons that run it, run it over files,
// and save and load its settings. It is made from the operation's description, stands beside the recordings
// without stopping them, and destroys itself when it is closed.
//
// A long run computes on a thread of its own, with its progress in the window; the window stays with the
// recording until it is done.
//
// The owner tells it which document and view are the active ones (SetActive), and, before either is
// destroyed, that there is none or another, and that the view goes (Forget).

#include <QDialog>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "catalogue/operations.h"

class QHBoxLayout;
class QLabel;
class QProgressBar;
class QPushButton;
class QSplitter;

namespace kymora {

class ChartWidget;
class ContentArea;
class JobWorker;
class OperationJob;
class ParamForm;
class ResultsPane;

class CEventBaseNonModalDlg : public QDialog {
    Q_OBJECT

  public:
    // `block` was made by the operation. It takes the settings that the session has from the last window of
    // this operation.
    CEventBaseNonModalDlg(Session& session, const Operation& operation, std::unique_ptr<CBatchBaseDlg> block,
                          QWidget* parent = nullptr);
    ~CEventBaseNonModalDlg() override;

    CBatchBaseDlg& Block() { return *block_; }
    const CBatchBaseDlg& Block() const { return *block_; }

    // What the window works on from now on; null for none. Telling it what it has shows all anew.
    virtual void SetActive(CDataDoc* doc, DocumentView* view);
    virtual void DocumentChanged(UpdateHint hint);
    // A view is about to go: a run that works on it is cancelled.
    void Forget(const DocumentView& view);
    void ViewMoved();
    void CursorsMoved();
    // Shows what the block has, after others than the user set it.
    void Refresh();

    // False when the file was refused; the user was told.
    bool LoadConfigFile(const std::filesystem::path& path);
    // What the default button does.
    virtual void Start() { RunJob(true); }
    // The same, until it is done. False when it was refused, failed or cancelled.
    virtual bool Run() { return RunJob(false); }
    // An operation or one of its actions is at work.
    bool IsBusy() const { return busy_ > 0 || worker_; }

    // Runs the operation over files; set before the window is shown. Without it there is no such button.
    std::function<void(CBatchBaseDlg&)> onBatch;

    // Stores the settings in the session.
    void done(int result) override;
    void setVisible(bool visible) override;

  signals:
    // The operation has run.
    void Ran();

  protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    // Something that is drawn from the settings has been drawn anew.
    virtual void Drawn() {}
    // Has the block do something, and shows what has become of it; a failure stands in the message line.
    void Work(const std::function<void()>& does);
    // Why the operation may not run as it stands; empty when it may.
    QString Fault();
    void FocusFault();
    // Puts another button into the row, and into the order of the tab key.
    void AddButton(QWidget* button, QWidget* before);

    Session& session_;
    QPushButton *run_ = nullptr, *batch_ = nullptr, *save_ = nullptr, *load_ = nullptr, *close_ = nullptr;

  private:
    class Busy;  // while it lives, the block is at work

    void TakeLastSettings();
    void MakeWindow();
    void MakeProgress();
    void MakeButtons();
    void ArrangePanes();
    void OrderTabs();
    void TakeResultActions();
    QSize MostSize() const;

    bool RunJob(bool mayWait);
    bool StartWorker(std::unique_ptr<OperationJob>& job);
    void WatchWorker();
    // Takes what the job on the other thread has found, or cancels it.
    void EndWorker(bool cancels);
    void ShowProgress();
    void ShowDone();

    void Edited(bool isTyping);
    void PressAction(const QString& key);
    void Batch();
    void Save();
    void Load();

    void ShowState();
    void ShowDrawn();
    void ShowMessage(const QString& text, bool isFault);
    QString DoneText();
    void SetGuides();
    void LetGo();
    // Has the block do something; a failure stands in the message line.
    void Guarded(const std::function<void()>& does);

    const Operation& operation_;
    std::unique_ptr<CBatchBaseDlg> block_;

    ContentArea* area_ = nullptr;
    QSplitter* panes_ = nullptr;  // the parameters, and what is shown
    QSplitter* shown_ = nullptr;  // the chart and the results
    ParamForm* form_ = nullptr;
    ResultsPane* results_ = nullptr;  // null where the operation has no text
    ChartWidget* chart_ = nullptr;    // null until the operation has one
    QLabel* message_ = nullptr;
    QWidget* progress_ = nullptr;  // how far a run on the other thread is
    QProgressBar* bar_ = nullptr;
    QHBoxLayout* buttonRow_ = nullptr;
    std::vector<QWidget*> buttons_;

    QTimer drawLater_;  // joins the letters of a number that is typed
    QString doneText_;  // what the last run gave; until something changes
    QString failText_;  // why the last work on the block failed
    int busy_ = 0;
    std::unique_ptr<OperationJob> job_;  // of the worker
    std::unique_ptr<JobWorker> worker_;
    QTimer watch_;  // looks whether the worker is done
    struct Active {
        CDataDoc* doc;
        DocumentView* view;
    };
    std::optional<Active> later_;  // what has become active while the worker was at work
    std::set<UpdateHint> missed_;  // what happened to the document while it was busy
    bool letGo_ = false;
};

}  // namespace kymora
