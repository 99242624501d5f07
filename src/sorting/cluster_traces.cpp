#include "sorting/cluster_traces.h"

#include <Eigen/Eigenvalues>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "document/undo.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t clusterTracesVersion = 1;
constexpr int64_t positionsAtOnce = 4096;
constexpr double noSpread = 1e-13;  // of all variance: rounding alone

}  // namespace

RowWeights WeightsOfProducts(std::span<const double> products, size_t size, size_t components) {
    RowWeights result;
    result.weights.assign(size * components, 0.0);
    result.variances.assign(components, 0.0);
    const double divisor = std::max(1.0, static_cast<double>(size) - 1.0);
    const auto order = static_cast<Eigen::Index>(size);
    const Eigen::MatrixXd matrix = Eigen::Map<const Eigen::MatrixXd>(products.data(), order, order);
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(matrix);
    result.totalVariance = matrix.trace() / divisor;
    for (size_t c = 0; c < std::min(components, size); ++c) {
        const Eigen::Index at = order - 1 - static_cast<Eigen::Index>(c);
        const double square = solver.eigenvalues()[at];
        if (!(square > noSpread * matrix.trace())) break;
        Eigen::Index largest = 0;
        const Eigen::VectorXd vector = solver.eigenvectors().col(at);
        vector.cwiseAbs().maxCoeff(&largest);
        const double scale = (vector[largest] < 0.0 ? -1.0 : 1.0) * std::sqrt(square);
        for (size_t row = 0; row < size; ++row)
            result.weights[row * components + c] = scale * vector[static_cast<Eigen::Index>(row)];
        result.variances[c] = square / divisor;
    }
    return result;
}

class CClusterTraces::Job : public OperationJob {
  public:
    SampleSpan region;
    ClusterSettings settings;
    Found found;

    int64_t Samples() const override { return region.Count() * std::ssize(found.traces); }
    void Compute(SampleReader& samples, JobContext& context) override {
        const size_t size = found.traces.size();
        const std::vector<double> products = Products(samples, context);
        if (found.samples < 2) throw JobRefused(emptyRegionText);
        RowWeights weights = WeightsOfProducts(products, size, found.components);
        found.weights = std::move(weights.weights);
        found.variances = std::move(weights.variances);
        found.totalVariance = weights.totalVariance;
        found.clusters = RunClusters(found.weights, found.components, settings, context);
    }

  private:
    // Of the traces, over those positions at which all of them have numbers.
    std::vector<double> Products(SampleReader& samples, JobContext& context) {
        const size_t size = found.traces.size();
        ProgressScope progress(context, "Calculating PCs", static_cast<uint64_t>(Samples()), samplesAtOnce);
        std::vector<double> products(size * size);
        std::vector<std::vector<float>> values(size);
        std::vector<std::vector<uint8_t>> valid(size);
        std::vector<TraceBlock> blocks;
        for (int64_t at = region.first; at < region.end; at += positionsAtOnce) {
            const auto count = static_cast<size_t>(std::min<int64_t>(positionsAtOnce, region.end - at));
            blocks.clear();
            for (size_t t = 0; t < size; ++t) {
                values[t].resize(count);
                valid[t].resize(count);
                blocks.push_back({found.traces[t], values[t], valid[t]});
            }
            samples.ReadBlocks(at, blocks);
            AddProducts(values, valid, products);
            progress.Step(count * size);
        }
        for (size_t a = 0; a < size; ++a)
            for (size_t b = 0; b < a; ++b) products[a * size + b] = products[b * size + a];
        return products;
    }
    void AddProducts(const std::vector<std::vector<float>>& values,
                     const std::vector<std::vector<uint8_t>>& valid, std::vector<double>& products) {
        const size_t size = values.size();
        std::vector<double> column(size);
        for (size_t i = 0; i < values.front().size(); ++i) {
            double sum = 0.0;
            bool isWhole = true;
            for (size_t t = 0; t < size && isWhole; ++t) {
                isWhole = valid[t][i] != 0 && std::isfinite(values[t][i]);
                sum += column[t] = static_cast<double>(values[t][i]);
            }
            if (!isWhole) continue;
            ++found.samples;
            for (double& value : column) value -= sum / static_cast<double>(size);
            for (size_t a = 0; a < size; ++a)
                for (size_t b = a; b < size; ++b) products[a * size + b] += column[a] * column[b];
        }
    }
};

// --- the run ---

void CClusterTraces::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CEventWndBaseDlg::CheckChangeDoc(doc);
}

std::vector<int> CClusterTraces::Traces() const {
    if (!m_traces.empty()) return m_traces;
    std::vector<int> all(static_cast<size_t>(Document()->traceCount));
    std::iota(all.begin(), all.end(), 0);
    return all;
}

std::string CClusterTraces::CheckSettings() {
    if (std::string fault = CEventWndBaseDlg::CheckSettings(); !fault.empty()) return fault;
    const CDataDoc* doc = Document();
    if (!doc) return {};
    const std::vector<int> traces = Traces();
    for (const int trace : traces)
        if (trace >= doc->traceCount) return noSuchTraceText;
    if (static_cast<int32_t>(traces.size()) < m_nComponents) return fewTracesText;
    return traces.size() < leastItems ? fewValuesText : std::string();
}

std::unique_ptr<OperationJob> CClusterTraces::MakeJob() {
    const auto region = TakeRegion();
    if (!region) return nullptr;
    auto job = std::make_unique<Job>();
    job->region = *region;
    job->settings = m_clusters;
    job->found.traces = Traces();
    job->found.components = static_cast<size_t>(m_nComponents);
    return job;
}

bool CClusterTraces::Write(OperationJob& written, UndoScope&) {
    auto& job = static_cast<Job&>(written);
    CheckClusters(job.found.clusters, job.settings, GetHost());
    for (const std::string& words : ClusterWords(job.found.clusters, job.settings)) Tell(words);
    m_found = std::move(job.found);
    m_found->ids = IdsOf(m_found->clusters);
    return true;
}

// --- what it shows ---

void CClusterTraces::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    std::string text = ClassReport(m_found->clusters.classes) + "#ID\t";
    for (size_t c = 0; c < m_found->components; ++c) text += fmt::format("PC {} wt\t", c + 1);
    text += "#clust\r\n";
    for (size_t i = 0; i < m_found->traces.size(); ++i) {
        text += fmt::format("{}\t", m_found->traces[i] + 1);
        for (size_t c = 0; c < m_found->components; ++c)
            text += fmt::format("{:f}\t", m_found->weights[i * m_found->components + c]);
        text += fmt::format("{}\r\n", m_found->ids[i] + 1);
    }
    sink(text);
}

std::vector<Result> CClusterTraces::Results() {
    if (!m_found) return {};
    std::vector<std::string> names;
    Result items{
        "traces",
        {{"samples", static_cast<int64_t>(m_found->samples)}, {"total variance", m_found->totalVariance}},
        {{"trace", {}}, {"label", {}}},
        {}};
    for (const GraphAxis& axis : WeightAxes(m_found->components)) {
        names.push_back(axis.title);
        items.columns.push_back({axis.title, {}});
        items.values.emplace_back("variance of " + axis.title.substr(0, axis.title.rfind(' ')),
                                  m_found->variances[names.size() - 1]);
    }
    items.columns.push_back({"#clust", {}});
    std::vector<std::vector<ResultValue>> rows;
    for (size_t i = 0; i < m_found->traces.size(); ++i) {
        const auto trace = static_cast<size_t>(m_found->traces[i]);
        rows.push_back({static_cast<int64_t>(trace + 1), Document()->traces[trace].traceLabel});
        for (size_t c = 0; c < m_found->components; ++c)
            rows.back().emplace_back(m_found->weights[i * m_found->components + c]);
        rows.back().emplace_back(int64_t{m_found->ids[i]} + 1);
    }
    items.SetRows(std::move(rows));
    return {ClassTable(m_found->clusters.classes, m_found->ids, names), std::move(items)};
}

std::optional<Graph> CClusterTraces::GetGraph() {
    CloudData cloud;
    cloud.columns = WeightAxes(static_cast<size_t>(m_nComponents));
    if (m_found) cloud = {m_found->weights, WeightAxes(m_found->components), m_found->ids};
    return Graph{{CloudPane(cloud, static_cast<size_t>(m_nGraphX - 1), static_cast<size_t>(m_nGraphY - 1))}};
}

// --- parameters ---

void CClusterTraces::Describe(ParamList& list) {
    list.Group("Source");
    list.Traces("traces", "Traces", m_traces).Tip("The traces that are clustered. None: all");
    list.Group("Components");
    list.Integer("components", "Components", m_nComponents)
        .Limits(1, maxTraces)
        .Spin()
        .Tip("By how many principal components the traces are clustered");
    m_clusters.Describe(list);
    list.Group("Graph");
    list.Integer("graphX", "Across", m_nGraphX)
        .Limits(1, maxTraces)
        .Spin()
        .Tip("The component whose weights the graph shows; the last one where there are fewer");
    list.Integer("graphY", "Up", m_nGraphY)
        .Limits(1, maxTraces)
        .Spin()
        .Tip("The component whose weights the graph shows; the last one where there are fewer");
    DescribeRegion(list);
}

void CClusterTraces::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, clusterTracesVersion, ClassName());
    Exchange(archive, m_traces);
    Exchange(archive, m_nComponents);
    m_clusters.Exchange(archive);
    Exchange(archive, m_nGraphX);
    Exchange(archive, m_nGraphY);
}

void CClusterTraces::GetParamText(std::string& text) {
    CEventWndBaseDlg::GetParamText(text);
    text += "Traces:";
    for (const int trace : Traces()) text += fmt::format(" {}", trace + 1);
    text += fmt::format("\r\nComponents: {}\r\n", m_nComponents) + m_clusters.Text();
}

}  // namespace kymora
