#pragma once
// The picture of a recording under way: axes as the views of recordings have them, traces that are painted
// column by column as they come, and over them what is noted and found.
//
// Wheel over a band: its axis is zoomed. Drag: its axis is shifted. The line of the level can be dragged.

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <deque>

#include "acquisition/acq_observers.h"
#include "display/kymora_view.h"
#include "display/live/live_raster.h"
#include "display/live/live_spikes.h"

namespace kymora {

class LiveWidget : public QWidget, public AcqObserver {
    Q_OBJECT

  public:
    using Clock = std::chrono::steady_clock;

    explicit LiveWidget(Session& session, QWidget* parent = nullptr);

    // What is recorded, or will be: traces, labels, axes and interval of a document without samples.
    struct Recorded {
        std::unique_ptr<CAcqDoc> doc;
        ScanFormat format;
        double spanMs = 2000.0;
        bool restarts = false;  // sweep modes 0 and 1
        bool isSingle = false;  // all of it fits into the span
    };
    // Blank, with these axes.
    void Show(Recorded recorded);
    // Scans behind these, which are not stored, are not shown.
    void SetMostScans(int64_t scans) { mostScans_ = scans; }
    // Another span from here on.
    void SetSpan(double spanMs);
    double Span() const { return spanMs_; }
    void SetPaused(bool paused);
    // Whether what was shown stands faintly behind what comes, where it stood at the same place.
    void SetOverlay(bool overlays);
    // What is shown until the next Show, and stands behind it, does not stand behind what that shows.
    void BeginSeries() { beginsSeries_ = true; }
    // When the data came that are handed over now.
    void SetWokenAt(Clock::time_point when) { wokenAt_ = when; }
    // The words in the middle while nothing is shown.
    void SetHint(const QString& hint);

    // --- AcqObserver ---
    void OnScans(std::span<const std::byte> scans) override;
    void OnScansPassed(int64_t scans) override;
    void OnSkipped(int64_t scan) override;

    // --- notes and spikes ---
    void SetNotes(std::vector<CMarker> notes);
    // None: nothing is detected.
    void SetDetection(std::optional<LiveSpikeSettings> settings);
    const LiveSpikes* Spikes() const { return detects_ ? &spikes_ : nullptr; }

    // --- axes ---
    int TraceCount() const { return doc_ ? doc_->traceCount : 0; }
    QString TraceName(int trace) const;
    // Each axis to what is seen of its trace.
    void Autoscale();

    // --- how well it goes ---
    int64_t Scans() const { return traces_.Scans(); }
    int64_t Frames() const { return frames_; }
    double FramesPerSecond() const;
    int64_t DroppedScans() const { return dropped_; }
    // From the wake of a buffer to the end of its painting, ms, of the last 2000 frames.
    std::vector<double> Latencies() const { return {latencies_.begin(), latencies_.end()}; }
    // The same for the time that the painting itself took.
    std::vector<double> PaintTimes() const { return {paintTimes_.begin(), paintTimes_.end()}; }

    QSize sizeHint() const override { return {800, 520}; }
    int PlotWidth() const;

  signals:
    void AxisChanged(int trace, double top, double bottom);
    void LevelChanged(double level);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

  private:
    enum class Drag { none, level, axis };

    void NewData();
    void Fit();
    void MakeGround();
    void PlaceRaster();
    void BeginTraces();
    void KeepGhost();
    double XOfScan(double scan) const;
    double TimeOfScan(double scan) const { return (scan + base_) * doc_->sampleInterval; }
    void DrawTimes(DrawDevice& device) const;
    void DrawSweepEdge(DrawDevice& device) const;
    void DrawNotes(DrawDevice& device) const;
    void DrawSpikes(DrawDevice& device) const;
    void DrawHint(DrawDevice& device) const;
    int TraceAt(int y) const;
    int AxisOfSpikes() const;
    std::optional<int> LevelRow() const;
    void SetLimits(int trace, double top, double bottom);

    Session& session_;
    std::unique_ptr<CAcqDoc> doc_;
    std::unique_ptr<CKymoraView> view_;
    ScanFormat format_;
    double spanMs_ = 2000.0;
    bool restarts_ = false, isSingle_ = false, isPaused_ = false, detects_ = false;
    int64_t base_ = 0;  // scans before those of traces_
    int64_t mostScans_ = std::numeric_limits<int64_t>::max();
    LiveTraces traces_;
    LiveRaster raster_;
    LiveSpikes spikes_;
    std::vector<CMarker> notes_;
    QString hint_;
    QImage ground_, ghost_;  // ghost_: what was shown before
    bool overlays_ = false, beginsSeries_ = false;
    bool groundIsCurrent_ = false;
    int64_t shownFirst_ = 0, shownLast_ = 0;  // columns

    Drag drag_ = Drag::none;
    int dragTrace_ = 0;
    double dragFrom_ = 0.0;

    QTimer frameTimer_;
    bool isPending_ = false;
    Clock::time_point wokenAt_, pendingSince_, lastFrame_;
    std::deque<Clock::time_point> recentFrames_;
    std::deque<double> latencies_, paintTimes_;
    int64_t frames_ = 0, dropped_ = 0;
};

}  // namespace kymora
