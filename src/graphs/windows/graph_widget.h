#pragma once
// Shows a graph and lets the user look closer, read values and drag its lines.
//
// The wheel zooms along the horizontal axis about the pointer, with Ctrl along the vertical one, and over an
// axis along that one. Dragging in a plot zooms to a rectangle or moves what is seen, as the mode is;
// dragging an axis moves it, and by an end of it stretches it. A double click in a plot shows all, on an axis
// it asks for its limits. By the keyboard: +, - and the arrows (with Ctrl vertically), Home; Tab goes to the
// next pane or line, and the arrows move a line by a pixel, with Shift by ten. In a pane in which something
// can be selected, the mode select draws a rectangle, or an outline round points.

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "graphs/graph_painter.h"
#include "host/form.h"

namespace kymora {

class GraphWidget : public QWidget {
    Q_OBJECT

  public:
    enum class Mode { zoom, pan, select };  // of a pane in which nothing can be selected, select is zoom

    explicit GraphWidget(QWidget* parent = nullptr);

    // What the user has zoomed to stays, unless the new graph has nothing there.
    void SetGraph(Graph graph);
    const Graph& GetGraph() const { return graph_; }
    // Of the pane in focus, or of all.
    void ShowAll();
    // What is seen of each pane.
    const std::vector<GraphBox>& Shown() const { return boxes_; }
    // Where each pane lies, and where a point of it does.
    const std::vector<PanePlace>& Places() const { return places_; }
    QPointF PixelOf(size_t pane, double x, double y) const;
    // The readouts of the panes, each with what it tells of the pixel under the mouse; empty where that is
    // not.
    std::vector<std::pair<GraphReadout, std::string>> Readouts() const;

    void SetMode(Mode mode) { mode_ = mode; }
    void SetGrid(bool hasGrid);
    void SetReading(bool tells);
    void SetDropLines(bool has);
    GraphLook Look() const;

    // The pane that was clicked or reached by Tab; none stands for all of them.
    std::optional<size_t> FocusedPane() const;
    // The graph as it is seen: with the limits that are shown.
    Graph Seen() const;

    // The limits, the scale and the title of an axis as a form, and what was entered there.
    Form AxisForm(size_t pane, bool isX) const;
    void TakeAxisForm(size_t pane, bool isX, const Form& form);

    QSize sizeHint() const override { return {560, 300}; }
    QSize minimumSizeHint() const override { return {240, 150}; }

  signals:
    // The user has dragged the line of a parameter.
    void LineMoved(const QString& parameter, double value);
    // The user has changed the x axis of a pane whose limits are parameters.
    void LimitsSet(int pane, double low, double high);
    // All of such a pane is to be shown again.
    void LimitsFreed(int pane);
    void AxisAsked(int pane, bool isX);
    // The user has dragged the area of a pane.
    void AreaSet(int pane, const GraphArea& area);
    // The readouts tell something else: the mouse has moved, or the graph is another one.
    void ReadoutsChanged();
    // There is a pane now in which something can be selected, or there is none any more.
    void SelectionOffered(bool isThere);
    // A point that stands for an event was clicked.
    void EventChosen(int channel, int event);
    // The user has dragged round something: the corners, in the units of the axes.
    void Outlined(int pane, const std::vector<std::pair<double, double>>& corners);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool focusNextPrevChild(bool next) override;

  private:
    // What the keyboard is at: a pane, or one of its lines.
    struct Stop {
        size_t pane = 0;
        int line = -1;
        bool operator==(const Stop&) const = default;
    };
    struct Drag {
        enum class What { rectangle, area, outline, pan, line, moveAxis, stretchAxis };
        What what = What::rectangle;
        GraphHit hit;
        QPoint from, to;
        std::vector<GraphBox> before;
        double lineBefore = 0.0;
        bool isLowEnd = false;        // of an axis that is stretched
        std::vector<QPoint> corners;  // of an outline
    };
    // What the user has set of an axis in place of the graph's own.
    struct AxisChoice {
        std::optional<bool> isLog;
        std::optional<std::string> title;
    };
    struct Chosen {
        bool x = false, y = false;            // the user has zoomed along it
        bool fixedX = false, fixedY = false;  // has entered its limits, which stay whatever is drawn
    };

    void Arrange();
    void Render();
    void PaintOverlay(QPainter& painter);
    void PaintReading(DrawDevice& device);
    void PaintCard(DrawDevice& device, std::vector<std::string> lines);
    void PaintDropLines(DrawDevice& device, const PanePlace& place, const GraphPane& pane,
                        const GraphReading& reading);

    void ApplyChoices();
    bool Keeps(size_t pane, bool isX) const;
    bool HasLimitParameters(size_t pane) const;
    // Shows it, as far as it can be; the user did.
    void SetBox(size_t pane, GraphBox box, bool isFree = false);
    void Hold(size_t pane, GraphBox& box) const;
    void TellLimits(size_t pane);
    void SendLimits();
    void Zoom(size_t pane, double factor, QPointF about, bool across, bool up);
    void Move(size_t pane, double across, double up);
    void ZoomTo(size_t pane, const QRect& dragged);
    Drag::What DragIn(const GraphPane& pane) const;
    void SendOutline(const Drag& drag);
    void SelectIn(size_t pane, const QRect& dragged);
    bool CanSelect() const;
    void PaintAreas(QPainter& painter);
    void ShowAllOf(size_t pane);

    void StartDrag(const GraphHit& hit, QPoint at, bool isMiddle, bool isStretch);
    void DragTo(QPoint at);
    void DragAxis(QPoint at);
    void EndDrag();
    void ChooseEvent(size_t pane, QPoint at);
    void CancelDrag();
    void MoveLine(size_t pane, size_t line, double pixel, bool isDone);
    void SendLine(const GraphLine& line);
    void ShowPointer(const GraphHit& hit, QPoint at);
    bool IsAtEnd(const GraphHit& hit, QPoint at, bool& isLow) const;

    std::vector<Stop> Stops() const;
    void GoTo(const Stop& stop);
    void TellStop();
    bool MoveByKey(QKeyEvent* event);
    QPointF MiddleOf(size_t pane) const;

    Graph given_, graph_;  // as it came, and with what the user has set of its axes
    std::map<std::pair<std::string, bool>, AxisChoice> choices_;
    std::vector<GraphBox> whole_, boxes_;
    std::vector<Chosen> chosen_;
    std::vector<PanePlace> places_;
    QImage image_;  // of all but what moves with the mouse
    bool isStale_ = true;

    Mode mode_ = Mode::zoom;
    bool hasGrid_ = true, tells_ = true, hasDropLines_ = false;
    std::optional<Drag> drag_;
    std::optional<QPoint> pointer_;
    std::optional<Stop> stop_;
    std::set<size_t> limitsToTell_;
    QTimer tellLater_;
};

}  // namespace kymora
