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
#include "display/events/event_summary.h"
#include "display/layout.h"
#include "display/mouse.h"
#include "display/overlays/datum_lines.h"
#include "display/view_settings.h"
#include "display/viewport_history.h"
#include "document/data_doc.h"
#include "drawing/text_sizes.h"

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
    // Has the user write another limit in the place of the one that is shown.
    virtual void EditLimit(int /*axis*/, bool /*isMax*/) {}
    // Gives the view itself another size, in pixels.
    virtual void SetSize(int /*width*/, int /*height*/) {}
    // The document has told the view of a change.
    virtual void DocumentUpdated(UpdateHint) {}
};

class SummaryService;
struct ViewReload;

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
    // The same with the settings of another view of the document, as it is now.
    bool OnInitialUpdate(const CKymoraView& active);
    void OnSize(int width, int height);

    // --- DocumentView ---
    DisplaySettings GetDisplaySettings() const override;
    void OnUpdate(UpdateHint hint) override;
    std::vector<double> GetCursorTimes() const override;
    void SetGuides(std::vector<ViewGuide> guides) override;
    const std::vector<ViewGuide>& Guides() const { return guides_; }

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
    void ZoomToSelection();
    // Asks for the two ends of a selection.
    void AskSelection();
    // The last place of the mouse; nothing before it was over the view.
    std::optional<Point> m_mouse;

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
    // While another thread reads the bins of the viewport, the cache holds a coarse picture. The window
    // polls; true when something arrived that is to be painted.
    bool IsReloading() const { return reload_ != nullptr; }
    double ReloadShare() const;  // of the work that is done
    bool PollReload();
    // Puts the last viewport back that was shown exactly.
    void CancelReload();
    // Waits for the exact bins with a progress box: for pictures that leave the window. False when the user
    // stopped it; the last viewport is back then.
    bool FinishReload();
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
    // To the viewports before and after, as far as they are remembered.
    const ViewportHistory& GetHistory() const { return history_; }
    void GoBack();
    void GoForward();
    // Asks for the step of LeftPercent and RightPercent.
    void AskStep();
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
    void SetBackground(uint32_t colour);
    // Asks for the size of the view in its window.
    void AskSize();

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
    // Gives the selected axes the range that holds all of theirs; all axes when only one is selected.
    void SameScale(bool allAxes);
    // One limit from a text. What is no number, or would not leave the maximum above the minimum, is told to
    // the user and answers false.
    bool SetLimitFromText(int axis, bool isMax, std::string_view text);
    std::string LimitText(int axis, bool isMax) const;
    // Refused, with nothing said, unless both are finite and they differ.
    void SetLimits(int axis, double minimum, double maximum, const char* name);
    // Zooms so that the value at a pixel stays under it; a factor below 1 makes the traces taller.
    void ScaleAxisAround(int axis, int y, double factor);
    // Dialogs: which axes show and what is drawn on them, and the look of the selected traces.
    void AskAxes();
    void AskFormat();
    // The traces drawn on an axis, or on the selected ones, in ascending order.
    std::vector<int> TracesOn(int axis) const;
    std::vector<int> SelectedTraces() const;
    void SetDrawAsDots(bool allAxes, bool dots);
    void SetDotSize(bool allAxes, int size);
    bool IsSelectedFormat(bool (*test)(const TraceFormat&)) const;

    // --- what lies over the traces ---
    // The cursors, which belong to the view; their labels know where they were last drawn.
    CDatumLines& DatumLines() const { return *m_pDatumLines; }
    // Sizes of the texts of annotations as they were last drawn.
    TextSizes& GetTextSizes() const { return textSizes_; }

    const DisplayCache& GetCache() const { return cache_; }
    EventRowCache& EventRows() const { return eventRows_; }

  private:
    void TakeStoredSettings();
    void TakeStoredViewport();
    bool ReadFirstViewport();
    void Place(Viewport viewport);
    Viewport DefaultViewport() const;
    void TakeAxes();
    void TakeAxisLabels();
    void CountShownAxes();
    void Relayout();
    bool UpdateCache(bool showProgress);
    // view_reload.cpp
    void AttachSummaries();
    void DetachSummaries();
    bool LoadBins(int level, bool showProgress);
    bool LoadQuickly(SummaryService& service, int level);
    bool LoadLater(SummaryService& service, int level);
    void DropReload();
    bool ReadPlainly();
    void UpdateDependents();
    bool FocusLeftEdge() const;
    bool ShowViewport(Viewport viewport, bool showProgress);
    // False when nothing in view has a value.
    bool AutoscaleAxis(int axis);
    void AutoscaleNewAxes();
    // Runs `change` on each axis that a command acts on.
    template <typename Change>
    void ForAxes(const char* name, bool allAxes, Change change);
    template <typename Change>
    void ForFormats(const char* name, bool allAxes, Change change);
    void WarnOfEqualLabels();
    void KeepLimitsOfUser(int axis) { autoscale_[static_cast<size_t>(axis)] = 0; }

    CDataDoc& doc_;
    ViewWindow* window_ = nullptr;
    DisplayCache cache_;
    Layout layout_;
    std::unique_ptr<MouseDrag> drag_;
    const std::unique_ptr<CDatumLines> m_pDatumLines = std::make_unique<CDatumLines>(*this);
    std::vector<ViewGuide> guides_;  // of open dialogs
    mutable TextSizes textSizes_;
    ViewportHistory history_;
    std::unique_ptr<ViewReload> reload_;     // while another thread reads
    std::optional<Viewport> exactViewport_;  // the last one that was shown from exact bins
    bool opened_ = false;                    // holds settings: those of the document, or of another view
    bool attached_ = false;                  // to the session's summaries
    bool readFaultTold_ = false;             // the samples in view cannot be read, and the user knows
    int width_ = 0, height_ = 0;
    std::vector<int> shownAxes_;
    std::array<int32_t, maxTraces> autoscale_{};  // traces that are scaled when they are next shown
    int32_t expandContractFocus_ = 1;             // the document's own, whatever the option is
    mutable EventRowCache eventRows_;
};

}  // namespace kymora
