#include "display/kymora_view.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <thread>

#include <fmt/format.h>

#include "display/events/event_row_places.h"
#include "display/gutter.h"
#include "display/trace_format.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

constexpr int usualStepPercent = 20;

constexpr auto askAgain = std::chrono::milliseconds(5);

constexpr const char* sameViewText = "Active view is same as new view. Please inform the author.";

}  // namespace

CKymoraView::CKymoraView(CDataDoc& doc, std::unique_ptr<BinSource> bins)
    : doc_(doc), bins_(bins ? std::move(bins) : std::make_unique<RecordingBins>(doc)) {
    doc_.AddView(*this);
    static_cast<ViewHabits&>(*this) = GetSession().viewHabits;
}

CKymoraView::~CKymoraView() {
    if (opened_) doc_.StoreDisplaySettings(GetDisplaySettings());
    doc_.RemoveView(*this);
}

// --- opening ---

bool CKymoraView::OnInitialUpdate(std::optional<Viewport> viewport) {
    TakeStoredViewport();
    if (viewport) Place(*viewport);
    TakeAxes();
    TakeStoredSettings();
    return ReadFirstViewport();
}

bool CKymoraView::OnInitialUpdate(const CKymoraView& active) {
    if (&active == this) {
        GetSession().host.Message(sameViewText);
        return OnInitialUpdate();
    }
    Place(active.GetViewport());
    static_cast<ViewSettings&>(*this) = active;
    autoscale_ = active.autoscale_;
    expandContractFocus_ = active.expandContractFocus_;
    return ReadFirstViewport();
}

bool CKymoraView::ReadFirstViewport() {
    opened_ = true;
    const std::vector<int> toPlace = RowsToPlace(doc_, m_fDataArea);
    eventRows_ = EventRowChannels(doc_);
    std::erase_if(eventRows_, [&](int row) { return std::ranges::binary_search(toPlace, row); });
    PlaceComingRows();
    bins_->Reset();
    drawn_.eventRows.Forget();
    Relayout();
    const bool complete = RefreshViewport(true);
    if (!complete) {
        Place(DefaultViewport());
        RefreshViewport(false);
    }
    AutoscaleNewAxes();
    return complete;
}

void CKymoraView::TakeStoredViewport() {
    const StoredView& stored = doc_.view;
    Viewport viewport{stored.viewStart, stored.viewEnd};
    if (!(viewport.start >= 0.0)) viewport.start = 0.0;
    // What no command could have made would hold every command back.
    const double shortest = doc_.sampleInterval / 1000.0;
    const double longest = 4.0 * doc_.TimeOf(longestRecording);
    if (!(viewport.end > 0.0) || !(viewport.Duration() >= shortest) || !(viewport.end <= longest))
        viewport = DefaultViewport();
    Place(viewport);
}

void CKymoraView::LeaveEmptyPlace() {
    const double end = doc_.GetEndTime();
    if (!(end > 0.0) || m_EndTime <= doc_.TimeOf(doc_.GetLength())) return;
    const double length = GetViewport().Duration();
    if (m_StartTime >= end || length > end) ShowViewport({std::max(0.0, end - length), end}, false);
}

void CKymoraView::Place(Viewport viewport) {
    m_StartTime = viewport.start;
    m_EndTime = viewport.end;
}

Viewport CKymoraView::DefaultViewport() const { return {0.0, doc_.UsualViewEnd()}; }

void CKymoraView::TakeAxes() {
    for (int t = 0; t < doc_.traceCount; ++t) {
        const auto i = static_cast<size_t>(t);
        const TraceSettings& stored = doc_.traces[i];
        CVertAxis& axis = m_axes[i];
        axis.m_dMax = stored.axisTop;
        axis.m_dMin = stored.axisBottom;
        const bool isRange = std::isfinite(stored.axisTop) && std::isfinite(stored.axisBottom) &&
                             stored.axisTop != stored.axisBottom;
        if (!isRange) axis = CVertAxis();
        m_bAxisVisible[i] = stored.traceVisible != 0;
        m_format[i] = FormatOfStored(stored.traceExtraA, stored.traceExtraB);
        const bool exists = stored.traceOrder >= 0 && stored.traceOrder < doc_.traceCount;
        m_nAxisOfTrace[i] = exists ? stored.traceOrder : t;
        autoscale_[i] = isRange ? stored.traceAutoscale : 1;
    }
    TakeAxisLabels();
    CountShownAxes();
    if (m_nVisibleAxes == 0 && doc_.traceCount > 0) {
        GetSession().host.Message(noAxesText);
        m_bAxisVisible[0] = true;
        CountShownAxes();
    }
    for (CVertAxis& axis : m_axes) axis.m_bSelected = false;
    if (!shownAxes_.empty()) m_axes[static_cast<size_t>(shownAxes_.front())].m_bSelected = true;
}

void CKymoraView::TakeAxisLabels() {
    for (size_t i = 0; i < static_cast<size_t>(doc_.traceCount); ++i) {
        m_axes[i].m_strLabel = doc_.traces[i].axisLabel;
        m_axes[i].m_strUnits = doc_.traces[i].traceUnits;
    }
}

void CKymoraView::TakeStoredSettings() {
    const StoredView& stored = doc_.view;
    m_bShowAxes = stored.showAxes != 0;
    m_bShowSlider = stored.showSlider != 0;
    m_bShowGrid = stored.showGrid != 0;
    m_bShowMarkers = stored.showMarkers != 0;
    m_bShowAnnotations = stored.showTraceAnnotations != 0;
    m_bShowScaleBars = stored.showScaleBars != 0;
    m_bShowTraceLabels = stored.showTraceLabels != 0;
    m_bShowTraceIDs = stored.showTraceIds != 0;
    m_bShowEvents = stored.showEvents != 0;
    m_bShowEventLabels = stored.showEventLabels != 0;
    m_bShowEventChanLabels = stored.showEventChanLabels != 0;
    m_nPercentStep = stored.scrollStepPercent > 0 ? stored.scrollStepPercent : usualStepPercent;
    m_nSigFigs = std::clamp(stored.vertAxisSigFigs, 0, 6);
    expandContractFocus_ = stored.expandContractFocus;
    const float area = stored.dataDisplayFraction;
    m_fDataArea = area >= 0.0f ? std::min(area, 1.0f) : 1.0f;
    m_nClipMode = stored.formatOption;
    m_nTimeUnit = stored.timeUnit >= 0 && stored.timeUnit <= 2 ? stored.timeUnit : 0;
    if (m_nTimeUnit != 0) m_bAutoTimeUnit = false;  // it was chosen for this recording
    m_bTimebasePerViewport = stored.timebaseMode != 0;
}

DisplaySettings CKymoraView::GetDisplaySettings() const {
    DisplaySettings settings;
    StoredView& view = settings.view;
    view = doc_.view;  // what this view does not know stays as it was stored
    view.viewStart = m_StartTime;
    view.viewEnd = m_EndTime;
    view.expandContractFocus = expandContractFocus_;
    view.showAxes = m_bShowAxes;
    view.showSlider = m_bShowSlider;
    view.showGrid = m_bShowGrid;
    view.showMarkers = m_bShowMarkers;
    view.showTraceAnnotations = m_bShowAnnotations;
    view.showScaleBars = m_bShowScaleBars;
    view.showTraceLabels = m_bShowTraceLabels;
    view.showTraceIds = m_bShowTraceIDs;
    view.showEvents = m_bShowEvents;
    view.showEventLabels = m_bShowEventLabels;
    view.showEventChanLabels = m_bShowEventChanLabels;
    view.scrollStepPercent = m_nPercentStep;
    view.vertAxisSigFigs = m_nSigFigs;
    view.dataDisplayFraction = m_fDataArea;
    // Files know no hours, and ms where nobody has chosen a unit.
    view.timeUnit = m_bAutoTimeUnit ? 0 : std::min(m_nTimeUnit, 2);
    view.timebaseMode = m_bTimebasePerViewport;
    view.formatOption = m_nClipMode;
    for (int t = 0; t < doc_.traceCount; ++t) {
        const auto i = static_cast<size_t>(t);
        DisplaySettings::Trace trace{autoscale_[i],
                                     m_axes[i].m_dMax,
                                     m_axes[i].m_dMin,
                                     m_nAxisOfTrace[i],
                                     doc_.traces[i].traceVisible,
                                     doc_.traces[i].traceExtraA,
                                     doc_.traces[i].traceExtraB};
        if (m_bAxisVisible[i] != (trace.traceVisible != 0)) trace.traceVisible = m_bAxisVisible[i];
        StoreFormat(m_format[i], trace.traceExtraA, trace.traceExtraB);
        settings.traces.push_back(trace);
    }
    return settings;
}

// --- layout ---

void CKymoraView::OnSize(int width, int height) {
    width_ = width;
    height_ = height;
    Relayout();
}

void CKymoraView::Relayout() {
    CountShownAxes();
    layout_ =
        CalcLayout({width_, height_, m_bShowAxes, m_fDataArea, m_nVisibleAxes, GutterWidth(Plot(), width_)});
    m_pDatumLines->PlotMoved(layout_.plot);
    if (!window_) return;
    window_->LayoutChanged();
    window_->Invalidate();
}

// New rows of events come to stand above the traces and not on them.
void CKymoraView::PlaceComingRows() {
    const std::vector<int> rows = EventRowChannels(doc_);
    std::vector<int> come;
    std::ranges::set_difference(rows, eventRows_, std::back_inserter(come));
    eventRows_ = rows;
    come = UnplacedOf(doc_, std::move(come));
    if (come.empty()) return;
    m_fDataArea = PlaceNewRows(doc_, come, m_fDataArea);
    doc_.MakeRoomForRows(RoomBelow(doc_, come));
}

void CKymoraView::MakeRoomForRows(float traces) {
    if (!opened_ || !(traces < m_fDataArea)) return;
    m_fDataArea = traces;
    Relayout();
}

void CKymoraView::ShareHeight(float dataArea) {
    m_fDataArea = dataArea;
    Relayout();
    RefreshViewport(false);
}

void CKymoraView::ShowAxisPage(int first, int atOnce) {
    m_nFirstAxis = first;
    m_nAxesAtOnce = atOnce;
    Relayout();
    AutoscaleNewAxes();
    UpdateDependents();
}

void CKymoraView::CountShownAxes() {
    shownAxes_.clear();
    for (int axis = 0; axis < doc_.traceCount; ++axis)
        if (m_bAxisVisible[static_cast<size_t>(axis)]) shownAxes_.push_back(axis);
    const int visible = static_cast<int>(shownAxes_.size());
    if (m_nAxesAtOnce > 0 && m_nAxesAtOnce < visible) {
        m_nFirstAxis = std::clamp(m_nFirstAxis, 0, visible - m_nAxesAtOnce);
        shownAxes_.erase(shownAxes_.begin(), shownAxes_.begin() + m_nFirstAxis);
        shownAxes_.resize(static_cast<size_t>(m_nAxesAtOnce));
    }
    m_nVisibleAxes = static_cast<int>(shownAxes_.size());
}

PlotContext CKymoraView::Plot() const {
    return {.doc = doc_,
            .settings = *this,
            .layout = layout_,
            .viewport = GetViewport(),
            .shownAxes = shownAxes_,
            .bins = bins_->Cache(),
            .drawn = drawn_,
            .cursors = m_pDatumLines.get(),
            .guides = guides_,
            .proposed = proposed_,
            .selection = m_selection,
            .eventChannel = m_nMouseEventChan,
            .insertsEvents = m_nMouseMode >= mouseInsertFirst && m_nMouseMode <= mouseInsertLast,
            .drag = mouse_.Drag()};
}

// --- the bins ---

bool CKymoraView::RefreshViewport(bool showProgress) {
    const bool wasReading = IsReloading();
    if (m_fDataArea > 0.0f && !bins_->Show(GetViewport(), showProgress, window_ != nullptr)) return false;
    if (IsReloading() && !wasReading) {
        viewportBefore_ = exactViewport_;
        historyBefore_ = history_;
    }
    if (!bins_->Cache().IsCoarse()) exactViewport_ = GetViewport();
    UpdateDependents();
    return true;
}

bool CKymoraView::PollReload() {
    switch (bins_->Poll()) {
    case BinSource::News::none:
        return false;
    case BinSource::News::moved:
        return true;
    case BinSource::News::exact:
        ExactBinsArrived();
        return true;
    case BinSource::News::failed:
        ReadPlainly();
        return true;
    }
    return false;
}

void CKymoraView::ExactBinsArrived() {
    exactViewport_ = GetViewport();
    AutoscaleNewAxes();
    UpdateDependents();
}

void CKymoraView::CancelReload() {
    if (!IsReloading()) return;
    if (bins_->Cancel() && viewportBefore_) {
        history_ = std::move(historyBefore_);
        Place(*viewportBefore_);
    } else {
        Place(DefaultViewport());
    }
    RefreshViewport(false);
    AutoscaleNewAxes();
}

bool CKymoraView::FinishReload() {
    if (IsReloading()) {
        const auto progress = doc_.GetHost().StartProgress("Reading data", binCount);
        while (IsReloading()) {
            if (!progress->Update(static_cast<uint64_t>(bins_->Share() * binCount))) {
                CancelReload();
                return false;
            }
            PollReload();
            std::this_thread::sleep_for(askAgain);
        }
    }
    return !bins_->Cache().IsCoarse() || ReadPlainly();
}

// Where the other thread cannot. False when the user stopped it, and the view is what it was before.
bool CKymoraView::ReadPlainly() {
    if (!bins_->ReadNow(GetViewport())) {
        CancelReload();
        return false;
    }
    ExactBinsArrived();
    return true;
}

void CKymoraView::Invalidate() const {
    if (window_) window_->Invalidate();
}

void CKymoraView::UpdateDependents() {
    if (m_bAutoTimeUnit) m_nTimeUnit = TimeUnitFor(GetViewport().Duration());
    if (!window_) return;
    window_->ShowTimes();
    window_->Invalidate();
}

void CKymoraView::OnUpdate(UpdateHint hint) {
    drawn_.eventRows.Forget();
    switch (hint) {
    case UpdateHint::samples:
        m_pDatumLines->ForgetValues();
        bins_->SamplesChanged();
        RefreshViewport(false);
        break;
    case UpdateHint::events:
        PlaceComingRows();
        Relayout();  // by the names of the rows
        break;
    case UpdateHint::settings:
        TakeAxisLabels();
        Relayout();
        RefreshViewport(false);
        break;
    }
    UpdateDependents();
    if (window_) window_->DocumentUpdated(hint);
}

std::vector<double> CKymoraView::GetCursorTimes() const {
    std::vector<double> times;
    for (int line = 0; line < m_pDatumLines->VertCount(); ++line)
        times.push_back(m_pDatumLines->GetVertLineTime(line));
    std::sort(times.begin(), times.end());
    return times;
}

void CKymoraView::SetGuides(std::vector<ViewGuide> guides, GuideMoved moved) {
    guideMoved_ = std::move(moved);
    if (guides == guides_) return;
    guides_ = std::move(guides);
    Invalidate();
}

void CKymoraView::SetProposedEvents(std::vector<ProposedEvents> proposed) {
    if (proposed == proposed_) return;
    proposed_ = std::move(proposed);
    Invalidate();
}

void CKymoraView::MoveGuide(const ViewGuide& guide, double at) const {
    const GuideMoved moved = guideMoved_;  // which may set other guides
    if (moved) moved(guide, at);
}

// --- settings ---

void CKymoraView::ChangeSettings(std::string_view name, DisplayScope::Kind kind,
                                 const std::function<void(ViewSettings&)>& change) {
    {
        DisplayScope scope(*this, std::string(name), kind);
        ViewSettings before = *this;
        change(*this);
        // Files have no place for the habits, which the next view begins with.
        ViewHabits& habits = before;
        if (const ViewHabits& now = *this; now != habits) GetSession().viewHabits = habits = now;
        if (IsSameAs(before)) scope.LeaveUnmodified();
    }
    Relayout();
    RefreshViewport(false);
    AutoscaleNewAxes();
}

}  // namespace kymora
