#include "templates/multi_trace_pattern.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/trace_stretches.h"
#include "host/user_numbers.h"
#include "numerics/decimal.h"
#include "numerics/rounding.h"
#include "templates/secondary_search.h"

namespace kymora {

namespace {

constexpr uint32_t multiTraceVersion = 1;
constexpr const char* noChannelsText = "No event channels specified to define templates";
constexpr const char* noParentText =
    "All event channels specifying templates must have a parent trace. Channel {} does not.";
constexpr const char* noEventText =
    "All event channels specifying templates must have at least one event. Channel {} does not.";
constexpr const char* shortEventText =
    "You need at least 5 data points in each template. Event 1 in channel {} is shorter.";
constexpr const char* earlyEventText =
    "The templates must start at least {:f} ms after the start of the record. Channel {} starts earlier.";
constexpr const char* twiceText = "Event channel {} is named twice.";
constexpr double mostSlack = 1e6;  // ms

}  // namespace

// --- settings ---

void CMultiTracePatternRecognition::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, multiTraceVersion, ClassName());
    Exchange(archive, m_nFrequencyMultiplier);
    Exchange(archive, m_nSpareBins);
    Exchange(archive, m_fSlack);
    Exchange(archive, m_bOptimalScaleOffset);
    Exchange(archive, m_fAllowedError);
    Exchange(archive, m_fGoodnessOfFit);
    Exchange(archive, m_fMinimumPeakToPeak);
}

void CMultiTracePatternRecognition::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channels")
        ->Ordered()
        .Tip("Capture templates from parent trace waveforms of first events in specified event channels. The "
             "first channel has the primary template, which is sought along its trace");
    list.Group("Templates");
    list.Integer("frequencyMultiplier", "Frequency multiplier", m_nFrequencyMultiplier)
        .Limits(1, greatestRaise)
        .Tip("On-the-fly sample-rate frequency multiplier for matching template to data: 1, 2, 4, 8 ... 64");
    list.Integer("spareBins", "Spare bins", m_nSpareBins)
        .Limits(0, 10000)
        .Tip("The number of sample bins either side of captured template to include to reduce edge effects "
             "when increasing sample rate");
    list.Number("slack", "Search slack", m_fSlack)
        .Unit("ms")
        .Limits(0, mostSlack)
        .Tip("Allowed timing slack in search for matches to secondary templates");
    list.Group("Matching");
    list.Flag("optimalScaleOffset", "Optimal scale/offset", m_bOptimalScaleOffset)
        .Tip("Scale and shift each template to fit the data best at each place");
    list.Number("allowedError", "Allowed error", m_fAllowedError)
        .Unit("%")
        .Limits(0, mostFloat)
        .Tip("A place matches where each template differs from its data by less, in percent of the area of "
             "the "
             "template's triangle")
        .EnabledIf([this] { return !m_bOptimalScaleOffset; });
    list.Number("goodnessOfFit", "Goodness-of-fit", m_fGoodnessOfFit)
        .Limits(-mostFloat, mostFloat)
        .Step(0.5)
        .Tip("A place matches where the scale of each template is more than so many standard errors of its "
             "fit")
        .EnabledIf([this] { return m_bOptimalScaleOffset; });
    list.Number("minimumPeakToPeak", "Minimum peak-to-peak", m_fMinimumPeakToPeak)
        .Limits(0, mostFloat)
        .Tip("The pk-2-pk data value within event must be at least this big for event to be accepted. Of the "
             "primary template's trace");
    DescribeRegion(list);
    DescribeDestination(list);
}

std::string CMultiTracePatternRecognition::CheckSettings() {
    if (std::string fault = CEventWndBaseDlg::CheckSettings(); !fault.empty()) return fault;
    if (!IsRaise(m_nFrequencyMultiplier)) return raiseFaultText;
    for (size_t i = 0; i < m_channels.size(); ++i) {
        if (std::count(m_channels.begin(), m_channels.end(), m_channels[i]) > 1)
            return fmt::format(twiceText, ChannelName(m_channels[i]));
        if (m_channels[i] == m_nDestination) return channelIsSourceText;
    }
    return {};
}

void CMultiTracePatternRecognition::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CEventWndBaseDlg::CheckChangeDoc(doc);
}

// --- the templates ---

MultiTracePart CMultiTracePatternRecognition::CapturePart(int channel) {
    CDataDoc& doc = *Document();
    const CEventChan& chan = doc.eventChannels[static_cast<size_t>(channel)];
    const std::string name = ChannelName(channel);
    if (chan.parentTrace < 0 || chan.parentTrace >= doc.traceCount)
        throw TemplateFault(fmt::format(noParentText, name));
    if (chan.GetNumEvents() == 0) throw TemplateFault(fmt::format(noEventText, name));
    const CEventKM& event = chan.Events().front();
    const int64_t length = int64_t{event.offPosition} - event.onPosition;
    if (length < fewestTemplateSamples) throw TemplateFault(fmt::format(shortEventText, name));
    if (event.onPosition < m_nSpareBins)
        throw TemplateFault(fmt::format(earlyEventText, doc.TimeOf(m_nSpareBins), name));
    try {
        const CaptureSpan span{chan.parentTrace, event.onPosition, static_cast<int32_t>(length)};
        return {channel, CaptureTemplate(doc, span, m_nFrequencyMultiplier, m_nSpareBins), 0};
    } catch (const TemplateFault& fault) {
        throw TemplateFault(fmt::format("Event 1 in channel {}: {}", name, fault.what()));
    }
}

std::vector<MultiTracePart> CMultiTracePatternRecognition::CaptureParts() {
    if (m_channels.empty()) throw TemplateFault(noChannelsText);
    std::vector<MultiTracePart> parts;
    for (const int channel : m_channels) {
        parts.push_back(CapturePart(channel));
        parts.back().place = int64_t{parts.back().wave.start} - parts.front().wave.start;
    }
    return parts;
}

// --- the run ---

struct CMultiTracePatternRecognition::Job : EventJob {
    std::vector<MultiTracePart> parts;
    std::vector<Sought> sought;
    int spareBins = 0;
    int64_t slack = 0;  // bins
    double sampleInterval = 1.0;
    float minimumPeakToPeak = 0.0f;
    CMultiTracePatternRecognition::Found result;

    int64_t Samples() const override { return SearchWork(sought[0].what, EventJob::Samples()); }
    void Compute(SampleReader& samples, JobContext& context) override {
        const TemplateSearch& primary = sought[0].what;
        if (region.Count() < primary.length) context.Warn(shortRegionText);
        ProgressScope progress(context, title, static_cast<uint64_t>(EventJob::Samples()));
        RaisedTrace raised(samples, sought[0].trace, sought[0].stretches, primary.multiplier, spareBins);
        std::vector<SecondarySearch> searches;
        for (size_t i = 1; i < sought.size(); ++i)
            searches.emplace_back(samples, sought[i], spareBins, slack);
        std::map<int64_t, std::vector<SecondaryMatch>> others;  // by the bin of the primary match
        SearchWatch watch;
        watch.accepts = [&](const TemplateCandidate& candidate) {
            ++result.primaries;
            std::vector<SecondaryMatch> found;
            for (SecondarySearch& search : searches) {
                const auto match = search.Find(candidate.bin, progress);
                if (!match) return false;
                found.push_back(*match);
            }
            others[candidate.bin] = std::move(found);
            return true;
        };
        const SearchFound matches = SearchTrace(raised, region, primary, progress, watch);
        for (const TemplateMatch& match : matches.matches) Keep(samples, match, std::move(others[match.bin]));
        if (matches.open > 0) context.Warn(OpenRunsText(matches, primary.multiplier, sampleInterval) + ".");
        result.parts = parts;
    }

  private:
    void Keep(SampleReader& samples, const TemplateMatch& match, std::vector<SecondaryMatch> others) {
        if (minimumPeakToPeak > 0.0f &&
            PeakToPeakOf(samples, sought[0].trace, match.on, match.off) < minimumPeakToPeak) {
            ++result.tooSmall;
            return;
        }
        CEventKM& event = found[0].events.emplace_back();
        event.onPosition = match.on;
        event.offPosition = match.off;
        event.eventValue = match.value;
        result.matches.push_back(match);
        result.others.push_back(std::move(others));
    }
};

std::unique_ptr<OperationJob> CMultiTracePatternRecognition::MakeJob() {
    CDataDoc& doc = *Document();
    auto job = std::make_unique<Job>();
    job->sampleInterval = doc.sampleInterval;
    if (!TakeRegion(*job)) return nullptr;
    try {
        job->parts = CaptureParts();
    } catch (const TemplateFault& fault) {
        throw JobRefused(fault.what());
    }
    const TemplateType type = m_bOptimalScaleOffset ? TemplateType::scaled : TemplateType::fixed;
    for (const MultiTracePart& part : job->parts) {
        const TemplateWave& wave = part.wave;
        job->sought.push_back({{wave.values, wave.multiplier, wave.length, type, Threshold()},
                               part.place * wave.multiplier,
                               wave.trace,
                               UnbrokenStretches(doc, wave.trace)});
        job->reads.push_back(part.channel);
    }
    job->spareBins = m_nSpareBins;
    job->slack = RoundHalfAway64(DecimalOf(m_fSlack) / doc.sampleInterval * m_nFrequencyMultiplier);
    job->minimumPeakToPeak = m_fMinimumPeakToPeak;
    job->method = m_bOptimalScaleOffset ? methodScaledMultiTrace : methodMultiTrace;
    AddTarget(*job, m_nDestination, -1, m_strDescription);
    return job;
}

bool CMultiTracePatternRecognition::FinishFound(CEventChan& chan, const EventJob&, size_t) {
    BeginRecord(chan);
    return true;
}

void CMultiTracePatternRecognition::TakeFound(const EventJob& job) {
    m_found = static_cast<const Job&>(job).result;
}

// --- what it tells ---

void CMultiTracePatternRecognition::GetParamText(std::string& text) {
    AppendRegionText(text);
    std::string names;
    for (const int channel : m_channels) names += (names.empty() ? "" : " ") + ChannelName(channel);
    text += fmt::format("Template captured from event channels {}\r\n", names);
    if (!m_channels.empty())
        text += fmt::format("\tPrimary template: \t{}\r\n", ChannelName(m_channels.front()));
    text += "Destination event channel: " + ChannelName(m_nDestination) + "\r\n";
    text += fmt::format("Frequency multiplier:\t{}\r\nSearch slack:\t{:f}\r\nOptimal scale/offset: \t{}\r\n"
                        "\tMinimum peak-to-peak:\t{:f}\r\n",
                        m_nFrequencyMultiplier, m_fSlack, m_bOptimalScaleOffset ? "true" : "false",
                        m_fMinimumPeakToPeak);
    text +=
        fmt::format("Allowed error:\t{:f}\r\nGoodness-of-fit:\t{:f}\r\n", m_fAllowedError, m_fGoodnessOfFit);
}

void CMultiTracePatternRecognition::AppendReport(std::string& text, const EventJob& job) {
    GetParamText(text);
    const Found& found = static_cast<const Job&>(job).result;
    text += fmt::format("Count of matches to primary template:\t{}\r\nCount of matches:\t{}\r\n",
                        found.primaries, found.matches.size());
}

std::string CMultiTracePatternRecognition::RunSummary() const {
    return m_found ? fmt::format("of {} matches to the primary template", m_found->primaries) : std::string();
}

void CMultiTracePatternRecognition::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    sink(fmt::format("Count of matches to primary template: {}\r\nCount of matches: {}\r\n",
                     m_found->primaries, m_found->matches.size()));
}

std::vector<Result> CMultiTracePatternRecognition::Results() {
    if (!m_found || !Document()) return {};
    const std::string measure = m_bOptimalScaleOffset ? "goodness-of-fit" : "error";
    const std::string unit = m_bOptimalScaleOffset ? "" : "%";
    Result matches{"matches",
                   {{"Count of matches to primary template", m_found->primaries},
                    {"matches", std::ssize(m_found->matches)},
                    {"below minimum peak-to-peak", m_found->tooSmall}},
                   {{"onset", "ms"}, {measure, unit}},
                   {}};
    Result templates{"templates", {}, {{"channel", {}}, {"trace", {}}, {"bins", {}}, {"place", "ms"}}, {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const MultiTracePart& part : m_found->parts) {
        const std::string name = ChannelName(part.channel);
        rows.push_back({name, int64_t{part.wave.trace} + 1, std::ssize(part.wave.values),
                        Document()->TimeOf(part.place)});
        if (&part == &m_found->parts.front()) continue;
        matches.columns.push_back({measure + " " + name, unit});
        matches.columns.push_back({"lag " + name, "ms"});
    }
    templates.SetRows(std::move(rows));
    matches.rows = [this](const ResultRowSink& sink) {
        const double binMs = Document()->sampleInterval / m_nFrequencyMultiplier;
        for (size_t i = 0; i < m_found->matches.size(); ++i) {
            std::vector<ResultValue> row{Document()->TimeOf(m_found->matches[i].on),
                                         m_found->matches[i].value};
            for (const SecondaryMatch& other : m_found->others[i]) {
                row.emplace_back(other.value);
                row.emplace_back(static_cast<double>(other.lag) * binMs);
            }
            if (!sink(row)) return false;
        }
        return true;
    };
    return {std::move(templates), std::move(matches)};
}

std::optional<Graph> CMultiTracePatternRecognition::GetGraph() {
    GraphPane pane;
    pane.name = pane.title = "Templates";
    pane.x = {"time from the start of the primary template", "ms", false, {}};
    pane.y = {"value", "", false, {}};
    if (m_found && Document())
        for (size_t p = 0; p < m_found->parts.size(); ++p) {
            const MultiTracePart& part = m_found->parts[p];
            GraphLayer layer;
            layer.kind = LayerKind::curve;
            layer.name = fmt::format("channel {}, trace {}", ChannelName(part.channel), part.wave.trace + 1);
            layer.colour = GraphColour(p);
            layer.y.assign(part.wave.values.begin(), part.wave.values.end());
            for (size_t i = 0; i < layer.y.size(); ++i)
                layer.x.push_back(
                    (static_cast<double>(part.place) + static_cast<double>(i) / part.wave.multiplier) *
                    Document()->sampleInterval);
            pane.layers.push_back(std::move(layer));
        }
    return Graph{{std::move(pane)}};
}

}  // namespace kymora
