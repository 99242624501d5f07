#pragma once
// The window of an operation that has none of its own. It is made from the operation's description and stands
// beside the recordings without stopping them. Where the parameters stand on several pages, buttons go from
// one to the next and back, and the last one has the button that runs it.
//
// A long run computes on a thread of its own, with its progress in the window; the window stays with the
// recording until it is done.

#include <QPointer>
#include <optional>

#include "catalogue/windows/operation_window.h"
#include "host/time_left.h"

class QLabel;
class QProgressBar;

namespace kymora {

class JobWorker;
class OperationJob;

class CEventBaseNonModalDlg : public OperationWindow {
    Q_OBJECT

  public:
    CEventBaseNonModalDlg(Session& session, const Operation& operation, std::unique_ptr<CBatchBaseDlg> block,
                          QWidget* parent = nullptr);
    ~CEventBaseNonModalDlg() override;

    // Runs the operation over files; set before the window is shown. Without it there is no such button.
    std::function<void(CBatchBaseDlg&)> onBatch;
    // Runs it where its settings make traces of the recording.
    std::function<bool(CBatchBaseDlg&)> onTraces;

    void SetActive(CDataDoc* doc, DocumentView* view) override;
    // A run that works on the view is cancelled.
    void Forget(const DocumentView& view) override;
    void Start() override { RunJob(true); }
    bool Run() override { return RunJob(false); }
    bool IsBusy() const override { return worker_ || OperationWindow::IsBusy(); }
    void done(int result) override;

  protected:
    void StateShown(bool isUsable) override;
    // While there is a next page, what keeps from it.
    QString Fault() override;

  private:
    void MakeProgress();
    void MakePages();
    bool IsLastPage();
    void ShowPage(int page);
    void ShowPageState(bool isUsable);
    void Batch();
    // A long job goes to another thread where the user `mayWait`.
    bool RunJob(bool mayWait);
    bool RunWithTraces();
    bool StartWorker(std::unique_ptr<OperationJob>& job);
    void WatchWorker();
    void ShowProgress();
    void ShowWriting();
    // Takes what the job on the other thread has found, or cancels it.
    void EndWorker(bool cancels);
    void ShowDone();
    QString DoneText();
    QString WrittenText(int destination) const;

    QPushButton* batch_;
    QPushButton *back_ = nullptr, *next_ = nullptr;  // null where there is one page
    QLabel* pageTitle_ = nullptr;
    QWidget* progress_;  // how far a run on the other thread is
    QProgressBar* bar_;
    std::unique_ptr<OperationJob> job_;  // of the worker
    std::unique_ptr<JobWorker> worker_;
    QPointer<QWidget> focus_;  // what had the keyboard when the run began
    QTimer watch_;             // looks whether the worker is done
    struct Active {
        CDataDoc* doc;
        DocumentView* view;
    };
    TimeLeft left_;                // of the worker
    std::optional<Active> later_;  // what has become active while the worker was at work
};

}  // namespace kymora
