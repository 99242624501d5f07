#pragma once
// The findings of an operation as a table. The arrows and the mouse go from one to the next, which the window
// shows in the view; A accepts, R rejects and Backspace takes back, and each goes on to the next row. A click
// on a heading sorts, another one turns the order round, a third takes it back.

#include <QWidget>
#include <functional>
#include <optional>

#include "operations/findings.h"
#include "widgets/results_pane.h"

class QLabel;
class QPushButton;
class QTableView;

namespace kymora {

class FindingsModel;

class FindingsPane : public QWidget {
    Q_OBJECT

  public:
    // `all` writes all of them as text, for the clipboard.
    FindingsPane(const char* rejectionLabel, ResultsPane::Writer all, QWidget* parent);

    // Findings at a place that was accepted or rejected before have that verdict again.
    void Show(Findings findings);
    void Clear() { Show({}); }
    // They are no longer what the recording has.
    void SetOutdated();
    const Findings& Shown() const;
    // In the row of the cursor.
    const Finding* Current() const;
    // Stands behind the button "Copy".
    void AddButton(QPushButton* button);
    // What takes the keyboard, in the order of reading.
    std::vector<QWidget*> TabStops() const;

    QSize sizeHint() const override;

  signals:
    // The user goes to another finding, or none is shown any more.
    void CurrentChanged();
    // The user wants done what is done with rejected ones.
    void Rejected();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QPushButton* MakeButton(const QString& label, const char* name, const QString& tip,
                            const std::function<void()>& does);
    void Judge(Verdict verdict);
    void CopySelected() const;
    void CopyAll();
    void ShowState();
    bool GoTo(std::pair<int32_t, int32_t> place);

    FindingsModel* model_;
    QTableView* table_;
    QLabel* notice_;
    QPushButton *copy_, *accept_, *reject_, *doRejected_;
    FlowLayout* buttons_;
    ResultsPane::Writer all_;
    QString rejectionLabel_;
};

}  // namespace kymora
