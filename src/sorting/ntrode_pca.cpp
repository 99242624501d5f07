#include "sorting/ntrode_pca.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/undo.h"
#include "host/user_numbers.h"
#include "numerics/rounding.h"
#include "operations/save_text.h"
#include "sorting/components_dlg.h"

namespace kymora {

namespace {

constexpr uint32_t ntrodeVersion = 1;
constexpr int greatestPcs = 64;
constexpr double longestNtrodeWindow = 1e9;  // ms
constexpr double noPcWeight = std::numeric_limits<double>::quiet_NaN();
constexpr double allVariance = 100.0;  // %
constexpr const char* tooWideForTracesText = "The windows of all traces have {} samples together, and "
                                             "eigenvectors are found of {} at most. Shorten the "
                                             "window, or choose fewer traces.";
constexpr const char* ntrodeWindowText = "The window must hold at least 2 samples.";
constexpr const char* ntrodeMemoryText =
    "{} events of {} samples in {} traces are more than memory is taken for. Use a shorter window, or fewer "
    "traces.";
constexpr const char* noWindowsText =
    "{} of {} events belong to no cluster: their windows reach into a gap or beyond the recording, or hold "
    "samples that are no numbers.";

}  // namespace

class CNTrodePCA::Job : public ClusterJob {
  public:
    std::vector<WaveformTrace> traces;
    std::vector<int64_t> starts;
    int64_t count = 0;
    bool showsVariance = true;
    Components done;

    int64_t Samples() const override {
        return ClusterJob::Samples() + std::ssize(starts) * count * std::ssize(traces);
    }
    void Compute(SampleReader& samples, JobContext& context) override {
        FindComponents(samples, context);
        ClusterJob::Compute(samples, context);
    }

  private:
    void FindComponents(SampleReader& samples, JobContext& context) {
        const auto windows = static_cast<uint64_t>(starts.size());
        const auto work = static_cast<uint64_t>(count) * traces.size();
        ProgressScope progress(context, "Calculating PCs", 2 * windows * work, samplesAtOnce);
        const WaveformRows waves = ReadWaveformRows(samples, traces, starts, count,
                                                    [&](uint64_t read) { progress.At(read * work); });
        if (waves.Count() < columns) throw JobRefused(fewEventsForPcsText);
        if (std::min(waves.Count(), waves.columns) > mostEigenvectors)
            throw JobRefused(fmt::format(tooWideForTracesText, waves.columns, mostEigenvectors));
        const auto rowsDone = [&](double share) {
            progress.At(windows * work + static_cast<uint64_t>(share * static_cast<double>(windows * work)));
        };
        done.events = waves.Count();
        done.found = FindComponentsByCovariance(waves.values, waves.columns, columns, rowsDone);
        if (showsVariance)
            done.variance = FindComponentsByCovariance(
                std::span(waves.values).first(std::min(mostVarianceEvents, waves.Count()) * waves.columns),
                waves.columns, columns, rowsDone);
        TakeWeights(waves);
    }
    // A window has at least two samples, so that one component more than there are columns is a weight of 0.
    void TakeWeights(const WaveformRows& waves) {
        rows.assign(indices.size() * columns, noPcWeight);
        const auto none = static_cast<float>(noPcWeight);
        extra.assign(indices.size(), {none, none, none});
        for (size_t row = 0; row < waves.Count(); ++row)
            for (size_t c = 0; c < columns; ++c) {
                const double weight = c < done.found.components ? done.found.Weight(row, c) : 0.0;
                rows[waves.read[row] * columns + c] = weight;
                if (c < 3) extra[waves.read[row]][c] = static_cast<float>(weight);
            }
    }
};

// --- the run ---

void CNTrodePCA::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_components.reset();
    CClusteredEventsDlg::CheckChangeDoc(doc);
}

void CNTrodePCA::ForgetFound() {
    m_components.reset();
    CClusteredEventsDlg::ForgetFound();
}

std::vector<int> CNTrodePCA::Traces() const {
    return m_traces.empty() ? std::vector<int>{std::max(0, Document()->GetParentTrace(m_nChannel1))}
                            : m_traces;
}

std::string CNTrodePCA::CheckSettings() {
    if (std::string fault = CClusteredEventsDlg::CheckSettings(); !fault.empty()) return fault;
    const CDataDoc* doc = Document();
    if (!doc) return {};
    for (const int trace : Traces())
        if (trace >= doc->traceCount) return noSuchTraceText;
    const double samples = (m_dWindowEnd - m_dWindowStart) / doc->sampleInterval;
    return RoundHalfAway64(samples) < 2 ? ntrodeWindowText : std::string();
}

std::unique_ptr<OperationJob> CNTrodePCA::MakeJob() {
    if (!RetrieveData()) return nullptr;
    const CDataDoc& doc = *Document();
    auto job = std::make_unique<Job>();
    TakeEvents(*job);
    job->columns = static_cast<size_t>(m_nComponents);
    if (job->indices.size() < job->columns) throw JobRefused(fewEventsForPcsText);
    const int64_t before = RoundHalfAway64(m_dWindowStart / doc.sampleInterval);
    job->count = RoundHalfAway64(m_dWindowEnd / doc.sampleInterval) - before;
    for (const CEventKM& event : job->found.front().events) job->starts.push_back(event.onPosition + before);
    for (const int trace : Traces()) job->traces.push_back({trace, UnbrokenStretches(doc, trace)});
    if (std::ssize(job->starts) * job->count * std::ssize(job->traces) > mostWaveformValues)
        throw JobRefused(fmt::format(ntrodeMemoryText, job->starts.size(), job->count, job->traces.size()));
    job->showsVariance = m_bShowVariance;
    job->done.times = {static_cast<double>(before) * doc.sampleInterval,
                       doc.sampleInterval,
                       static_cast<size_t>(job->count),
                       {}};
    if (job->traces.size() > 1) job->done.times.traces = Traces();
    return job;
}

bool CNTrodePCA::Write(OperationJob& written, UndoScope& undo) {
    auto& job = static_cast<Job&>(written);
    if (!CClusteredEventsDlg::Write(job, undo)) return false;
    m_components = std::move(job.done);
    if (const size_t all = LastFound()->ids.size(), left = all - m_components->events; left > 0)
        Tell(fmt::format(noWindowsText, left, all));
    return true;
}

// --- what it shows ---

std::string CNTrodePCA::VarianceReport() const {
    std::string text = fmt::format("PCs for {} events were calculated, each with {} data points\r\n",
                                   m_components->events, m_components->found.columns);
    const PrincipalComponents& variance = m_components->variance;
    if (variance.components == 0) return text;
    text += "#PC\tEigenvalue\t% (variance explained by #PC)\r\n";
    for (size_t c = 0; c < variance.components; ++c)
        text += fmt::format("{}\t{:<18.3f}\t{:.3f}\r\n", c + 1, variance.variances[c],
                            variance.totalVariance > 0.0
                                ? allVariance * variance.variances[c] / variance.totalVariance
                                : 0.0);
    return text;
}

void CNTrodePCA::WriteExport(const TextSink& sink) const {
    const auto& found = *LastFound();
    std::string line = "#ID\t";
    for (size_t c = 0; c < found.columns.size(); ++c) line += fmt::format("PC {} wt\t", c + 1);
    if (!sink(line + "#clust\r\n")) return;
    for (size_t i = 0; i < found.ids.size(); ++i) {
        line = fmt::format("{}\t", found.indices[i] + 1);
        for (size_t c = 0; c < found.columns.size(); ++c)
            line += fmt::format("{:f}\t", found.rows[i * found.columns.size() + c]);
        if (!sink(line + fmt::format("{}\r\n", found.ids[i] + 1))) return;
    }
}

void CNTrodePCA::WriteResult(const TextSink& sink) {
    if (!m_components || !LastFound()) return;
    if (sink(VarianceReport() + ClassReport(LastFound()->classes))) WriteExport(sink);
}

void CNTrodePCA::Export() {
    if (!Document() || !LastFound()) return Refuse("There is nothing to export yet.");
    SaveTextLines(*this, {"Export weights", " weights.txt", "The file of weights"},
                  [this](const TextSink& sink) { WriteExport(sink); });
}

std::vector<Result> CNTrodePCA::Results() {
    std::vector<Result> results = CClusteredEventsDlg::Results();
    if (!m_components) return results;
    results.push_back(ComponentsTable(m_components->found));
    if (m_components->variance.components > 0) {
        results.push_back(ComponentsTable(m_components->variance));
        results.back().name = "variance explained";
    }
    results.push_back(LoadingsTable(m_components->found, m_components->times));
    return results;
}

std::optional<Graph> CNTrodePCA::GetGraph() {
    std::optional<Graph> graph = CClusteredEventsDlg::GetGraph();
    graph->panes.push_back(m_components ? LoadingsPane(m_components->found, m_components->times)
                                        : LoadingsPane({}, {}));
    return graph;
}

// --- parameters ---

void CNTrodePCA::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Waveforms");
    list.Traces("traces", "Traces", m_traces)
        .Tip("Whose waveforms stand end to end in the row of each event. None: the parent trace of the "
             "channel");
    list.Number("windowStart", "Window start", m_dWindowStart)
        .Unit("ms")
        .Limits(-longestNtrodeWindow, longestNtrodeWindow)
        .Tip("From the onset of each event");
    list.Number("windowEnd", "Window end", m_dWindowEnd)
        .Unit("ms")
        .Limits(-longestNtrodeWindow, longestNtrodeWindow)
        .Tip("From the onset of each event");
    list.Group("Components");
    list.Integer("components", "Components", m_nComponents)
        .Limits(1, greatestPcs)
        .Spin()
        .Tip("By how many principal components the events are clustered");
    list.Flag("showVariance", "Show variance", m_bShowVariance)
        .Tip("Show variance explained by each PC (max of 400 events are used)");
    DescribeClusters(list);
    DescribeGraph(list);
    DescribeRegion(list);
    DescribeDestination(list);
    list.Group("Results");
    list.Action("export", "Export...", [this] { Export(); })
        .Tip("Saves the weights and the cluster of each event as a text file");
}

void CNTrodePCA::Serialize(CArchive& archive) {
    CClusteredEventsDlg::Serialize(archive);
    ExchangeVersion(archive, ntrodeVersion, ClassName());
    Exchange(archive, m_traces);
    Exchange(archive, m_dWindowStart);
    Exchange(archive, m_dWindowEnd);
    Exchange(archive, m_nComponents);
    Exchange(archive, m_bShowVariance);
    m_clusters.Exchange(archive);
    Exchange(archive, m_nGraphX);
    Exchange(archive, m_nGraphY);
    Exchange(archive, m_bAppendParams);
}

void CNTrodePCA::GetParamText(std::string& text) {
    CClusteredEventsDlg::GetParamText(text);
    text += "Traces:";
    for (const int trace : Traces()) text += fmt::format(" {}", trace + 1);
    text += fmt::format("\r\nWindow: {:f} to {:f} ms\r\nComponents: {}\r\n", m_dWindowStart, m_dWindowEnd,
                        m_nComponents);
    text += m_clusters.Text();
}

}  // namespace kymora
