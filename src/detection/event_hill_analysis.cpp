#include "detection/event_hill_analysis.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "detection/analysis_blocks.h"
#include "detection/turning_runs.h"
#include "host/user_numbers.h"
#include "statistics/descriptive.h"
#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr uint32_t hillVersion = 1;
constexpr double greatestHillSamples = 2147483547.0;
constexpr size_t hillsWithoutProgress = 100, hillsBetweenPolls = 64;
constexpr const char* noHillsKey = "CEventHillAnalysisNoneLeft";
constexpr const char* hillDirections[] = {"peaks", "troughs"};
constexpr const char* hillMeasures[] = {"centre", "edge"};

const char* NameOf(const char* const (&names)[2], int32_t choice) { return names[choice == 1]; }

std::vector<float> InSingle(const std::vector<double>& values) { return {values.begin(), values.end()}; }

// The words in which a channel is described by what it was made with.
std::string HillDescription(const HillRule& rule, double minimumDuration, double maximumDuration) {
    return fmt::format("Direction: {}\r\nSlope thresh %: up = {:.1f}, down = {:.1f}\r\nFrom: {}\r\n"
                       "Time filter: min dur {:.2f}, max dur = {:.2f}\r\n"
                       "Amp filter: merge foothills {:.3f}, exclude molehills {:.3f}, abs {:.3f}\r\n",
                       NameOf(hillDirections, static_cast<int32_t>(rule.kind)), rule.upSlope, rule.downSlope,
                       NameOf(hillMeasures, static_cast<int32_t>(rule.from)), minimumDuration,
                       maximumDuration, rule.mergeFoothills, rule.excludeMolehills,
                       rule.absolute.value_or(0.0));
}

}  // namespace

// --- settings ---

void CEventHillAnalysis::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, hillVersion, ClassName());
    Exchange(archive, m_nDirection);
    Exchange(archive, m_dUpSlope);
    Exchange(archive, m_dDownSlope);
    Exchange(archive, m_nMeasureFrom);
    for (HillThreshold& threshold : m_thresholds) {
        Exchange(archive, threshold.value);
        Exchange(archive, threshold.isBySd);
        Exchange(archive, threshold.multiplier);
    }
    for (bool* flag : {&m_bUseAbsolute, &m_bRobustStatistics, &m_bAddMean}) Exchange(archive, *flag);
    Exchange(archive, m_dMinimumDuration);
    Exchange(archive, m_dMaximumDuration);
    for (bool* flag : {&m_bRawHistogram, &m_bMergedHistogram, &m_bDurationHistogram, &m_bLogCounts})
        Exchange(archive, *flag);
    Exchange(archive, m_nBinCount);
}

std::string CEventHillAnalysis::Units() const {
    const CDataDoc* doc = Document();
    return doc && m_nTrace < doc->traceCount ? doc->traces[static_cast<size_t>(m_nTrace)].traceUnits
                                             : std::string();
}

double CEventHillAnalysis::GreatestTime() const {
    return greatestHillSamples * (Document() ? Document()->sampleInterval : 1.0);
}

void CEventHillAnalysis::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) {
        m_found.reset();
        m_shown = {};
    }
    CEventWndBaseDlg::CheckChangeDoc(doc);
    if (!doc) return;
    if (IsAttended()) TakeHeightsOf(doc->filePath.string());
    for (double* time : {&m_dMinimumDuration, &m_dMaximumDuration}) *time = std::min(*time, GreatestTime());
}

void CEventHillAnalysis::SettingsWereChosen() {
    CEventWndBaseDlg::SettingsWereChosen();
    m_isHeightSet.fill(true);
}

void CEventHillAnalysis::TakeHeightsOf(const std::string& recording) {
    const std::string before = std::exchange(m_heightsOf, recording);
    if (before.empty() || before == recording) return;
    Heights& left = m_otherHeights[before];
    for (size_t i = 0; i < m_thresholds.size(); ++i) left.values[i] = m_thresholds[i].value;
    left.isSet = m_isHeightSet;
    const Heights now = m_otherHeights[recording];
    for (size_t i = 0; i < m_thresholds.size(); ++i) m_thresholds[i].value = now.values[i];
    m_isHeightSet = now.isSet;
}

void CEventHillAnalysis::OnParentTraceChanged() {
    m_shown = {};
    for (const Threshold which : {mergeFoothills, excludeMolehills})
        if (!m_isHeightSet[which]) m_thresholds[which].value = 0.0;
}

// The height goes on from what was in force here.
void CEventHillAnalysis::StopBySd(size_t which) {
    HillThreshold& threshold = m_thresholds[which];
    if (threshold.isBySd || m_isHeightSet[which]) return;
    threshold.value = m_shown.rawHeights.empty() ? 0.0 : m_shown.thresholds[which];
}

bool CEventHillAnalysis::IsBySd() const {
    for (size_t i = 0; i < m_thresholds.size(); ++i)
        if (Uses(i) && m_thresholds[i].isBySd) return true;
    return false;
}

HillRule CEventHillAnalysis::Rule() const {
    HillRule rule;
    rule.kind = static_cast<HillKind>(m_nDirection);
    rule.upSlope = m_dUpSlope;
    rule.downSlope = m_dDownSlope;
    rule.from = static_cast<SlopeFrom>(m_nMeasureFrom);
    rule.mergeFoothills = m_thresholds[mergeFoothills].value;
    rule.excludeMolehills = m_thresholds[excludeMolehills].value;
    if (m_bUseAbsolute) rule.absolute = m_thresholds[absolutePeak].value;
    rule.minimumDuration = Document()->PositionOf(m_dMinimumDuration);
    rule.maximumDuration = Document()->PositionOf(m_dMaximumDuration);
    return rule;
}

std::optional<SampleSpan> CEventHillAnalysis::HeightsSpan(SampleSpan region) const {
    if (!IsBySd() || !IsAttended() || !View()) return {};
    const SampleSpan seen = HeldTo(*Document(), VisibleSpan(*Document(), View()));
    if (seen == region || seen.Count() > mostPreviewedSamples || seen.Count() == 0) return {};
    return seen;
}

// --- the run ---

struct CEventHillAnalysis::Job : EventJob {
    HillRule rule;
    std::array<HillThreshold, 3> thresholds;
    bool isRobust = true, addsMean = true, isBySd = false;
    std::vector<SampleSpan> blocks;
    std::vector<SampleSpan> heightBlocks;  // for the statistics of heights, where these are other blocks
    bool measuresOther = false;
    double sampleInterval = 1.0;
    double minimumDuration = 0.0, maximumDuration = 0.0;  // ms, as they were set
    HillShapes shapes;
    Outcome result;

    void Compute(SampleReader& samples, JobContext& context) override {
        std::vector<TurningRun> runs = Read(samples, context, blocks);
        shapes.rawHeights = InSingle(HillHeights(runs));
        shapes.greatestHeight = GreatestMergedHeight(runs);
        if (isBySd && measuresOther) {
            std::vector<TurningRun> others = Read(samples, context, heightBlocks);
            Measure(others);
        }
        if (isBySd && !measuresOther)
            Measure(runs);
        else
            Merge(runs);
        shapes.heights = InSingle(HillHeights(runs));
        result.thresholds =
            shapes.thresholds = {rule.mergeFoothills, rule.excludeMolehills, rule.absolute.value_or(0.0)};
        FindHills(samples, context, runs);
        if (found[0].description.empty())
            found[0].description = HillDescription(rule, minimumDuration, maximumDuration);
    }

    int Trace() const { return found[0].parentTrace; }

    std::vector<TurningRun> Read(SampleReader& samples, JobContext& context,
                                 std::span<const SampleSpan> from) const {
        uint64_t count = 0;
        for (const SampleSpan& block : from) count += static_cast<uint64_t>(block.Count());
        ProgressScope progress(context, title, count, samplesAtOnce);
        return TurningRunsOf(samples, Trace(), from, rule.kind == HillKind::valleys, progress);
    }
    void Merge(std::vector<TurningRun>& runs) const {
        for (TurningRun& run : runs) MergeFoothills(run, rule.mergeFoothills);
    }
    // Sets the thresholds by the heights of these runs, and merges them by the way.
    void Measure(std::vector<TurningRun>& runs) {
        if (thresholds[mergeFoothills].isBySd)
            rule.mergeFoothills = BySd(HillHeights(runs), mergeFoothills).value_or(rule.mergeFoothills);
        Merge(runs);
        if (thresholds[excludeMolehills].isBySd)
            rule.excludeMolehills = BySd(HillHeights(runs), excludeMolehills).value_or(rule.excludeMolehills);
        if (!rule.absolute || !thresholds[absolutePeak].isBySd) return;
        const auto level = BySd(HillPeaks(runs), absolutePeak);
        if (level) rule.absolute = rule.kind == HillKind::valleys ? -*level : *level;
    }
    // Nothing where there are no hills.
    std::optional<double> BySd(std::vector<double> values, size_t which) const {
        if (values.empty()) return {};
        const double multiplier = thresholds[which].multiplier;
        if (isRobust) {
            const MedianRobustSd measured = GetMedianRobustSd(std::move(values));
            return (addsMean ? measured.median : 0.0) + multiplier * measured.robustSd;
        }
        const MeanSd measured = GetMeanSd(values);
        return (addsMean ? measured.mean : 0.0) + multiplier * measured.sd;
    }
    void FindHills(SampleReader& samples, JobContext& context, std::span<const TurningRun> runs) {
        const ReadSamples read = [&](int64_t from, std::span<float> values) {
            samples.ReadBlock(Trace(), from, values);
        };
        ProgressScope progress(context, filteringHillsLabel, shapes.heights.size(), hillsWithoutProgress);
        result.hills = HillsOf(runs, rule, read, [&](size_t peaks) {
            isTruncated = peaks % hillsBetweenPolls == 0 && !progress.GoesOn(peaks);
            return !isTruncated;
        });
        result.isTruncated = isTruncated;
        for (const Hill& hill : result.hills)
            shapes.durations.push_back(
                static_cast<float>(static_cast<double>(hill.Duration()) * sampleInterval));
        result.all = shapes.rawHeights.size();
        result.merged = result.all - shapes.heights.size();
        result.tooLow = shapes.heights.size() - result.hills.size();
        result.tooShortOrLong =
            std::erase_if(result.hills, [&](const Hill& hill) { return !HasDuration(hill, rule); });
        for (const Hill& hill : result.hills) {
            CEventKM& event = found[0].events.emplace_back();
            event.onPosition = static_cast<int32_t>(hill.on);
            event.offPosition = static_cast<int32_t>(hill.off);
            event.eventValue = static_cast<float>(hill.Height());
        }
    }
};

std::unique_ptr<OperationJob> CEventHillAnalysis::MakeJob() {
    auto job = std::make_unique<Job>();
    if (!TakeRegion(*job)) return nullptr;
    job->method = methodHillValley;
    job->rule = Rule();
    job->minimumDuration = m_dMinimumDuration;
    job->maximumDuration = m_dMaximumDuration;
    job->thresholds = m_thresholds;
    job->isRobust = m_bRobustStatistics;
    job->addsMean = m_bAddMean;
    job->isBySd = IsBySd();
    job->sampleInterval = Document()->sampleInterval;
    job->blocks = BlocksOf(*Document(), m_nTrace, job->region);
    if (const auto other = HeightsSpan(job->region)) {
        job->measuresOther = true;
        job->heightBlocks = BlocksOf(*Document(), m_nTrace, *other);
    }
    AddTarget(*job, m_nDestination, m_nTrace, m_strDescription);
    return job;
}

void CEventHillAnalysis::TakeLook(const EventJob& job) { m_shown = static_cast<const Job&>(job).shapes; }

void CEventHillAnalysis::TakeFound(const EventJob& job) {
    TakeLook(job);
    m_found = static_cast<const Job&>(job).result;
    for (size_t i = 0; i < m_thresholds.size(); ++i)
        if (Uses(i) && m_thresholds[i].isBySd) m_thresholds[i].value = m_found->thresholds[i];
}

bool CEventHillAnalysis::Write(OperationJob& job, UndoScope& undo) {
    if (!CEventWndBaseDlg::Write(job, undo)) return false;
    const std::string why = WhyNone();
    if (why.empty()) return true;
    const std::string text = "Nothing was found: " + why + ".";
    IsAttended() ? void(GetHost().Notice(noHillsKey, Title(), text)) : Tell(text);
    return true;
}

// What the channel's record keeps of the detection: nothing of an earlier one stays.
bool CEventHillAnalysis::FinishFound(CEventChan& chan, const EventJob&, size_t) {
    BeginRecord(chan);
    chan.detection.templateTrace = m_nTrace;
    return true;
}

// The heights of what was seen become the thresholds that they gave.
std::vector<std::byte> CEventHillAnalysis::RerunSettings(const OperationJob& job) {
    if (!static_cast<const Job&>(job).measuresOther) return CEventWndBaseDlg::RerunSettings(job);
    const auto thresholds = m_thresholds;
    for (HillThreshold& threshold : m_thresholds) threshold.isBySd = false;
    std::vector<std::byte> record = CEventWndBaseDlg::RerunSettings(job);
    m_thresholds = thresholds;
    return record;
}

// --- the report ---

void CEventHillAnalysis::AppendReport(std::string& text, const EventJob& job) {
    GetParamText(text);
    if (job.isTruncated) text += fmt::format("Truncated after {} hills\r\n", m_found->hills.size());
}

void CEventHillAnalysis::GetParamText(std::string& text) {
    AppendRegionText(text);
    text += fmt::format("Parent trace: {}\r\nDestination event channel: {}\r\nDirection: {}\r\n",
                        m_nTrace + 1, ChannelName(m_nDestination), NameOf(hillDirections, m_nDirection));
    text += fmt::format("Threshold %:\r\n\tup = {:f}\r\n\tdown = {:f}\r\n\tmeasure from {}\r\n", m_dUpSlope,
                        m_dDownSlope, NameOf(hillMeasures, m_nMeasureFrom));
    const char* kind = m_bRobustStatistics ? "robust" : "normal";
    const auto line = [&](size_t which, const char* name) {
        if (!Uses(which)) return;
        const HillThreshold& threshold = m_thresholds[which];
        text += fmt::format("\t{} = {:f}\r\n", name, threshold.value);
        if (threshold.isBySd)
            text += fmt::format("\t\tused {} s.d. x = {:f}\r\n", kind, threshold.multiplier);
    };
    text += "Height filter:\r\n";
    line(mergeFoothills, "merge foothills trough peak");
    line(excludeMolehills, "exclude molehills trough peak");
    line(absolutePeak, "absolute peak");
    if (IsBySd() && m_bAddMean)
        text += fmt::format("\t\tadd {} to s.d. x mult\r\n", m_bRobustStatistics ? "median" : "mean");
    text += fmt::format("Duration filter:\r\n\tminimum duration = {:f}\r\n\tmaximum duration = {:f}\r\n",
                        m_dMinimumDuration, m_dMaximumDuration);
}

std::string CEventHillAnalysis::WhyNone() const {
    if (!m_found || !m_found->hills.empty() || m_found->isTruncated) return {};
    const char* name = m_nDirection == 1 ? "valleys" : "hills";
    if (m_found->all == 0) return fmt::format("the analysis region has no {}", name);
    std::string text = fmt::format("none of {} {} is left", m_found->all, name);
    const auto add = [&](size_t count, const std::string& what) {
        if (count > 0) text += fmt::format("{} {} {}", text.ends_with("left") ? ":" : ",", count, what);
    };
    const auto& thresholds = m_found->thresholds;
    add(m_found->merged,
        fmt::format("merged with others (foothills below {:.4g})", thresholds[mergeFoothills]));
    add(m_found->tooLow,
        fmt::format("too low (molehills below {:.4g}{})", thresholds[excludeMolehills],
                    m_bUseAbsolute ? fmt::format(", absolute {:.4g}", thresholds[absolutePeak]) : ""));
    add(m_found->tooShortOrLong,
        fmt::format("too short or too long ({:g} to {:g} ms)", m_dMinimumDuration, m_dMaximumDuration));
    return text;
}

std::string CEventHillAnalysis::RunSummary() const {
    if (!m_found) return {};
    if (std::string why = WhyNone(); !why.empty()) return why;
    std::string text;
    if (m_found->tooShortOrLong > 0)
        text = fmt::format("{} more were too short or too long", m_found->tooShortOrLong);
    if (m_found->isTruncated) text += std::string(text.empty() ? "" : "; ") + "truncated";
    return text;
}

std::vector<Result> CEventHillAnalysis::Results() {
    if (!Document() || !m_found) return {};
    const std::string units = Units();
    Result hills{"hills",
                 {{"Merge foothills", m_found->thresholds[mergeFoothills]},
                  {"Exclude molehills", m_found->thresholds[excludeMolehills]},
                  {"Hills", static_cast<int64_t>(m_found->hills.size())},
                  {"Too short or too long", static_cast<int64_t>(m_found->tooShortOrLong)}},
                 {{"Onset", "ms"},
                  {"Duration", "ms"},
                  {"Peak time", "ms"},
                  {"Peak", units},
                  {"Height", units},
                  {"Left height", units},
                  {"Right height", units},
                  {"Prominence", units},
                  {"Half width", "ms"}},
                 {}};
    if (m_bUseAbsolute)
        hills.values.insert(hills.values.begin() + 2, {"Absolute", m_found->thresholds[absolutePeak]});
    hills.rows = [this](const ResultRowSink& sink) {
        const CDataDoc& doc = *Document();
        for (const Hill& hill : m_found->hills) {
            const ResultValue row[] = {doc.TimeOf(hill.on),
                                       static_cast<double>(hill.Duration()) * doc.sampleInterval,
                                       doc.TimeOf(hill.peak.at),
                                       hill.peak.value,
                                       hill.Height(),
                                       hill.LeftHeight(),
                                       hill.RightHeight(),
                                       hill.prominence,
                                       hill.halfWidth * doc.sampleInterval};
            if (!sink(row)) return false;
        }
        return true;
    };
    return {std::move(hills)};
}

}  // namespace kymora
