#include "detection/event_activity.h"

#include <fmt/format.h>

#include <algorithm>

#include "detection/analysis_blocks.h"
#include "document/sample_scan.h"
#include "host/user_numbers.h"
#include "numerics/window_squares.h"
#include "numerics/window_sums.h"

namespace kymora {

namespace {

constexpr uint32_t activityVersion = 1;
constexpr uint64_t activityWithoutProgress = 1024;  // samples
constexpr const char* searchingActivityLabel = "Searching for max and/or min active regions";
constexpr const char* activityKinds[] = {"High", "Low", "High + Low"};

// The windows within the blocks.
template <typename Search>
void SearchBlocks(Search& search, SampleReader& samples, int trace, std::span<const SampleSpan> blocks,
                  int64_t window, ProgressScope& progress) {
    constexpr size_t samplesBetweenPolls = 1024;
    for (const SampleSpan& block : blocks) {
        if (block.Count() < window) continue;
        search.StartAt(block.first);
        ScanSamples(samples, trace, block.first, block.Count(), [&](std::span<const float> values) {
            while (!values.empty()) {
                const auto part = values.first(std::min(values.size(), samplesBetweenPolls));
                search.Add(part);
                progress.Step(part.size());
                values = values.subspan(part.size());
            }
            return true;
        });
    }
}

}  // namespace

void CEventActivity::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, activityVersion, ClassName());
    Exchange(archive, m_dTimeWindow);
    Exchange(archive, m_nKind);
    Exchange(archive, m_nMeasure);
}

void CEventActivity::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Activity");
    list.Number("timeWindow", "Time window", m_dTimeWindow)
        .Unit("ms")
        .Limits(0, 1e13)
        .Tip("Duration of the stretch that is sought: at least 5 samples");
    list.Choice("kind", "Activity type", m_nKind, {"High", "Low", "High + Low"})
        .Buttons()
        .Tip("Mark the stretch of greatest activity, that of least activity, or both");
    list.Choice("measure", "Measure", m_nMeasure, {"squared deviations", "sum of values"})
        .Tip("Use SSD (sum of squared deviations from the mean) as the measure of activity; Use sum of "
             "values as "
             "the measure of activity");
    DescribeRegion(list);
    DescribeDestination(list);
}

void CEventActivity::GetParamText(std::string& text) {
    AppendRegionText(text);
    text += fmt::format("Destination event channel: {}\r\nParent trace: {}\r\nActivity type: {}\r\n",
                        ChannelName(m_nDestination), m_nTrace + 1, activityKinds[std::clamp(m_nKind, 0, 2)]);
    text +=
        fmt::format("Measure: {}\r\n", m_nMeasure == sumOfValues ? "sum of values" : "squared deviations");
    text += fmt::format("Time window = {:f}\r\n", m_dTimeWindow);
}

// --- the run ---

struct CEventActivity::Job : EventJob {
    std::vector<SampleSpan> blocks;
    int64_t window = 0;
    bool bySum = false, seeksHigh = true, seeksLow = true;
    std::vector<Extreme> extremes;

    void Compute(SampleReader& samples, JobContext& context) override {
        ProgressScope progress(context, searchingActivityLabel, static_cast<uint64_t>(region.Count()),
                               activityWithoutProgress);
        const auto take = [&](const char* name, int64_t start, double value) {
            if (start < 0) throw JobRefused(noActivityWindowText);
            extremes.push_back({name, start, window, value});
        };
        if (bySum) {
            WindowSums sums(window);
            SearchBlocks(sums, samples, found[0].parentTrace, blocks, window, progress);
            if (seeksLow) take("Min", sums.LeastStart(), sums.LeastSum());
            if (seeksHigh) take("Max", sums.GreatestStart(), sums.GreatestSum());
        } else {
            WindowSquares squares(window);
            SearchBlocks(squares, samples, found[0].parentTrace, blocks, window, progress);
            if (seeksLow) take("Min", squares.LeastStart(), squares.LeastSquares());
            if (seeksHigh) take("Max", squares.GreatestStart(), squares.GreatestSquares());
        }
        std::ranges::stable_sort(extremes, {}, &Extreme::start);
        for (const Extreme& extreme : extremes) {
            CEventKM& event = found[0].events.emplace_back();
            event.onPosition = static_cast<int32_t>(extreme.start);
            event.offPosition = static_cast<int32_t>(extreme.start + extreme.count);
            event.eventTag = 1;
            event.eventLabel = extreme.name;
        }
    }
};

std::unique_ptr<OperationJob> CEventActivity::MakeJob() {
    auto job = std::make_unique<Job>();
    if (!TakeRegion(*job)) return nullptr;
    job->window = Document()->PositionOf(m_dTimeWindow);
    if (job->window < leastActivityWindow) {
        // A report names the file and the operation by itself.
        Refuse(IsAttended() ? fmt::format("{}\r\n\t{}: {}\r\n", Document()->filePath.string(), Title(),
                                          shortActivityWindowText)
                            : shortActivityWindowText);
        return nullptr;
    }
    if (job->window > job->region.Count()) throw JobRefused(longActivityWindowText);
    job->blocks = BlocksOf(*Document(), m_nTrace, job->region);
    if (LongestOf(job->blocks) < job->window) throw JobRefused(noActivityWindowText);
    job->method = methodActivityLevel;
    job->bySum = m_nMeasure == sumOfValues;
    job->seeksHigh = m_nKind != low;
    job->seeksLow = m_nKind != high;
    AddTarget(*job, m_nDestination, m_nTrace, m_strDescription);
    return job;
}

bool CEventActivity::FinishFound(CEventChan& chan, const EventJob&, size_t) {
    BeginRecord(chan);
    chan.detection.templateTrace = m_nTrace;
    return true;
}

void CEventActivity::TakeFound(const EventJob& job) { m_extremes = static_cast<const Job&>(job).extremes; }

std::vector<Result> CEventActivity::Results() {
    if (m_extremes.empty() || !Document()) return {};
    const CDataDoc& doc = *Document();
    const char* measure = m_nMeasure == sumOfValues ? "Sum" : "Squared deviations";
    Result result{"activity", {}, {{"Extreme", {}}, {"Start", "ms"}, {"End", "ms"}, {measure, {}}}, {}};
    std::vector<std::vector<ResultValue>> rows;
    for (const Extreme& extreme : m_extremes)
        rows.push_back({std::string(extreme.name), doc.TimeOf(extreme.start),
                        doc.TimeOf(extreme.start + extreme.count), extreme.value});
    result.SetRows(std::move(rows));
    return {std::move(result)};
}

}  // namespace kymora
