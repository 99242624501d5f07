#include "frequency/morlet_scalogram.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "frequency/longest_part.h"
#include "operations/save_text.h"
#include "spectra/morlet.h"

namespace kymora {

namespace {

constexpr uint32_t scalogramVersion = 1;
constexpr int64_t mostColumns = 1000;
constexpr double periodsOfLowest = 4.0;  // that fit into the region
constexpr double highestOfRate = 0.4;    // of the sample rate, where none is set: the bell needs room above
constexpr int64_t fewestSamples = 16;
constexpr int mostFrequencies = 2000;
constexpr uint32_t edgeColour = 0x00FFFFFF;

class ScalogramJob : public OperationJob {
  public:
    int trace = 0;
    int64_t first = 0, count = 0;
    double omega = 6.0, rate = 1.0;
    TimeFrequencyGrid found;

    // About the steps of a transform for each frequency.
    int64_t Samples() const override { return count * static_cast<int64_t>(found.frequencies.size()) * 4; }
    void Compute(SampleReader& samples, JobContext& context) override;
};

void ScalogramJob::Compute(SampleReader& samples, JobContext& context) {
    std::vector<float> run(static_cast<size_t>(count));
    samples.ReadBlock(trace, first, run);
    if (std::ranges::any_of(run, [](float value) { return !std::isfinite(value); }))
        throw JobRefused("A sample in the region is infinite or not a number. Choose a region without it.");
    const size_t rows = found.frequencies.size();
    ProgressScope progress(context, "Making the scalogram", rows);
    const auto ask = [&] { progress.Step(0); };
    MorletTransform transform(run, omega, ask);
    found.values.resize(rows * static_cast<size_t>(found.columns));
    for (size_t row = 0; row < rows; ++row) {
        const auto powers = transform.Powers(found.frequencies[row] / rate, ask);
        for (int64_t column = 0; column < found.columns; ++column) {
            const int64_t from = column * count / found.columns, to = (column + 1) * count / found.columns;
            double sum = 0.0;
            for (int64_t i = from; i < to; ++i) sum += powers[static_cast<size_t>(i)];
            found.values[static_cast<size_t>(column) * rows + row] =
                static_cast<float>(sum / static_cast<double>(to - from));
        }
        progress.Step(1);
    }
}

}  // namespace

// --- settings ---

void CMorletScalogram::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, scalogramVersion, ClassName());
    for (double* number : {&m_dLowest, &m_dHighest, &m_dOmega}) Exchange(archive, *number);
    Exchange(archive, m_nVoices);
    Exchange(archive, m_nDisplay);
}

void CMorletScalogram::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found = {};
    CEventWndBaseDlg::CheckChangeDoc(doc);
}

void CMorletScalogram::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Frequencies");
    list.Number("lowest", "Lowest", m_dLowest)
        .Unit("Hz")
        .Limits(0.0, 1e9)
        .Tip("0: of which four periods fit into the region");
    list.Number("highest", "Highest", m_dHighest)
        .Unit("Hz")
        .Limits(0.0, 1e9)
        .Tip("0: 0.4 of the sample rate");
    list.Integer("voices", "Per octave", m_nVoices).Limits(1, 64).Spin().Tip("Frequencies of each octave");
    list.Number("omega", "Morlet parameter", m_dOmega)
        .Limits(4.0, 100.0)
        .Tip("Larger ones part frequencies better, smaller ones moments");
    list.Choice("display", "Colours", m_nDisplay, {"Power", "Log Power"})
        .Buttons()
        .Tip("What the colours stand for; The same, where weak and strong are to be seen at once");
    DescribeRegion(list);
    list.Group("Results");
    list.Action("saveScalogram", "Save matrix...",
                [this] {
                    SaveTextLines(*this, {"Save scalogram", " scalogram.txt", "The scalogram"},
                                  [this](const TextSink& sink) { WriteResult(sink); });
                })
        .EnabledIf([this] { return m_found.columns > 0; })
        .Tip("Saves the powers of all columns as a text file");
}

void CMorletScalogram::GetParamText(std::string& text) {
    text += "Morlet scalogram parameters:\r\n";
    AppendRegionText(text);
    text += fmt::format("Trace: {}\r\nFrequencies per octave: {}\r\nMorlet parameter: {:g}\r\n", m_nTrace + 1,
                        m_nVoices, m_dOmega);
}

// --- the run ---

std::unique_ptr<OperationJob> CMorletScalogram::MakeJob() {
    const CDataDoc& doc = *Document();
    const auto region = TakeRegion();
    if (!region) return nullptr;
    const TraceStretch part = TakeLongestPart(*this, m_nTrace, *region);
    if (part.Count() < fewestSamples)
        throw JobRefused(fmt::format("A scalogram takes {} samples at least.", fewestSamples));
    if (part.Count() > mostScalogramSamples)
        throw JobRefused(
            fmt::format("{} samples are too many for a scalogram: choose a region of {} at most.",
                        part.Count(), mostScalogramSamples));
    auto job = std::make_unique<ScalogramJob>();
    job->trace = m_nTrace;
    job->first = part.start;
    job->count = part.Count();
    job->omega = m_dOmega;
    job->rate = 1000.0 / doc.sampleInterval;
    const double lowest =
        m_dLowest > 0.0 ? m_dLowest : periodsOfLowest * job->rate / static_cast<double>(part.Count());
    const double highest = m_dHighest > 0.0 ? m_dHighest : highestOfRate * job->rate;
    if (!(lowest <= highest) || highest >= job->rate / 2.0)
        throw JobRefused(fmt::format("The lowest frequency ({:g} Hz) must not be above the highest ({:g} "
                                     "Hz), which must be below {:g} Hz.",
                                     lowest, highest, job->rate / 2.0));
    if (const double rows = std::log2(highest / lowest) * m_nVoices; rows > mostFrequencies)
        throw JobRefused(
            fmt::format("{:.0f} frequencies are too many for a scalogram. Raise the lowest one, or "
                        "take fewer of each octave; {} are the most.",
                        rows, mostFrequencies));
    TimeFrequencyGrid& found = job->found;
    found.frequencies = MorletFrequencies(lowest, highest, m_nVoices);
    found.columns = std::min(part.Count(), mostColumns);
    found.start = doc.TimeOf(part.start);
    found.end = doc.TimeOf(part.end);
    found.columnTime = (found.end - found.start) / static_cast<double>(found.columns);
    const std::string& unit = doc.traces[static_cast<size_t>(m_nTrace)].traceUnits;
    found.unit = (unit.empty() ? "mV" : unit) + "²";
    return job;
}

bool CMorletScalogram::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<ScalogramJob&>(job);
    m_found = std::move(done.found);
    m_dFoundOmega = done.omega;
    return true;
}

// --- what it shows ---

std::vector<Result> CMorletScalogram::Results() {
    if (m_found.columns == 0) return {};
    Result result{"scalogram",
                  {{"columns", m_found.columns},
                   {"frequencies", static_cast<int64_t>(m_found.frequencies.size())},
                   {"startTime", m_found.start},
                   {"columnTime", m_found.columnTime},
                   {"endTime", m_found.end}},
                  {},
                  {}};
    m_found.AddTable(result);
    return {std::move(result)};
}

std::optional<Graph> CMorletScalogram::GetGraph() {
    GraphPane pane{"scalogram"};
    pane.x = {"time", "ms"};
    pane.y = {"Log Hz", ""};
    if (m_found.columns == 0) return Graph{{std::move(pane)}};
    const double half = 0.5 * std::log10(2.0) / m_nVoices;
    pane.layers.push_back(m_found.Colours(m_nDisplay == 1, std::log10(m_found.frequencies.front()) - half,
                                          std::log10(m_found.frequencies.back()) + half));
    pane.title = "Outside of the dashed lines the ends have an effect";
    const double middle = (m_found.start + m_found.end) / 2.0;
    for (const bool isStart : {true, false}) {
        GraphLayer edge{LayerKind::curve, "", edgeColour};
        edge.isDashed = edge.isSilent = true;
        for (const double frequency : m_found.frequencies) {
            const double away = 1000.0 * MorletEdge(frequency, m_dFoundOmega);
            const double at = isStart ? m_found.start + away : m_found.end - away;
            if (isStart ? at > middle : at < middle) continue;
            edge.x.push_back(at);
            edge.y.push_back(std::log10(frequency));
        }
        pane.layers.push_back(std::move(edge));
    }
    return Graph{{std::move(pane)}};
}

}  // namespace kymora
