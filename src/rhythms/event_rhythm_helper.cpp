#include "rhythms/event_rhythm_helper.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "detection/analysis_blocks.h"
#include "detection/turning_runs.h"
#include "document/undo.h"
#include "host/user_numbers.h"
#include "numerics/decimal.h"
#include "numerics/rounding.h"
#include "operations/save_text.h"
#include "rhythms/burst_filter.h"
#include "rhythms/event_group_dlg.h"
#include "rhythms/poisson_bursts.h"
#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr uint32_t helperVersion = 1;
constexpr double longestTime = 1e9;  // ms
constexpr int greatestDegree = 5;
constexpr double topShare = 0.02;  // of the intervals
constexpr size_t fewSourceEvents = 1000;
constexpr const char* routeWords[] = {"hill-valley of trace", "min off/on of source",
                                      "Poisson surprise of source", "channel as it stands"};

ResultValue Finite(double value) { return std::isfinite(value) ? ResultValue(value) : ResultValue(); }

}  // namespace

CEventRhythmHelper::CEventRhythmHelper()
    : CEventAnalRgnBase(usesChannel1 | usesTrace | usesDestination | usesText) {
    m_nDestination = 1;
    m_strDescription = "Rhythm";
}

// --- the run ---

class CEventRhythmHelper::Job : public EventJob {
  public:
    PatternRoute route = PatternRoute::minOffOn;
    std::vector<EventTrain> trains;
    HillRule hills;
    int trace = 0;
    std::vector<SampleSpan> pieces;  // of the region, for that route
    BurstFilter filter;
    PoissonSettings poisson;
    Pattern pattern;  // of the channel as it stands, for that route
    std::vector<CEventKM> source;
    PatternEdit edit = PatternEdit::merge;
    double from = 0.0, to = 0.0;  // ms
    bool autofix = false;
    int degree = 2;
    double limit = 5.0;
    std::vector<DoneFix> edits, fixes;

    int64_t Samples() const override {
        int64_t samples = std::ssize(source);
        for (const SampleSpan& piece : pieces) samples += piece.Count();
        return samples;
    }
    void Compute(SampleReader& samples, JobContext& context) override {
        if (route == PatternRoute::hillValley)
            FindHillsIn(samples, context);
        else if (route != PatternRoute::asItStands)
            Fill(context);
        if (to != from) {
            PatternEdited edited = EditPattern(pattern, source, edit, from, to);
            if (!edited.refusal.empty()) throw JobRefused(edited.refusal);
            pattern.events = std::move(edited.events);
            edits = std::move(edited.fixes);
        }
        if (autofix) {
            const auto events = static_cast<uint64_t>(pattern.events.size());
            ProgressScope progress(context, "Fixing outliers", events, fewSourceEvents);
            fixes = AutofixPattern(pattern, degree, limit, [&] { progress.At(0); });
        }
        found.front().events = pattern.events;
    }

  private:
    void FindHillsIn(SampleReader& samples, JobContext& context) {
        const auto total = static_cast<uint64_t>(Samples());
        ProgressScope progress(context, title, total, samplesAtOnce);
        std::vector<TurningRun> runs =
            TurningRunsOf(samples, trace, pieces, hills.kind == HillKind::valleys, progress);
        for (TurningRun& run : runs) MergeFoothills(run, hills.mergeFoothills);
        const auto read = [&](int64_t from, std::span<float> values) {
            samples.ReadBlock(trace, from, values);
        };
        const auto goesOn = [&](size_t) { return progress.GoesOn(total); };
        for (const Hill& hill : HillsOf(runs, hills, read, goesOn))
            pattern.events.push_back({static_cast<int32_t>(hill.on), static_cast<int32_t>(hill.off),
                                      static_cast<float>(hill.Height())});
    }
    void Fill(JobContext& context) {
        ProgressScope progress(context, "Finding bursts", source.size(), fewSourceEvents);
        double before = 0.0;
        for (const EventTrain& train : trains) {
            const auto goesOn = [&](double done) {
                return progress.GoesOn(
                    static_cast<uint64_t>(before + done * static_cast<double>(train.Size())));
            };
            const FoundStretches stretches = route == PatternRoute::poisson
                                                 ? FindPoissonBursts(train, poisson, goesOn)
                                                 : FoundStretches{SingleEvents(train), false};
            for (const Burst& burst : FilterBursts(train, stretches.stretches, filter))
                pattern.events.push_back(
                    {burst.onset, burst.offset, static_cast<float>(burst.events.surprise)});
            isTruncated |= stretches.isEnded;
            if (isTruncated) break;
            before += static_cast<double>(train.Size());
        }
        std::ranges::stable_sort(pattern.events, {}, &CEventKM::onPosition);
    }
    static std::vector<EventStretch> SingleEvents(const EventTrain& train) {
        std::vector<EventStretch> events;
        for (int32_t i = 0; i < std::ssize(train.onsets); ++i) events.push_back({i, i});
        return events;
    }
};

bool CEventRhythmHelper::MayTakeLong(const std::vector<EventTrain>& trains) {
    if (!IsAttended()) return true;
    const double longest = DecimalOf(m_fMaxInBurst) / Document()->sampleInterval;
    int64_t count = 0, above = 0;
    for (const EventTrain& train : trains)
        for (size_t i = 0; i < train.Intervals(); ++i, ++count)
            above += static_cast<double>(train.Interval(i)) > longest;
    const bool isTop = count > 0 && static_cast<double>(above) < topShare * static_cast<double>(count);
    return !isTop || GetHost().Confirm(longIntervalText);
}

void CEventRhythmHelper::TakeTrace(Job& job) const {
    job.trace = m_nTrace;
    job.hills.kind = static_cast<HillKind>(m_nDirection);
    job.hills.upSlope = static_cast<double>(m_fUpSlope);
    job.hills.downSlope = static_cast<double>(m_fDownSlope);
    job.hills.from = static_cast<SlopeFrom>(m_nMeasureFrom);
    job.hills.mergeFoothills = static_cast<double>(m_fMergeFoothills);
    job.hills.excludeMolehills = static_cast<double>(m_fExcludeMolehills);
    for (const SampleBlock& block : Block().Blocks())
        std::ranges::copy(BlocksOf(*Document(), m_nTrace, {block.first, block.first + block.length}),
                          std::back_inserter(job.pieces));
}

std::unique_ptr<OperationJob> CEventRhythmHelper::MakeJob() {
    const CDataDoc& doc = *Document();
    auto job = std::make_unique<Job>();
    job->route = static_cast<PatternRoute>(m_nRoute);
    if (!RetrieveData()) return nullptr;
    if (const std::string fault = EmptyGateFault(); !fault.empty()) throw JobRefused(fault);
    const CEventChan& source = doc.eventChannels[static_cast<size_t>(m_nChannel1)];
    if (Is(PatternRoute::hillValley)) TakeTrace(*job);
    if (ReadsSource()) {
        if (source.GetNumEvents() == 0)
            throw JobRefused(IsAttended() ? fmt::format("{}\r\n\t{}: {}", doc.filePath.string(), Title(),
                                                        noSourceEventsText)
                                          : noSourceEventsText);
        CEventBlock block = Block();
        block.parentTrace = GapTrace();
        job->trains = TrainsOf(doc, block);
        if (Is(PatternRoute::poisson) && !MayTakeLong(job->trains)) return nullptr;
    }
    job->source = source.Events();
    job->pattern = PatternNow();
    if (!Is(PatternRoute::asItStands)) job->pattern.events.clear();
    const auto samples = [&](double ms) { return RoundHalfAway64(ms / doc.sampleInterval); };
    const bool isPoisson = Is(PatternRoute::poisson);
    job->poisson = {DecimalOf(m_fSurprise), samples(DecimalOf(m_fMaxInBurst)), m_nMinEvents};
    job->filter = isPoisson ? BurstFilter{false, 0, 0, m_nMinEvents}
                            : BurstFilter{true, samples(m_dMinimumOff), samples(m_dMinimumOn), 1};
    job->edit = static_cast<PatternEdit>(m_nEdit);
    job->from = m_dMergeFrom;
    job->to = m_dMergeTo;
    job->autofix = m_bAutofix;
    job->degree = m_nDegree;
    job->limit = m_dOutlierLimit;
    job->title = Title();
    job->seen = SeenTimes();
    job->region = {0, static_cast<int32_t>(doc.GetLength())};
    job->reads.push_back(m_nChannel1);
    const bool keeps = Is(PatternRoute::asItStands);
    if (keeps) m_strLabel = RhythmChannel().channelLabel;
    const int32_t other = isPoisson ? methodPoissonSurprise : methodRhythmInEvents;
    const int32_t filled = Is(PatternRoute::hillValley) ? methodHillValley : other;
    job->method = keeps ? RhythmChannel().detectionMethod : filled;
    AddTarget(*job, m_nDestination, keeps ? RhythmChannel().parentTrace : GapTrace(),
              keeps ? RhythmChannel().channelComment : m_strDescription);
    return job;
}

bool CEventRhythmHelper::Write(OperationJob& job, UndoScope& undo) {
    m_fixed = static_cast<Job&>(job).fixes;
    m_analysed.reset();
    return CEventAnalRgnBase::Write(job, undo);
}

void CEventRhythmHelper::OnEventChanChanged(int channel) {
    const std::string description = m_strDescription, label = m_strLabel;
    CEventAnalRgnBase::OnEventChanChanged(channel);
    m_strDescription = description;
    m_strLabel = label;
}

void CEventRhythmHelper::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_fixed.clear();
    m_analysed.reset();
    CEventAnalRgnBase::CheckChangeDoc(doc);
}

std::string CEventRhythmHelper::RunSummary() const {
    return m_bAutofix ? fmt::format("{} fix{}", m_fixed.size(), m_fixed.size() == 1 ? "" : "es")
                      : std::string();
}

// --- what the channel holds ---

Pattern CEventRhythmHelper::PatternNow() const {
    const CDataDoc& doc = *Document();
    Pattern pattern;
    const EventsByOnset events(RhythmChannel());
    for (int rank = 0; rank < events.Size(); ++rank) pattern.events.push_back(events[rank]);
    const int parent = GapTrace();
    if (!doc.HasNoData() && doc.traceCount > 0)
        pattern.stretches = UnbrokenStretches(doc, parent >= 0 && parent < doc.traceCount ? parent : 0);
    pattern.sampleInterval = doc.sampleInterval;
    return pattern;
}

bool CEventRhythmHelper::ReadsSource() const {
    return Is(PatternRoute::minOffOn) || Is(PatternRoute::poisson);
}

int CEventRhythmHelper::GapTrace() const {
    return Is(PatternRoute::hillValley) ? m_nTrace : Document()->GetParentTrace(m_nChannel1);
}

const CEventRhythmHelper::Analysed& CEventRhythmHelper::Now() {
    const std::vector<double> settings{static_cast<double>(m_nChannel1), static_cast<double>(m_nDestination),
                                       static_cast<double>(m_nDegree), static_cast<double>(GapTrace())};
    if (!m_analysed || m_analysed->settings != settings) m_analysed = Fitted(settings);
    if (std::exchange(m_analysed->limit, m_dOutlierLimit) != m_dOutlierLimit)
        m_analysed->outliers = FindPatternOutliers(m_analysed->pattern, m_analysed->trends, m_dOutlierLimit);
    return *m_analysed;
}

CEventRhythmHelper::Analysed CEventRhythmHelper::Fitted(std::vector<double> settings) {
    Analysed now{PatternNow(), {}, {}, std::move(settings)};
    GetHost().Log("In CEventRhythmHelper::CalcFreqRobustTrendline()\n");
    GetHost().Log("In CEventRhythmHelper::CalcDurRobustTrendline()\n");
    now.trends = FitPattern(now.pattern, m_nDegree);
    return now;
}

// --- fixes ---

std::string CEventRhythmHelper::FixLines(std::span<const DoneFix> fixes) const {
    const std::string channel = ChannelName(m_nDestination);
    std::string lines;
    for (const DoneFix& fix : fixes) {
        const double on = Document()->TimeOf(fix.span.first), off = Document()->TimeOf(fix.span.second);
        switch (fix.kind) {
        case FixKind::add:
            lines +=
                fmt::format("Add event to channel {}: on time = {:f}, off time = {:f}\r\n", channel, on, off);
            break;
        case FixKind::remove:
            lines += fmt::format("Delete event {} from channel {}\r\n", fix.number, channel);
            break;
        case FixKind::merge:
            lines += fmt::format("Merge event {} with following in channel {}\r\n", fix.number, channel);
            break;
        case FixKind::adjust:
            lines += fmt::format("Adjust event {} in channel {}: on time = {:f}, off time = {:f}\r\n",
                                 fix.number, channel, on, off);
            break;
        case FixKind::none:
            break;
        }
    }
    return lines;
}

namespace {

std::string AcceptedLines(std::span<const DoneFix> fixes,
                          const std::function<std::string(std::span<const DoneFix>)>& linesOf) {
    static constexpr const char* accepted[] = {"Rhythm analysis helper: Accept widthfix\r\n",
                                               "Rhythm analysis helper: Accept low frequency fix\r\n",
                                               "Rhythm analysis helper: Accept high frequency fix\r\n"};
    std::string lines;
    for (size_t i = 0; i < fixes.size(); ++i)
        lines += accepted[static_cast<size_t>(fixes[i].reason)] + linesOf(fixes.subspan(i, 1));
    return lines;
}

}  // namespace

bool CEventRhythmHelper::Replace(const char* name, std::vector<CEventKM> events, const std::string& lines) {
    CDataDoc& doc = *Document();
    {
        UndoScope undo(doc, name);
        if (!undo.SpliceEvents(m_nDestination, 0, RhythmChannel().GetNumEvents(), std::move(events)))
            return false;
        undo.NoteInHistory();
        AppendHistory(lines);
    }
    m_analysed.reset();
    doc.UpdateAllViews(UpdateHint::events);
    return true;
}

std::string CEventRhythmHelper::RejectFindings(const Findings& findings) {
    const std::vector<PatternOutlier> all = Now().outliers;
    const Findings shown = GetFindings();
    std::vector<PatternOutlier> chosen;
    for (size_t i = 0; i < shown.rows.size(); ++i)
        if (std::ranges::any_of(findings.rows, [&](const Finding& finding) {
                return finding.verdict == Verdict::rejected && finding.values == shown.rows[i].values;
            }))
            chosen.push_back(all[i]);
    Pattern pattern = Now().pattern;
    const std::vector<DoneFix> done = ApplyFixes(pattern, chosen);
    const std::string lines = AcceptedLines(done, [this](auto fixes) { return FixLines(fixes); });
    if (!done.empty() && !Replace("Fix outliers", std::move(pattern.events), lines)) return {};
    return fmt::format("{} fix{} in channel {}", done.size(), done.size() == 1 ? "" : "es",
                       ChannelName(m_nDestination));
}

void CEventRhythmHelper::EditAtCursors(PatternEdit edit) {
    if (!Document()) return;
    const std::vector<double> cursors = View() ? View()->GetCursorTimes() : std::vector<double>();
    if (cursors.size() != 2) return Refuse(twoCursorsText);
    const auto& source = Document()->eventChannels[static_cast<size_t>(m_nChannel1)].Events();
    PatternEdited edited = EditPattern(PatternNow(), source, edit, cursors[0], cursors[1]);
    if (!edited.refusal.empty()) return Refuse(edited.refusal);
    Replace("Edit rhythm", std::move(edited.events), FixLines(edited.fixes));
}

// --- the report ---

void CEventRhythmHelper::GetParamText(std::string& text) {
    CEventAnalRgnBase::GetParamText(text);
    switch (static_cast<PatternRoute>(m_nRoute)) {
    case PatternRoute::hillValley:
        text += fmt::format(
            "Rhythm analysis helper: Hill-valley analysis\r\nParent trace: {}\r\nDirection: {}\r\n"
            "Slope thresh %: up = {:.1f}, down = {:.1f}\r\nFrom: {}\r\nAmp filter: merge foothills "
            "{:.3f}, exclude molehills {:.3f}\r\n",
            m_nTrace + 1, m_nDirection == 0 ? "peaks" : "troughs", m_fUpSlope, m_fDownSlope,
            m_nMeasureFrom == 0 ? "centre" : "edge", m_fMergeFoothills, m_fExcludeMolehills);
        break;
    case PatternRoute::minOffOn:
        text += fmt::format(
            "Rhythm analysis helper: Time filter\r\n\tMinimum off time = {:f}\r\n\tMinimum on time = "
            "{:f}\r\n",
            m_dMinimumOff, m_dMinimumOn);
        break;
    case PatternRoute::poisson:
        text += "Event analyse: Rhythm analysis helper: Poisson burst detection\r\n";
        text += fmt::format(
            "Surprise level: {:f}\r\nMax in-burst interval = {:f}\r\nMin number of source events within "
            "burst = {}\r\n",
            m_fSurprise, m_fMaxInBurst, m_nMinEvents);
        break;
    case PatternRoute::asItStands:
        text += "Rhythm analysis helper: Channel as it stands\r\n";
        break;
    }
    if (m_bAutofix)
        text +=
            fmt::format("Degree of trends: {}\r\nOutlier limit (*MAD): {:f}\r\n", m_nDegree, m_dOutlierLimit);
}

void CEventRhythmHelper::AppendReport(std::string& text, const EventJob& job) {
    const auto& done = static_cast<const Job&>(job);
    GetParamText(text);
    text += FixLines(done.edits);
    if (!done.autofix) return;
    text +=
        "Rhythm analysis helper: Autofix outliers in event channel " + ChannelName(m_nDestination) + "\r\n";
    text += AcceptedLines(done.fixes, [this](auto fixes) { return FixLines(fixes); });
}

// --- what it shows ---

namespace {

GraphPane TrendPane(const PatternTrends& trends, bool isFrequency, double limit,
                    std::span<const PatternOutlier> outliers, int channel) {
    GraphPane pane{isFrequency ? "frequency" : "duration"};
    pane.x = {"time", "ms"};
    pane.y = isFrequency ? GraphAxis{"freq", "Hz"} : GraphAxis{"dur", "ms"};
    const auto& values = isFrequency ? trends.frequency : trends.duration;
    const auto& fit = isFrequency ? trends.frequencyFit : trends.durationFit;
    const double reach = limit * (isFrequency ? trends.frequencyTrend : trends.durationTrend).mad;
    GraphLayer points{LayerKind::points, "", GraphColour(0)},
        outside{LayerKind::points, "outliers", GraphColour(1)};
    GraphLayer curve{LayerKind::curve, "trend", GraphColour(2)},
        area{LayerKind::area, "limits", GraphColour(4)};
    area.isPale = true;
    points.channel = outside.channel = channel;
    std::vector<uint8_t> isOutlier(values.size(), 0);
    for (const PatternOutlier& outlier : outliers)
        if ((outlier.kind != OutlierKind::width) == isFrequency) isOutlier[outlier.event] = 1;
    for (size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i])) continue;
        GraphLayer& to = isOutlier[i] ? outside : points;
        to.x.push_back(trends.times[i]);
        to.y.push_back(values[i]);
        to.events.push_back(static_cast<int32_t>(i));
        curve.x.push_back(trends.times[i]);
        curve.y.push_back(fit[i]);
        area.y.push_back(fit[i] + reach);
        area.y2.push_back(fit[i] - reach);
    }
    if (curve.x.empty()) return pane;
    area.x = curve.x;
    pane.layers = {std::move(area), std::move(curve), std::move(points)};
    if (!outside.x.empty()) pane.layers.push_back(std::move(outside));
    return pane;
}

}  // namespace

std::optional<Graph> CEventRhythmHelper::GetGraph() {
    if (!Document()) return Graph{{GraphPane{"frequency"}, GraphPane{"duration"}}, 1, true};
    const Analysed& now = Now();
    return Graph{{TrendPane(now.trends, true, m_dOutlierLimit, now.outliers, m_nDestination),
                  TrendPane(now.trends, false, m_dOutlierLimit, now.outliers, m_nDestination)},
                 1,
                 true};
}

Findings CEventRhythmHelper::GetFindings() {
    Findings findings;
    findings.columns = {{"ID", {}},    {"Onset", "ms"}, {"Outlier", {}},  {"Value", {}},
                        {"Trend", {}}, {"Fix", {}},     {"Fix on", "ms"}, {"Fix off", "ms"}};
    if (!Document()) return findings;
    const Analysed& now = Now();
    for (const PatternOutlier& outlier : now.outliers) {
        findings.isCut = findings.rows.size() == mostFindings;
        if (findings.isCut) break;
        const CEventKM& event = now.pattern.events[outlier.event];
        const bool isOfTwo = outlier.kind != OutlierKind::width;
        const CEventKM& last = now.pattern.events[outlier.event + (isOfTwo ? 1 : 0)];
        Finding finding{event.onPosition, std::max(event.offPosition, last.offPosition), {}};
        finding.values = {static_cast<int64_t>(outlier.event) + 1,
                          Document()->TimeOf(event.onPosition),
                          std::string(OutlierKindName(outlier.kind)),
                          outlier.value,
                          outlier.trend,
                          std::string(FixKindName(outlier.fix.kind)),
                          {},
                          {}};
        if (!outlier.fix.spans.empty()) {
            finding.values[6] = Document()->TimeOf(outlier.fix.spans.front().first);
            finding.values[7] = Document()->TimeOf(outlier.fix.spans.back().second);
        }
        findings.rows.push_back(std::move(finding));
    }
    return findings;
}

std::vector<Result> CEventRhythmHelper::Results() {
    if (!Document() || RhythmChannel().GetNumEvents() == 0) return {};
    const Analysed& now = Now();
    Findings found = GetFindings();
    const auto few = [&](const RobustPolynomial& trend, const char* what, Result& result) {
        if (!trend.TellsDistances())
            result.values.emplace_back(
                what,
                fmt::format("{} values are too few to tell outliers of degree {}: at least {} are needed",
                            trend.fit.size(), m_nDegree, 2 * trend.scaledPowers.size() + 1));
    };
    Result outliers{"Outliers",
                    {{"Events", static_cast<int64_t>(now.pattern.events.size())},
                     {"Outliers", static_cast<int64_t>(now.outliers.size())},
                     {"Fixed", static_cast<int64_t>(m_fixed.size())}},
                    found.columns,
                    {}};
    few(now.trends.frequencyTrend, "Frequency", outliers);
    few(now.trends.durationTrend, "Duration", outliers);
    std::vector<std::vector<ResultValue>> rows;
    for (Finding& finding : found.rows) rows.push_back(std::move(finding.values));
    outliers.SetRows(std::move(rows));
    Result fit{"Trends",
               {},
               {{"Time", "ms"}, {"Freq raw", "Hz"}, {"Freq fit", "Hz"}, {"Dur raw", "ms"}, {"Dur fit", "ms"}},
               {}};
    fit.values = {{"MAD freq", now.trends.frequencyTrend.mad}, {"MAD dur", now.trends.durationTrend.mad}};
    for (size_t k = 0; k < now.trends.frequencyTrend.powers.size(); ++k)
        fit.values.emplace_back(fmt::format("CC{} freq", k), now.trends.frequencyTrend.powers[k]);
    for (size_t k = 0; k < now.trends.durationTrend.powers.size(); ++k)
        fit.values.emplace_back(fmt::format("CC{} dur", k), now.trends.durationTrend.powers[k]);
    fit.rows = [trends = now.trends](const ResultRowSink& sink) {
        for (size_t i = 0; i < trends.times.size(); ++i) {
            const ResultValue row[] = {trends.times[i], Finite(trends.frequency[i]),
                                       Finite(trends.frequencyFit[i]), trends.duration[i],
                                       trends.durationFit[i]};
            if (!sink(row)) return false;
        }
        return true;
    };
    return {std::move(outliers), std::move(fit)};
}

void CEventRhythmHelper::WriteResult(const TextSink& sink) {
    if (!Document() || RhythmChannel().GetNumEvents() == 0) return;
    const PatternTrends& trends = Now().trends;
    const RobustPolynomial &frequency = trends.frequencyTrend, &duration = trends.durationTrend;
    std::string text = "\tFreq\tDur\r\n" + fmt::format("MAD\t{:f}\t{:f}\r\n", frequency.mad, duration.mad);
    for (size_t k = 0; k < duration.powers.size(); ++k)
        text +=
            fmt::format("CC{}\t{:g}\t{:g}\r\n", k,
                        k < frequency.powers.size() ? frequency.powers[k] : noStatistic, duration.powers[k]);
    text += fmt::format("MAD freq\t{:f}\tMAD dur\t{:f}\r\n", frequency.mad, duration.mad);
    text += "Time\tFreq raw\tFreq fit\tDur raw\tDur fit\r\n";
    if (!sink(text)) return;
    for (size_t i = 0; i < trends.times.size(); ++i)
        if (!sink(fmt::format("{:f}\t{:f}\t{:f}\t{:f}\t{:f}\r\n", trends.times[i], trends.frequency[i],
                              trends.frequencyFit[i], trends.duration[i], trends.durationFit[i])))
            return;
}

void CEventRhythmHelper::ExportFit() {
    if (!Document()) return;
    SaveTextLines(*this, {"Export fit", " fit.txt", "The fit"},
                  [this](const TextSink& sink) { WriteResult(sink); });
}

// --- parameters ---

void CEventRhythmHelper::Describe(ParamList& list) {
    DescribeSource(list);
    DescribeRoute(list);
    list.Group("Outliers");
    list.Integer("degree", "Degree of trends", m_nDegree)
        .Limits(1, greatestDegree)
        .Spin()
        .Tip("Of the polynomials that are fitted, robustly, to frequency and duration against time");
    list.Number("outlierLimit", "Outlier limit", m_dOutlierLimit)
        .Unit("MAD")
        .Limits(0.0, 1e6)
        .Step(0.5)
        .Tip("Set the limits (*MAD) defining outliers for Autofix and Manual scan.");
    list.Flag("autofix", "Autofix", m_bAutofix)
        .Tip("Mends all outliers for which there is a fix: adds missing events, deletes or merges those that "
             "come too "
             "soon, and gives those of a wrong width that of the trend");
    DescribeEditing(list);
    DescribeRegion(list);
    DescribeDestination(list);
    list.Find("destination")->With(&Field::label, std::string("Rhythm channel"));
    list.Group("Results");
    list.Action("exportFit", "Export fit...", [this] { ExportFit(); })
        .Tip("Saves the trends and the values that they were fitted to as a text file");
}

void CEventRhythmHelper::DescribeRoute(ParamList& list) {
    list.Group("Pattern");
    list.Choice("route", "Route", m_nRoute, {std::begin(routeWords), std::end(routeWords)})
        .Tip("How the rhythm channel is filled: by the hills or valleys of the trace; by joining source "
             "events with short gaps; by bursts of "
             "source events; "
             "or not at all");
    DescribeHills(list);
    const auto joins = [this] { return Is(PatternRoute::minOffOn); };
    list.Number("minimumOffTime", "Minimum off time", m_dMinimumOff)
        .Unit("ms")
        .Limits(0.0, longestTime)
        .Tip("Source events that are separated by less become one")
        .EnabledIf(joins);
    list.Number("minimumOnTime", "Minimum on time", m_dMinimumOn)
        .Unit("ms")
        .Limits(0.0, longestTime)
        .Tip("Shorter events are left out")
        .EnabledIf(joins);
    const auto isPoisson = [this] { return Is(PatternRoute::poisson); };
    list.Number("surpriseLevel", "Surprise level", m_fSurprise)
        .Limits(0.0, 1e6)
        .Step(0.5)
        .Tip("-log10 of the probability below which a stretch is a burst")
        .EnabledIf(isPoisson);
    list.Number("maxInBurstInterval", "Max in-burst interval", m_fMaxInBurst)
        .Unit("ms")
        .Limits(0.0, longestTime)
        .Tip("The longest interval that a burst may hold")
        .EnabledIf(isPoisson);
    list.Integer("minEvents", "Min number of source events", m_nMinEvents)
        .Limits(2, 1e9)
        .Spin()
        .Tip("Bursts with fewer events are left out")
        .EnabledIf(isPoisson);
}

void CEventRhythmHelper::DescribeHills(ParamList& list) {
    const auto isHills = [this] { return Is(PatternRoute::hillValley); };
    list.Find("trace")->EnabledIf(isHills);
    list.Choice("direction", "Direction", m_nDirection, {"peaks", "troughs"})
        .Buttons()
        .Tip("Hills of the trace; Valleys of the trace")
        .EnabledIf(isHills);
    list.Number("upSlope", "Up slope", m_fUpSlope)
        .Unit("%")
        .Limits(0.0, 100.0)
        .Tip("Threshold for start of hill (0 = preceding trough, 100 = current peak)")
        .EnabledIf(isHills);
    list.Number("downSlope", "Down slope", m_fDownSlope)
        .Unit("%")
        .Limits(0.0, 100.0)
        .Tip("Threshold for end of hill (0 = following trough, 100 = current peak)")
        .EnabledIf(isHills);
    list.Choice("measureFrom", "Measure from", m_nMeasureFrom, {"centre", "edge"})
        .Buttons()
        .Tip("Measure the slope fraction defining event start/end from the peak; Measure the slope fraction "
             "defining "
             "event start/end from the two valleys surrounding the peak")
        .EnabledIf(isHills);
    const auto height = [&](const char* key, const char* label, float& value, const char* tip) {
        list.Number(key, label, value).Limits(0.0, mostFloat).Tip(tip).EnabledIf(isHills);
    };
    height("mergeFoothills", "Merge foothills", m_fMergeFoothills,
           "Hills whose shorter side is lower than this become part of their neighbours");
    height("excludeMolehills", "Exclude molehills", m_fExcludeMolehills,
           "Hills of which a side is lower than this are left out");
}

void CEventRhythmHelper::DescribeEditing(ParamList& list) {
    list.Group("Manual editing");
    list.Action("addAtCursors", "New event", [this] { EditAtCursors(PatternEdit::add); })
        .Tip("Makes a pattern event of the source events between the two vertical cursors");
    list.Action("mergeAtCursors", "Merge", [this] { EditAtCursors(PatternEdit::merge); })
        .Tip("Makes one of the two pattern events between the two vertical cursors");
    list.Action("deleteAtCursors", "Delete", [this] { EditAtCursors(PatternEdit::remove); })
        .Tip("Deletes the pattern events between the two vertical cursors");
    list.Choice("edit", "In a run", m_nEdit, {"merge", "new event", "delete"})
        .Tip("What a run does between the two times that follow, where they differ");
    list.Number("mergeFrom", "From", m_dMergeFrom)
        .Unit("ms")
        .Limits(0.0, std::numeric_limits<double>::max())
        .Tip("The start-time cursor of an edit that is done by a run; the same time twice: none");
    list.Number("mergeTo", "To", m_dMergeTo)
        .Unit("ms")
        .Limits(0.0, std::numeric_limits<double>::max())
        .Tip("The end-time cursor of an edit that is done by a run");
}

void CEventRhythmHelper::Serialize(CArchive& archive) {
    CEventAnalRgnBase::Serialize(archive);
    ExchangeVersion(archive, helperVersion, ClassName());
    Exchange(archive, m_bAppendParams);
    Exchange(archive, m_nRoute);
    Exchange(archive, m_nDirection);
    Exchange(archive, m_fUpSlope);
    Exchange(archive, m_fDownSlope);
    Exchange(archive, m_nMeasureFrom);
    Exchange(archive, m_fMergeFoothills);
    Exchange(archive, m_fExcludeMolehills);
    Exchange(archive, m_dMinimumOff);
    Exchange(archive, m_dMinimumOn);
    Exchange(archive, m_fSurprise);
    Exchange(archive, m_fMaxInBurst);
    Exchange(archive, m_nMinEvents);
    Exchange(archive, m_nDegree);
    Exchange(archive, m_dOutlierLimit);
    Exchange(archive, m_bAutofix);
    Exchange(archive, m_nEdit);
    Exchange(archive, m_dMergeFrom);
    Exchange(archive, m_dMergeTo);
}

}  // namespace kymora
