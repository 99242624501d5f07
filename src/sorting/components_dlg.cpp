#include "sorting/components_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "document/undo.h"
#include "host/user_numbers.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr int greatestComponents = 64;
constexpr double longestWindow = 1e9;  // ms
constexpr double noWeight = std::numeric_limits<double>::quiet_NaN();
constexpr const char* shortWindowText =
    "The waveforms have {} samples. PCA needs at least 2: lengthen the events, or set a window.";
constexpr const char* unequalText =
    "The durations of the events differ. The first {} samples of each, those of the shortest, are used.";
constexpr const char* leftOutText = "{} of {} events have no weights: their windows reach into a gap or "
                                    "beyond the recording, or hold samples "
                                    "that are no numbers.";
constexpr const char* tooManyValuesText =
    "{} events of {} samples are more than memory is taken for ({} values). Use fewer events, or a shorter "
    "window.";
constexpr const char* notCopiedText = "The weights were not copied. {}";

}  // namespace

class CComponentsDlg::Job : public OperationJob {
  public:
    std::string title;
    Method method;
    std::vector<WaveformTrace> traces;
    std::vector<int64_t> starts;
    int64_t count = 0;
    Found result;

    WaveformRows rows;
    std::optional<PrincipalComponents> found;
    std::string log;

    int64_t Samples() const override { return std::ssize(starts) * count; }
    void Compute(SampleReader& samples, JobContext& context) override {
        const auto windows = static_cast<double>(starts.size());
        const auto values = static_cast<double>(Samples());
        constexpr double valuesOfProduct = 50.0;  // take as long as one that is read
        const double products = values * static_cast<double>(count) / valuesOfProduct;
        ProgressScope progress(context, title, static_cast<uint64_t>(values + products), samplesAtOnce);
        rows = ReadWaveformRows(samples, traces, starts, count, [&](uint64_t done) {
            progress.At(static_cast<uint64_t>(values * static_cast<double>(done) / windows));
        });
        if (rows.Count() < starts.size())
            context.Warn(fmt::format(leftOutText, starts.size() - rows.Count(), starts.size()));
        if (rows.Count() < leastPcaEvents) throw JobRefused(fewEventsText);
        const auto rowsDone = [&](double done) {
            progress.At(static_cast<uint64_t>(values + products * done));
        };
        found = method(rows, rowsDone, log);
    }
};

// --- the run ---

void CComponentsDlg::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CEventBaseDlg::CheckChangeDoc(doc);
}

std::string CComponentsDlg::CheckSettings() {
    if (std::string fault = CEventBaseDlg::CheckSettings(); !fault.empty()) return fault;
    if (m_nFirstEvent < 1) return noFirstEventText;
    if (m_dWindowEnd < m_dWindowStart) return "The end of the window must be after its start.";
    if (!Document()) return {};
    if (Source().channelLocked) return lockedChannelText;
    return {};
}

void CComponentsDlg::TakeWindow(Job& job) {
    const CDataDoc& doc = *Document();
    int64_t before = 0;
    if (HasWindow()) {
        before = RoundHalfAway64(m_dWindowStart / doc.sampleInterval);
        job.count = RoundHalfAway64(m_dWindowEnd / doc.sampleInterval) - before;
    } else {
        int64_t longest = 0;
        job.count = std::numeric_limits<int64_t>::max();
        for (const int32_t index : job.result.events) {
            const CEventKM& event = Source().Events()[static_cast<size_t>(index)];
            const int64_t duration = int64_t{event.offPosition} - event.onPosition;
            job.count = std::min(job.count, duration);
            longest = std::max(longest, duration);
        }
        if (longest > job.count && job.count >= 2) Tell(fmt::format(unequalText, job.count));
    }
    if (job.count < 2) throw JobRefused(fmt::format(shortWindowText, job.count));
    for (const int32_t index : job.result.events)
        job.starts.push_back(Source().Events()[static_cast<size_t>(index)].onPosition + before);
    job.result.times = {static_cast<double>(before) * doc.sampleInterval,
                        doc.sampleInterval,
                        static_cast<size_t>(job.count),
                        {}};
}

std::unique_ptr<OperationJob> CComponentsDlg::MakeJob() {
    const CDataDoc& doc = *Document();
    auto job = std::make_unique<Job>();
    const int all = doc.GetNumEvents(m_nChannel1);
    const int behind = std::max(0, all - m_nFirstEvent + 1);
    const int count = m_nEventCount < 0 ? behind : std::min(m_nEventCount, behind);
    if (count < static_cast<int>(leastPcaEvents)) throw JobRefused(fewEventsText);
    for (int i = 0; i < count; ++i) {
        const int32_t index = m_nFirstEvent - 1 + i;
        job->result.events.push_back(index);
        job->result.onsets.push_back(doc.TimeOf(Source().Events()[static_cast<size_t>(index)].onPosition));
    }
    TakeWindow(*job);
    if (job->Samples() > mostWaveformValues)
        throw JobRefused(fmt::format(tooManyValuesText, count, job->count, mostWaveformValues));
    job->title = Title();
    job->method = MakeMethod();
    job->traces.push_back({m_nTrace, UnbrokenStretches(doc, m_nTrace)});
    job->writes.push_back(m_nChannel1);
    job->reads.push_back(m_nChannel1);
    return job;
}

bool CComponentsDlg::Write(OperationJob& written, UndoScope& undo) {
    auto& job = static_cast<Job&>(written);
    if (!job.log.empty()) GetHost().Log(job.log);
    if (!job.found) job.found = FindWithUser(job.rows);
    if (!job.found) return false;
    Found found = std::move(job.result);
    found.components = std::move(*job.found);
    found.rows.assign(found.events.size(), -1);
    for (size_t row = 0; row < job.rows.read.size(); ++row)
        found.rows[job.rows.read[row]] = static_cast<int>(row);
    KeepWeights(found, undo);
    std::string report;
    GetParamText(report);
    report += fmt::format("\t{} events, {} samples each\r\n", job.rows.read.size(), found.components.columns);
    AppendHistory(report);
    m_found = std::move(found);
    if (m_bSetComponents) CopyWeights();
    return true;
}

void CComponentsDlg::KeepWeights(const Found& found, UndoScope& undo) {
    undo.KeepChannel(m_nChannel1);
    CEventChan& chan = Document()->eventChannels[static_cast<size_t>(m_nChannel1)];
    const auto none = static_cast<float>(noWeight);
    std::vector<std::array<float, 3>> table(static_cast<size_t>(chan.GetNumEvents()), {none, none, none});
    for (size_t i = 0; i < found.events.size(); ++i) {
        if (found.rows[i] < 0) continue;
        auto& weights = table[static_cast<size_t>(found.events[i])];
        weights.fill(0.0f);  // of components that shorter waveforms do not have
        for (size_t c = 0; c < std::min<size_t>(3, found.components.components); ++c)
            weights[c] = static_cast<float>(found.components.Weight(static_cast<size_t>(found.rows[i]), c));
    }
    chan.SetEventExtra(std::move(table));
}

void CComponentsDlg::CopyWeights() {
    std::string text;
    WriteResult([&](std::string_view piece) {
        text += piece;
        return true;
    });
    try {
        GetHost().WriteClipboard(plainTextFormat, std::as_bytes(std::span(text)));
    } catch (const ClipboardError& error) {
        // Where nobody has a clipboard the text is the result of the run.
        if (IsAttended()) Tell(fmt::format(notCopiedText, error.what()));
    }
}

// --- what it shows ---

void CComponentsDlg::WriteResult(const TextSink& sink) {
    if (!m_found || !sink("Weighting coefficients\r\n")) return;
    for (const int row : m_found->rows) {
        std::string line;
        for (size_t c = 0; c < m_found->components.components; ++c)
            line += fmt::format("{:f}\t",
                                row < 0 ? noWeight : m_found->components.Weight(static_cast<size_t>(row), c));
        if (!sink(line + "\r\n")) return;
    }
}

std::string CComponentsDlg::RunSummary() const {
    return m_found ? fmt::format("{} components", m_found->components.components) : std::string();
}

std::vector<Result> CComponentsDlg::Results() {
    if (!m_found) return {};
    Result weights{"weights", {}, {{"#ID", {}}, {"time", "ms"}}, {}};
    for (const GraphAxis& axis : WeightAxes(m_found->components.components))
        weights.columns.push_back({axis.title, {}});
    weights.rows = [this](const ResultRowSink& sink) {
        const PrincipalComponents& components = m_found->components;
        for (size_t i = 0; i < m_found->events.size(); ++i) {
            std::vector<ResultValue> row{int64_t{m_found->events[i]} + 1, m_found->onsets[i]};
            for (size_t c = 0; c < components.components; ++c)
                row.emplace_back(m_found->rows[i] < 0 ? ResultValue()
                                                      : ResultValue(components.Weight(
                                                            static_cast<size_t>(m_found->rows[i]), c)));
            if (!sink(row)) return false;
        }
        return true;
    };
    return {ComponentsTable(m_found->components), std::move(weights),
            LoadingsTable(m_found->components, m_found->times)};
}

std::optional<Graph> CComponentsDlg::GetGraph() {
    const PrincipalComponents none;
    const PrincipalComponents& components = m_found ? m_found->components : none;
    std::vector<int32_t> events;
    for (size_t i = 0; m_found && i < m_found->events.size(); ++i)
        if (m_found->rows[i] >= 0) events.push_back(m_found->events[i]);
    const size_t count = m_found ? components.components : Components();
    const CloudData cloud{components.weights, WeightAxes(count), {}, events, m_nChannel1};
    GraphPane weights =
        CloudPane(cloud, static_cast<size_t>(m_nGraphX - 1), static_cast<size_t>(m_nGraphY - 1));
    weights.name = "weights";
    return Graph{{std::move(weights), LoadingsPane(components, m_found ? m_found->times : WindowTimes())}};
}

// --- parameters ---

void CComponentsDlg::DescribeEvents(ParamList& list) {
    DescribeSource(list);
    list.Group("Waveforms");
    list.Integer("firstEvent", "First event", m_nFirstEvent)
        .Limits(0, std::numeric_limits<int32_t>::max())
        .Spin()
        .Tip("The first event whose waveform is analysed, counted from 1");
    list.Integer("eventCount", "Events", m_nEventCount)
        .Limits(-1, std::numeric_limits<int32_t>::max())
        .Tip("How many events are analysed. -1 means all. More than there are become all");
    list.Number("windowStart", "Window start", m_dWindowStart)
        .Unit("ms")
        .Limits(-longestWindow, longestWindow)
        .Tip("From the onset of each event. Start and end the same: the shortest duration of the events");
    list.Number("windowEnd", "Window end", m_dWindowEnd)
        .Unit("ms")
        .Limits(-longestWindow, longestWindow)
        .Tip("From the onset of each event. Start and end the same: the shortest duration of the events");
}

void CComponentsDlg::DescribeComponents(ParamList& list) {
    list.Group("Components");
    list.Flag("setComponents", "Set number of components", m_bSetComponents)
        .Tip("Otherwise three are made. With it the weights are copied to the clipboard, too");
    list.Integer("components", "Components", m_nComponents)
        .Limits(1, greatestComponents)
        .Spin()
        .Tip("How many components are found; the table of the channel keeps the weights on the first three")
        .EnabledIf([this] { return m_bSetComponents; });
    list.Group("Graph");
    const auto axis = [&](const char* key, const char* label, int32_t& value) {
        list.Integer(key, label, value)
            .Limits(1, greatestComponents)
            .Spin()
            .Tip("The component whose weights are shown; the last one where there are fewer");
    };
    axis("graphX", "Across", m_nGraphX);
    axis("graphY", "Up", m_nGraphY);
}

void CComponentsDlg::ExchangeEvents(CArchive& archive) {
    ExchangeTrace(archive);
    Exchange(archive, m_nFirstEvent);
    Exchange(archive, m_nEventCount);
    Exchange(archive, m_dWindowStart);
    Exchange(archive, m_dWindowEnd);
    Exchange(archive, m_bSetComponents);
    Exchange(archive, m_nComponents);
    Exchange(archive, m_nGraphX);
    Exchange(archive, m_nGraphY);
}

void CComponentsDlg::GetParamText(std::string& text) {
    CEventBaseDlg::GetParamText(text);
    text += fmt::format("Trace: {}\r\nFirst event: {}\r\n", m_nTrace + 1, m_nFirstEvent);
    text += m_nEventCount < 0 ? "Events: all\r\n" : fmt::format("Events: {}\r\n", m_nEventCount);
    if (HasWindow()) text += fmt::format("Window: {:f} to {:f} ms\r\n", m_dWindowStart, m_dWindowEnd);
    text += fmt::format("Components: {}\r\n", Components());
}

}  // namespace kymora
