#pragma once
// The scrolling oscilloscope view of a recording, without its window: viewport, layout, display cache, axes
// and the commands that move them. A window forwards its events and paints what PaintRecording draws; picture
// files use a view of their own. Times are in ms, pixels count from the window's corner, axes and traces from
// 0.

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "display/bin_source.h"
#include "display/mouse.h"
#include "display/navigation.h"
#include "display/overlays/datum_lines.h"
#include "display/plot_context.h"
#include "display/viewport_history.h"

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

class CKymoraView : public DocumentView, public ViewSettings {
  public:
    // Without a source of bins they are read from the document.
    explicit CKymoraView(CDataDoc& doc, std::unique_ptr<BinSource> bins = nullptr);
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
    // A file may be shorter than it was when its view was stored: a view behind its end, or one that is
    // longer than the recording, comes back to the data. The last page, as the user left it, stays.
    void LeaveEmptyPlace();
    void OnSize(int width, int height);

    // --- DocumentView ---
    DisplaySettings GetDisplaySettings() const override;
    void OnUpdate(UpdateHint hint) override;
    void MakeRoomForRows(float traces) override;
    std::vector<double> GetCursorTimes() const override;
    void BringIntoView(double start, double end) override;
    void SetGuides(std::vector<ViewGuide> guides, GuideMoved moved = {}) override;
    void SetProposedEvents(std::vector<ProposedEvents> proposed) override;
    // The user has put a guide to another value or time.
    void MoveGuide(const ViewGuide& guide, double at) const;

    // --- mouse and keys ---
    int m_nMouseMode = mouseNormal;
    // The event channel that the mouse and the navigation work on.
    int m_nMouseEventChan = 0;
    int m_nNavEventChan = 0;

    void SetMouseMode(int mode);
    ViewMouse& Mouse() { return mouse_; }
    // Abandons a drag, else ends the mode, else the selection.
    void Escape();

    // The stretch of time that the user selected; nothing when there is none.
    std::optional<Viewport> m_selection;
    void Select(std::optional<Viewport> selection);
    // An action has used the selection; by the option it goes.
    void SelectionUsed();
    // The last place of the mouse; nothing before it was over the view.
    std::optional<Point> m_mouse;

    // --- the viewport ---
    double m_StartTime = 0.0;
    double m_EndTime = 0.0;

    Viewport GetViewport() const { return {m_StartTime, m_EndTime}; }
    // Keeps the length; a start below 0 becomes 0.
    void SetStartTime(double timeMs);
    // Makes the cache hold the viewport and has everything painted again. False when the user stopped the
    // reading; the caller then puts the old viewport back.
    bool RefreshViewport(bool showProgress = false);
    const BinSource& GetBins() const { return *bins_; }
    // The source of the bins may stand with coarse ones. The window polls; true when something arrived that
    // is to be painted.
    bool IsReloading() const { return bins_->IsReading(); }
    bool PollReload();
    // Puts the last viewport back that was shown exactly.
    void CancelReload();
    // Waits for the exact bins with a progress box: for pictures that leave the window. False when the user
    // stopped it; the last viewport is back then.
    bool FinishReload();
    // Shows another stretch of time. A cancelled read leaves the viewport as it was and answers false.
    bool ChangeViewport(Viewport viewport, bool showProgress = true);

    // The moves from here.
    Navigation GetNavigation() const;
    void Go(double (Navigation::*scroll)() const) { SetStartTime((GetNavigation().*scroll)()); }
    void Go(Viewport (Navigation::*zoom)() const) { ChangeViewport((GetNavigation().*zoom)()); }
    // To the viewports before and after, as far as they are remembered.
    const ViewportHistory& GetHistory() const { return history_; }
    void GoBack() { GoThroughHistory(&ViewportHistory::Back); }
    void GoForward() { GoThroughHistory(&ViewportHistory::Forward); }
    // Whether zooming keeps the left edge or the middle.
    void ToggleFocusLeftEdge();

    // --- what is shown ---
    // Gives the traces another share of the height, which is no step of undo of its own.
    void ShareHeight(float dataArea);
    // So many of the visible axes from the first one on; as passing as a viewport, and no step of undo.
    void ShowAxisPage(int first, int atOnce);
    // Sets what is drawn anew then: one way of looking at the recording. `name` is the action's for undo.
    template <typename Settings, typename T>
    void Set(T Settings::*member, std::type_identity_t<T> value, std::string_view name) {
        ChangeSettings(name, DisplayScope::look, [&](ViewSettings& settings) { settings.*member = value; });
    }
    void ChangeSettings(std::string_view name, DisplayScope::Kind kind,
                        const std::function<void(ViewSettings&)>& change);

    // --- what drawing and the mouse read ---
    // As the view is now; the next change makes it untrue.
    PlotContext Plot() const;

    // --- axes and traces ---
    int m_nVisibleAxes = 0;

    void SelectAxis(int axis, bool addToSelection);
    // Looks at the selected axes, or all, in another way: one step of undo.
    void ChangeAxes(const char* name, bool allAxes, const std::function<void(int axis)>& change);
    // To what is in view.
    void Autoscale(bool allAxes);
    // Refused, with nothing said, unless both are finite and they differ.
    void SetLimits(int axis, double minimum, double maximum, const char* name,
                   DisplayScope::Kind kind = DisplayScope::work);

    // --- what lies over the traces ---
    // The cursors, which belong to the view; their labels know where they were last drawn.
    CDatumLines& DatumLines() const { return *m_pDatumLines; }

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
    bool ReadPlainly();
    void ExactBinsArrived();
    void UpdateDependents();
    void PlaceComingRows();
    bool ShowViewport(Viewport viewport, bool showProgress);
    void GoThroughHistory(std::optional<Viewport> (ViewportHistory::*step)(Viewport));
    // False when nothing in view has a value.
    bool AutoscaleAxis(int axis);
    void AutoscaleNewAxes();
    void KeepLimitsOfUser(int axis) { autoscale_[static_cast<size_t>(axis)] = 0; }

    CDataDoc& doc_;
    ViewWindow* window_ = nullptr;
    const std::unique_ptr<BinSource> bins_;
    Layout layout_;
    ViewMouse mouse_{*this};
    const std::unique_ptr<CDatumLines> m_pDatumLines =
        std::make_unique<CDatumLines>([this] { return Plot(); });
    std::vector<ViewGuide> guides_;  // of open dialogs
    GuideMoved guideMoved_;
    std::vector<ProposedEvents> proposed_;
    ViewportHistory history_;
    std::optional<Viewport> exactViewport_;  // the last one that was shown from exact bins
    // What the end of a reading that is cancelled puts back.
    std::optional<Viewport> viewportBefore_;
    ViewportHistory historyBefore_;
    std::vector<int> eventRows_;  // the channels that had rows when they were last placed
    bool opened_ = false;         // holds settings: those of the document, or of another view
    int width_ = 0, height_ = 0;
    std::vector<int> shownAxes_;
    std::array<int32_t, maxTraces> autoscale_{};  // traces that are scaled when they are next shown
    int32_t expandContractFocus_ = 1;             // the document's own, whatever the option is
    mutable DrawnParts drawn_;
};

}  // namespace kymora
