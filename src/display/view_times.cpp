#include "display/view_times.h"

#include <cmath>
#include <cstdlib>

#include <fmt/format.h>

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

Viewport WithTimebase(const CKymoraView& view, double timebase) {
    return view.GetNavigation().OfLength(view.m_bTimebasePerViewport ? timebase : timebase * 8.0);
}

// Why a stretch of time cannot be shown; empty when it can.
std::string ViewportFault(const CKymoraView& view, Viewport viewport) {
    const Navigation navigation = view.GetNavigation();
    if (navigation.Allows(viewport)) return {};
    const auto text = [&](double timeMs) {
        return PreciseNumber(timeMs / TimeUnitFactor(view.m_nTimeUnit)) + " " +
               TimeUnitName(view.m_nTimeUnit);
    };
    if (viewport.Duration() < navigation.Shortest())
        return "The view cannot show less than " + text(navigation.Shortest()) + ".";
    return "The view cannot show what lies beyond " + text(navigation.farthest) + ".";
}

// What cannot be shown is told to the user.
bool ShowAsAsked(CKymoraView& view, Viewport viewport) {
    const std::string fault = ViewportFault(view, viewport);
    if (!fault.empty()) view.GetSession().host.Message(fault);
    if (fault.empty()) view.ChangeViewport(viewport);
    return fault.empty();
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
    DisplayScope scope(view, "Set step", DisplayScope::look);
    view.m_nPercentStep = form.Integer("step");
}

// --- edit boxes ---

bool SetStartFromText(CKymoraView& view, std::string_view text) {
    const auto time = ReadTime(view, text, true, {badStart, negativeStart});
    return time && ShowAsAsked(view, {*time, *time + view.GetViewport().Duration()});
}

bool SetEndFromText(CKymoraView& view, std::string_view text) {
    const auto end = ReadTime(view, text, false, {badEnd, negativeEnd});
    if (!end) return false;
    // An end before the start moves the viewport there.
    const Viewport shown = view.GetViewport();
    return ShowAsAsked(view,
                       {*end > shown.start ? shown.start : std::max(0.0, *end - shown.Duration()), *end});
}

bool SetTimebaseFromText(CKymoraView& view, std::string_view text) {
    const auto timebase = ReadTime(view, text, true, {badTimebase, negativeTimebase});
    return timebase && ShowAsAsked(view, WithTimebase(view, *timebase));
}

std::string StartText(const PlotContext& context) {
    return ShortNumber(context.viewport.start / TimeUnitFactor(context.settings.m_nTimeUnit));
}

std::string EndText(const PlotContext& context) {
    return ShortNumber(context.viewport.end / TimeUnitFactor(context.settings.m_nTimeUnit));
}

std::string TimebaseText(const PlotContext& context) {
    // The view ends at a sample, which makes an eighth of it a long number. What is shown is the shortest one
    // that is as good; the view itself stays as long as it was asked for.
    constexpr double goodEnough = 2e-5;
    constexpr int mostDigits = 6;
    const double shown = Timebase(context) / TimeUnitFactor(context.settings.m_nTimeUnit);
    double rounded = shown;
    for (int digits = 1; digits <= mostDigits; ++digits) {
        rounded = std::strtod(fmt::format("{:.{}g}", shown, digits).c_str(), nullptr);
        if (std::fabs(rounded - shown) <= goodEnough * std::fabs(shown)) break;
    }
    return ShortNumber(rounded);
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
    form.validate = [&](const Form& asked) {
        return ViewportFault(view, WithTimebase(view, asked.Number("timebase") * unit));
    };
    if (view.GetSession().host.AskForm(form))
        view.ChangeViewport(WithTimebase(view, form.Number("timebase") * unit));
}

}  // namespace kymora
