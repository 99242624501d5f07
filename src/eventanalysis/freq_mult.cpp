#include "eventanalysis/freq_mult.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/trace_stretches.h"
#include "spectra/interpolate_fft.h"

namespace kymora {

namespace {

constexpr uint32_t freqMultVersion = 1;
constexpr int greatestMultiplier = 1024, greatestHalfWindow = 1'000'000;
constexpr const char* gapText =
    "There is a gap or the boundary of an episode in this stretch. Choose one without.";
constexpr const char* spikeInGapText = "There are no samples at this spike.";

// Reads the stretch and raises it.
class FreqMultJob : public OperationJob {
  public:
    int trace = 0;
    int64_t first = 0;
    bool extended = true;
    RaisedStretch stretch;  // with room for the given samples
    std::string note;

    int64_t Samples() const override { return static_cast<int64_t>(stretch.given.size()); }
    void Compute(SampleReader& samples, JobContext&) override {
        samples.ReadBlock(trace, first, stretch.given);
        const auto log = [this](const char* text) { note = text; };
        stretch.raised = extended ? InterpolateExtended(stretch.given, stretch.multiplier, log)
                                  : InterpolateFFT(stretch.given, stretch.multiplier, log);
        if (!note.empty()) stretch.multiplier = 1;
    }
};

}  // namespace

void CFreqMult::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found = {};
    CEventWndBaseDlg::CheckChangeDoc(doc);
}

void CFreqMult::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, freqMultVersion, ClassName());
    for (int32_t* number : {&m_nTrace, &m_nSource, &m_nSpikeId, &m_nHalfWindow, &m_nFrequencyMultiplier})
        Exchange(archive, *number);
    Exchange(archive, m_bExtended);
}

void CFreqMult::Describe(ParamList& list) {
    list.Group("Stretch");
    list.Choice("source", "Of", m_nSource, {"spike", "region"})
        .Buttons()
        .Tip("The samples around an event; The samples of a stretch of time");
    DescribeStretch(list);
    list.Group("Frequency multiplier");
    list.Integer("frequencyMultiplier", "Frequency multiplier", m_nFrequencyMultiplier)
        .Limits(1, greatestMultiplier)
        .Tip("Select optimal frequency multiplier to restore spike shape. A power of 2: 1, 2, 4, 8, ...");
    list.Flag("extended", "Extended", m_bExtended)
        .Tip("Let the stretch fall to 0 on wings of its own length, so that it does not ring at its ends");
}

// Setting one of the two sources chooses it.
void CFreqMult::DescribeStretch(ParamList& list) {
    const size_t first = list.fields.size();
    DescribeSource(list);
    list.Integer("spikeId", "Spike ID", m_nSpikeId)
        .Limits(1, std::numeric_limits<int32_t>::max())
        .Spin()
        .Tip("Select ID of spike to examine.")
        .Shows([this] { return Document() ? "of " + EventsText(SpikeCount()) : std::string(); });
    list.Integer("halfWindow", "Half window", m_nHalfWindow)
        .Unit("samples")
        .Limits(1, greatestHalfWindow)
        .Tip("The stretch has twice as many samples, about the middle of the spike");
    const size_t ofRegionFrom = list.fields.size();
    DescribeRegion(list);
    for (size_t i = first; i < list.fields.size(); ++i) {
        Field& field = list.fields[i];
        if (field.key == "trace") continue;
        const int32_t source = i < ofRegionFrom ? ofSpike : ofRegion;
        field.linked.emplace_back("source");
        field.changed = [this, source, before = field.changed] {
            m_nSource = source;
            if (before) before();
        };
        field.enabled = [this, source, before = field.enabled](const Form& form) {
            return m_nSource == source && (!before || before(form));
        };
    }
}

int CFreqMult::SpikeCount() const {
    return Document() && Document()->HasChannel(m_nChannel1) ? Document()->GetNumEvents(m_nChannel1) : 0;
}

std::string CFreqMult::CheckSettings() {
    if (std::string fault = CEventWndBaseDlg::CheckSettings(); !fault.empty()) return fault;
    if (!Document() || !IsOfSpike()) return {};
    const int count = SpikeCount();
    if (count == 0)
        return fmt::format("Event channel {} has no events. Choose another one, or a region.",
                           ChannelDisplayName(m_nChannel1));
    if (m_nSpikeId > count)
        return fmt::format("Event channel {} has no spike {}. Choose one from 1 to {}.",
                           ChannelDisplayName(m_nChannel1), m_nSpikeId, count);
    return {};
}

void CFreqMult::GetParamText(std::string& text) {
    text += "Frequency multiplier parameters:\r\n";
    text += fmt::format("Trace: {}\r\n", m_nTrace + 1);
    if (IsOfSpike()) {
        text += fmt::format("Event channel: {}\r\nSpike ID: {}\r\nHalf window: {}\r\n",
                            ChannelDisplayName(m_nChannel1), m_nSpikeId, m_nHalfWindow);
    } else {
        AppendRegionText(text);
    }
    text += fmt::format("Frequency multiplier: {}\r\n{}\r\n", m_nFrequencyMultiplier,
                        m_bExtended ? "Extended" : "Not extended");
}

// --- the run ---

SampleSpan CFreqMult::SpikeSpan() const {
    const CDataDoc& doc = *Document();
    const CEventKM& spike =
        doc.eventChannels[static_cast<size_t>(m_nChannel1)].Events()[static_cast<size_t>(m_nSpikeId - 1)];
    const int64_t middle = spike.onPosition + (int64_t{spike.offPosition} - spike.onPosition) / 2;
    for (const TraceStretch& stretch : StretchesOf(doc, m_nTrace))
        if (middle >= stretch.start && middle < stretch.end)
            return {static_cast<int32_t>(std::max(stretch.start, middle - m_nHalfWindow)),
                    static_cast<int32_t>(std::min(stretch.end, middle + m_nHalfWindow))};
    return {0, 0};
}

std::unique_ptr<OperationJob> CFreqMult::MakeJob() {
    const CDataDoc& doc = *Document();
    SampleSpan span;
    if (IsOfSpike()) {
        span = SpikeSpan();
        if (span.Count() == 0) throw JobRefused(spikeInGapText);
    } else {
        const auto region = TakeRegion();
        if (!region) return nullptr;
        span = HeldTo(doc, *region);
        const int64_t valid = doc.CountValid(m_nTrace, span.first, span.end);
        if (valid == 0) throw JobRefused(emptyRegionText);
        const auto holds = [&](const TraceStretch& stretch) {
            return span.first >= stretch.start && span.end <= stretch.end;
        };
        if (valid < span.Count() || std::ranges::none_of(StretchesOf(doc, m_nTrace), holds))
            throw JobRefused(gapText);
    }
    if (int64_t{span.Count()} * m_nFrequencyMultiplier > mostRaisedValues)
        throw JobRefused(fmt::format("{} samples are too many to be raised {} times: choose {} at most.",
                                     span.Count(), m_nFrequencyMultiplier,
                                     mostRaisedValues / m_nFrequencyMultiplier));
    auto job = std::make_unique<FreqMultJob>();
    job->trace = m_nTrace;
    job->first = span.first;
    job->extended = m_bExtended;
    job->stretch.startMs = doc.TimeOf(span.first);
    job->stretch.interval = doc.sampleInterval;
    job->stretch.multiplier = m_nFrequencyMultiplier;
    job->stretch.given.resize(static_cast<size_t>(span.Count()));
    return job;
}

bool CFreqMult::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<FreqMultJob&>(job);
    if (!done.note.empty()) {
        GetHost().Log(done.note);
        while (done.note.ends_with('\n')) done.note.pop_back();
        Tell(done.note);
    }
    if (const auto count =
            std::ranges::count_if(done.stretch.given, [](float x) { return !std::isfinite(x); });
        count > 0)
        Tell(fmt::format("{} of the {} given samples are infinite or not a number, which spoils all values.",
                         count, done.stretch.given.size()));
    m_found = std::move(done.stretch);
    m_units = Document()->traces[static_cast<size_t>(m_nTrace)].traceUnits;
    return true;
}

// --- what it shows ---

void CFreqMult::WriteResult(const TextSink& sink) {
    if (!sink("time\traised\tgiven\r\n")) return;
    const auto factor = static_cast<size_t>(m_found.multiplier);
    for (size_t i = 0; i < m_found.raised.size(); ++i) {
        const std::string given = i % factor == 0 ? fmt::format("{}", m_found.given[i / factor]) : "";
        if (!sink(fmt::format("{:.10g}\t{}\t{}\r\n", m_found.TimeOf(i), m_found.raised[i], given))) return;
    }
}

std::vector<Result> CFreqMult::Results() {
    if (m_found.raised.empty()) return {};
    Result raised{"raised stretch",
                  {{"multiplier", int64_t{m_found.multiplier}},
                   {"given values", static_cast<int64_t>(m_found.given.size())},
                   {"raised values", static_cast<int64_t>(m_found.raised.size())}},
                  {{"time", "ms"}, {"raised", m_units}, {"given", m_units}},
                  {}};
    raised.rows = [this](const ResultRowSink& sink) {
        const auto factor = static_cast<size_t>(m_found.multiplier);
        for (size_t i = 0; i < m_found.raised.size(); ++i) {
            ResultValue row[] = {m_found.TimeOf(i), m_found.raised[i], {}};
            if (i % factor == 0) row[2] = m_found.given[i / factor];
            if (!sink(row)) return false;
        }
        return true;
    };
    return {std::move(raised)};
}

std::optional<Graph> CFreqMult::GetGraph() {
    GraphPane pane{"raised"};
    pane.x = {"time", "ms"};
    pane.y = {"value", m_units};
    if (!m_found.raised.empty()) {
        GraphLayer curve{LayerKind::curve, "raised", GraphColour(0)};
        GraphLayer points{LayerKind::points, "given", GraphColour(1)};
        curve.y.assign(m_found.raised.begin(), m_found.raised.end());
        for (size_t i = 0; i < curve.y.size(); ++i) curve.x.push_back(m_found.TimeOf(i));
        points.y.assign(m_found.given.begin(), m_found.given.end());
        for (size_t i = 0; i < points.y.size(); ++i)
            points.x.push_back(m_found.startMs + static_cast<double>(i) * m_found.interval);
        pane.layers = {std::move(curve), std::move(points)};
    }
    return Graph{{std::move(pane)}};
}

}  // namespace kymora
