#include "templates/template_error_hist.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/trace_stretches.h"
#include "eventanalysis/event_values.h"
#include "templates/pattern_recognition.h"
#include "templates/template_histogram.h"

namespace kymora {

namespace {

constexpr uint32_t errorHistVersion = 1;
constexpr const char* noErrorsText =
    "Event channel {} has no events in the analysis region. Analyse the trace again, or show all candidates.";

// Shows the progress of a search to who polls.
class PolledProgress : public ProgressSource {
  public:
    PolledProgress(const Poll& poll, uint64_t total) : poll_(poll), total_(total) {}
    std::unique_ptr<Progress> StartProgress(std::string_view, uint64_t) override {
        return std::make_unique<Shown>(poll_, total_);
    }

  private:
    class Shown : public Progress {
      public:
        Shown(const Poll& poll, uint64_t total) : poll_(poll), total_(total) {}
        bool Update(uint64_t done) override {
            return IsWanted(poll_,
                            static_cast<double>(done) / static_cast<double>(std::max<uint64_t>(1, total_)));
        }

      private:
        const Poll& poll_;
        uint64_t total_;
    };
    const Poll& poll_;
    uint64_t total_;
};

constexpr const char* noCandidatesText = "No place of the analysis region resembles the template more than "
                                         "its neighbours do. Choose a longer region.";

// What a pass over stretches of a trace needs.
struct CandidatePass {
    TemplateSearch what;
    std::vector<TraceStretch> stretches;
    std::vector<SampleSpan> spans;
    int trace = 0, spareBins = 0;

    bool HasWindow() const {
        return std::ranges::any_of(spans,
                                   [&](const SampleSpan& span) { return span.Count() >= what.length; });
    }
    std::vector<float> Run(SampleReader& samples, const Poll& poll) const {
        uint64_t total = 0;
        for (const SampleSpan& span : spans) total += static_cast<uint64_t>(span.Count());
        PolledProgress source(poll, total);
        ProgressScope progress(source, "", total);
        RaisedTrace raised(samples, trace, stretches, what.multiplier, spareBins);
        std::vector<float> bests;
        LocalBest best(what.GetBetter());
        SearchWatch watch;
        watch.measures = [&](const MeasuredSteps& steps) {
            for (size_t i = 0; i < steps.values.size(); ++i)
                if (const auto value = best.Take(steps.values[i], i == 0 && !steps.continues))
                    bests.push_back(*value);
        };
        for (const SampleSpan& span : spans) SearchTrace(raised, span, what, progress, watch);
        return bests;
    }
};

}  // namespace

void CTemplateErrorHist::Serialize(CArchive& archive) {
    CEventAnalRgnBase::Serialize(archive);
    ExchangeVersion(archive, errorHistVersion, ClassName());
    Exchange(archive, m_bAllCandidates);
    Exchange(archive, m_fAllowedError);
    Exchange(archive, m_fGoodnessOfFit);
    Exchange(archive, m_isThresholdSet);
    m_hist.Exchange(archive);
    m_hist.ExchangeFurther(archive);
}

void CTemplateErrorHist::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channel1")->Tip("Event channel of template recognition");
    list.Flag("allCandidates", "All candidates", m_bAllCandidates)
        .Tip("Shows the best value of each place that resembles the template more than its neighbours do, "
             "whatever the threshold. Off: the values of the channel's events");
    list.Group("Threshold");
    const auto isSet = [this] { m_isThresholdSet = true; };
    list.Number("allowedError", "Allowed error", m_fAllowedError)
        .Unit("%")
        .Limits(0, mostFloat)
        .Tip("Threshold of fixed and adaptive templates: the line in the graph, which can be dragged")
        .EnabledIf([this] { return Type() != TemplateType::scaled; })
        .OnChange(isSet);
    list.Number("goodnessOfFit", "Goodness-of-fit", m_fGoodnessOfFit)
        .Limits(-mostFloat, mostFloat)
        .Step(0.5)
        .Tip("Threshold of optimally scaled templates: the line in the graph, which can be dragged")
        .EnabledIf([this] { return Type() == TemplateType::scaled; })
        .OnChange(isSet);
    m_hist.DescribeBins(list, Words());
    list.Find("autoRange")
        ->Tip("A range that shows the values of events, or of all candidates those up to twice the median "
              "error "
              "(four times the usual goodness-of-fit), and reaches to the threshold where that lies beyond; "
              "else the range is the one below. The text tells how many values lie above");
    m_hist.DescribeOverlays(list, Words());
    DescribeRegion(list);
    DescribeSaving(list);
    list.Action("findEvents", "Analyse at threshold", [this] { FindEvents(); })
        .Tip("Finds the events of the channel anew, with its template and this threshold, in the whole file")
        .EnabledIf([this] { return Channel() && HoldsTemplate(*Channel()); });
}

const CEventChan* CTemplateErrorHist::Channel() const {
    const CDataDoc* doc = Document();
    return doc && doc->HasChannel(m_nChannel1) ? &doc->eventChannels[static_cast<size_t>(m_nChannel1)]
                                               : nullptr;
}

TemplateType CTemplateErrorHist::Type() const {
    const CEventChan* channel = Channel();
    return channel && HoldsTemplate(*channel)
               ? static_cast<TemplateType>(channel->detectionMethod - methodFixedTemplate)
               : TemplateType::fixed;
}

// --- what it follows ---

void CTemplateErrorHist::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_values.clear();
    CHistBase::CheckChangeDoc(doc);
    FollowChannel();
}

void CTemplateErrorHist::SuggestSettings() {
    CHistBase::SuggestSettings();
    const CDataDoc* doc = Document();
    if (!doc || m_isDestinationChosen || (Channel() && HoldsTemplate(*Channel()))) return;
    int found = -1;
    for (int channel = 0; channel < maxEventChannels; ++channel) {
        const bool hasEvents = doc->GetNumEvents(channel) > 0;
        if (!HoldsTemplate(doc->eventChannels[static_cast<size_t>(channel)])) continue;
        if (found < 0 || hasEvents) found = channel;
        if (hasEvents) break;
    }
    if (found < 0) return;
    m_nChannel1 = found;
    FollowChannel();
}

void CTemplateErrorHist::OnEventChanChanged(int channel) {
    CHistBase::OnEventChanChanged(channel);
    m_isThresholdSet = false;
    FollowChannel();
}

void CTemplateErrorHist::FollowChannel() {
    if (m_isThresholdSet || !Channel() || !HoldsTemplate(*Channel())) return;
    Threshold() = Channel()->detection.templateThreshold;
}

// --- the run ---

std::vector<float> CTemplateErrorHist::EventValues() {
    std::vector<float> values;
    if (!RetrieveData()) return values;
    const auto& events = Channel()->Events();
    ForEachEvent(Block(), [&](const EventPlace& place) {
        values.push_back(events[static_cast<size_t>(place.index)].eventValue);
        return true;
    });
    return values;
}

bool CTemplateErrorHist::MakeInput(HistJob& job) {
    CDataDoc& doc = *Document();
    const CEventChan& channel = *Channel();
    if (!HoldsTemplate(channel)) throw JobRefused(foreignChannelText);
    FollowChannel();
    if (const std::string fault = EmptyGateFault(); !fault.empty()) throw JobRefused(fault);
    HistInput& input = AddPart(job).input;
    const TemplateType type = Type();
    const float threshold = Threshold();
    if (!m_bAllCandidates) {
        std::vector<float> values = EventValues();
        if (values.empty()) throw JobRefused(fmt::format(noErrorsText, ChannelName(m_nChannel1)));
        input = MeasureInput(std::move(values), type, threshold, Shown::events);
        job.work = static_cast<int64_t>(input.values->size());
        return true;
    }
    CandidatePass pass;
    try {
        const TemplateWave wave = StoredTemplate(doc, channel);
        pass.what = {wave.values, wave.multiplier, wave.length,
                     type,        threshold,       std::max(1, channel.detection.templateAlign)};
        pass.spareBins = wave.spareBins;
    } catch (const TemplateFault& fault) {
        throw JobRefused(fault.what());
    }
    pass.trace = channel.parentTrace;
    if (pass.trace < 0 || pass.trace >= doc.traceCount) throw JobRefused(noSuchTraceText);
    pass.stretches = UnbrokenStretches(doc, pass.trace);
    pass.spans = RegionSpans(doc, View(), {m_nRegionMode, m_dRegionStart, m_dRegionEnd, m_nGateChannel});
    for (const SampleSpan& span : pass.spans) job.work += SearchWork(pass.what, span.Count());
    input.name = MeasureLabel(type);
    job.read = [pass](SampleReader& samples, HistInput& into, const Poll& poll) {
        std::vector<float> bests = pass.Run(samples, poll);
        if (bests.empty()) throw JobRefused(pass.HasWindow() ? noCandidatesText : shortRegionText);
        into = MeasureInput(std::move(bests), pass.what.type, pass.what.threshold, Shown::candidates);
    };
    return true;
}

bool CTemplateErrorHist::Write(OperationJob& job, UndoScope& undo) {
    const auto values = static_cast<HistJob&>(job).parts[0].input.values;
    if (!CHistBase::Write(job, undo)) return false;
    m_values.assign(values->begin(), values->end());
    m_shownType = Type();
    return true;
}

// The pattern block does what it does in its own window.
void CTemplateErrorHist::FindEvents() {
    CPatternRecognition analysis;
    analysis.CheckChangeDoc(Document());
    analysis.CheckChangeView(View());
    try {
        analysis.Retrieve(m_nChannel1);
    } catch (const TemplateFault& fault) {
        return Refuse(fault.what());
    }
    analysis.m_nTemplateSource = CPatternRecognition::inSettings;
    const CEventChan& channel = *Channel();
    analysis.m_nTrace = std::max(0, channel.parentTrace);
    analysis.m_nDestination = m_nChannel1;
    analysis.m_strLabel = channel.channelLabel;
    analysis.m_strDescription = channel.channelComment;
    (analysis.m_nTemplateType == static_cast<int32_t>(TemplateType::scaled) ? analysis.m_fGoodnessOfFit
                                                                            : analysis.m_fAllowedError) =
        Threshold();
    analysis.Run();
}

// --- what it shows ---

int64_t CTemplateErrorHist::CountWithin() {
    const Better better = BetterOf(m_shownType);
    return std::ranges::count_if(m_values, [&](float v) { return IsBetter(v, Threshold(), better); });
}

std::optional<Graph> CTemplateErrorHist::GetGraph() {
    auto graph = CHistBase::GetGraph();
    for (GraphPane& pane : graph->panes)
        if (pane.name == "histogram" && Channel()) pane.lines.push_back(ThresholdLine(Type(), Threshold()));
    return graph;
}

void CTemplateErrorHist::WriteResult(const TextSink& sink) {
    if (!m_values.empty() && !sink(fmt::format("{} of {} values pass the threshold of {:g}\r\n",
                                               CountWithin(), m_values.size(), Threshold())))
        return;
    CHistBase::WriteResult(sink);
}

std::vector<Result> CTemplateErrorHist::Results() {
    std::vector<Result> results = CHistBase::Results();
    if (m_values.empty()) return results;
    Result threshold;
    threshold.name = "threshold";
    threshold.values = {
        {"threshold", Threshold()}, {"values that pass", CountWithin()}, {"values", std::ssize(m_values)}};
    results.push_back(std::move(threshold));
    return results;
}

void CTemplateErrorHist::GetParamText(std::string& text) {
    CEventAnalRgnBase::GetParamText(text);
    text += m_bAllCandidates ? "All candidates\r\n" : "Values of events\r\n";
    text += fmt::format("{}:\t{:f}\r\n", Type() == TemplateType::scaled ? "Goodness-of-fit" : "Allowed error",
                        Threshold());
    AppendHistText(text);
}

}  // namespace kymora
