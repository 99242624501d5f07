#pragma once
// The scrolling oscilloscope view of a recording, without its window: viewport, layout, display cache, axes
// and the commands that move them. A window forwards its events and paints what PaintRecording draws; picture
// files use a view of their own. Times are in ms, pixels count from the window's corner, axes and traces from
// 0.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "display/display_cache.h"
#include "display/layout.h"
#include "display/mouse.h"
#include "display/view_settings.h"
#include "document/data_doc.h"

namespace kymora {

// What a view asks of the window that shows it.
class ViewWindow {
  public:
    virtual ~ViewWindow() = default;
    virtual void Invalidate() = 0;  // paint again, soon
    virtual void ShowTimes() = 0;   // the viewport or its unit changed: fill the edit boxes
    virtual void LayoutChanged() = 0;
    virtual void SetCursorShape(CursorShape) {}
    // What the status line says until it is called with nothing.
    virtual void ShowStatus(std::string_view) {}
    virtual void CopyText(std::string_view) {}
    virtual void CopyPicture() {}
    virtual void Print() {}
};

class CKymoraView : public DocumentView, public ViewSettings {
  public:
    explicit CKymoraView(CDataDoc& doc);
    ~CKymoraView() override;
    CKymoraView(const CKymoraView&) = delete;
    CKymoraView& operator=(const CKymoraView&) = delete;

    CDataDoc& GetDocument() const { return doc_; }
    Session& GetSession() const { return doc_.GetSession(); }
    void SetWindow(ViewWindow* window) { window_ = window; }
    // Null while no window shows the view.
    ViewWindow* Window() const { return window_; }
    // Has everything painted again: something that the view draws has changed.
    void Invalidate() const;

    // Takes the document's stored settings and reads the first viewport: `viewport`, or the stored one. False
    // when the user stopped the reading; a short stretch is shown then.
    bool OnInitialUpdate(std::optional<Viewport> viewport = {});
    void OnSize(int width, int height);

    // --- DocumentView ---
    DisplaySettings GetDisplaySettings() const override;
    void OnUpdate(UpdateHint hint) override;

    // --- mouse and keys ---
    int m_nMouseMode = mouseNormal;
    // The event channel that the mouse and the navigation work on.
    int m_nMouseEventChan = 0;
    int m_nNavEventChan = 0;

    void SetMouseMode(int mode);
    void MouseDown(const MouseEvent& event);
    void MouseMove(const MouseEvent& event);
    void MouseUp(const MouseEvent& event);
    void MouseDoubleClick(const MouseEvent& event);
    // Abandons a drag, else ends the mode, else the selection.
    void Escape();
    bool IsDragging() const { return drag_ != nullptr; }
    // What is drawn over the picture while the mouse drags, and the selected stretch.
    void DrawFeedback(DrawDevice& device) const;

    // The stretch of time that the user selected; nothing when there is none.
    std::optional<Viewport> m_selection;
    void Select(std::optional<Viewport> selection);
    // An action has used the selection; by the option it goes.
    void SelectionUsed();

    // --- the viewport ---
    double m_StartTime = 0.0;
    double m_EndTime = 0.0;
    double m_TimePerDiv = 0.0;  // an eighth of the viewport

    Viewport GetViewport() const { return {m_StartTime, m_EndTime}; }
    double GetFileEnd() const;
    // Keeps the length; a start below 0 becomes 0.
    void SetStartTime(double timeMs);
    // Makes the cache hold the viewport and has everything painted again. False when the user stopped the
    // reading; the caller then puts the old viewport back.
    bool RefreshViewport(bool showProgress = false);
    // Shows another stretch of time. A cancelled read leaves the viewport as it was and answers false.
    bool ChangeViewport(Viewport viewport, bool showProgress = true);

    void RightPage();
    void LeftPage();
    void RightPercent();
    void LeftPercent();
    void GoToStart();
    void GoToEnd();
    void Compress();
    void Expand();
    void OneToOne();
    void ShowAll();
    // Keeps the centre, or the left edge by the option. `perDivMs` is the time of one of the eight divisions.
    void SetTimebase(double perDivMs);
    // Zooms so that the time at a pixel stays under it; a factor below 1 shows less time.
    void ZoomAround(int x, double factor);

    // The edit boxes: a text in the current unit. A bad one is told to the user and answers false.
    bool SetStartFromText(std::string_view text);
    bool SetEndFromText(std::string_view text);
    bool SetTimebaseFromText(std::string_view text);
    std::string StartText() const;
    std::string EndText() const;
    std::string TimebaseText() const;
    // "ms/div" and its like.
    std::string TimebaseUnitText() const;
    // Has the window ask for the timebase.
    void AskTimebase();
    void SetTimeUnit(int unit);
    void SetTimebasePerViewport(bool perViewport);
    void ToggleFocusLeftEdge();

    // --- what is shown ---
    // `name` is the action's for undo.
    void ToggleSwitch(bool ViewSettings::*member, std::string_view name);
    void SetDataArea(float fraction);
    void SetSigFigs(int figures);

    // --- layout and coordinates ---
    const Layout& GetLayout() const { return layout_; }
    Slider GetSlider() const { return CalcSlider(layout_, GetViewport(), GetFileEnd()); }
    TimeScale GetTimeScale() const { return {GetViewport(), layout_.plot.left, layout_.plot.Width()}; }
    ValueScale GetValueScale(int axis) const;
    int TimeToPixel(double timeMs) const { return GetTimeScale().ToPixel(timeMs); }
    double PixelToTime(int x) const { return GetTimeScale().ToTime(x); }
    int ValueToPixel(double value, int axis) const { return GetValueScale(axis).ToPixel(value); }
    // The axis whose band holds y, or -1.
    int GetNearestAxis(int y) const;
    // "t = 1.250, Ax 1 = 0.310" for the mouse at a pixel; empty outside of the plot.
    std::string StatusText(int x, int y) const;

    // --- axes and traces ---
    int m_nVisibleAxes = 0;

    // The axes shown, from the top; empty while the data area is 0.
    const std::vector<int>& ShownAxes() const { return shownAxes_; }
    int SlotOf(int axis) const;
    // The band of a shown axis, inset by the gap.
    PixelRect BandOf(int axis) const { return layout_.BandLimits(SlotOf(axis)); }
    // True when the trace is drawn: its axis is shown.
    bool IsTraceShown(int trace) const;

    // The commands below act on the selected axes, or on all.
    void SelectAxis(int axis, bool addToSelection);
    void Autoscale(bool allAxes);
    void IncreaseGain(bool allAxes);
    void DecreaseGain(bool allAxes);
    void MoveUp(bool allAxes);
    void MoveDown(bool allAxes);
    void SetDrawAsDots(bool allAxes, bool dots);
    void SetDotSize(bool allAxes, int size);
    bool IsSelectedFormat(bool (*test)(const TraceFormat&)) const;

    const DisplayCache& GetCache() const { return cache_; }
    // The longest event of a channel, in samples: no event that starts further before a position reaches it.
    int64_t LongestEvent(int channel) const;

  private:
    void TakeStoredSettings();
    void TakeStoredViewport();
    void Place(Viewport viewport);
    Viewport DefaultViewport() const;
    void TakeAxes();
    void TakeAxisLabels();
    void CountShownAxes();
    void Relayout();
    bool UpdateCache(bool showProgress);
    void UpdateDependents();
    bool FocusLeftEdge() const;
    void AutoscaleAxis(int axis);
    void AutoscaleNewAxes();
    // Runs `change` on each axis that a command acts on.
    template <typename Change>
    void ForAxes(const char* name, bool allAxes, Change change);
    template <typename Change>
    void ForFormats(const char* name, bool allAxes, Change change);
    void WarnOfEqualLabels();

    CDataDoc& doc_;
    ViewWindow* window_ = nullptr;
    DisplayCache cache_;
    Layout layout_;
    std::unique_ptr<MouseDrag> drag_;
    int width_ = 0, height_ = 0;
    std::vector<int> shownAxes_;
    std::array<int32_t, maxTraces> autoscale_{};  // traces that are scaled when they are next shown
    int32_t expandContractFocus_ = 1;             // the document's own, whatever the option is
    mutable std::vector<int64_t> longestEvents_;  // per channel; -1 not known
};

}  // namespace kymora
