#pragma once
// The window of a batch that is under way: a table of its files, how far all is, and what there is to see
// and keep afterwards. The program goes on beside it.

#include <QDialog>
#include <QTimer>

#include "batch/batch_run.h"
#include "host/time_left.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;
class QVBoxLayout;

namespace kymora {

class BatchWindow : public QDialog {
    Q_OBJECT

  public:
    // `documents` outlive it.
    BatchWindow(BatchOrder order, BatchDocuments& documents, QWidget* parent = nullptr);

    bool IsRunning() const { return isRunning_; }
    const BatchRun& Run() const { return run_; }
    // A batch that runs ends only when the user agrees.
    bool MayEnd();

    // The buttons.
    void Cancel();
    void ShowErrors();
    void ShowResults();
    void SaveReport();

  public slots:
    void reject() override;

  signals:
    // All is done, and told.
    void Ended();

  private:
    void MakeTable(QVBoxLayout& column);
    void Poll();
    void Finish();
    void ShowRow(size_t index);
    void ShowProgress();
    void ShowState();

    Session& session_;
    BatchRun run_;
    TimeLeft left_;
    QTimer poll_;
    bool isRunning_ = true, isWorking_ = false;
    QTreeWidget* table_ = nullptr;
    QProgressBar* bar_ = nullptr;
    QLabel* state_ = nullptr;
    QPushButton *errors_ = nullptr, *results_ = nullptr, *report_ = nullptr, *cancel_ = nullptr;
};

}  // namespace kymora
