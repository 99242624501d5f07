#pragma once
// What the window of an operation shows of it: its parameters, and beside or below them, as there is room,
// its graph and the text or the table of its results. Each is a pane of its own; whatever else a window is to
// show joins them here.

#include <QPointer>
#include <QSplitter>
#include <vector>

#include "operations/batch_base_dlg.h"
#include "widgets/param_form.h"

namespace kymora {

class ContentArea;
class FindingsPane;
class GraphPanel;
class ResultsPane;

class OperationPanes : public QSplitter {
    Q_OBJECT

  public:
    // The block outlives the panes.
    OperationPanes(Session& session, CBatchBaseDlg& block, ParamForm::Enter enter,
                   ParamSurroundings surroundings, QWidget* parent);

    ParamForm& Form() const { return *form_; }
    // Null where the operation has no findings.
    FindingsPane* Findings() const { return findings_; }
    bool HasResults() const { return results_ || findings_; }
    // What the last run has found, or nothing.
    void ShowResults();
    void ClearResults();
    // The list of results has no more than this share of the height, and none while it is empty.
    void SetListShare(double share) { listShare_ = share; }
    // Of parameters that stand on several pages one is shown at a time.
    int Page() const { return page_; }
    void ShowPage(int page);
    // Draws the graph of the block as it stands, or none without a document. `isBlank`: what was entered is
    // refused, and there is nothing to draw of it but the axes.
    void ShowGraph(bool isBlank);

    // In a panel beside the recordings all stands in one column; in a window of its own the parameters take
    // several, as there is room.
    void SetDocked(bool isDocked);
    bool IsDocked() const { return isDocked_; }

    // The most that a window takes of its screen.
    QSize MostSize() const;
    // Places the panes in what the window may take; again when the style or the parameters have changed.
    void Arrange();
    // What the window lacks to show all parameters without scrolling, where it can be given it, in pixels.
    int MissingHeight() const;
    // What takes the keyboard, in the order of reading.
    std::vector<QWidget*> TabStops() const;

  signals:
    // There are other panes, or they stand elsewhere.
    void Arranged();
    // The user has set a parameter in the graph: by dragging its line, or the axis whose limit it is. Empty
    // keys belong to no parameter.
    void Dragged(const QString& key, double value);
    void LimitsDragged(const GraphPane& pane, double low, double high);
    // What is selected in a pane.
    void AreaDragged(const GraphArea& area);
    // The limits are to follow the values.
    void LimitsFreed(const GraphPane& pane);
    // A point of the graph that stands for an event of a channel was clicked.
    void EventChosen(int channel, int event);
    // The user has dragged round something in a pane that takes outlines.
    void Outlined(const QString& pane, const std::vector<std::pair<double, double>>& corners);

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void MakeGraph();
    void TakeActions();
    QWidget* ResultsWidget() const;
    void SaveResults();
    bool StandsAbove(QSize most);
    void FitWidth();
    int FormHeight() const;
    void ShowFilled();
    bool HasShownResults() const;
    void ShareSoon();
    void ShareRoom();
    void KeepSizes();
    void RestoreSizes();
    QString SizesName(const QSplitter& splitter) const;
    void KeepPlace();
    void HoldPlace();

    Session& session_;
    CBatchBaseDlg& block_;
    int page_ = 0;
    bool isDocked_ = false, isShared_ = false, isBlank_ = false;
    bool hasFound_ = false;  // there were results
    std::optional<double> listShare_;
    // What has the keyboard, and its row in the area, while rows come and go.
    QPointer<QWidget> held_;
    int heldRow_ = 0;
    ContentArea* area_;  // of the parameters
    QSplitter* shown_;   // all else
    ParamForm* form_;
    // An operation has one of these, or none.
    ResultsPane* results_ = nullptr;
    FindingsPane* findings_ = nullptr;
    GraphPanel* graph_ = nullptr;  // null until the operation has one
};

}  // namespace kymora
