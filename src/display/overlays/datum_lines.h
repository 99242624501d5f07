#pragma once
// The cursors of a view, which are called datum lines: vertical and horizontal lines that stand at pixels, so
// that they keep their place on the screen while the viewport moves, and are read again at the time and the
// values that are then under them. Each carries labels, which the user can shift along the line.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "display/plot_context.h"
#include "drawing/draw_device.h"

namespace kymora {

// What the mouse is doing with an object that belongs to a view.
enum DatumState : int {
    datumIdle = 0,
    datumMovesVert = 5,
    datumMovesHorz = 6,
    datumMovesVertLabel = 9,
    datumMovesHorzLabel = 10,
};

// An object that belongs to a view and not to the recording.
class CViewAddIn {
  public:
    virtual ~CViewAddIn() = default;
    virtual void Serialize(CArchive& archive) = 0;

    PixelRect m_rcPlot;  // of the view
    int m_nState = datumIdle;
};

// Hears of vertical lines that come and go: dialogs that measure between them.
class DatumListener {
  public:
    virtual ~DatumListener() = default;
    virtual void OnVertLineCount(int count) = 0;
    virtual void OnVertLineDeleted(int /*line*/) {}
};

// One text at a line.
struct DatumLabel {
    std::string text;
    PixelRect rect;            // where it was last drawn; empty when it was not
    int usual = 0;             // its place along the line, y or x, at first
    std::optional<int> moved;  // and once the user has shifted it
};

// The samples of all traces under a vertical line, kept while it stands at one position of the recording.
struct DatumSamples {
    std::optional<int32_t> at;
    std::vector<float> values;  // not-a-number in a gap and past the end
};

// The labels of one line. Of a vertical line label 0 is the ID, 1 the time, and 2 + t the value of trace t;
// of a horizontal one 0 is the ID, and 1 + t the text at trace t.
struct DatumLabels {
    std::vector<DatumLabel> labels;
    DatumSamples samples;  // of a vertical line, where it stands
    DatumSamples moving;   // and where it would stand
};

// A line that the mouse has under way to another pixel. It stands where it was until it is dropped.
struct DatumMove {
    bool isVert = true;
    int line = -1;
    int to = 0;
};

// Between which cursors the differences are told: between neighbours, or of all others from one of them.
struct DatumPairs {
    int vertFrom = -1;  // a line; -1: between neighbours
    int horzFrom = -1;
};

// What lies under the mouse.
struct DatumHit {
    int state = datumIdle;  // what a drag would do
    int line = -1;
    int label = -1;
    explicit operator bool() const { return state != datumIdle; }
};

inline constexpr int firstVertValue = 2, firstHorzValue = 1;  // labels of trace 0

class CDatumLines : public CViewAddIn {
  public:
    // `plot` gives the view that they belong to as it is now.
    explicit CDatumLines(std::function<PlotContext()> plot) : plot_(std::move(plot)) {}

    bool m_bShowIDs = false;
    bool m_bShowTimes = true;  // of vertical lines
    bool m_bShowValues = true;

    std::optional<DatumMove> m_moving;
    DatumPairs m_pairs;

    // Positions are 16-bit words: a pixel outside of 0 to 65535 is held to that range. Lines are numbered
    // from 0 in the order of their making; each answers the number of the new one.
    int AddVertLine(int x);
    int AddHorzLine(int y);
    // The same at a place between pixels, which its time or value is then told of.
    int AddVertLineAt(double x);
    int AddHorzLineAt(double y);
    // Lines as another view has them, at the same places of the plot, whatever its size.
    void TakeLines(const CDatumLines& from);
    // Without such a line they do nothing.
    void DeleteVertLine(int line);
    void DeleteHorzLine(int line);
    void DeleteAllVert();
    void DeleteAllHorz();
    void DeleteAll();
    void MoveVertLine(int line, int x);
    void MoveHorzLine(int line, int y);

    // The plot has another place or size in the window: lines stay where they are in it.
    void PlotMoved(const PixelRect& plot);

    int VertCount() const { return static_cast<int>(m_vertX.size()); }
    int HorzCount() const { return static_cast<int>(m_horzY.size()); }
    int VertX(int line) const { return m_vertX[static_cast<size_t>(line)]; }
    int HorzY(int line) const { return m_horzY[static_cast<size_t>(line)]; }
    bool IsOnPlotX(int x) const { return x >= m_rcPlot.left && x <= m_rcPlot.right; }
    bool IsOnPlotY(int y) const { return y >= m_rcPlot.top && y <= m_rcPlot.bottom; }

    double GetVertLineTime(int line) const;              // ms
    double GetHorzLineValue(int line, int trace) const;  // on the axis of the trace
    // The samples of all traces under a vertical line; not-a-number where there is none.
    const std::vector<float>& VertLineSamples(int line);
    float GetVertLineSample(int line, int trace) { return VertLineSamples(line)[static_cast<size_t>(trace)]; }

    // Where lines would stand if what is under way were dropped now: what is measured follows the hand.
    // Coupled lines go along.
    int MovingVertX(int line) const;
    int MovingHorzY(int line) const;
    double MovingVertTime(int line) const;  // ms
    double MovingHorzValue(int line, int trace) const;
    // The samples of all traces there.
    const std::vector<float>& MovingSamples(int line);

    // Vertical lines, their labels, horizontal lines, their labels; the newest first.
    DatumHit HitTest(int x, int y) const;
    // The newest line near a pixel, or -1.
    int VertLineAt(int x, int y) const;
    int HorzLineAt(int x, int y) const;

    const std::vector<DatumLabel>& VertLabels(int line) const {
        return m_vertLabels[static_cast<size_t>(line)]->labels;
    }
    const std::vector<DatumLabel>& HorzLabels(int line) const {
        return m_horzLabels[static_cast<size_t>(line)]->labels;
    }
    // Puts a label at a place along its line: y for a vertical line, x for a horizontal one. Without such a
    // line it does nothing.
    void MoveLabel(const DatumHit& label, int place);
    void ResetLabelPositions();
    // Writes and places all labels. One that would lie on another of a horizontal line stands in a row
    // further away from it; where there is no room, or at a vertical line, it is left out, and so has no
    // rectangle.
    void LayOutLabels(DrawDevice& device);
    // Has the values read again: the samples have changed.
    void ForgetValues();

    void AddListener(DatumListener& listener) { listeners_.push_back(&listener); }
    void RemoveListener(DatumListener& listener) { std::erase(listeners_, &listener); }

    // The positions, vertical ones first, each as a counted array of words. The labels start anew.
    void Serialize(CArchive& archive) override;

  private:
    using Blocks = std::vector<std::unique_ptr<DatumLabels>>;

    std::unique_ptr<DatumLabels> MakeLabels(int first) const;
    void ReadValues(DatumSamples& samples, double timeMs) const;
    // After a deletion: what counts lines goes on with the same ones.
    void ForgetLine(int DatumPairs::*from, int line);
    void WriteVertValues(DatumLabels& block);
    int WriteHorzValues(DatumLabels& block, int line) const;
    void LayOutVert(DrawDevice& device, int line);
    void LayOutHorz(DrawDevice& device, int line);
    void NotifyVertCount();

    std::function<PlotContext()> plot_;
    std::vector<uint16_t> m_vertX;
    Blocks m_vertLabels;
    std::vector<uint16_t> m_horzY;
    Blocks m_horzLabels;
    // The places to fractions of a pixel, so that many small changes of the window do not add up.
    std::vector<double> m_exactX, m_exactY;
    struct Span {
        int from = 0, size = 0;
    };
    Span m_lastX, m_lastY;  // of the last plot that had a size
    std::vector<DatumListener*> listeners_;
};

// The font of the labels.
const FontSpec& DatumFont();

}  // namespace kymora
