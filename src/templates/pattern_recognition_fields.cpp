// What the window of template recognition offers.

#include <fmt/format.h>

#include "host/user_numbers.h"
#include "templates/pattern_recognition.h"

namespace kymora {

namespace {

constexpr int greatestCursor = 100, greatestSpare = 10000, greatestAverage = 10000;
constexpr uint32_t captureColour = 0x808080;

}  // namespace

void CPatternRecognition::Describe(ParamList& list) {
    DescribeSource(list);
    list.Flag("allTraces", "All traces", m_bAllTraces)
        .Tip("Find the template in all traces using current settings. Store events in separate contiguous "
             "event channels, 1 per trace, starting with selected.");
    DescribeTemplate(list);
    DescribeMatching(list);
    DescribeRegion(list);
    DescribeDestination(list);
    DescribeExtras(list);
}

// The parameter keeps its value when a template is retrieved by a run.
Field& CPatternRecognition::Noted(Field& field, const char* key) {
    return field.OnChange([this, key] { m_chosen.insert(key); });
}

void CPatternRecognition::DescribeTemplate(ParamList& list) {
    const auto isFrom = [this](Source source) {
        return [this, source] { return m_nTemplateSource == source; };
    };
    const auto hasDocument = [this] { return Document() != nullptr; };
    list.Group("Template");
    list.Choice("templateSource", "Source", m_nTemplateSource,
                {"captured", "retrieved", "average of the destination", "in the settings"})
        .Tip("Where a run takes its template from: the samples between two times; an event channel of "
             "template "
             "recognition, with its settings; the average of the events in the destination channel; the "
             "template that these settings hold. A captured template goes with the settings to other "
             "recordings: it is then the one that they hold, until another one is captured")
        .OnChange([this] { TakeAsChosen(); });
    list.Action("capture", "Capture", [this] { CaptureBetweenCursors(); })
        .Tip("Takes the template from the selected trace between the two cursors, in either order")
        .EnabledIf(hasDocument);
    list.Action("retrieve", "Retrieve",
                [this] {
                    Attempt([this] {
                        m_chosen.clear();
                        Retrieve(m_nRetrieveChannel);
                        m_nTemplateSource = inSettings;
                    });
                })
        .Tip("Takes template and settings out of the event channel")
        .EnabledIf(hasDocument);
    list.Action("fromAverage", "From avg",
                [this] {
                    Attempt([this] {
                        TakeAverage();
                        m_nTemplateSource = inSettings;
                    });
                })
        .Tip("Generate a template from the average waveform of all recognized template-match patterns in the "
             "channel")
        .EnabledIf(hasDocument);
    list.Action("list", "List", [this] { ListTemplate(); }).Tip("Lists the values of the template");
    list.Note("templateText", "Template", [this] { return TemplateText(); });
    list.Note("baselineText", "Empty baseline", [this] { return BaselineText(); });
    list.Trace("templateTrace", "Trace", m_nTemplateTrace)
        .Tip("Trace from which the template is captured")
        .EnabledIf(isFrom(captured))
        .OnChange([this] {
            m_isTemplateTraceChosen = true;
            m_nTemplateSource = captured;
            TakeAsChosen();
        });
    const auto capturesAnew = [this] {
        if (m_dTemplateStart == 0.0 && m_dTemplateEnd == 0.0) return;  // all settings are set, as they stand
        m_nTemplateSource = captured;
        TakeAsChosen();
    };
    list.Number("templateStart", "Start", m_dTemplateStart)
        .Unit("ms")
        .Limits(0, std::numeric_limits<double>::max())
        .Tip("Time of the template's first sample")
        .EnabledIf(isFrom(captured))
        .OnChange(capturesAnew);
    list.Number("templateEnd", "End", m_dTemplateEnd)
        .Unit("ms")
        .Limits(0, std::numeric_limits<double>::max())
        .Tip("Time of the template's last sample")
        .EnabledIf(isFrom(captured))
        .OnChange(capturesAnew);
    list.Integer("firstCursor", "First cursor", m_nFirstCursor)
        .Limits(1, greatestCursor)
        .Spin()
        .Tip("Number, from the left, of one of the vertical cursors between which \"Capture\" takes the "
             "template");
    list.Integer("secondCursor", "Second cursor", m_nSecondCursor)
        .Limits(1, greatestCursor)
        .Spin()
        .Tip("Number, from the left, of the other vertical cursor");
    list.Channel("retrieveChannel", "Event channel", m_nRetrieveChannel)
        .Tip("Event channel of template recognition, with which its template and its settings are stored")
        .Shows([this] { return EventCountText(Document(), m_nRetrieveChannel); });
    list.Integer("frequencyMultiplier", "Frequency multiplier", m_nFrequencyMultiplier)
        .Limits(1, greatestRaise)
        .Tip("On-the-fly sample-rate frequency multiplier for matching template to data. Only available for "
             "Captured templates (not Retrieved)")
        .EnabledIf(isFrom(captured))
        .OnChange([this] { TakeAsChosen(); });
    list.Integer("spareBins", "Spare bins", m_nSpareBins)
        .Limits(0, greatestSpare)
        .Tip("The number of sample bins either side of captured template to include to reduce edge effects "
             "when increasing sample rate")
        .EnabledIf(isFrom(captured))
        .OnChange([this] { TakeAsChosen(); });
}

void CPatternRecognition::DescribeMatching(ParamList& list) {
    list.Group("Matching");
    Noted(list.Choice("templateType", "Template type", m_nTemplateType,
                      {"fixed", "adaptive", "optimally scaled"})
              .Tip("The template as it is; one that becomes the mean of the last matches; one that is scaled "
                   "and "
                   "shifted to fit the data best at each place"),
          "templateType");
    Noted(list.Number("allowedError", "Allowed error", m_fAllowedError)
              .Unit("%")
              .Limits(0, mostFloat)
              .Tip("A place matches where the template differs from the data by less, in percent of the area "
                   "of the template's triangle")
              .EnabledIf([this] { return !IsScaled(); }),
          "allowedError");
    Noted(list.Number("goodnessOfFit", "Goodness-of-fit", m_fGoodnessOfFit)
              .Limits(-mostFloat, mostFloat)
              .Step(0.5)
              .Tip("A place matches where the scale of the template is more than so many standard errors of "
                   "its fit")
              .EnabledIf([this] { return IsScaled(); }),
          "goodnessOfFit");
    Noted(list.Integer("adaptiveAverage", "Adaptive average", m_nAdaptiveAverage)
              .Limits(1, greatestAverage)
              .Spin()
              .Tip("Number of recent matches whose mean an adaptive template is")
              .EnabledIf([this] { return Type() == TemplateType::adaptive; }),
          "adaptiveAverage");
    Noted(list.Number("minimumPeakToPeak", "Minimum peak-to-peak", m_fMinimumPeakToPeak)
              .Unit(Units())
              .Limits(0, mostFloat)
              .Tip("The pk-2-pk data value within event must be at least this big for event to be accepted."),
          "minimumPeakToPeak");
}

void CPatternRecognition::DescribeExtras(ParamList& list) {
    list.Group("Diagnostics");
    list.Flag("addErrorTrace", "Add error signal as trace", m_bAddErrorTrace)
        .Tip("Add diagnostic traces: the Goodness-of-fit (= 100/error), or the criterion of a scaled "
             "template, as "
             "a trace of the recording");
    list.Flag("addTemplateTrace", "Add template as trace", m_bAddTemplateTrace)
        .Tip(
            "Add diagnostic traces: the template as it was fitted to each match, as a trace of the recording")
        .EnabledIf([this] { return IsScaled(); });
    list.Flag("matchFile", "Write match-only file", m_bMatchFile)
        .Tip("Write a single-trace file that only contains events and data which match the template");
    list.Text("matchFileName", "File", m_strMatchFileName)
        .Tip("Name of the match-only file; empty: that of the recording with \"_match\" behind it")
        .EnabledIf([this] { return m_bMatchFile; });
}

// --- actions ---

void CPatternRecognition::Attempt(const std::function<void()>& does) {
    if (!Document()) return;
    try {
        does();
        ForgetFound();
    } catch (const TemplateFault& fault) {
        Refuse(fault.what());
    } catch (const FileError& error) {
        Refuse(error.what());
    }
}

void CPatternRecognition::CaptureBetweenCursors() {
    Attempt([this] {
        const std::vector<double> cursors = View() ? View()->GetCursorTimes() : std::vector<double>();
        const auto first = static_cast<size_t>(m_nFirstCursor), second = static_cast<size_t>(m_nSecondCursor);
        if (std::max<size_t>({first, second, 2}) > cursors.size()) throw TemplateFault(fewCursorsText);
        if (first == second) throw TemplateFault(coincidingCursorsText);
        const auto [start, end] = std::minmax(cursors[first - 1], cursors[second - 1]);
        m_dTemplateStart = ShortTimeOf(*Document(), Document()->PositionOf(start));
        m_dTemplateEnd = ShortTimeOf(*Document(), Document()->PositionOf(end));
        m_nTemplateTrace = m_nTrace;
        m_isTemplateTraceChosen = true;
        m_nTemplateSource = captured;
        Capture();
    });
}

// Where there is none, a run says why.
void CPatternRecognition::TakeAsChosen() {
    if (m_nTemplateSource == inSettings) return;
    ForgetFound();
    m_template = {};
    if (!Document()) return;
    try {
        if (m_nTemplateSource == captured) Capture();
        if (m_nTemplateSource == average) TakeAverage();
        if (m_nTemplateSource == retrieved) m_template = WaveOf(retrieved);
    } catch (const TemplateFault&) {
    } catch (const FileError&) {
    }
}

void CPatternRecognition::ListTemplate() {
    if (!Document()) return;
    if (!m_template.IsDefined()) return Refuse("Template not defined");
    GetHost().ShowText("Template waveform", ListText());
}

// --- what the fields show ---

std::string CPatternRecognition::TemplateText() const {
    if (!m_template.IsDefined()) return "none";
    const auto time = [this](double ms) {
        const bool isHere = Document() && m_template.IsFrom(*Document());
        return isHere ? ShortTimeOf(*Document(), Document()->PositionOf(ms)) : ms;
    };
    const std::string from = m_template.start == TemplateWave::nowhere
                                 ? "of another recording, or a mean of matches"
                                 : fmt::format("trace {}, {:.10g} to {:.10g} ms", m_template.trace + 1,
                                               time(m_template.startMs), time(m_template.endMs));
    const bool isOther = Document() && !m_template.IntervalWarning(*Document()).empty();
    return fmt::format("{} bins, {}{}", m_template.values.size(), from,
                       isOther ? fmt::format(", sampled each {:g} ms, not {:g}", m_template.sampleInterval,
                                             Document()->sampleInterval)
                               : "");
}

std::string CPatternRecognition::BaselineText() const {
    if (!WaveFault(m_template).empty()) return {};
    if (IsScaled()) return "does not count: a scaled template is shifted to fit";
    const float flat = TemplateError(m_template.values).OfFlatWindow();
    return fmt::format("has an error of {:.3g} %{}", flat,
                       IsNearBaseline(flat) ? ": lower the allowed error well below it" : "");
}

// Where the view has cursors, they show the stretch.
std::vector<ViewGuide> CPatternRecognition::Guides() {
    std::vector<ViewGuide> guides;
    if (!Document() || m_nTemplateSource != captured || m_nTemplateTrace >= Document()->traceCount)
        return guides;
    if (View() && View()->GetCursorTimes().size() >= 2) return guides;
    using Kind = ViewGuide::Kind;
    guides.push_back(
        {Kind::time, m_nTemplateTrace, m_dTemplateStart, captureColour, "template", "templateStart"});
    guides.push_back({Kind::time, m_nTemplateTrace, m_dTemplateEnd, captureColour, {}, "templateEnd"});
    return guides;
}

}  // namespace kymora
