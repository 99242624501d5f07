#pragma once
// Runs an operation that changes nothing by itself, whenever something has changed on which its result
// depends: here where that is short, and on a thread of its own where it is long. A change while a run is
// under way ends that and begins another. What the operation has to say is a text, and no box: nobody has
// pressed a button.

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

#include "operations/batch_base_dlg.h"

namespace kymora {

class JobWorker;

class LiveRun : public QObject {
    Q_OBJECT

  public:
    // The block outlives it. Asks before each run whether it may.
    LiveRun(CBatchBaseDlg& block, std::function<bool()> mayRun, QObject* parent);
    ~LiveRun() override;

    // The recording, or what is seen of it, has changed.
    void Outdate() { isOutdated_ = true; }
    // Runs anew, soon, where the settings are others than those of the last run or something else has
    // changed. Not where they have it change the recording: that waits until it is asked for.
    void Restart();
    // Runs now, and waits for it.
    void RunNow();
    // Ends a run that is under way. The document may go then.
    void Stop();

    // What the last run had to say; empty for nothing.
    const QString& Words() const { return words_; }
    bool HasFailed() const { return hasFailed_; }
    // Of a run on another thread: how far it is, 0 to 1, and what it does; nothing while there is none.
    struct Progress {
        double share = 0.0;
        QString text;
    };
    std::optional<Progress> Now();

  signals:
    // A run is done, or was refused.
    void Ran();
    // A run on another thread has come further, or has ended.
    void Progressed();

  private:
    void Run(bool mayWait);
    void Watch();
    void Finish();
    void Say(const RunMessages& messages);

    CBatchBaseDlg& block_;
    std::function<bool()> mayRun_;
    QTimer start_;  // joins the many changes of a drag
    QTimer watch_;  // looks whether the thread is done
    std::unique_ptr<OperationJob> job_;
    std::unique_ptr<JobWorker> worker_;
    std::vector<std::byte> settings_;  // of the last run
    bool isOutdated_ = true, hasFailed_ = false;
    RunMessages messages_;
    QString words_, toldBefore_;
};

}  // namespace kymora
