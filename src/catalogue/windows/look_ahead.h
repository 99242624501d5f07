#pragma once
// What an operation would find in view, looked for while its parameters are still being set: its own job runs
// over what is seen, here where that is short and on a thread of its own where it is long, and nothing is
// written. A stretch that is too long for that is not looked at, which the text says.

#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

#include "document/view_guide.h"
#include "operations/event_base_dlg.h"

namespace kymora {

class JobWorker;

class LookAhead : public QObject {
    Q_OBJECT

  public:
    // The block outlives it. Asks before each look whether it may.
    LookAhead(CEventBaseDlg& block, std::function<bool()> mayLook, QObject* parent);
    ~LookAhead() override;

    // Something has changed on which the events depend: looks anew, soon. Until then the last ones stay.
    void Restart() { start_.start(); }
    // Ends a look that is under way, and forgets what was found. The document may go then.
    void Stop();
    // Looks now, and waits for it.
    void LookNow();

    const std::vector<ProposedEvents>& Proposed() const { return proposed_; }
    // "Would find 42 events in view", or why there is nothing to tell; may be empty.
    const QString& Text() const { return text_; }

  signals:
    // There are other events, or another text.
    void Changed();
    // A look was made, and the operation may have another graph.
    void Looked();

  private:
    void Look(bool mayWait);
    void Watch();
    void Finish();
    void Show(std::vector<ProposedEvents> proposed, const QString& text);

    CEventBaseDlg& block_;
    std::function<bool()> mayLook_;
    QTimer start_;  // joins the many changes of a drag
    QTimer watch_;  // looks whether the thread is done
    std::unique_ptr<EventJob> job_;
    std::unique_ptr<JobWorker> worker_;
    std::vector<ProposedEvents> proposed_;
    QString text_;
};

}  // namespace kymora
