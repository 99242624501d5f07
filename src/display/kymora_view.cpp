#include "display/kymora_view.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "display/trace_format.h"
#include "display/view_reload.h"
#include "drawing/number_labels.h"
#include "summaries/summary_service.h"

namespace kymora {

namespace {

constexpr int usualStepPercent = 20;

constexpr const char* sameViewText = "Active view is same as new view. Please inform the author.";

}  // namespace

CKymoraView::CKymoraView(CDataDoc& doc) : doc_(doc) {
    doc_.AddView(*this);
    m_crBackground = GetSession().defaultBackground;
    m_bInactiveSections = GetSession().showInactiveSections;
}

CKymoraView::~CKymoraView() {
    if (opened_) doc_.StoreDisplaySettings(GetDisplaySettings());
    DetachSummaries();
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
    cache_.Reset(doc_);
    eventRows_.Forget();
    AttachSummaries();
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
    view.timeUnit = m_nTimeUnit;
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
    layout_ = CalcLayout({width_, height_, m_bShowAxes, m_fDataArea, m_nVisibleAxes});
    m_pDatumLines->m_rcPlot = layout_.plot;
    if (!window_) return;
    window_->LayoutChanged();
    window_->Invalidate();
}

void CKymoraView::CountShownAxes() {
    shownAxes_.clear();
    for (int axis = 0; axis < doc_.traceCount; ++axis)
        if (m_bAxisVisible[static_cast<size_t>(axis)]) shownAxes_.push_back(axis);
    m_nVisibleAxes = static_cast<int>(shownAxes_.size());
}

int CKymoraView::SlotOf(int axis) const {
    const auto found = std::find(shownAxes_.begin(), shownAxes_.end(), axis);
    return found == shownAxes_.end() ? -1 : static_cast<int>(found - shownAxes_.begin());
}

bool CKymoraView::IsTraceShown(int trace) const {
    return m_fDataArea > 0.0f &&
           m_bAxisVisible[static_cast<size_t>(m_nAxisOfTrace[static_cast<size_t>(trace)])];
}

ValueScale CKymoraView::GetValueScale(int axis) const {
    const CVertAxis& limits = m_axes[static_cast<size_t>(axis)];
    const PixelRect band = BandOf(axis);
    return {limits.m_dMax, limits.m_dMin, band.top, band.bottom};
}

int CKymoraView::GetNearestAxis(int y) const {
    if (!(m_fDataArea > 0.0f)) return -1;
    const int slot = layout_.SlotAt(y, m_nVisibleAxes);
    return slot < 0 ? -1 : shownAxes_[static_cast<size_t>(slot)];
}

std::string CKymoraView::StatusText(int x, int y) const {
    if (!layout_.plot.Contains(x, y)) return {};
    std::string text = fmt::format("t = {:.3f}", PixelToTime(x));
    if (const int axis = GetNearestAxis(y); axis >= 0)
        text += fmt::format(", {} = {:.3f}", doc_.traces[static_cast<size_t>(axis)].axisLabel,
                            GetValueScale(axis).ToValue(y));
    return text;
}

// --- the cache ---

bool CKymoraView::RefreshViewport(bool showProgress) {
    m_TimePerDiv = (m_EndTime - m_StartTime) / 8.0;
    if (m_fDataArea > 0.0f && !UpdateCache(showProgress)) return false;
    if (!cache_.IsCoarse()) exactViewport_ = GetViewport();
    m_TimePerDiv = (m_EndTime - m_StartTime) / 8.0;
    UpdateDependents();
    return true;
}

bool CKymoraView::UpdateCache(bool showProgress) {
    const int level = ChooseCacheLevel(GetViewport(), doc_.TimeOf(binCount));
    if (!cache_.NeedsReload(GetViewport(), level)) {
        cache_.m_nCacheLevel = level;
        return true;
    }
    try {
        const bool complete = LoadBins(level, showProgress);
        readFaultTold_ = false;
        return complete;
    } catch (const FileError& error) {
        cache_.Blank(doc_, m_StartTime, level);
        // Once, not at every step of a scroll through a file that is gone.
        if (!std::exchange(readFaultTold_, true)) GetSession().host.Message(error.what());
        return true;
    }
}

void CKymoraView::Invalidate() const {
    if (window_) window_->Invalidate();
}

void CKymoraView::UpdateDependents() {
    if (!window_) return;
    window_->ShowTimes();
    window_->Invalidate();
}

void CKymoraView::OnUpdate(UpdateHint hint) {
    eventRows_.Forget();
    switch (hint) {
    case UpdateHint::samples:
        m_pDatumLines->ForgetValues();
        DropReload();
        if (attached_) GetSession().summaries->SamplesChanged(doc_);
        cache_.Reset(doc_);
        RefreshViewport(false);
        break;
    case UpdateHint::events:
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

void CKymoraView::SetGuides(std::vector<ViewGuide> guides) {
    if (guides == guides_) return;
    guides_ = std::move(guides);
    Invalidate();
}

// --- switches ---

void CKymoraView::ToggleSwitch(bool ViewSettings::*member, std::string_view name) {
    {
        DisplayScope scope(*this, std::string(name));
        // A file has no place for this one: nothing that a save could keep has changed.
        if (member == &ViewSettings::m_bInactiveSections) scope.LeaveUnmodified();
        this->*member = !(this->*member);
        GetSession().showInactiveSections = m_bInactiveSections;  // of the next view, since no file keeps it
    }
    Relayout();
    UpdateDependents();
}

void CKymoraView::SetDataArea(float fraction) {
    {
        DisplayScope scope(*this, "Data area");
        m_fDataArea = fraction;
    }
    Relayout();
    RefreshViewport(false);
    AutoscaleNewAxes();
}

}  // namespace kymora
