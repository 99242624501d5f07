#include "sorting/cluster_ctrl.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "archive/case_folding.h"
#include "document/undo.h"
#include "eventanalysis/event_samples.h"
#include "eventanalysis/event_trace_values.h"
#include "eventanalysis/event_values.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t clusterCtrlVersion = 1;
constexpr const char* noSuchParameterText =
    "There is no event parameter \"{}\". Name some, or their positions, parted by commas.";
constexpr const char* noValuesText = "{} has no values for single events. Choose another parameter.";
constexpr const char* noParametersText = "Choose at least one parameter.";
constexpr const char* noTableText =
    "The events of channel {} have no weights on principal components. Find those first.";
constexpr const char* noTraceText = "{} needs a trace.";

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::string Folded(std::string_view text) {
    std::string folded;
    FoldUnicodeCase(text, folded);
    return folded;
}

EvParam ParseEvParam(std::string_view word) {
    int position = -1;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), position);
    if (error != std::errc() || end != word.data() + word.size()) position = -1;
    for (int i = 0; i < evParamCount; ++i) {
        const auto param = static_cast<EvParam>(i);
        if (i != position && Folded(EvParamName(param)) != Folded(word)) continue;
        if (HasNoEventValues(param))
            throw std::invalid_argument(fmt::format(noValuesText, EvParamName(param)));
        return param;
    }
    throw std::invalid_argument(fmt::format(noSuchParameterText, word));
}

bool IsWeight(EvParam param) { return param >= EvParam::pcWeight1 && param <= EvParam::pcWeight3; }
bool NeedsSamples(EvParam param) { return NeedsParentTrace(param) && !IsWeight(param); }

}  // namespace

std::vector<EvParam> ParseEvParams(std::string_view text) {
    std::vector<EvParam> params;
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of(",;"), text.size());
        if (const std::string_view word = Trimmed(text.substr(0, end)); !word.empty())
            params.push_back(ParseEvParam(word));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (params.empty()) throw std::invalid_argument(noParametersText);
    return params;
}

bool CClusterCtrl::HasParameter(bool (*test)(EvParam)) const {
    try {
        return std::ranges::any_of(ParseEvParams(m_strParameters), test);
    } catch (const std::invalid_argument&) {
        return false;  // CheckSettings says why
    }
}

bool CClusterCtrl::ReadsTrace() const { return HasParameter(NeedsSamples); }

class CClusterCtrl::Job : public ClusterJob {
  public:
    std::unique_ptr<OutsideClusters> outside;
    std::vector<size_t> finite;  // the rows that the program has got
    // What is read of the samples: the events in the trace, and which column is which parameter.
    std::vector<EventSpan> spans;
    int trace = 0;
    double sampleInterval = 1.0;  // ms
    std::vector<std::pair<size_t, EvParam>> ofTrace;

    int64_t Samples() const override { return ClusterJob::Samples() + SamplesOfEvents(); }
    // The values of the events that need samples.
    void ReadRows(SampleReader& samples, ProgressSource& source) {
        if (ofTrace.empty()) return;
        ProgressScope progress(source, "Measuring events", static_cast<uint64_t>(SamplesOfEvents()),
                               static_cast<uint64_t>(samplesAtOnce));
        EventSampleReader reader(samples, spans, {trace});
        for (size_t i = 0; i < spans.size(); ++i) {
            reader.Load(i);
            EventTraceValues values(reader.Samples(0), sampleInterval);
            for (const auto& [column, param] : ofTrace)
                rows[i * columns + column] = double{static_cast<float>(values.Value(param))};
            progress.Step(static_cast<uint64_t>(spans[i].end - spans[i].first));
        }
    }
    void Compute(SampleReader& samples, JobContext& context) override {
        if (!outside) ReadRows(samples, context);
        if (outside)
            TakeOutside(outside->Take(context));
        else
            ClusterJob::Compute(samples, context);
    }

  private:
    int64_t SamplesOfEvents() const {
        int64_t count = 0;
        for (const EventSpan& span : spans) count += span.end - span.first;
        return count;
    }
    // The classes as the program has made them, each with the moments of its rows.
    void TakeOutside(const std::vector<int>& ids) {
        const auto count = static_cast<size_t>(*std::ranges::max_element(ids)) + 1;
        clusters.state = GaussianClusters::State::found;
        clusters.ids.assign(indices.size(), 0);
        for (size_t i = 0, row = 0; row < indices.size(); ++row) {
            if (i < finite.size() && finite[i] == row)
                clusters.ids[row] = ids[i++];
            else
                clusters.leftOut.push_back(row);
        }
        if (count > clusterColours) words.emplace_back(manyOutsideText);
        TakeMoments(ids, count);
    }
    void TakeMoments(const std::vector<int>& ids, size_t count) {
        std::vector<double> members(count);
        for (const int id : ids) members[static_cast<size_t>(id)] += 1.0;
        for (const double weight : members)
            clusters.classes.push_back({weight / static_cast<double>(ids.size()),
                                        std::vector<double>(columns),
                                        std::vector<double>(columns * columns)});
        const auto eachRow = [&](auto take) {
            for (size_t i = 0; i < ids.size(); ++i) {
                const auto k = static_cast<size_t>(ids[i]);
                take(clusters.classes[k], &rows[finite[i] * columns], members[k]);
            }
        };
        eachRow([&](GaussianClass& one, const double* row, double count) {
            for (size_t a = 0; a < columns; ++a) one.mean[a] += row[a] / count;
        });
        eachRow([&](GaussianClass& one, const double* row, double count) {
            for (size_t a = 0; a < columns; ++a)
                for (size_t b = 0; b < columns; ++b)
                    one.covariance[a * columns + b] +=
                        (row[a] - one.mean[a]) * (row[b] - one.mean[b]) / count;
        });
    }
};

std::string CClusterCtrl::CheckSettings() {
    std::vector<EvParam> params;
    try {
        params = ParseEvParams(m_strParameters);
    } catch (const std::invalid_argument& reason) {
        return reason.what();
    }
    // A channel that no parameter asks for may be the destination.
    const int32_t second = m_nChannel2;
    if (std::ranges::none_of(params, NeedsTwoChannels)) m_nChannel2 = m_nChannel1;
    std::string fault = CClusteredEventsDlg::CheckSettings();
    m_nChannel2 = second;
    if (!fault.empty()) return fault;
    const CDataDoc* doc = Document();
    if (!doc) return {};
    if (doc->GetNumEvents(m_nChannel1) == 0)
        return fmt::format("There are no events in channel {}.", ChannelName(m_nChannel1));
    const bool hasTable = !doc->eventChannels[static_cast<size_t>(m_nChannel1)].EventExtra().empty();
    for (const EvParam param : params) {
        if (IsWeight(param) && !hasTable) return fmt::format(noTableText, ChannelName(m_nChannel1));
        if (NeedsSamples(param) && doc->HasNoData()) return fmt::format(noTraceText, EvParamName(param));
    }
    return {};
}

std::vector<GraphAxis> CClusterCtrl::Columns() const {
    std::vector<GraphAxis> axes;
    try {
        for (const EvParam param : ParseEvParams(m_strParameters)) axes.push_back({EvParamName(param), {}});
    } catch (const std::invalid_argument&) {
        axes.clear();
    }
    return axes;
}

// All values but those of samples, which the job reads.
void CClusterCtrl::TakeRows(Job& job) {
    CDataDoc& doc = *Document();
    const std::vector<EvParam> params = ParseEvParams(m_strParameters);
    job.columns = params.size();
    job.rows.resize(job.indices.size() * job.columns);
    job.trace = m_nTrace;
    job.sampleInterval = doc.sampleInterval;
    for (size_t c = 0; c < params.size(); ++c) {
        if (NeedsSamples(params[c])) {
            job.ofTrace.emplace_back(c, params[c]);
            continue;
        }
        std::vector<float> values;
        CollateEventData(doc, params[c], Block(), values);
        if (values.size() != job.indices.size())
            throw JobRefused(fmt::format(noTraceText, EvParamName(params[c])));
        for (size_t i = 0; i < values.size(); ++i)
            job.rows[i * job.columns + c] = static_cast<double>(values[i]);
    }
    if (!job.ofTrace.empty()) job.spans = SpansOfEvents(Block(), doc.GetLength());
}

// False where the user goes no further.
bool CClusterCtrl::StartOutside(Job& job) {
    const std::string& command =
        m_strCommand.empty() ? Document()->GetSession().options.clusterCommand : m_strCommand;
    std::vector<double> matrix;
    for (size_t i = 0; i < job.indices.size(); ++i) {
        const auto row = std::span(job.rows).subspan(i * job.columns, job.columns);
        if (!std::ranges::all_of(row, [](double value) { return std::isfinite(value); })) continue;
        job.finite.push_back(i);
        matrix.insert(matrix.end(), row.begin(), row.end());
    }
    if (matrix.empty()) throw JobRefused(noClustersText);
    job.outside = std::make_unique<OutsideClusters>(command, matrix, job.columns);
    job.settings.desired = 1;  // also a single class is what the program has found
    return !IsAttended() || GetHost().Confirm(outsideStartedText, Title());
}

std::unique_ptr<OperationJob> CClusterCtrl::MakeJob() {
    if (!RetrieveData()) return nullptr;
    auto job = std::make_unique<Job>();
    TakeEvents(*job);
    if (job->indices.empty()) throw JobRefused(noClustersText);
    TakeRows(*job);
    if (m_bOutside) {
        // The program gets the values when it starts, before the user is asked to wait for it.
        Here here(*this);
        job->ReadRows(*Document(), here);
        if (!StartOutside(*job)) return nullptr;
    }
    return job;
}

bool CClusterCtrl::Write(OperationJob& written, UndoScope& undo) {
    const auto& job = static_cast<const Job&>(written);
    if (job.outside) GetHost().Log(fmt::format(gotItemsText, job.finite.size()));
    return CClusteredEventsDlg::Write(written, undo);
}

// --- parameters ---

void CClusterCtrl::ChooseParameters() {
    if (!Document()) return;
    std::vector<EvParam> offered;
    std::vector<std::string> names;
    std::vector<uint8_t> checks;
    const std::vector<GraphAxis> chosen = Columns();
    for (int i = 0; i < evParamCount; ++i) {
        const auto param = static_cast<EvParam>(i);
        if (HasNoEventValues(param)) continue;
        names.emplace_back(EvParamName(param));
        checks.push_back(std::ranges::count(chosen, names.back(), &GraphAxis::title) > 0 ? 1 : 0);
    }
    Form form("Parameters");
    form.AddCheckList("parameters", "Parameters", names, checks, "By which the events are clustered");
    if (!GetHost().AskForm(form)) return;
    m_strParameters.clear();
    for (size_t i = 0; i < names.size(); ++i)
        if (form["parameters"].checks[i]) m_strParameters += (m_strParameters.empty() ? "" : ", ") + names[i];
}

void CClusterCtrl::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channel2")->EnabledIf([this] { return HasParameter(NeedsTwoChannels); });
    list.Find("trace")->EnabledIf([this] { return ReadsTrace(); });
    list.Group("Parameters");
    list.Text("parameters", "Parameters", m_strParameters)
        .Tip("By which the events are clustered: names of event parameters, or their positions in the list, "
             "parted by commas");
    list.Action("chooseParameters", "Choose...", [this] { ChooseParameters(); })
        .Tip("Choose the parameters from the list of all")
        .Linked({"parameters"});
    DescribeClusters(list);
    list.Flag("outside", "Outside program", m_bOutside)
        .Tip("A program of your own clusters the events: its command stands in the options, or below");
    list.Text("command", "Command", m_strCommand)
        .Tip("Of the outside program; empty: that of the options. It is not kept with the settings")
        .EnabledIf([this] { return m_bOutside; });
    for (const char* key : {"desiredClusters", "fullCovariance", "initialClusters"})
        list.Find(key)->EnabledIf([this] { return !m_bOutside; });
    DescribeGraph(list);
    DescribeRegion(list);
    DescribeDestination(list);
}

void CClusterCtrl::Serialize(CArchive& archive) {
    CClusteredEventsDlg::Serialize(archive);
    ExchangeVersion(archive, clusterCtrlVersion, ClassName());
    Exchange(archive, m_strParameters);
    m_clusters.Exchange(archive);
    Exchange(archive, m_bOutside);
    Exchange(archive, m_nGraphX);
    Exchange(archive, m_nGraphY);
    Exchange(archive, m_bAppendParams);
}

void CClusterCtrl::GetParamText(std::string& text) {
    CClusteredEventsDlg::GetParamText(text);
    text += "Parameters: " + m_strParameters + "\r\n";
    text += m_bOutside ? "Clustered by an outside program\r\n" : m_clusters.Text();
}

}  // namespace kymora
