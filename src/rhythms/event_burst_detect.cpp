#include "rhythms/event_burst_detect.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "numerics/decimal.h"
#include "rhythms/poisson_bursts.h"
#include "rhythms/rank_bursts.h"
#include "statistics/binning.h"
#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr uint32_t burstVersion = 5;
constexpr const char* methodWords[] = {"Poisson surprise", "Rank surprise", "Manual",
                                       "Log interval histogram"};
constexpr double longestInterval = 1e9;  // ms
constexpr size_t leastRankEvents = 3;    // of a stretch of two intervals
constexpr size_t fewEvents = 1000;       // as many need no progress
constexpr double workOfPair = 0.02;  // of reading a sample, as a stretch of two events of a long run costs
constexpr int binsPerDecade = 20, linearBins = 60;

std::vector<double> Edges(double from, double to, int count, bool isLog) {
    std::vector<double> edges;
    const BinGrid grid{count, from, to};
    for (int i = 0; i <= count; ++i) edges.push_back(isLog ? std::pow(10.0, grid.Edge(i)) : grid.Edge(i));
    return edges;
}

// Counts of intervals; of logarithms bins that are equally wide in them, with edges in ms.
GraphLayer IntervalBars(std::vector<double> intervals, double longestInBurst, bool isLog) {
    if (isLog) {
        std::erase_if(intervals, [](double interval) { return !(interval > 0.0); });
        for (double& interval : intervals) interval = std::log10(interval);
    }
    GraphLayer bars{LayerKind::bars, "", GraphColour(0)};
    if (intervals.empty()) return bars;
    std::ranges::sort(intervals);
    double from = 0.0, to = 0.0;
    int count = linearBins;
    if (isLog) {
        from = std::floor(intervals.front() * binsPerDecade) / binsPerDecade;
        to = (std::floor(intervals.back() * binsPerDecade) + 1.0) / binsPerDecade;
        count = static_cast<int>(std::round((to - from) * binsPerDecade));
    } else {
        // A few long ones would leave no room for the others.
        const auto most = static_cast<double>(intervals.size() - 1);
        to = std::max({intervals[static_cast<size_t>(0.95 * most)], 3.0 * longestInBurst, 1e-9});
    }
    const Histogram counts = GetHistogram(intervals, {count, from, to});
    bars.x = Edges(from, to, count, isLog);
    bars.y.assign(counts.Counts().begin(), counts.Counts().end());
    return bars;
}

}  // namespace

// --- the search ---

class CEventBurstDetect::Job : public EventGroupJob {
  public:
    BurstMethod way = BurstMethod::poisson;
    PoissonSettings poisson;
    RankSettings rank;
    IntervalLimitsOfBursts limits;
    BurstFilter filter;
    std::optional<double> cut;  // ms

    // For whether it is done here or on another thread.
    int64_t Samples() const override {
        if (way != BurstMethod::poisson && way != BurstMethod::rank) return Events();
        double pairs = 0.0;
        for (const EventTrain& train : trains)
            for (size_t i = 0, run = 0; i < train.Intervals(); ++i) {
                run = train.Interval(i) <= poisson.maxInterval ? run + 1 : 0;
                pairs += static_cast<double>(run);
            }
        return Events() + static_cast<int64_t>(std::min(pairs * workOfPair, 1e15));
    }

    void Compute(SampleReader&, JobContext& context) override {
        const auto total = static_cast<uint64_t>(Events());
        ProgressScope progress(context, "Finding bursts", total, fewEvents);
        uint64_t before = 0;
        for (size_t i = 0; i < trains.size() && !isTruncated; ++i) {
            const auto events = static_cast<double>(trains[i].Size());
            const FoundStretches bursts = Find(trains[i], context, [&](double done) {
                return progress.GoesOn(before + static_cast<uint64_t>(done * events));
            });
            isTruncated = bursts.isEnded;
            Take(i, FilterBursts(trains[i], bursts.stretches, filter));
            before += trains[i].Size();
        }
        if (isTruncated) context.Warn(endedEarlyText);
        Finish();
    }

  private:
    bool isTold = false;  // of blocks that are left out; there may be one in each gate

    // Neither a rate nor ranks.
    bool IsAtOneSample(const EventTrain& train) const {
        const size_t least = way == BurstMethod::poisson ? leastPoissonEvents : leastRankEvents;
        const bool isSurprise = way == BurstMethod::poisson || way == BurstMethod::rank;
        return isSurprise && train.Size() >= least && train.onsets.front() == train.onsets.back();
    }
    FoundStretches Find(const EventTrain& train, JobContext& context, const Poll& poll) {
        if (IsAtOneSample(train)) {
            if (!std::exchange(isTold, true)) context.Warn(oneSampleText);
            return {};
        }
        switch (way) {
        case BurstMethod::poisson:
            return FindPoissonBursts(train, poisson, poll);
        case BurstMethod::rank: {
            const std::vector<double> ranks = RanksOf(train);
            const auto [least, most] = ranks.empty() ? std::pair(0.0, 0.0) : Ends(ranks);
            notes.push_back(
                fmt::format("min rank = {:f}, max rank = {:f}, count = {}\n", least, most, ranks.size()));
            return FindRankBursts(train, ranks, rank, poll);
        }
        default:
            if (static_cast<int64_t>(train.Size()) < filter.minEvents) return {};
            return {FindIntervalBursts(train, limits), false};
        }
    }
    static std::pair<double, double> Ends(const std::vector<double>& values) {
        const auto [least, most] = std::ranges::minmax(values);
        return {least, most};
    }
};

// A look ahead takes the percentile without setting it.
std::unique_ptr<OperationJob> CEventBurstDetect::MakeJob() {
    if (!IsLookingAhead()) return MakeSearch();
    const float inBurst = m_fMaxInBurst, within = m_fMaxWithin;
    std::unique_ptr<OperationJob> job;
    try {
        job = MakeSearch();
    } catch (const JobRefused&) {
        // A run will tell it.
    }
    m_fMaxInBurst = inBurst;
    m_fMaxWithin = within;
    return job;
}

std::unique_ptr<OperationJob> CEventBurstDetect::MakeSearch() {
    if (m_bUsePercentile && Document()->GetNumEvents(m_nChannel1) > 0 && !TakePercentile()) return nullptr;
    auto job = std::make_unique<Job>();
    if (!TakeSource(*job)) return nullptr;
    static constexpr int32_t stored[] = {methodPoissonSurprise, methodRankSurprise, methodManualBurst,
                                         methodManualBurst};
    job->method = stored[m_nMethod];
    job->way = static_cast<BurstMethod>(m_nMethod);
    const int64_t longest = SamplesOf(DecimalOf(m_fMaxInBurst));
    job->poisson = {DecimalOf(m_fSurprise), longest, m_nMinEvents};
    job->rank = {DecimalOf(m_fSurprise), longest};
    job->limits = {longest, SamplesOf(DecimalOf(m_fMaxWithin))};
    job->filter = {Filters(), SamplesOf(DecimalOf(m_fMinInterBurst)), SamplesOf(DecimalOf(m_fMinDuration)),
                   m_nMinEvents};
    if (Is(BurstMethod::logIntervals)) {
        const auto cut = FindIntervalCut(IntervalsMs(), DecimalOf(m_fMaxInBurst));
        if (!cut) throw JobRefused(noCutText);
        job->cut = cut->interval;
        // Intervals of just the limit lie within.
        job->limits = {SamplesOf(cut->interval) + 1, SamplesOf(cut->interval)};
    }
    const bool isEnough = std::ranges::any_of(
        job->trains, [&](const EventTrain& train) { return std::ssize(train.onsets) >= m_nMinEvents; });
    if (!IsSurprise() && !isEnough) Tell(OfFile(tooFewForManualText));
    return job;
}

void CEventBurstDetect::TakeFound(const EventJob& job) { m_cut = static_cast<const Job&>(job).cut; }

bool CEventBurstDetect::FinishFound(CEventChan& chan, const EventJob&, size_t) {
    BeginRecord(chan);
    chan.detection.burstSourceChannel = m_nChannel1;
    chan.detection.burstSurprise = DecimalOf(m_fSurprise);
    return true;
}

bool CEventBurstDetect::TakePercentile() {
    if (!Document()) return false;
    std::vector<double> intervals = IntervalsMs();
    if (Document()->GetNumEvents(m_nChannel1) < 2) {
        Refuse(tooFewSourceEventsText);
        return false;
    }
    if (intervals.size() < 3) {
        Refuse(tooFewIntervalsText);
        return false;
    }
    const auto rank = PercentileRank(std::ssize(intervals), DecimalOf(m_fPercentile));
    const auto at = intervals.begin() + (rank - 1);
    std::nth_element(intervals.begin(), at, intervals.end());
    m_fMaxInBurst = m_fMaxWithin = static_cast<float>(*at);
    m_bUsePercentile = true;
    return true;
}

// --- the table ---

std::vector<ResultColumn> CEventBurstDetect::GroupColumns() const {
    return {{"Events", {}}, {"Mean rate", "Hz"}, {"Surprise", {}}};
}

std::vector<ResultValue> CEventBurstDetect::GroupValues(const EventTrain& train,
                                                        const EventStretch& events) const {
    const int64_t duration = int64_t{train.onsets[static_cast<size_t>(events.last)]} -
                             train.onsets[static_cast<size_t>(events.first)];
    std::vector<ResultValue> values{int64_t{events.Count()}, {}, {}};
    if (duration > 0)
        values[1] = 1000.0 * (events.Count() - 1) / TimeOfSamples(static_cast<double>(duration));
    if (IsSurprise()) values[2] = events.surprise;
    return values;
}

// --- the graph ---

void CEventBurstDetect::AddLines(GraphPane& pane, std::span<const double> intervals) const {
    if (m_bShowLimits) {
        const bool isManual = Is(BurstMethod::manual);
        pane.lines.push_back({true, DecimalOf(m_fMaxInBurst), GraphColour(1),
                              isManual ? "max start interval" : "max in-burst interval",
                              "maxInBurstInterval"});
        if (isManual)
            pane.lines.push_back({true, DecimalOf(m_fMaxWithin), GraphColour(3), "max interval within burst",
                                  "maxIntervalWithinBurst"});
    }
    if (!m_bShowCut) return;
    if (const auto cut = FindIntervalCut(intervals, DecimalOf(m_fMaxInBurst)))
        pane.lines.push_back({true, cut->interval, GraphColour(2), "automatic cut", ""});
}

std::optional<Graph> CEventBurstDetect::GetGraph() {
    GraphPane pane{"intervals"};
    pane.x.title = m_bLogHistogram ? "log interval (ms)" : "interval (ms)";
    pane.x.isLog = m_bLogHistogram;
    pane.y.title = "count";
    const std::vector<double> intervals = IntervalsMs();
    GraphLayer bars = IntervalBars(intervals, DecimalOf(m_fMaxInBurst), m_bLogHistogram);
    if (!bars.y.empty()) {
        AddLines(pane, intervals);
        if (!m_bLogHistogram) pane.x.limits = {bars.x.front(), bars.x.back()};
        pane.layers.push_back(std::move(bars));
    }
    return Graph{{std::move(pane)}};
}

// --- parameters ---

void CEventBurstDetect::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Method");
    list.Choice("method", "Method", m_nMethod, {std::begin(methodWords), std::end(methodWords)})
        .Tip("How unlikely a stretch of short intervals is by chance, against a Poisson train of the same "
             "rate, or by "
             "the ranks of its intervals; two limits of intervals; or the limit between the two peaks of the "
             "histogram of log intervals");
    list.Number("surpriseLevel", "Surprise level", m_fSurprise)
        .Limits(0.0, 1e6)
        .Step(0.5)
        .Tip("-log10 of the probability below which a stretch is a burst: 2 stands for 0.01")
        .EnabledIf([this] { return IsSurprise(); });
    DescribeIntervals(list);
    DescribeFilter(list);
    DescribeRegion(list);
    DescribeDestination(list);
    list.Group("Graph");
    list.Flag("logHistogram", "Log histogram", m_bLogHistogram).Tip("Shows the intervals on a log axis");
    list.Flag("showLimits", "Show limits", m_bShowLimits)
        .Tip("Shows the interval limits as lines in the histogram, which can be dragged");
    list.Flag("showCut", "Show automatic cut", m_bShowCut)
        .Tip("Shows where short and long intervals part by the histogram of log intervals, if they do");
}

void CEventBurstDetect::DescribeIntervals(ParamList& list) {
    const auto isTyped = [this] { m_bUsePercentile = false; };
    list.Number("maxInBurstInterval",
                Is(BurstMethod::manual) ? "Max start interval" : "Max in-burst interval", m_fMaxInBurst)
        .Unit("ms")
        .Limits(0.0, longestInterval)
        .Tip("Surprise: the longest interval that a burst may hold. Manual: an interval shorter than this "
             "opens a "
             "burst. Log interval histogram: the peak of the intervals within bursts lies below it")
        .Linked({"usePercentile"})
        .OnChange(isTyped);
    list.Number("maxIntervalWithinBurst", "Max interval within burst", m_fMaxWithin)
        .Unit("ms")
        .Limits(0.0, longestInterval)
        .Tip("Manual: an interval longer than this ends the burst")
        .Linked({"usePercentile"})
        .EnabledIf([this] { return Is(BurstMethod::manual); })
        .OnChange(isTyped);
    list.Flag("usePercentile", "From percentile", m_bUsePercentile)
        .Tip("Sets the longest intervals to a percentile of the intervals in the analysis region, anew in "
             "each run")
        .Linked({"maxInBurstInterval", "maxIntervalWithinBurst"})
        .OnChange([this] {
            if (m_bUsePercentile && Document() && View()) m_bUsePercentile = TakePercentile();
        });
    list.Number("percentile", "Percentile", m_fPercentile)
        .Unit("%")
        .Limits(0.0, 100.0)
        .Tip("Share of the intervals that are no longer")
        .Linked({"maxInBurstInterval", "maxIntervalWithinBurst"})
        .OnChange([this] {
            if (m_bUsePercentile && Document() && View()) TakePercentile();
        });
}

void CEventBurstDetect::DescribeFilter(ParamList& list) {
    list.Group("Filter");
    list.Flag("filter", "Filter", m_bFilter)
        .Tip("Joins and leaves out bursts by time with the surprise methods, too. The number of events "
             "always counts")
        .EnabledIf([this] { return IsSurprise(); });
    const auto filters = [this] { return Filters(); };
    list.Number("minInterBurstInterval", "Min inter-burst interval", m_fMinInterBurst)
        .Unit("ms")
        .Limits(0.0, longestInterval)
        .Tip("Bursts with less between them become one")
        .EnabledIf(filters);
    list.Number("minBurstDuration", "Min burst duration", m_fMinDuration)
        .Unit("ms")
        .Limits(0.0, longestInterval)
        .Tip("Shorter bursts are left out")
        .EnabledIf(filters);
    list.Integer("minEvents", "Min number of source events", m_nMinEvents)
        .Limits(2, 1e9)
        .Spin()
        .Tip("Bursts with fewer events are left out");
}

void CEventBurstDetect::Serialize(CArchive& archive) {
    CEventGroupDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, burstVersion, ClassName());
    Exchange(archive, m_fSurprise);
    Exchange(archive, m_nMethod);
    Exchange(archive, m_fMaxInBurst);
    Exchange(archive, m_fPercentile);
    Exchange(archive, m_fMaxInBurst);  // it stands there twice
    for (float* time : {&m_fMaxWithin, &m_fMinInterBurst, &m_fMinDuration}) Exchange(archive, *time);
    Exchange(archive, m_nMinEvents);
    Exchange(archive, m_bFilter);
    Exchange(archive, m_nDestination);
    for (bool* flag : {&m_bLogHistogram, &m_bShowLimits, &m_bShowCut}) Exchange(archive, *flag);
    if (version < 5) return;
    Exchange(archive, m_bUsePercentile);
    Exchange(archive, m_bAppendParams);
}

void CEventBurstDetect::GetParamText(std::string& text) {
    CEventGroupDlg::GetParamText(text);
    text += fmt::format("Method: {}\r\n", methodWords[std::clamp(m_nMethod, 0, 3)]);
    if (Is(BurstMethod::manual)) {
        text += fmt::format(
            "Max interval to trigger burst = {:f}\r\nMax interval allowed within burst = {:f}\r\n",
            m_fMaxInBurst, m_fMaxWithin);
    } else {
        if (IsSurprise()) text += fmt::format("Surprise level = {:f}\r\n", m_fSurprise);
        text += fmt::format("Max in-burst interval = {:f}\r\n", m_fMaxInBurst);
        if (m_bUsePercentile) text += fmt::format("Max in-burst interval from %ile: {:f}\r\n", m_fPercentile);
    }
    if (Is(BurstMethod::logIntervals) && m_cut) text += fmt::format("Interval cut = {:f}\r\n", *m_cut);
    if (IsSurprise() && m_bFilter) text += "Filter applied\r\n";
    if (Filters())
        text += fmt::format("Min inter-burst interval = {:f}\r\nMin burst duration = {:f}\r\n"
                            "Min number of source events within burst = {}\r\n",
                            m_fMinInterBurst, m_fMinDuration, m_nMinEvents);
}

}  // namespace kymora
