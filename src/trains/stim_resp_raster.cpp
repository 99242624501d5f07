#include "trains/stim_resp_raster.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "document/undo.h"
#include "host/session.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t rasterVersion = 1;
constexpr uint64_t rasterPollParts = 1000;
constexpr size_t mostMarks = 5'000'000;
constexpr double usualLatency = 1000.0;  // ms
constexpr int32_t mostBinsOfRaster = 10000;
constexpr const char* latencyOrderText = "The end of the latencies must be after their start.";
constexpr const char* nothingSelectedText = "No response is selected. Drag over marks of the raster, or set "
                                            "the latencies and rows of those that are meant.";
constexpr const char* manyMarksText = "There are more responses in the windows. The first {} are shown.";
constexpr const char* noStimuliInRegionText = "There are no events of channel {} in the analysis region.";
constexpr const char* colouredText = "Stimulus-response latency raster: {} selected events coloured in "
                                     "stimulus channel {} and response channel "
                                     "{}\r\n";
constexpr const char* taggedText =
    "Stimulus-response latency raster: {} selected events tagged in stimulus channel {} and response channel "
    "{}\r\n";
constexpr const char* stimulusReadoutTip =
    "Shows the stimulus number of the current mouse location on the plot";
constexpr const char* latencyReadoutTip = "Shows the latency of the current mouse location on the plot";

void SortEachOnce(std::vector<int32_t>& numbers) {
    std::ranges::sort(numbers);
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

}  // namespace

// --- parameters ---

void CStimRespRaster::Serialize(CArchive& archive) {
    CTrainsBase::Serialize(archive);
    ExchangeVersion(archive, rasterVersion, ClassName());
    Exchange(archive, m_bAutoLatency);
    for (double* time : {&m_dLatencyStart, &m_dLatencyEnd, &m_dSelectStart, &m_dSelectEnd})
        Exchange(archive, *time);
    for (int32_t* number : {&m_nBins, &m_nSmoothHalfWindow, &m_nOrder, &m_nFirstStimulus, &m_nLastStimulus,
                            &m_nRasterColour, &m_nMarkWidth})
        Exchange(archive, *number);
    for (bool* flag : {&m_bTag, &m_bColour, &m_bZeroLine}) Exchange(archive, *flag);
    Exchange(archive, m_nTargetColour);
}

void CStimRespRaster::Describe(ParamList& list) {
    constexpr double farthest = 1e9;
    list.Group("Channels");
    DescribeChannel(list, "stimulusChannel", "Stimulus", m_nChannel1, "Event channel of the stimuli");
    DescribeChannel(list, "responseChannel", "Response", m_nChannel2, "Event channel of the responses");
    list.Group("Latencies");
    list.Flag("autoLatency", "To the next stimulus", m_bAutoLatency)
        .Tip(
            "Latencies from 0 to the shortest time between stimuli, or to 1,000 ms where there is none; else "
            "those below");
    const auto isOwn = [this] { m_bAutoLatency = false; };
    list.Number("latencyStart", "From", m_dLatencyStart)
        .Unit("ms")
        .Limits(-farthest, farthest)
        .Tip("Least latency that is shown; setting it sets the range")
        .Linked({"autoLatency"})
        .OnChange(isOwn);
    list.Number("latencyEnd", "To", m_dLatencyEnd)
        .Unit("ms")
        .Limits(-farthest, farthest)
        .Tip("Latencies from here on are not shown; setting it sets the range")
        .Linked({"autoLatency"})
        .OnChange(isOwn);
    list.Integer("binNumber", "Bins", m_nBins)
        .Limits(1, mostBinsOfRaster)
        .Spin()
        .Tip("Bins of the histogram");
    list.Integer("smoothHalfWindow", "Smooth half window", m_nSmoothHalfWindow)
        .Unit("bins")
        .Limits(0, mostBinsOfRaster)
        .Spin()
        .Tip("Draws the histogram smoothed by four moving averages, with its standard error; 0: not");
    list.Group("Raster");
    list.Choice("order", "Rows", m_nOrder, {"by time", "by latency"})
        .Tip("The first stimulus at the bottom, or the one with the shortest latency of its first response");
    list.Choice("rasterColour", "Colour", m_nRasterColour, {"of each response", "target colour"})
        .Tip("Marks have the colour of the response event, or all have the target colour");
    list.Colour("targetColour", "Target colour", m_nTargetColour)
        .Tip("The colour that selected events get; black is the channel's own");
    list.Integer("markWidth", "Marker width", m_nMarkWidth)
        .Unit("pixels")
        .Limits(1, 20)
        .Spin()
        .Tip("Width of a mark");
    list.Flag("zeroLine", "Zero line", m_bZeroLine)
        .Tip("Check to show the zero latency time as a line on the plot");
    list.Group("Selected events");
    list.Number("selectStart", "Latency from", m_dSelectStart)
        .Unit("ms")
        .Limits(-farthest, farthest)
        .Tip("Least latency of what is selected. Dragging over marks sets it");
    list.Number("selectEnd", "to", m_dSelectEnd)
        .Unit("ms")
        .Limits(-farthest, farthest)
        .Tip("Greatest latency of what is selected");
    list.Integer("firstStimulus", "Row from", m_nFirstStimulus)
        .Limits(1, 1e9)
        .Tip("First row of what is selected");
    list.Integer("lastStimulus", "to", m_nLastStimulus)
        .Limits(0, 1e9)
        .Tip("Last row of what is selected; 0 selects nothing");
    list.Flag("tag", "Tag", m_bTag)
        .Tip("Tag selected stim and response events. It is done when the button is pressed");
    list.Flag("colour", "Colour", m_bColour)
        .Tip("Colour selected stimulus and response events with Target colour. It is done when the button is "
             "pressed");
    DescribeRegion(list);
}

std::string CStimRespRaster::CheckSettings() {
    if (std::string fault = CTrainsBase::CheckSettings(); !fault.empty()) return fault;
    if (!m_bAutoLatency && !(m_dLatencyStart < m_dLatencyEnd)) return latencyOrderText;
    const CDataDoc* doc = Document();
    if (!doc || WhatItAffects() == Affects::nothing) return {};
    const auto isLocked = [doc](int channel) {
        return doc->eventChannels[static_cast<size_t>(channel)].channelLocked;
    };
    return isLocked(m_nChannel1) || isLocked(m_nChannel2) ? lockedChannelText : std::string();
}

void CStimRespRaster::GetParamText(std::string& text) {
    text += fmt::format("Stimulus: {}\r\nResponse: {}\r\nLatencies: {:g} to {:g} ms\r\n",
                        ChannelName(m_nChannel1), ChannelName(m_nChannel2), m_dLatencyStart, m_dLatencyEnd);
    if (m_nLastStimulus >= m_nFirstStimulus)
        text += fmt::format("Selected: {:g} to {:g} ms, rows {} to {}\r\n", m_dSelectStart, m_dSelectEnd,
                            m_nFirstStimulus, m_nLastStimulus);
    CTrainsBase::GetParamText(text);
}

void CStimRespRaster::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CTrainsBase::CheckChangeDoc(doc);
}

// --- the run ---

struct CStimRespRaster::Job : OperationJob {
    std::vector<int64_t> responses;
    int64_t from = 0, end = 0;
    double interval = 0.0;  // ms
    int smoothHalfWindow = 0;
    std::mt19937 random;
    Found found;

    int64_t Samples() const override {
        return 10 * static_cast<int64_t>(found.onsets.size() + responses.size());
    }
    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, "Finding responses", rasterPollParts);
        const Poll poll = [&](double done) {
            return progress.GoesOn(static_cast<uint64_t>(done * static_cast<double>(rasterPollParts)));
        };
        found.marks = MakeLatencyMarks(found.onsets, responses, from, end, mostMarks + 1, poll);
        found.isCut = found.marks.size() > mostMarks;
        if (found.isCut) found.marks.pop_back();
        found.shortestInterval = ShortestInterval(found.onsets);
        if (smoothHalfWindow > 0)
            found.smooth = SmoothResponses(found.marks, static_cast<int32_t>(found.onsets.size()),
                                           found.part.settings.minimum / interval,
                                           found.part.settings.Width() / interval,
                                           found.part.settings.binCount, smoothHalfWindow, poll);
        AnalyseHistogram(found.part, random, poll);
    }
};

std::unique_ptr<OperationJob> CStimRespRaster::MakeJob() {
    const std::vector<TrainStretch> region = TakeStretches();
    if (region.empty()) return nullptr;
    const CDataDoc& doc = *Document();
    auto job = std::make_unique<Job>();
    Found& found = job->found;
    const EventsByOnset stimuli(doc.eventChannels[static_cast<size_t>(m_nChannel1)]);
    const EventsByOnset responses(doc.eventChannels[static_cast<size_t>(m_nChannel2)]);
    for (const int32_t rank : PlacesWithin(OnsetsOf(doc, m_nChannel1), region)) {
        found.stimuli.push_back(stimuli.IndexOf(rank));
        found.onsets.push_back(stimuli.On(rank));
    }
    for (int rank = 0; rank < responses.Size(); ++rank) {
        found.responses.push_back(responses.IndexOf(rank));
        job->responses.push_back(responses.On(rank));
    }
    found.stimulusChannel = m_nChannel1;
    found.responseChannel = m_nChannel2;
    job->reads = {m_nChannel1, m_nChannel2};
    if (WhatItAffects() != Affects::nothing) job->writes = job->reads;
    if (found.stimuli.empty()) Tell(fmt::format(noStimuliInRegionText, NameByMode(doc, m_nChannel1)));

    if (m_bAutoLatency) {
        const int64_t shortest = ShortestInterval(found.onsets);
        m_dLatencyStart = 0.0;
        m_dLatencyEnd = shortest > 0 ? InMs(shortest) : usualLatency;
    }
    job->interval = doc.sampleInterval;
    // Whole samples: a latency lies on the start, or before the end.
    job->from = FirstSampleFrom(m_dLatencyStart);
    job->end = FirstSampleFrom(m_dLatencyEnd);
    job->smoothHalfWindow = m_nSmoothHalfWindow;
    job->random = doc.GetSession().random;

    AskForHistogram(*job);
    return job;
}

// Which one a limit in ms of a few digits means, too.
int64_t CStimRespRaster::FirstSampleFrom(double ms) const {
    const double samples = std::clamp(ms / Document()->sampleInterval, -1e12, 1e12);
    return static_cast<int64_t>(std::ceil(samples - 1e-6));
}

// That of the latencies, as the histogram of events has it for two channels.
void CStimRespRaster::AskForHistogram(Job& job) const {
    HistInput& input = job.found.part.input;
    input.kind = HistInput::Kind::lags;
    input.isPsth = true;
    input.name = "PSTH 1 from 2";
    input.label = "latency (ms)";
    input.channel1 = m_nChannel2;
    input.events1 = job.found.responses;
    for (const int64_t onset : job.responses) input.times1.push_back(InMs(onset));
    for (const int64_t onset : job.found.onsets) input.times2.push_back(InMs(onset));
    // Responses lie anywhere, and so does what their rate comes from.
    input.region = {{0.0, InMs(Document()->GetLength())}};
    HistSettings& settings = job.found.part.settings;
    settings.autoRange = false;
    // The limits that have the same samples within.
    settings.minimum = std::min(m_dLatencyStart, InMs(FirstSampleFrom(m_dLatencyStart)));
    settings.maximum = std::min(m_dLatencyEnd, InMs(FirstSampleFrom(m_dLatencyEnd)));
    settings.binCount = m_nBins;
    settings.isByCount = true;
}

bool CStimRespRaster::Write(OperationJob& job, UndoScope& undo) {
    m_found = std::move(static_cast<Job&>(job).found);
    Found& found = *m_found;
    if (found.isCut) Tell(fmt::format(manyMarksText, GroupedDigits(static_cast<int64_t>(mostMarks))));
    const double interval = InMs(found.shortestInterval), range = m_dLatencyEnd - m_dLatencyStart;
    if (found.shortestInterval > 0 && interval < range * (1.0 - 1e-9))
        Tell(fmt::format(closeStimuliText, interval, range));
    TakeRows();
    // Also what is refused is shown.
    const bool isDone = WhatItAffects() == Affects::nothing || Mark(undo);
    TakeColours();
    return isDone;
}

void CStimRespRaster::TakeRows() {
    Found& found = *m_found;
    const auto count = static_cast<int32_t>(found.stimuli.size());
    found.rows.resize(found.stimuli.size());
    const std::vector<int32_t> order =
        m_nOrder == rowsByLatency ? RowsByLatency(found.marks, count) : std::vector<int32_t>();
    for (int32_t i = 0; i < count; ++i)
        found.rows[static_cast<size_t>(order.empty() ? i : order[static_cast<size_t>(i)])] = i + 1;
}

void CStimRespRaster::TakeColours() {
    const CEventChan& chan = Document()->eventChannels[static_cast<size_t>(m_found->responseChannel)];
    for (const int32_t event : m_found->responses) {
        const uint32_t own = chan.Events()[static_cast<size_t>(event)].eventColour;
        m_found->colours.push_back(own != 0 ? own : chan.channelColour);
    }
}

// --- what is selected ---

bool CStimRespRaster::Holds(const LatencyMark& mark) const {
    const int32_t row = m_found->rows[static_cast<size_t>(mark.stimulus)];
    // Latencies are whole samples: half a one is no difference.
    const double half = 0.5 * Document()->sampleInterval, latency = InMs(mark.latency);
    return row >= m_nFirstStimulus && row <= m_nLastStimulus && latency > m_dSelectStart - half &&
           latency < m_dSelectEnd + half;
}

CStimRespRaster::Selected CStimRespRaster::FindSelected() const {
    Selected selected;
    for (const LatencyMark& mark : m_found->marks) {
        if (!Holds(mark)) continue;
        selected.stimuli.push_back(m_found->stimuli[static_cast<size_t>(mark.stimulus)]);
        selected.responses.push_back(m_found->responses[static_cast<size_t>(mark.response)]);
    }
    SortEachOnce(selected.stimuli);
    SortEachOnce(selected.responses);
    return selected;
}

bool CStimRespRaster::Mark(UndoScope& undo) {
    const Selected selected = FindSelected();
    if (selected.responses.empty()) {
        Refuse(nothingSelectedText);
        return false;
    }
    const int stimulus = m_found->stimulusChannel, response = m_found->responseChannel;
    if (!MarkEvents(undo, stimulus, selected.stimuli) || !MarkEvents(undo, response, selected.responses)) {
        Refuse(lockedChannelText);
        return false;
    }
    std::vector<int32_t> both = selected.stimuli;
    both.insert(both.end(), selected.responses.begin(), selected.responses.end());
    // An event may be a response to one stimulus and be a stimulus itself.
    if (stimulus == response) SortEachOnce(both);
    const size_t marked = both.size();
    std::string report;
    GetParamText(report);
    for (const auto& [isDone, text] : {std::pair(m_bTag, taggedText), std::pair(m_bColour, colouredText)}) {
        if (!isDone) continue;
        const std::string line = fmt::format(fmt::runtime(text), marked, NameByMode(*Document(), stimulus),
                                             NameByMode(*Document(), response));
        GetHost().Log(line);
        report += line;
    }
    AppendHistory(report);
    return true;
}

bool CStimRespRaster::MarkEvents(UndoScope& undo, int channel, const std::vector<int32_t>& events) {
    const CEventChan& chan = Document()->eventChannels[static_cast<size_t>(channel)];
    std::vector<CEventKM> all = chan.Events();
    for (const int32_t i : events) {
        CEventKM& event = all[static_cast<size_t>(i)];
        if (m_bTag && event.eventTag == 0) event.eventTag = 1;
        if (m_bColour) event.eventColour = m_nTargetColour;
    }
    return undo.SpliceEvents(channel, 0, chan.GetNumEvents(), std::move(all));
}

// --- what it shows ---

std::optional<Graph> CStimRespRaster::GetGraph() {
    if (!m_found) return Graph{{GraphPane{"histogram"}, GraphPane{"raster"}}, 1, true};
    return Graph{{HistogramPane(), RasterPane()}, 1, true};
}

GraphPane CStimRespRaster::HistogramPane() const {
    const HistPart& part = m_found->part;
    GraphPane pane = std::move(HistGraph(std::span(&part, 1), 1).panes.front());
    pane.lowerParameter = "latencyStart";
    pane.upperParameter = "latencyEnd";
    pane.autoParameter = "autoLatency";
    if (!m_found->smooth) return pane;
    const auto stimuli = static_cast<double>(m_found->onsets.size());
    GraphLayer band{LayerKind::area, "+/- s.e.", GraphColour(4)},
        mean{LayerKind::curve, "smoothed", GraphColour(1)};
    band.isPale = true;
    for (int bin = 0; bin < part.settings.binCount; ++bin) {
        const auto i = static_cast<size_t>(bin);
        const double height = m_found->smooth->mean[i] * stimuli,
                     error = m_found->smooth->standardError[i] * stimuli;
        band.x.push_back(part.settings.minimum + (bin + 0.5) * part.settings.Width());
        band.y.push_back(height + error);
        band.y2.push_back(height - error);
        mean.y.push_back(height);
    }
    mean.x = band.x;
    for (GraphLayer& layer : pane.layers) layer.isPale |= layer.kind == LayerKind::bars;
    // Over the bars, which would hide it.
    const auto behind = std::ranges::find_if_not(
        pane.layers, [](const GraphLayer& layer) { return layer.kind == LayerKind::bars; });
    pane.layers.insert(behind, std::move(band));
    pane.layers.push_back(std::move(mean));
    return pane;
}

GraphPane CStimRespRaster::RasterPane() const {
    const Found& found = *m_found;
    const auto count = static_cast<double>(found.stimuli.size());
    GraphPane pane{"raster"};
    pane.x = {"latency", "ms", false, std::pair(m_dLatencyStart, m_dLatencyEnd)};
    pane.y.title = m_nOrder == rowsByLatency ? "latency rank" : "stimulus";
    if (count > 0.0) pane.y.limits = {0.5, count + 0.5};
    pane.rowNumbers = {"stimulus number", std::vector<int32_t>(found.stimuli.size())};
    bool isTheirPlace = true;
    for (size_t i = 0; i < found.stimuli.size(); ++i) {
        const int32_t row = found.rows[i], number = found.stimuli[i] + 1;
        pane.rowNumbers.numbers[static_cast<size_t>(row - 1)] = number;
        isTheirPlace = isTheirPlace && row == number;
    }
    if (isTheirPlace) pane.rowNumbers = {};
    if (!isTheirPlace && m_nOrder == rowsByTime) pane.y.title = "row";
    pane.readouts = {{"Stimulus", stimulusReadoutTip, false}, {"Latency", latencyReadoutTip, true}};
    pane.lowerParameter = "latencyStart";
    pane.upperParameter = "latencyEnd";
    pane.autoParameter = "autoLatency";
    GraphLayer marks{LayerKind::raster, "", m_nTargetColour};
    marks.width = m_nMarkWidth;
    marks.channel = found.responseChannel;
    GraphLayer selected = marks;
    selected.colour = GraphColour(1);
    selected.width = m_nMarkWidth + 1;
    selected.isSilent = true;
    for (const LatencyMark& mark : found.marks) {
        const double latency = InMs(mark.latency), row = found.rows[static_cast<size_t>(mark.stimulus)];
        marks.x.push_back(latency);
        marks.y.push_back(row);
        marks.events.push_back(found.responses[static_cast<size_t>(mark.response)]);
        if (m_nRasterColour == colourOfEvents)
            marks.colours.push_back(found.colours[static_cast<size_t>(mark.response)]);
        if (!Holds(mark)) continue;
        selected.x.push_back(latency);
        selected.y.push_back(row);
    }
    pane.layers.push_back(std::move(marks));
    if (!selected.x.empty()) pane.layers.push_back(std::move(selected));
    if (m_bZeroLine) pane.lines.push_back({true, 0.0, GraphColour(6), "", "", false});
    pane.area = {m_dSelectStart,        m_dSelectEnd,   m_nFirstStimulus - 0.5,
                 m_nLastStimulus + 0.5, "selectStart",  "selectEnd",
                 "firstStimulus",       "lastStimulus", true};
    return pane;
}

// The stimuli with what is selected of their responses.
void CStimRespRaster::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    const Found& found = *m_found;
    if (!sink(fmt::format("Stimuli:\t{}\r\nResponses in the windows:\t{}\r\n", found.stimuli.size(),
                          found.marks.size())))
        return;
    int32_t stimulus = -1;
    for (const LatencyMark& mark : found.marks) {
        if (!Holds(mark)) continue;
        std::string text;
        const bool isFirst = stimulus != mark.stimulus;
        const auto at = static_cast<size_t>(mark.stimulus);
        if (isFirst)
            text = fmt::format("Stim:\t{}\tOn time\t{:f}\r\n", found.stimuli[at] + 1, InMs(found.onsets[at]));
        stimulus = mark.stimulus;
        const int32_t response = found.responses[static_cast<size_t>(mark.response)] + 1;
        text += fmt::format("{}{}\tLat\t{:f}\r\n", isFirst ? "\t\t\t\tResp:\t" : "\t\t\t\t\t", response,
                            InMs(mark.latency));
        if (!sink(text)) return;
    }
}

std::vector<Result> CStimRespRaster::Results() {
    if (!m_found) return {};
    std::vector<Result> all = HistResults(m_found->part);
    all.push_back(MarksResult());
    return all;
}

Result CStimRespRaster::MarksResult() const {
    Result result{"raster",
                  {{"stimuli", static_cast<int64_t>(m_found->stimuli.size())},
                   {"responses", static_cast<int64_t>(m_found->marks.size())},
                   {"latency start", m_dLatencyStart},
                   {"latency end", m_dLatencyEnd}},
                  {{"row", {}},
                   {"stimulus", {}},
                   {"on time", "ms"},
                   {"response", {}},
                   {"latency", "ms"},
                   {"selected", {}}},
                  {}};
    result.rows = [this](const ResultRowSink& sink) {
        for (const LatencyMark& mark : m_found->marks) {
            const auto stimulus = static_cast<size_t>(mark.stimulus);
            const std::vector<ResultValue> row{
                int64_t{m_found->rows[stimulus]},
                int64_t{m_found->stimuli[stimulus]} + 1,
                InMs(m_found->onsets[stimulus]),
                int64_t{m_found->responses[static_cast<size_t>(mark.response)]} + 1,
                InMs(mark.latency),
                int64_t{Holds(mark)}};
            if (!sink(row)) return false;
        }
        return true;
    };
    return result;
}

}  // namespace kymora
