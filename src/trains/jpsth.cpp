#include "trains/jpsth.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "drawing/draw_device.h"
#include "histograms/histogram.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t jpsthVersion = 1;
constexpr uint64_t jointPollParts = 1000;
constexpr int mostJointBins = 1000;
constexpr const char* jointFormNames[] = {"raw", "predictor", "corrected", "normalized", "surprise"};
constexpr std::pair<double, double> surpriseLimits{-3.0, 4.6};
constexpr const char* longPreStimulusText =
    "The pre-stimulus time is longer than all bins together. Choose a shorter one, or more bins.";
constexpr const char* noStimuliText = "There are no events of channel {} in the analysis region.";
constexpr const char* noSpikesText = "There are no events in channel {}.";
constexpr const char* notCoefficientText =
    "Counts are not divided by the number of stimuli: the normalized matrix is no correlation coefficient. "
    "Normalise by stimulus count to make it one.";

// Whole counts with all their digits, and 0 without a sign.
std::string Figures(double value) {
    const bool isWhole = value == std::trunc(value) && std::abs(value) < 1e15;
    return isWhole ? fmt::format("{:.0f}", value + 0.0) : fmt::format("{:.9g}", value);
}

// Where target - reference is `lag`, from one border of the matrix to the other, all in ms.
GraphLayer LineAlong(double lag, double start, double end, uint32_t colour) {
    GraphLayer line{LayerKind::curve, "", colour};
    line.x = {start + std::max(lag, 0.0), end + std::min(lag, 0.0)};
    line.y = {line.x[0] - lag, line.x[1] - lag};
    line.isSilent = true;
    line.isRimmed = true;
    return line;
}

}  // namespace

// --- parameters ---

void CJPSTH::Serialize(CArchive& archive) {
    CTrainsBase::Serialize(archive);
    ExchangeVersion(archive, jpsthVersion, ClassName());
    Exchange(archive, m_nChannel3);
    Exchange(archive, m_nBins);
    Exchange(archive, m_fBinWidth);
    Exchange(archive, m_fPreStimulusTime);
    if (!archive.IsStoring()) m_fAskedTime = m_fAdjustedTime = m_fPreStimulusTime;
    for (int32_t* number : {&m_nUpperDiagonal, &m_nLowerDiagonal, &m_nSmoothHalfWindow, &m_nShow})
        Exchange(archive, *number);
    Exchange(archive, m_bNormaliseByStimulus);
    Exchange(archive, m_nPredictor);
    Exchange(archive, m_bGreys);
}

int64_t CJPSTH::BinSamples() const { return std::max<int64_t>(1, InSamples(m_fBinWidth)); }

int CJPSTH::PreBins() const {
    // What was asked for, which another width may suit better than the one that it was adjusted to.
    const float asked = m_fPreStimulusTime == m_fAdjustedTime ? m_fAskedTime : m_fPreStimulusTime;
    return static_cast<int>(std::lround(std::min(asked / BinWidth(), double{mostJointBins} + 1.0)));
}

// To whole samples and whole bins.
void CJPSTH::Adjust() {
    if (!Document() || !NarrowFault().empty()) return;
    m_fBinWidth = static_cast<float>(BinWidth());
    const auto adjusted = static_cast<float>(PreBins() * BinWidth());
    if (m_fPreStimulusTime != m_fAdjustedTime) m_fAskedTime = m_fPreStimulusTime;
    m_fPreStimulusTime = m_fAdjustedTime = adjusted;
}

std::string CJPSTH::NarrowFault() const {
    const CDataDoc* doc = Document();
    const bool isNarrow = doc && double{m_fBinWidth} < doc->sampleInterval * (1.0 - 1e-6);
    return isNarrow ? fmt::format(narrowJointBinText, doc->sampleInterval) : std::string();
}

void CJPSTH::Describe(ParamList& list) {
    list.Group("Channels");
    DescribeChannel(list, "stimulusChannel", "Stimulus", m_nChannel1, "Set event channel marking stimulus");
    DescribeChannel(list, "targetChannel", "Target (X)", m_nChannel2,
                    "Set event channel marking spikes in target trace");
    DescribeChannel(list, "referenceChannel", "Reference (Y)", m_nChannel3,
                    "Set event channel marking spikes in reference trace");
    list.Group("Bins");
    list.Integer("binNumber", "Bins", m_nBins)
        .Limits(2, mostJointBins)
        .Spin()
        .Tip("Set number of bins in analysis matrix and histograms");
    list.Number("binWidth", "Bin width", m_fBinWidth)
        .Unit("ms")
        .Tip("Set width (ms) of each bin in analysis. Will adjust to nearest allowed value.")
        .Linked({"preStimulusTime"})
        .PutBackIf([this] { return NarrowFault(); })
        .OnChange([this] { Adjust(); });
    list.Number("preStimulusTime", "Pre-stimulus", m_fPreStimulusTime)
        .Unit("ms")
        .Limits(0, mostFloat)
        .Tip("Set pre-stimulus time to include in analysis. Will adjust to nearest allowed value.")
        .OnChange([this] {
            m_fAskedTime = m_fAdjustedTime = m_fPreStimulusTime;
            Adjust();
        });
    list.Note("postStimulusTime", "Post-stimulus", [this]() -> std::string {
        return fmt::format("{:g} ms", m_nBins * double{m_fBinWidth} - double{m_fPreStimulusTime});
    });
    list.Flag("normaliseByStimulus", "Normalise by stimulus count", m_bNormaliseByStimulus)
        .Tip("Check to normalize spike counts by dividing by stimulus count. Only so is the normalized "
             "matrix a "
             "correlation coefficient");
    list.Group("Matrix");
    list.Choice("show", "Show", m_nShow, {std::begin(jointFormNames), std::end(jointFormNames)})
        .Tip("Coincidences; what chance makes of them; their difference; that in units of both s.d.s; how "
             "improbable it is");
    list.Choice("predictor", "Chance", m_nPredictor, {"product", "shift", "shuffle"})
        .Tip("What the trains would do by chance: the product of both histograms; the reference with the "
             "target "
             "around the next stimulus; the same with all other stimuli");
    list.Flag("grayscale", "Grayscale", m_bGreys).Tip("Show the matrix in greys in place of the colour map");
    list.Group("Coincidence");
    list.Integer("upperDiagonal", "Upper diagonal", m_nUpperDiagonal)
        .Limits(0, mostJointBins)
        .Spin()
        .Tip("Set upper diagonal for inclusion in coincidence histogram (>=0)");
    list.Integer("lowerDiagonal", "Lower diagonal", m_nLowerDiagonal)
        .Limits(-mostJointBins, 0)
        .Spin()
        .Tip("Set lower diagonal for inclusion in coincidence histogram (<=0)");
    list.Integer("smoothHalfWindow", "Smooth half window", m_nSmoothHalfWindow)
        .Unit("bins")
        .Limits(0, mostJointBins)
        .Spin()
        .Tip(
            "Set number of bins over which to smooth coincidence histogram (4 iterations of moving average)");
    DescribeRegion(list);
}

std::string CJPSTH::CheckSettings() {
    if (std::string fault = CTrainsBase::CheckSettings(); !fault.empty()) return fault;
    if (!Document()) return {};
    if (std::string fault = NarrowFault(); !fault.empty()) return fault;
    return PreBins() > m_nBins ? longPreStimulusText : std::string();
}

void CJPSTH::GetParamText(std::string& text) {
    text += fmt::format("Stimulus: {}\r\nTarget: {}\r\nReference: {}\r\n", ChannelName(m_nChannel1),
                        ChannelName(m_nChannel2), ChannelName(m_nChannel3));
    text += fmt::format("Bins: {} of {:g} ms, {:g} ms before the stimulus\r\n", m_nBins, m_fBinWidth,
                        m_fPreStimulusTime);
    text += fmt::format("Diagonals: {} to {}\r\nShown: {}\r\n", m_nLowerDiagonal, m_nUpperDiagonal,
                        jointFormNames[std::clamp(m_nShow, 0, 4)]);
    CTrainsBase::GetParamText(text);
}

void CJPSTH::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CTrainsBase::CheckChangeDoc(doc);
}

// --- the run ---

struct CJPSTH::Job : OperationJob {
    std::vector<int64_t> stimuli, target, reference;
    JointPsthPlan plan;
    Found found;

    int64_t Samples() const override {
        const auto spikes = static_cast<int64_t>(stimuli.size() + target.size() + reference.size());
        return 10 * spikes + int64_t{10} * plan.bins * plan.bins;
    }
    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, "Making the JPSTH", jointPollParts);
        found.joint = MakeJointPsth(stimuli, target, reference, plan, [&](double done) {
            return progress.GoesOn(static_cast<uint64_t>(done * static_cast<double>(jointPollParts)));
        });
    }
};

std::unique_ptr<OperationJob> CJPSTH::MakeJob() {
    const std::vector<TrainStretch> region = TakeStretches();
    if (region.empty()) return nullptr;
    Adjust();  // settings may come from another recording
    const CDataDoc& doc = *Document();
    auto job = std::make_unique<Job>();
    job->stimuli = PositionsWithin(OnsetsOf(doc, m_nChannel1), region);
    job->target = OnsetsOf(doc, m_nChannel2);
    job->reference = OnsetsOf(doc, m_nChannel3);
    job->reads = {m_nChannel1, m_nChannel2, m_nChannel3};
    job->plan = {m_nBins, BinSamples(), PreBins(), m_bNormaliseByStimulus,
                 static_cast<JointPredictor>(m_nPredictor)};
    Found& found = job->found;
    found.binWidth = BinWidth();
    found.preBins = PreBins();
    found.stimulus = NameByMode(doc, m_nChannel1);
    found.target = NameByMode(doc, m_nChannel2);
    found.reference = NameByMode(doc, m_nChannel3);
    if (job->stimuli.size() > 1) {
        int64_t shortest = std::numeric_limits<int64_t>::max();
        for (size_t i = 1; i < job->stimuli.size(); ++i)
            shortest = std::min(shortest, job->stimuli[i] - job->stimuli[i - 1]);
        found.shortestInterval = InMs(shortest);
    }
    return job;
}

bool CJPSTH::Write(OperationJob& job, UndoScope&) {
    auto& done = static_cast<Job&>(job);
    m_found.reset();
    if (done.stimuli.empty()) Tell(fmt::format(noStimuliText, done.found.stimulus));
    if (done.target.empty()) Tell(fmt::format(noSpikesText, done.found.target));
    if (done.reference.empty() && m_nChannel3 != m_nChannel2)
        Tell(fmt::format(noSpikesText, done.found.reference));
    if (done.stimuli.empty() || done.target.empty() || done.reference.empty()) return true;
    m_found = std::move(done.found);
    if (HasCloseStimuli())
        Tell(fmt::format(closeStimuliText, m_found->shortestInterval, m_nBins * m_found->binWidth));
    return true;
}

bool CJPSTH::HasCloseStimuli() const {
    return m_found->joint.stimuli > 1 &&
           m_found->shortestInterval < m_found->joint.bins * m_found->binWidth * (1.0 - 1e-9);
}

// --- what it shows ---

std::vector<double> CJPSTH::Coincidence() const {
    return CoincidenceOf(m_found->joint, Form(), m_nLowerDiagonal, m_nUpperDiagonal, m_nSmoothHalfWindow);
}

// The cells between the white lines make the coincidence histogram, those between the red ones the
// correlogram.
GraphPane CJPSTH::MatrixPane() const {
    const Found& found = *m_found;
    const double start = found.TimeOf(0), end = found.End();
    GraphPane pane{"matrix", "Coincidence matrix   "};
    pane.x = {"target " + found.target, "ms", false, std::pair(start, end)};
    pane.y = {"reference " + found.reference, "ms", false, std::pair(start, end)};
    GraphLayer matrix{LayerKind::matrix, jointFormNames[m_nShow]};
    matrix.x = matrix.y2 = {start, end};
    matrix.columns = static_cast<size_t>(found.joint.bins);
    matrix.map = m_bGreys ? ColourMap::greys : ColourMap::colours;
    if (Form() == JointForm::surprise) matrix.range = surpriseLimits;
    matrix.y.reserve(matrix.columns * matrix.columns);
    for (int r = 0; r < found.joint.bins; ++r)
        for (int t = 0; t < found.joint.bins; ++t) matrix.y.push_back(found.joint.Shown(Form(), r, t));
    pane.layers.push_back(std::move(matrix));
    const int most = found.joint.bins - 1;
    for (const double diagonal :
         {FarthestDiagonal(found.joint.bins) + 0.5, -FarthestDiagonal(found.joint.bins) - 0.5})
        pane.layers.push_back(LineAlong(diagonal * found.binWidth, start, end, Rgb(255, 60, 40)));
    for (const double diagonal :
         {std::min(m_nUpperDiagonal, most) + 0.5, std::max(m_nLowerDiagonal, -most) - 0.5})
        pane.layers.push_back(LineAlong(diagonal * found.binWidth, start, end, Rgb(255, 255, 255)));
    return pane;
}

GraphPane CJPSTH::BarsPane(const char* name, const char* title, const std::vector<double>& heights,
                           const std::string& heightTitle) const {
    const Found& found = *m_found;
    GraphPane pane{name, title};
    pane.x = {"time", "ms", false, std::pair(found.TimeOf(0), found.End())};
    pane.y.title = heightTitle;
    GraphLayer bars{LayerKind::bars, "", GraphColour(0)};
    for (int edge = 0; edge <= found.joint.bins; ++edge) bars.x.push_back(found.TimeOf(edge));
    bars.y = heights;
    pane.layers.push_back(std::move(bars));
    return pane;
}

GraphPane CJPSTH::CorrelogramPane() const {
    const Found& found = *m_found;
    const int farthest = FarthestDiagonal(found.joint.bins);
    GraphPane pane{"correlogram", "Correlogram   "};
    // From edge to edge: the bars stand around their lags.
    const double reach = (farthest + 0.5) * found.binWidth;
    pane.x = {"target - reference", "ms", false, std::pair(-reach, reach)};
    pane.y.title = jointFormNames[m_nShow];
    GraphLayer bars{LayerKind::bars, "", GraphColour(0)};
    for (int d = -farthest; d <= farthest + 1; ++d) bars.x.push_back((d - 0.5) * found.binWidth);
    bars.y = JointCorrelogram(found.joint, Form());
    pane.layers.push_back(std::move(bars));
    return pane;
}

// The target's histogram stands below the matrix, whose axis it has.
std::optional<Graph> CJPSTH::GetGraph() {
    Graph graph;
    graph.columns = 3;
    if (!m_found) {
        for (const auto& [name, title] :
             {std::pair("matrix", "Coincidence matrix   "), std::pair("reference", "Reference PSTH   "),
              std::pair("correlogram", "Correlogram   "), std::pair("target", "Target PSTH   "),
              std::pair("coincidence", "Coincidence   ")})
            graph.panes.push_back({name, title});
        return graph;
    }
    const std::string heights = m_bNormaliseByStimulus ? "spikes / stimulus" : "spikes";
    graph.panes = {MatrixPane(),
                   BarsPane("reference", "Reference PSTH   ", m_found->joint.reference, heights),
                   CorrelogramPane(), BarsPane("target", "Target PSTH   ", m_found->joint.target, heights),
                   BarsPane("coincidence", "Coincidence   ", Coincidence(), jointFormNames[m_nShow])};
    return graph;
}

void CJPSTH::WriteResult(const TextSink& sink) {
    if (!m_found) {
        sink(std::string(setAndAnalyseText) + "\r\n");
        return;
    }
    const Found& found = *m_found;
    std::string text =
        fmt::format("Stimuli:\t{}\r\nBins:\t{} of {:g} ms\r\nPre-stimulus:\t{:g} ms\r\n"
                    "Post-stimulus:\t{:g} ms\r\n",
                    found.joint.stimuli, found.joint.bins, found.binWidth, found.PreStimulus(), found.End());
    if (Form() == JointForm::normalized && !m_bNormaliseByStimulus)
        text += std::string(notCoefficientText) + "\r\n";
    const std::vector<double> coincidence = Coincidence(),
                              correlogram = JointCorrelogram(found.joint, Form());
    text += fmt::format("\r\nTime (ms)\tTarget PSTH\tReference PSTH\tCoincidence ({})\r\n",
                        jointFormNames[m_nShow]);
    for (int bin = 0; bin < found.joint.bins; ++bin) {
        const auto i = static_cast<size_t>(bin);
        text += fmt::format("{}\t{}\t{}\t{}\r\n", Figures(found.TimeOf(bin)), Figures(found.joint.target[i]),
                            Figures(found.joint.reference[i]), Figures(coincidence[i]));
    }
    text += "\r\nTarget - reference (ms)\tCorrelogram\r\n";
    const int farthest = FarthestDiagonal(found.joint.bins);
    for (size_t i = 0; i < correlogram.size(); ++i)
        text += fmt::format("{}\t{}\r\n", Figures((static_cast<int>(i) - farthest) * found.binWidth),
                            Figures(correlogram[i]));
    sink(text);
}

std::vector<Result> CJPSTH::Results() {
    if (!m_found) return {};
    const Found& found = *m_found;
    Result bins{"histograms",
                {{"stimuli", found.joint.stimuli},
                 {"bin width", found.binWidth},
                 {"pre-stimulus time", found.PreStimulus()},
                 {"post-stimulus time", found.End()},
                 {"shown", std::string(jointFormNames[m_nShow])}},
                {{"time", "ms"}, {"target", {}}, {"reference", {}}, {"coincidence", {}}},
                {}};
    if (HasCloseStimuli()) bins.values.emplace_back("shortest stimulus interval", found.shortestInterval);
    const std::vector<double> coincidence = Coincidence();
    std::vector<std::vector<ResultValue>> rows;
    for (int bin = 0; bin < found.joint.bins; ++bin) {
        const auto i = static_cast<size_t>(bin);
        rows.push_back({found.TimeOf(bin), found.joint.target[i], found.joint.reference[i], coincidence[i]});
    }
    bins.SetRows(std::move(rows));
    Result correlogram{"correlogram", {}, {{"lag", "ms"}, {jointFormNames[m_nShow], {}}}, {}};
    const int farthest = FarthestDiagonal(found.joint.bins);
    const std::vector<double> means = JointCorrelogram(found.joint, Form());
    std::vector<std::vector<ResultValue>> lags;
    for (size_t i = 0; i < means.size(); ++i)
        lags.push_back({(static_cast<int>(i) - farthest) * found.binWidth, means[i]});
    correlogram.SetRows(std::move(lags));
    Result matrix{"matrix", {}, {{"reference time", "ms"}, {"target time", "ms"}}, {}};
    for (const char* name : jointFormNames) matrix.columns.push_back({name, {}});
    matrix.rows = [this](const ResultRowSink& sink) {
        const JointPsth& joint = m_found->joint;
        for (int r = 0; r < joint.bins; ++r)
            for (int t = 0; t < joint.bins; ++t) {
                std::vector<ResultValue> row{m_found->TimeOf(r), m_found->TimeOf(t)};
                for (size_t form = 0; form < jointForms; ++form)
                    row.emplace_back(joint.Shown(static_cast<JointForm>(form), r, t));
                if (!sink(row)) return false;
            }
        return true;
    };
    return {std::move(bins), std::move(correlogram), std::move(matrix)};
}

}  // namespace kymora
