// The dialogs of the view: which axes show and what is drawn on them, the look of the traces, and the size.

#include <fmt/format.h>

#include <charconv>
#include <optional>

#include "display/axis_edits.h"
#include "display/trace_format.h"
#include "host/form.h"

namespace kymora {

namespace {

constexpr int mostViewPixels = 20000;

std::string Numbered(int number, const std::string& name) {
    return name.empty() ? std::to_string(number) : fmt::format("{}: {}", number, name);
}

std::string KeyOfTrace(int trace) { return fmt::format("axisOfTrace{}", trace + 1); }

// Of more traces the axes are one line of text, which can be read and written.
constexpr int mostAxisChoices = 24;

// "1-4 2 2 8-5": the axis of each trace in turn, where what follows by one, up or down, is a range.
std::string AxesText(const std::vector<int>& axes) {
    std::string text;
    for (size_t i = 0; i < axes.size();) {
        size_t last = i;
        const int step = i + 1 < axes.size() && axes[i + 1] < axes[i] ? -1 : 1;
        while (last + 1 < axes.size() && axes[last + 1] == axes[last] + step) ++last;
        if (last - i < 2) last = i;
        text += (text.empty() ? "" : " ") + std::to_string(axes[i] + 1);
        if (last > i) text += "-" + std::to_string(axes[last] + 1);
        i = last + 1;
    }
    return text;
}

// Nothing where the text is none of these, or leaves the axes that exist.
std::optional<std::vector<int>> ParseAxes(std::string_view text, int count) {
    std::vector<int> axes;
    const char* at = text.data();
    const char* const end = at + text.size();
    const auto number = [&]() -> int {
        int value = 0;
        const auto [next, error] = std::from_chars(at, end, value);
        at = next;
        return error == std::errc() && value >= 1 && value <= count ? value - 1 : -1;
    };
    while (at != end) {
        if (*at == ' ' || *at == ',' || *at == '\t') {
            ++at;
            continue;
        }
        const int first = number();
        int last = first;
        if (first >= 0 && at != end && *at == '-') ++at, last = number();
        if (first < 0 || last < 0) return {};
        for (int axis = first;; axis += last > first ? 1 : -1) {
            axes.push_back(axis);
            if (axis == last || axes.size() > static_cast<size_t>(count)) break;
        }
    }
    return axes;
}

// The axis of each trace in a form: a choice for each, or one text.
class AxisOfTraces {
  public:
    AxisOfTraces(const CDataDoc& doc, std::vector<int> axes) : doc_(doc), axes_(std::move(axes)) {}

    void AddTo(Form& form, const std::vector<std::string>& axisNames) const {
        if (IsText()) {
            form.AddText(textKey, fmt::format("Axis of traces 1 to {}", Count()), AxesText(axes_),
                         "The axis of each trace in turn; 1-4 are four axes, 4-1 the same in reverse order");
        } else {
            for (int trace = 0; trace < Count(); ++trace)
                form.AddChoice(KeyOfTrace(trace),
                               "Axis of trace " +
                                   Numbered(trace + 1, doc_.traces[static_cast<size_t>(trace)].traceLabel),
                               axisNames, axes_[static_cast<size_t>(trace)], "Where the trace is drawn");
        }
        const auto place = [this](auto axisOf) {
            return [this, axisOf](Form& f) {
                std::vector<int> axes;
                for (int trace = 0; trace < Count(); ++trace) axes.push_back(axisOf(trace, Count()));
                Write(f, axes);
            };
        };
        form.AddAction("ownAxes", "Each on its own", place([](int trace, int) { return trace; }));
        form.AddAction("reverse", "In reverse order", place([](int trace, int n) { return n - 1 - trace; }));
        form.AddAction("oneAxis", "All on axis 1", place([](int, int) { return 0; }));
    }

    std::string Fault(const Form& form) const {
        if (!IsText()) return {};
        const auto axes = ParseAxes(form.Text(textKey), Count());
        if (!axes)
            return fmt::format("The axes of the traces are numbers from 1 to {}, e.g. \"1-4 2 2\".", Count());
        if (static_cast<int>(axes->size()) == Count()) return {};
        return fmt::format("There are {} traces, but {}{} axes are written for them.", Count(),
                           static_cast<int>(axes->size()) > Count() ? "more than " : "",
                           std::min(Count(), static_cast<int>(axes->size())));
    }

    std::vector<int> Of(const Form& form) const {
        if (IsText()) return ParseAxes(form.Text(textKey), Count()).value_or(axes_);
        std::vector<int> axes;
        for (int trace = 0; trace < Count(); ++trace) axes.push_back(form.Choice(KeyOfTrace(trace)));
        return axes;
    }

  private:
    static constexpr const char* textKey = "axisOfTraces";

    int Count() const { return doc_.traceCount; }
    bool IsText() const { return Count() > mostAxisChoices; }
    void Write(Form& form, const std::vector<int>& axes) const {
        if (IsText()) form[textKey].text = AxesText(axes);
        for (int trace = 0; trace < Count() && !IsText(); ++trace)
            form[KeyOfTrace(trace)].choice = axes[static_cast<size_t>(trace)];
    }

    const CDataDoc& doc_;
    std::vector<int> axes_;
};

// --- Select axes ---

void CheckAll(Form& form, uint8_t check) {
    auto& checks = form["axes"].checks;
    std::fill(checks.begin(), checks.end(), check);
}

// What changed in one trace of the form of formats is applied to all its traces.
struct FormatChange {
    const Form& before;
    const Form& after;

    // Answers whether there was a change.
    template <typename T, typename Target>
    bool Take(const char* key, T Field::*value, Target& target) const {
        if (before[key].*value == after[key].*value) return false;
        target = static_cast<Target>(after[key].*value);
        return true;
    }
};

void AddFormatFields(Form& form, const TraceSettings& trace, const TraceFormat& format) {
    form.AddText("traceLabel", "Trace label", trace.traceLabel, "Name of the trace");
    form.AddText("units", "Units", trace.traceUnits, "Units of the trace's values");
    form.AddText("axisLabel", "Axis label", trace.axisLabel, "Name of the vertical axis");
    form.AddColour("colour", "Colour", trace.traceColour, "Colour of the trace");
    form.AddInteger("lineWidth", "Line width", format.lineWidth, "In pixels, 1 to 20")
        .Limits(1, mostLineWidth);
    form.AddFlag("dots", "Dots", format.drawAsDots, "Draws single samples instead of a line");
    form.AddChoice("dotSize", "Dot size", {"Min", "Small", "Medium", "Large"}, format.dotSize,
                   "A single pixel, or a radius of 2, 4 or 6")
        .enabled = [](const Form& form) { return form.Flag("dots"); };
    form.AddFlag("clipToAxis", "Clip to axis", format.clipToAxis, "Keeps the trace inside of its own axis");
}

}  // namespace

std::vector<int> SelectedTraces(const CKymoraView& view) {
    const CDataDoc& doc = view.GetDocument();
    std::vector<int> traces;
    for (int trace = 0; trace < doc.traceCount; ++trace) {
        const auto axis = static_cast<size_t>(view.m_nAxisOfTrace[static_cast<size_t>(trace)]);
        if (view.m_axes[axis].m_bSelected) traces.push_back(trace);
    }
    return traces;
}

void AskAxes(CKymoraView& view) {
    const CDataDoc& doc = view.GetDocument();
    const auto count = static_cast<size_t>(doc.traceCount);
    std::vector<std::string> axisNames;
    std::vector<uint8_t> shown;
    for (size_t i = 0; i < count; ++i) {
        std::string name = Numbered(static_cast<int>(i) + 1, view.m_axes[i].m_strLabel);
        // What is looked for among many is the trace.
        if (doc.traceCount > mostAxisChoices && !doc.traces[i].traceLabel.empty())
            name += "  " + doc.traces[i].traceLabel;
        axisNames.push_back(std::move(name));
        shown.push_back(view.m_bAxisVisible[i]);
    }
    Form form("Select axes");
    form.AddCheckList("axes", "Visible axes", axisNames, shown, "The axes that are shown, from the top")
        .Search();
    form.AddAction("showAll", "Show all", [](Form& f) { CheckAll(f, 1); });
    form.AddAction("hideAll", "Hide all", [](Form& f) { CheckAll(f, 0); });
    form.AddNote("hint",
                 "Traces may share an axis. Two traces change places when each takes the other's axis.");
    const AxisOfTraces axisOf(doc,
                              {view.m_nAxisOfTrace.begin(), view.m_nAxisOfTrace.begin() + doc.traceCount});
    axisOf.AddTo(form, axisNames);
    form.validate = [&axisOf](const Form& f) -> std::string {
        const auto& checks = f["axes"].checks;
        if (std::find(checks.begin(), checks.end(), 1) == checks.end()) return noAxesText;
        return axisOf.Fault(f);
    };
    if (!view.GetSession().host.AskForm(form)) return;
    const std::vector<int> axes = axisOf.Of(form);
    view.ChangeSettings("Select axes", DisplayScope::work, [&](ViewSettings& settings) {
        for (size_t i = 0; i < count; ++i) {
            settings.m_bAxisVisible[i] = form["axes"].checks[i] != 0;
            settings.m_nAxisOfTrace[i] = axes[i];
        }
    });
}

void AskFormat(CKymoraView& view) {
    CDataDoc& doc = view.GetDocument();
    const std::vector<int> traces = SelectedTraces(view);
    Form form("Format");
    if (!traces.empty()) {
        const auto first = static_cast<size_t>(traces.front());
        std::string names;
        for (const int trace : traces) names += (names.empty() ? "" : ", ") + std::to_string(trace + 1);
        form.AddNote("traces", traces.size() == 1 ? "Trace " + names
                                                  : "Traces " + names + ". The values are those of trace " +
                                                        std::to_string(traces.front() + 1) +
                                                        "; what you change applies to all of them.");
        AddFormatFields(form, doc.traces[first], view.m_format[first]);
    }
    form.AddChoice("clipMode", "Clipped traces", {"keep to the band of the axis", "keep to the axis limits"},
                   view.m_nClipMode == 1 ? 1 : 0, "How far a trace that is clipped to its axis may reach");
    form.AddColour("background", "Background colour", view.m_crBackground, "Colour behind the traces");
    const Form before = form;
    if (!view.GetSession().host.AskForm(form)) return;
    {
        DisplayScope scope(view, "Format", DisplayScope::work);
        const FormatChange change{before, form};
        bool any = change.Take("clipMode", &Field::choice, view.m_nClipMode);
        for (const int trace : traces) {
            TraceSettings& settings = doc.traces[static_cast<size_t>(trace)];
            TraceFormat& format = view.m_format[static_cast<size_t>(trace)];
            any |= change.Take("traceLabel", &Field::text, settings.traceLabel);
            any |= change.Take("units", &Field::text, settings.traceUnits);
            any |= change.Take("axisLabel", &Field::text, settings.axisLabel);
            any |= change.Take("colour", &Field::colour, settings.traceColour);
            any |= change.Take("lineWidth", &Field::number, format.lineWidth);
            any |= change.Take("dots", &Field::flag, format.drawAsDots);
            any |= change.Take("dotSize", &Field::choice, format.dotSize);
            any |= change.Take("clipToAxis", &Field::flag, format.clipToAxis);
        }
        // A file has no place for the background.
        if (!any) scope.LeaveUnmodified();
        if (change.Take("background", &Field::colour, view.m_crBackground))
            view.GetSession().viewHabits.m_crBackground = view.m_crBackground;  // of the next view
    }
    doc.UpdateAllViews(UpdateHint::settings);
}

void AskTraceColour(CKymoraView& view, int trace) {
    CDataDoc& doc = view.GetDocument();
    TraceSettings& settings = doc.traces[static_cast<size_t>(trace)];
    Form form("Colour of trace " + Numbered(trace + 1, settings.traceLabel));
    form.AddColour("colour", "Colour", settings.traceColour, "Colour of the trace");
    if (!view.GetSession().host.AskForm(form) || form["colour"].colour == settings.traceColour) return;
    {
        DisplayScope scope(view, "Format", DisplayScope::work);
        settings.traceColour = form["colour"].colour;
    }
    doc.UpdateAllViews(UpdateHint::settings);
}

void AskSize(CKymoraView& view) {
    const Layout layout = view.Plot().layout;
    Form form("Set size");
    form.AddChoice("of", "Size of", {"the whole view", "the plot"}, 0,
                   "Copies and saved pictures have the size of the view");
    for (const auto& [key, label, value] : {std::tuple("width", "width (pixels)", layout.width),
                                            std::tuple("height", "height (pixels)", layout.height)}) {
        Field& field = form.AddInteger(key, label, value);
        field.least = 50;
        field.greatest = mostViewPixels;
    }
    if (!view.GetSession().host.AskForm(form) || !view.Window()) return;
    const bool ofPlot = form.Choice("of") == 1 && view.m_bShowAxes;
    view.Window()->SetSize(form.Integer("width") + (ofPlot ? layout.width - layout.plot.Width() : 0),
                           form.Integer("height") + (ofPlot ? aroundPlotHeight : 0));
}

}  // namespace kymora
