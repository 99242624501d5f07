// The commands of the view that move its viewport.

#include <cmath>

#include "display/kymora_view.h"
#include "drawing/number_labels.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr double sameStartMs = 1e-7;
constexpr const char* badStart = "Couldn't read a number for the View start time.";
constexpr const char* negativeStart = "View start time must be non-negative.";
constexpr const char* badEnd = "Couldn't read a number for the View end time.";
constexpr const char* negativeEnd = "View end time must be positive.";
constexpr const char* badTimebase = "Couldn't read a number for the View time per division/viewport.";
constexpr const char* negativeTimebase = "View time per division/viewport must be non-negative.";

}  // namespace

double CKymoraView::GetFileEnd() const { return std::max(doc_.GetEndTime(), 0.0); }

void CKymoraView::SetStartTime(double timeMs) {
    if (!(std::fabs(timeMs - m_StartTime) > sameStartMs)) return;
    const double start = std::max(0.0, timeMs);
    ChangeViewport({start, start + (m_EndTime - m_StartTime)}, false);
}

bool CKymoraView::ChangeViewport(Viewport viewport, bool showProgress) {
    // Zooming ends where a sample fills a thousand windows, or all samples there can be fill one.
    const double shortest = doc_.sampleInterval / 1000.0;
    const double longest = 4.0 * doc_.TimeOf(longestRecording);
    if (!(viewport.start >= 0.0) || !(viewport.Duration() >= shortest) || !(viewport.end <= longest))
        return false;

    const Viewport previous = GetViewport();
    if (!ShowViewport(viewport, showProgress)) return false;
    history_.Moved(previous, viewport);
    return true;
}

bool CKymoraView::ShowViewport(Viewport viewport, bool showProgress) {
    const Viewport previous = GetViewport();
    Place(viewport);
    if (RefreshViewport(showProgress)) {
        AutoscaleNewAxes();
        return true;
    }
    Place(previous);
    RefreshViewport(false);
    return false;
}

void CKymoraView::GoBack() {
    ViewportHistory after = history_;
    const auto viewport = after.Back(GetViewport());
    if (viewport && ShowViewport(*viewport, true)) history_ = std::move(after);
}

void CKymoraView::GoForward() {
    ViewportHistory after = history_;
    const auto viewport = after.Forward(GetViewport());
    if (viewport && ShowViewport(*viewport, true)) history_ = std::move(after);
}

void CKymoraView::RightPage() { SetStartTime(m_EndTime); }

void CKymoraView::LeftPage() {
    if (m_StartTime != 0.0) SetStartTime(m_StartTime - (m_EndTime - m_StartTime));
}

void CKymoraView::RightPercent() {
    SetStartTime(m_StartTime + (m_EndTime - m_StartTime) * m_nPercentStep / 100.0);
}

void CKymoraView::LeftPercent() {
    if (m_StartTime != 0.0) SetStartTime(m_StartTime - (m_EndTime - m_StartTime) * m_nPercentStep / 100.0);
}

void CKymoraView::GoToStart() { SetStartTime(0.0); }

void CKymoraView::GoToEnd() { SetStartTime(GetFileEnd() - (m_EndTime - m_StartTime)); }

bool CKymoraView::FocusLeftEdge() const { return GetSession().options.expandContractFocus != 0; }

void CKymoraView::Compress() {
    const double duration = m_EndTime - m_StartTime;
    const double start = FocusLeftEdge() ? m_StartTime : std::max(0.0, m_StartTime - duration / 2.0);
    ChangeViewport({start, start + 2.0 * duration});
}

void CKymoraView::Expand() {
    const double duration = m_EndTime - m_StartTime;
    const double start = FocusLeftEdge() ? m_StartTime : m_StartTime + duration / 4.0;
    ChangeViewport({start, start + duration / 2.0});
}

void CKymoraView::OneToOne() {
    if (layout_.plot.Width() <= 0) return;
    ChangeViewport({m_StartTime, m_StartTime + doc_.TimeOf(layout_.plot.Width())});
}

void CKymoraView::ShowAll() { ChangeViewport({0.0, std::max(GetFileEnd(), doc_.sampleInterval)}); }

void CKymoraView::SetTimebase(double perDivMs) {
    const double start =
        FocusLeftEdge() ? m_StartTime : std::max(0.0, (m_StartTime + m_EndTime) / 2.0 - perDivMs * 4.0);
    ChangeViewport({start, start + perDivMs * 8.0});
}

void CKymoraView::ZoomAround(int x, double factor) {
    const double time = PixelToTime(x);
    const double start = std::max(0.0, time - (time - m_StartTime) * factor);
    ChangeViewport({start, start + (m_EndTime - m_StartTime) * factor});
}

void CKymoraView::ZoomToSelection() {
    if (m_selection && ChangeViewport(*m_selection)) SelectionUsed();
}

void CKymoraView::AskSelection() {
    const double unit = TimeUnitFactor(m_nTimeUnit);
    const std::string unitText = std::string(" (") + TimeUnitName(m_nTimeUnit) + ")";
    const Viewport proposed = m_selection.value_or(GetViewport());
    Form form("Select stretch of time");
    form.AddNumber("start", "start" + unitText, proposed.start / unit, "Where the selection begins").least =
        0.0;
    form.AddNumber("end", "end" + unitText, proposed.end / unit, "Where the selection ends").least = 0.0;
    form.validate = [](const Form& asked) {
        return asked.Number("end") > asked.Number("start") ? "" : "The end must be after the start.";
    };
    if (GetSession().host.AskForm(form))
        Select(Viewport{form.Number("start") * unit, form.Number("end") * unit});
}

void CKymoraView::AskStep() {
    Form form("Set step");
    FormField& step = form.AddInteger("step", "step (% of the time shown)", m_nPercentStep,
                                      "How far the left and right arrow keys go");
    step.least = 1;
    step.greatest = 100;
    if (!GetSession().host.AskForm(form)) return;
    DisplayScope scope(*this, "Set step");
    m_nPercentStep = form.Integer("step");
}

// --- edit boxes ---

bool CKymoraView::SetStartFromText(std::string_view text) {
    const auto value = ParseNumber(text);
    if (!value || *value < 0.0) {
        GetSession().host.Message(value ? negativeStart : badStart);
        return false;
    }
    SetStartTime(*value * TimeUnitFactor(m_nTimeUnit));
    return true;
}

bool CKymoraView::SetEndFromText(std::string_view text) {
    const auto value = ParseNumber(text);
    if (!value || *value <= 0.0) {
        GetSession().host.Message(value ? negativeEnd : badEnd);
        return false;
    }
    const double end = *value * TimeUnitFactor(m_nTimeUnit);
    // An end before the start moves the viewport there.
    const double start = end > m_StartTime ? m_StartTime : std::max(0.0, end - (m_EndTime - m_StartTime));
    ChangeViewport({start, end});
    return true;
}

bool CKymoraView::SetTimebaseFromText(std::string_view text) {
    const auto value = ParseNumber(text);
    if (!value || *value < 0.0) {
        GetSession().host.Message(value ? negativeTimebase : badTimebase);
        return false;
    }
    const double timebase = *value * TimeUnitFactor(m_nTimeUnit);
    SetTimebase(m_bTimebasePerViewport ? timebase / 8.0 : timebase);
    return true;
}

std::string CKymoraView::StartText() const { return ShortNumber(m_StartTime / TimeUnitFactor(m_nTimeUnit)); }

std::string CKymoraView::EndText() const { return ShortNumber(m_EndTime / TimeUnitFactor(m_nTimeUnit)); }

std::string CKymoraView::TimebaseText() const {
    const double timebase = m_bTimebasePerViewport ? m_EndTime - m_StartTime : m_TimePerDiv;
    return ShortNumber(timebase / TimeUnitFactor(m_nTimeUnit));
}

std::string CKymoraView::TimebaseUnitText() const {
    return std::string(TimeUnitName(m_nTimeUnit)) + (m_bTimebasePerViewport ? "/viewport" : "/div");
}

void CKymoraView::AskTimebase() {
    const std::string label =
        std::string(m_bTimebasePerViewport ? "viewport duration " : "grid division duration ") + "(" +
        TimeUnitName(m_nTimeUnit) + ")";
    const double unit = TimeUnitFactor(m_nTimeUnit);
    Form form("Set timebase");
    form.AddNumber("timebase", label,
                   (m_bTimebasePerViewport ? m_EndTime - m_StartTime : m_TimePerDiv) / unit,
                   "How much time the view shows")
        .least = 0.0;
    if (!GetSession().host.AskForm(form)) return;
    const double timebase = form.Number("timebase") * unit;
    SetTimebase(m_bTimebasePerViewport ? timebase / 8.0 : timebase);
}

void CKymoraView::SetTimeUnit(int unit) {
    {
        DisplayScope scope(*this, "Time unit");
        m_nTimeUnit = unit;
    }
    UpdateDependents();
}

void CKymoraView::SetTimebasePerViewport(bool perViewport) {
    {
        DisplayScope scope(*this, "Timebase");
        m_bTimebasePerViewport = perViewport;
    }
    UpdateDependents();
}

void CKymoraView::ToggleFocusLeftEdge() {
    int& option = GetSession().options.expandContractFocus;
    option = option == 0 ? 1 : 0;
    expandContractFocus_ = option;
    doc_.SetModifiedFlag();
}

}  // namespace kymora
