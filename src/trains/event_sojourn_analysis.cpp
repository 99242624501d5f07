#include "trains/event_sojourn_analysis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t sojournVersion = 1;
constexpr int32_t fewestSojournEvents = 20;
constexpr uint64_t sojournPollParts = 1000;
constexpr const char* sojournNames[] = {"Open time", "Closed time"};
constexpr const char* noSojournsText =
    "None of these times is longer than 0 and not shorter than the dead time.";
constexpr const char* noFitText = "No fit was found from these values: they are shown as they were. Start "
                                  "from data, or set means nearer to "
                                  "the durations.";
constexpr const char* noOneMoreText = "One exponential more could not be fitted, and is not compared.";
constexpr const char* wrongMixtureText = "Proportions must be from 0 to 1 and not all 0, means above 0.";

// As a bar of so many counts is shown.
double HeightOf(int32_t display, double count) {
    if (display == sojournRootsOfLog) return std::sqrt(count);
    if (display == sojournCounts) return count;
    return count > 0.0 ? std::log(count) : std::numeric_limits<double>::quiet_NaN();
}

std::string StatisticText(double value) {
    constexpr double mostInFull = 1e15;
    if (!std::isfinite(value)) return "none";
    return std::abs(value) < mostInFull ? fmt::format("{:.6f}", value) : fmt::format("{:.6g}", value);
}

// From 0 to the largest, or from the logarithm of the smallest; the largest is in the last bin.
BinGrid GridOf(const std::vector<double>& durations, int bins, bool isLog) {
    const auto [least, most] = std::ranges::minmax(durations);
    BinGrid grid{bins, isLog ? std::log10(least) : 0.0, isLog ? std::log10(most) : most};
    if (!(grid.minimum < grid.maximum)) grid.maximum = grid.minimum + 0.1;
    grid.maximum = std::nextafter(grid.maximum, std::numeric_limits<double>::infinity());
    return grid;
}

}  // namespace

// --- parameters ---

void CEventSojournAnalysis::Serialize(CArchive& archive) {
    CTrainsBase::Serialize(archive);
    ExchangeVersion(archive, sojournVersion, ClassName());
    for (int32_t* number : {&m_nSojourn, &m_nBins, &m_nDisplay, &m_nExponentials}) Exchange(archive, *number);
    for (auto* numbers : {&m_proportions, &m_means})
        for (double& number : *numbers) Exchange(archive, number);
    Exchange(archive, m_dDeadTime);
    for (bool* flag : {&m_bFit, &m_bSet, &m_bCompare}) Exchange(archive, *flag);
}

// A start that was set is one for the sojourns that are shown. What is given without a window is given as a
// whole, in any order.
void CEventSojournAnalysis::StartAnew() {
    if (IsAttended()) m_bSet = false;
}

void CEventSojournAnalysis::OnEventChanChanged(int channel) {
    StartAnew();
    CTrainsBase::OnEventChanChanged(channel);
}

void CEventSojournAnalysis::Describe(ParamList& list) {
    const auto startAnew = [this] { StartAnew(); };
    DescribeSource(list);
    list.Group("Sojourns");
    list.Choice("sojourn", "Sojourns", m_nSojourn, {std::begin(sojournNames), std::end(sojournNames)})
        .Buttons()
        .Tip("The durations of events, or the intervals from the end of one to the start of the next")
        .OnChange(startAnew);
    list.Number("deadTime", "Dead time", m_dDeadTime)
        .Unit("ms")
        .Limits(0, 1e9)
        .Tip("Shorter sojourns are left out, and the fit knows that they are not seen")
        .OnChange(startAnew);
    list.Integer("binNumber", "Bin number", m_nBins).Limits(1, 10000).Spin().Tip("Bins of the histogram");
    list.Choice("display", "Show", m_nDisplay, {"counts", "ln(n)", "sqrt(n) of log(ms)"})
        .Tip("Plot bin counts against sojourn durations; Plot ln(bin counts) against sojourn durations; Plot "
             "sqrt(counts) against log(sojourn duration)");
    list.Group("Mixture of exponentials");
    list.Flag("fit", "Fit", m_bFit)
        .Tip("Fits the mixture to the durations by maximum likelihood, from the values below where they were "
             "set, "
             "else from the data. Without it the values below are shown as they are");
    list.Integer("exponentials", "Num exponentials", m_nExponentials)
        .Limits(1, static_cast<double>(mostComponents))
        .Spin()
        .Tip("Number of exponentials in the mixture")
        .OnChange(startAnew);
    for (size_t i = 0; i < mostComponents; ++i) {
        const std::string number = std::to_string(i + 1);
        const auto cell = [&](const char* key, const char* label, double& value, const char* tip) {
            list.Number(key + number, std::string(label) + " " + number, value)
                .Tip(tip)
                .Cell(number, label)
                .EnabledIf([this, i] { return static_cast<int32_t>(i) < m_nExponentials; })
                .OnChange([this] { m_bSet = true; });
        };
        cell("proportion", "Prop", m_proportions[i], "Share of this exponential");
        cell("mean", "Mean", m_means[i], "Mean of this exponential, ms");
    }
    list.Action("update", "Update 1",
                [this] {
                    m_bSet = true;
                    m_bFit = true;
                })
        .Settable()
        .Tip("Fits again, from the values as they stand");
    list.Action("fromData", "Start from data", [this] { m_bSet = false; })
        .Settable()
        .Tip("The fit starts from as many groups of equal size as there are exponentials");
    list.Flag("compare", "Compare with one more", m_bCompare)
        .Tip("Also fits one exponential more, and tells by the likelihood ratio whether that is worth it")
        .EnabledIf([this] { return m_bFit && m_nExponentials < static_cast<int32_t>(mostComponents); });
    DescribeRegion(list);
}

Mixture CEventSojournAnalysis::Given() const {
    Mixture mixture{MixtureFamily::exponential, {}};
    double sum = 0.0;
    for (size_t i = 0; i < static_cast<size_t>(m_nExponentials); ++i) {
        mixture.components.push_back({m_proportions[i], m_means[i], m_means[i]});
        sum += m_proportions[i];
    }
    for (MixtureComponent& part : mixture.components) part.proportion /= sum;
    return mixture;
}

void CEventSojournAnalysis::Take(const Mixture& mixture) {
    for (size_t i = 0; i < mixture.components.size(); ++i) {
        m_proportions[i] = mixture.components[i].proportion;
        m_means[i] = mixture.components[i].mean;
    }
}

std::string CEventSojournAnalysis::CheckSettings() {
    if (std::string fault = CTrainsBase::CheckSettings(); !fault.empty()) return fault;
    if (m_bFit && !m_bSet) return {};
    for (size_t i = 0; i < static_cast<size_t>(m_nExponentials); ++i)
        if (!(m_proportions[i] >= 0.0 && m_proportions[i] <= 1.0)) return wrongMixtureText;
    return FaultOf(Given()) == MixtureFault::none ? std::string() : wrongMixtureText;
}

void CEventSojournAnalysis::GetParamText(std::string& text) {
    text += fmt::format("Sojourns: {}\r\nExponentials: {}\r\n", sojournNames[std::clamp(m_nSojourn, 0, 1)],
                        m_nExponentials);
    CTrainsBase::GetParamText(text);
}

void CEventSojournAnalysis::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CTrainsBase::CheckChangeDoc(doc);
}

// --- the run ---

struct CEventSojournAnalysis::Job : OperationJob {
    Found found;
    bool startsFromData = true, compares = false, lacksOneMore = false;
    int exponentials = 1;

    // A fit asks for all durations some thousand times.
    int64_t Samples() const override {
        return static_cast<int64_t>(found.durations.size()) * (found.wantsFit ? 4000 : 1);
    }
    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, "Fitting exponentials", sojournPollParts);
        double before = 0.0;  // the first of two fits is half of the work
        const Poll poll = [&](double done) {
            const double share = before + done * (compares ? 0.5 : 1.0);
            return progress.GoesOn(static_cast<uint64_t>(share * static_cast<double>(sojournPollParts)));
        };
        if (found.wantsFit) {
            const SojournFit fit = Ended(
                startsFromData ? FitSojournsFromData(exponentials, found.durations, found.deadTime, poll)
                               : FitSojourns(found.mixture, found.durations, found.deadTime, poll));
            found.mixture = fit.mixture;
            found.end = fit.end;
            found.isFitted = fit.isFitted;
            before = 0.5;
            if (compares) Compare(fit, poll);
        }
        found.report = ReportOnSojourns(found.mixture, found.durations, found.deadTime);
    }
    void Compare(const SojournFit& fit, const Poll& poll) {
        if (!fit.isFitted) return;
        const SojournFit more = Ended(FitOneMoreSojourn(fit, found.durations, found.deadTime, poll));
        lacksOneMore = !more.isFitted;
        if (more.isFitted) found.oneMore = CompareSojourns(fit.logLikelihood, more.logLikelihood);
    }
    static SojournFit Ended(SojournFit fit) {
        if (fit.end == PowellResult::End::cancelled) throw Cancelled();
        return fit;
    }
};

// Closed times are those between the events of a block.
std::vector<double> CEventSojournAnalysis::TakeDurations(const CDataDoc& doc) {
    std::vector<double> durations;
    const CEventBlock& block = Block();
    const auto take = [&](int64_t samples) {
        const double duration = static_cast<double>(samples) * doc.sampleInterval;
        if (samples > 0 && duration >= m_dDeadTime * (1.0 - 1e-9))
            durations.push_back(std::max(duration, m_dDeadTime));
    };
    for (int b = 0; b < block.GetNumBlocks(); ++b)
        for (int k = 0; k < block.GetNumEvents(b); ++k) {
            if (m_nSojourn == openTimes)
                take(int64_t{block.GetOff(b, k)} - block.GetOn(b, k));
            else if (k > 0)
                take(int64_t{block.GetOn(b, k)} - block.GetOff(b, k - 1));
        }
    return durations;
}

std::unique_ptr<OperationJob> CEventSojournAnalysis::MakeJob() {
    if (TakeStretches().empty()) return nullptr;
    if (Block().GetTotalEvents() < fewestSojournEvents) {
        Refuse(fewSojournsText);
        return nullptr;
    }
    auto job = std::make_unique<Job>();
    Found& found = job->found;
    found.durations = TakeDurations(*Document());
    if (found.durations.empty()) {
        Refuse(noSojournsText);
        return nullptr;
    }
    found.display = m_nDisplay;
    const bool isLog = m_nDisplay == sojournRootsOfLog;
    found.grid = GridOf(found.durations, m_nBins, isLog);
    std::vector<double> values = found.durations;
    if (isLog)
        for (double& value : values) value = std::log10(value);
    const Histogram histogram = GetHistogram(values, found.grid);
    found.counts.assign(histogram.Counts().begin(), histogram.Counts().end());
    found.deadTime = DeadTimeBetweenSamples(m_dDeadTime, Document()->sampleInterval);
    found.wantsFit = m_bFit;
    job->startsFromData = m_bFit && !m_bSet;
    if (!job->startsFromData) found.mixture = Given();
    job->exponentials = m_nExponentials;
    job->compares = m_bCompare && m_nExponentials < static_cast<int32_t>(mostComponents);
    job->reads = {m_nChannel1};
    return job;
}

bool CEventSojournAnalysis::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<Job&>(job);
    m_found = std::move(done.found);
    if (m_found->wantsFit) Take(m_found->mixture);
    if (const std::string text = m_found->FaultOfFit(); !text.empty()) Tell(text);
    if (done.lacksOneMore) Tell(noOneMoreText);
    return true;
}

// --- what it shows ---

std::string CEventSojournAnalysis::Found::FaultOfFit() const {
    if (!wantsFit || isFitted) return {};
    const std::string text = TextOf(end);
    return text.empty() ? noFitText : text;
}

// The counts that the bins would have, drawn between them.
GraphLayer CEventSojournAnalysis::CurveOf(std::span<const MixtureComponent> beyond) const {
    constexpr int points = 400;
    const Found& found = *m_found;
    GraphLayer curve{LayerKind::curve};
    for (int i = 0; i <= points; ++i) {
        const double at = found.grid.minimum + (found.grid.maximum - found.grid.minimum) * i / points;
        const bool isLog = found.display == sojournRootsOfLog;
        const double duration = isLog ? std::pow(10.0, at) : at;
        if (duration < found.deadTime) continue;
        double density = 0.0;  // per ms, or per power of ten
        for (const MixtureComponent& part : beyond)
            density += part.proportion / part.mean * std::exp((found.deadTime - duration) / part.mean);
        if (isLog) density *= duration * std::log(10.0);
        const double count = density * static_cast<double>(found.durations.size()) * found.grid.Width();
        // Logarithms go down for ever, and would leave no room for the bars.
        constexpr double leastCount = 0.1;
        const bool hasPlace = found.display != sojournLogCounts || count >= leastCount;
        curve.x.push_back(at);
        curve.y.push_back(hasPlace ? HeightOf(found.display, count)
                                   : std::numeric_limits<double>::quiet_NaN());
    }
    return curve;
}

std::optional<Graph> CEventSojournAnalysis::GetGraph() {
    GraphPane pane{"sojourns"};
    if (!m_found) return Graph{{std::move(pane)}};
    const Found& found = *m_found;
    const char* const heights[] = {"n", "ln(n)", "sqrt(n)"};
    pane.x.title =
        found.display == sojournRootsOfLog ? "log(ms)" : std::string(sojournNames[m_nSojourn]) + " (ms)";
    pane.x.limits = {found.grid.minimum, found.grid.maximum};
    pane.y.title = heights[found.display];
    GraphLayer bars{LayerKind::bars, "", GraphColour(0)};
    for (int edge = 0; edge <= found.grid.count; ++edge) bars.x.push_back(found.grid.Edge(edge));
    for (const double count : found.counts) bars.y.push_back(HeightOf(found.display, count));
    if (found.display == sojournLogCounts) bars.base = -std::numeric_limits<double>::infinity();
    bars.isPale = true;
    pane.layers.push_back(std::move(bars));
    const std::vector<MixtureComponent> beyond = MixtureBeyond(found.mixture, found.deadTime);
    GraphLayer all = CurveOf(beyond);
    all.name = found.isFitted ? "fit" : "mixture";
    all.colour = GraphColour(2);
    pane.layers.push_back(std::move(all));
    for (size_t i = 0; i < beyond.size() && beyond.size() > 1; ++i) {
        GraphLayer one = CurveOf(std::span(beyond).subspan(i, 1));
        one.colour = GraphColour(2);
        one.isDashed = true;
        pane.layers.push_back(std::move(one));
    }
    return Graph{{std::move(pane)}};
}

void CEventSojournAnalysis::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    const Found& found = *m_found;
    std::string text =
        fmt::format("Sojourns:\t{}\r\n\r\nExponential\tProp\tMean (ms)\r\n", found.durations.size());
    for (size_t i = 0; i < found.mixture.components.size(); ++i)
        text += fmt::format("{}\t{:.6g}\t{:.6g}\r\n", i + 1, found.mixture.components[i].proportion,
                            found.mixture.components[i].mean);
    text += fmt::format("Log-likelihood:\t{}\r\nAICc:\t{}\r\nBIC:\t{}\r\n",
                        StatisticText(found.report.logLikelihood), StatisticText(found.report.aicc),
                        StatisticText(found.report.bic));
    if (const std::string fault = found.FaultOfFit(); !fault.empty()) text += fault + "\r\n";
    if (found.oneMore)
        text += fmt::format("One exponential more:\tlikelihood ratio {:.4f}\tp {:.4g}\r\n",
                            found.oneMore->statistic, found.oneMore->p);
    sink(text);
}

std::vector<Result> CEventSojournAnalysis::Results() {
    if (!m_found) return {};
    const Found& found = *m_found;
    Result fit{"mixture",
               {{"sojourns", static_cast<int64_t>(found.durations.size())},
                {"log-likelihood", found.report.logLikelihood},
                {"AICc", found.report.aicc},
                {"BIC", found.report.bic},
                {"free parameters", int64_t{found.report.freeParameters}},
                {"fitted", int64_t{found.isFitted}}},
               {{"exponential", {}}, {"proportion", {}}, {"mean", "ms"}},
               {}};
    if (found.oneMore) {
        fit.values.emplace_back("likelihood ratio of one more", found.oneMore->statistic);
        fit.values.emplace_back("p of one more", found.oneMore->p);
    }
    std::vector<std::vector<ResultValue>> parts, bins;
    for (size_t i = 0; i < found.mixture.components.size(); ++i)
        parts.push_back({static_cast<int64_t>(i + 1), found.mixture.components[i].proportion,
                         found.mixture.components[i].mean});
    fit.SetRows(std::move(parts));
    const bool isLog = found.display == sojournRootsOfLog;
    const std::string unit = isLog ? "log10 ms" : "ms";
    Result histogram{"sojourns", {}, {{"from", unit}, {"to", unit}, {"n", {}}}, {}};
    for (int bin = 0; bin < found.grid.count; ++bin)
        bins.push_back(
            {found.grid.Edge(bin), found.grid.Edge(bin + 1), found.counts[static_cast<size_t>(bin)]});
    histogram.SetRows(std::move(bins));
    return {std::move(fit), std::move(histogram)};
}

}  // namespace kymora
