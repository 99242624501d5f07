#include "display/view_times.h"

#include "drawing/number_labels.h"
#include "host/form.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr const char* badStart = "Couldn't read a number for the View start time.";
constexpr const char* negativeStart = "View start time must be non-negative.";
constexpr const char* badEnd = "Couldn't read a number for the View end time.";
constexpr const char* negativeEnd = "View end time must be positive.";
constexpr const char* badTimebase = "Couldn't read a number for the View time per division/viewport.";
constexpr const char* negativeTimebase = "View time per division/viewport must be non-negative.";

double Timebase(const PlotContext& context) {
    const double shown = context.viewport.Duration();
    return context.settings.m_bTimebasePerViewport ? shown : shown / 8.0;
}

struct Refusals {
    const char *notANumber, *negative;
};

// From a text in the unit that is shown; what is no time is told to the user.
std::optional<double> ReadTime(const CKymoraView& view, std::string_view text, bool mayBeZero,
                               const Refusals& refusals) {
    const auto value = ParseNumber(text);
    if (value && (*value > 0.0 || (mayBeZero && *value == 0.0)))
        return *value * TimeUnitFactor(view.m_nTimeUnit);
    view.GetSession().host.Message(value ? refusals.negative : refusals.notANumber);
    return {};
}

void SetTimebase(CKymoraView& view, double timebase) {
    view.ChangeViewport(
        view.GetNavigation().OfLength(view.m_bTimebasePerViewport ? timebase : timebase * 8.0));
}

}  // namespace

void ZoomToSelection(CKymoraView& view) {
    if (view.m_selection && view.ChangeViewport(*view.m_selection)) view.SelectionUsed();
}

void AskSelection(CKymoraView& view) {
    const double unit = TimeUnitFactor(view.m_nTimeUnit);
    const std::string unitText = std::string(" (") + TimeUnitName(view.m_nTimeUnit) + ")";
    const Viewport proposed = view.m_selection.value_or(view.GetViewport());
    Form form("Select stretch of time");
    form.AddNumber("start", "start" + unitText, proposed.start / unit, "Where the selection begins").least =
        0.0;
    form.AddNumber("end", "end" + unitText, proposed.end / unit, "Where the selection ends").least = 0.0;
    form.validate = [](const Form& asked) {
        return asked.Number("end") > asked.Number("start") ? "" : "The end must be after the start.";
    };
    if (view.GetSession().host.AskForm(form))
        view.Select(Viewport{form.Number("start") * unit, form.Number("end") * unit});
}

void AskStep(CKymoraView& view) {
    Form form("Set step");
    Field& step = form.AddInteger("step", "step (% of the time shown)", view.m_nPercentStep,
                                  "How far the left and right arrow keys go");
    step.least = 1;
    step.greatest = 100;
    if (!view.GetSession().host.AskForm(form)) return;
    DisplayScope scope(view, "Set step");
    view.m_nPercentStep = form.Integer("step");
}

// --- edit boxes ---

bool SetStartFromText(CKymoraView& view, std::string_view text) {
    const auto time = ReadTime(view, text, true, {badStart, negativeStart});
    if (time) view.SetStartTime(*time);
    return time.has_value();
}

bool SetEndFromText(CKymoraView& view, std::string_view text) {
    const auto end = ReadTime(view, text, false, {badEnd, negativeEnd});
    if (!end) return false;
    // An end before the start moves the viewport there.
    const Viewport shown = view.GetViewport();
    view.ChangeViewport({*end > shown.start ? shown.start : std::max(0.0, *end - shown.Duration()), *end});
    return true;
}

bool SetTimebaseFromText(CKymoraView& view, std::string_view text) {
    const auto timebase = ReadTime(view, text, true, {badTimebase, negativeTimebase});
    if (timebase) SetTimebase(view, *timebase);
    return timebase.has_value();
}

std::string StartText(const PlotContext& context) {
    return ShortNumber(context.viewport.start / TimeUnitFactor(context.settings.m_nTimeUnit));
}

std::string EndText(const PlotContext& context) {
    return ShortNumber(context.viewport.end / TimeUnitFactor(context.settings.m_nTimeUnit));
}

std::string TimebaseText(const PlotContext& context) {
    return ShortNumber(Timebase(context) / TimeUnitFactor(context.settings.m_nTimeUnit));
}

std::string TimebaseUnitText(const PlotContext& context) {
    return std::string(TimeUnitName(context.settings.m_nTimeUnit)) +
           (context.settings.m_bTimebasePerViewport ? "/viewport" : "/div");
}

void AskTimebase(CKymoraView& view) {
    const std::string label =
        std::string(view.m_bTimebasePerViewport ? "viewport duration " : "grid division duration ") + "(" +
        TimeUnitName(view.m_nTimeUnit) + ")";
    const double unit = TimeUnitFactor(view.m_nTimeUnit);
    Form form("Set timebase");
    form.AddNumber("timebase", label, Timebase(view.Plot()) / unit, "How much time the view shows").least =
        0.0;
    if (!view.GetSession().host.AskForm(form)) return;
    SetTimebase(view, form.Number("timebase") * unit);
}

}  // namespace kymora
