#include "frequency/sonogram.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "operations/save_text.h"
#include "spectra/spectral_window.h"

namespace kymora {

namespace {

constexpr uint32_t sonogramVersion = 1;
constexpr int greatestBins = 32768;
constexpr int64_t averagesBetweenPolls = 64;
constexpr int64_t mostSurfaceLines = 40;
constexpr double surfaceShear = 0.4, surfaceLift = 1.6;  // of the range of an axis, from front to back
constexpr const char* tooMuchOverlapText =
    "Segments that overlap by {} % need {} bins or more. Choose more bins, or less overlap.";
constexpr const char* tooManyCellsText =
    "{} columns of {} bins are too many to be shown. Choose fewer columns, or fewer bins.";
constexpr const char* onlyFirstText =
    "{} columns would fit; the first {} are made. With {} averages per column all of it is seen.";

class SonogramJob : public OperationJob {
  public:
    int trace = 0;
    SpectrumSettings settings;
    SegmentGrid grid;
    int64_t averages = 1;
    std::vector<TraceStretch> stretches;
    TimeFrequencyGrid found;

    int64_t Samples() const override { return grid.End() - grid.first; }
    void Compute(SampleReader& samples, JobContext& context) override {
        CSpectrumEstimator estimator(settings);
        SegmentReader reader(samples, {trace}, std::move(stretches), grid.length, grid.End());
        ProgressScope progress(context, "Making the spectrogram", static_cast<uint64_t>(grid.count));
        found.values.reserve(static_cast<size_t>(found.columns) * found.frequencies.size());
        int64_t segment = 0;
        for (int64_t column = 0; column < found.columns; ++column) {
            estimator.Clear();
            const int64_t next = (column + 1) * averages;
            for (bool isUnbroken = true; segment < next && isUnbroken; ++segment) {
                isUnbroken = reader.Add(grid.first + segment * grid.step, estimator);
                if (segment % averagesBetweenPolls == 0) progress.At(static_cast<uint64_t>(segment));
            }
            segment = next;
            if (estimator.Segments() < averages) {
                found.values.insert(found.values.end(), found.frequencies.size(), NAN);
                continue;
            }
            for (const double value : estimator.Result()) found.values.push_back(static_cast<float>(value));
        }
    }
};

}  // namespace

// --- settings ---

void CSonogram::Serialize(CArchive& archive) {
    CEventBaseDlg::Serialize(archive);
    ExchangeVersion(archive, sonogramVersion, ClassName());
    for (int32_t* number : {&m_nTrace, &m_nBins, &m_nWindow, &m_nOverlapShift, &m_nAveragesPerColumn,
                            &m_nColumns, &m_nDensity, &m_nDisplay})
        Exchange(archive, *number);
    Exchange(archive, m_dStartTime);
    Exchange(archive, m_bFollowView);
    Exchange(archive, m_bSurface);
}

void CSonogram::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found = {};
    CEventBaseDlg::CheckChangeDoc(doc);
}

void CSonogram::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Segments");
    list.Integer("bins", "Frequency bins", m_nBins)
        .Tip("A power of 2, 32768 at most; a segment has twice as many samples");
    list.Choice("window", "Window", m_nWindow, SpectralWindowNames())
        .Tip("What each segment is multiplied by");
    list.Choice("overlapShift", "Overlap (%)", m_nOverlapShift, OverlapNames())
        .Tip("Share of a segment that lies in the one before, too");
    list.Choice("density", "Scale", m_nDensity, {"Power (y²)", "Density (y²/Hz)"})
        .Tip("Powers add up to the mean square; the area under a density is the mean square");
    list.Group("Columns");
    list.Number("startTime", "Start", m_dStartTime)
        .Unit("ms")
        .Limits(0.0, 1e12)
        .Linked({"followView"})
        .OnChange([this] { m_bFollowView = false; })
        .Tip("Where the first column begins; setting it ends that the view is followed");
    list.Flag("followView", "Follow the view", m_bFollowView).Tip("The columns begin where the view does");
    list.Integer("averagesPerColumn", "Averages per column", m_nAveragesPerColumn)
        .Limits(1, 1e9)
        .Spin()
        .Tip("Segments whose mean spectrum is a column");
    list.Integer("columns", "Columns", m_nColumns)
        .Limits(0, 1e6)
        .Tip("How many; 0: as many as fit the view, or the recording from the start on, 1,000 at most");
    list.Note("endTime", "End", [this] {
        return m_found.columns == 0 ? std::string()
                                    : fmt::format("{:g} ms, {} columns of {:g} ms", m_found.end,
                                                  m_found.columns, m_found.columnTime);
    });
    list.Group("Display");
    list.Choice("display", "Colours", m_nDisplay, {"Power", "Log Power"})
        .Buttons()
        .Tip("What the colours stand for; The same, where weak and strong are to be seen at once");
    list.Flag("surface", "Surface", m_bSurface).Tip("Draws spectra one behind the other, too");
    list.Group("Results");
    list.Action("saveSonogram", "Save matrix...",
                [this] {
                    SaveTextLines(*this, {"Save spectrogram", " spectrogram.txt", "The spectrogram"},
                                  [this](const TextSink& sink) { WriteResult(sink); });
                })
        .EnabledIf([this] { return m_found.columns > 0; })
        .Tip("Saves the powers of all columns as a text file");
}

std::string CSonogram::CheckSettings() {
    if (m_nBins < 2 || m_nBins > greatestBins || !std::has_single_bit(static_cast<uint32_t>(m_nBins)))
        return noBinCountText;
    if (Step() < 1)
        return fmt::format(tooMuchOverlapText, OverlapNames()[static_cast<size_t>(m_nOverlapShift)],
                           1 << (m_nOverlapShift - 1));
    return CEventBaseDlg::CheckSettings();
}

void CSonogram::GetParamText(std::string& text) {
    text += fmt::format("Spectrogram parameters:\r\nTrace: {}\r\nBins: {}\r\nWindow: {}\r\nOverlap: {} "
                        "%\r\nAverages per column: "
                        "{}\r\n",
                        m_nTrace + 1, m_nBins, SpectralWindowNames()[static_cast<size_t>(m_nWindow)],
                        OverlapNames()[static_cast<size_t>(m_nOverlapShift)], m_nAveragesPerColumn);
}

// --- the run ---

int64_t CSonogram::ColumnsUpTo(int64_t first, int64_t end) {
    const int64_t length = int64_t{2} * m_nBins, step = Step();
    if (end - first < length) return 0;
    const int64_t segments = (end - first - length + step) / step, fit = segments / m_nAveragesPerColumn;
    if (fit > mostColumnsOfItself)
        Tell(fmt::format(onlyFirstText, fit, mostColumnsOfItself,
                         (segments + mostColumnsOfItself - 1) / mostColumnsOfItself));
    return std::min(fit, mostColumnsOfItself);
}

std::unique_ptr<OperationJob> CSonogram::MakeJob() {
    const CDataDoc& doc = *Document();
    const int64_t recordingEnd = doc.GetLength();
    const SampleSpan seen = HeldTo(doc, VisibleSpan(doc, View()));
    const int64_t first =
        m_bFollowView ? seen.first : std::llround(std::min(m_dStartTime / doc.sampleInterval, 4e18));
    const int64_t columns =
        m_nColumns > 0 ? m_nColumns : ColumnsUpTo(first, m_bFollowView ? seen.end : recordingEnd);
    if (columns == 0) throw JobRefused(tooLittleForSonogramText);
    const double used = static_cast<double>(columns) * m_nAveragesPerColumn * static_cast<double>(Step());
    if (used > static_cast<double>(longestRecording)) throw JobRefused(ridiculousAveragesText);
    if (columns * (m_nBins + 1) > mostSonogramCells)
        throw JobRefused(fmt::format(tooManyCellsText, columns, m_nBins));
    auto job = std::make_unique<SonogramJob>();
    job->trace = m_nTrace;
    job->averages = m_nAveragesPerColumn;
    job->grid = {first, int64_t{2} * m_nBins, Step(), columns * m_nAveragesPerColumn};
    if (first > recordingEnd || job->grid.End() > recordingEnd) throw JobRefused(tooLittleForSonogramText);
    job->settings.bins = static_cast<size_t>(m_nBins);
    job->settings.sampleRate = 1000.0 / doc.sampleInterval;
    job->settings.isDensity = m_nDensity == 1;
    job->settings.window = m_nWindow;
    job->stretches = CommonStretches(doc, {&m_nTrace, 1});
    TimeFrequencyGrid& found = job->found;
    found.columns = columns;
    found.start = doc.TimeOf(first);
    found.columnTime = doc.TimeOf(m_nAveragesPerColumn * Step());
    found.end = doc.TimeOf(job->grid.End());
    for (int32_t bin = 0; bin <= m_nBins; ++bin)
        found.frequencies.push_back(job->settings.sampleRate * bin * 0.5 / m_nBins);
    const std::string& unit = doc.traces[static_cast<size_t>(m_nTrace)].traceUnits;
    found.unit = (unit.empty() ? "mV" : unit) + "²" + (m_nDensity == 1 ? "/Hz" : "");
    return job;
}

bool CSonogram::Write(OperationJob& job, UndoScope&) {
    m_found = std::move(static_cast<SonogramJob&>(job).found);
    if (const int64_t empty = m_found.CountEmpty(); empty > 0)
        Tell(fmt::format("{} of {} columns meet a gap or the boundary of an episode and are empty.", empty,
                         m_found.columns));
    return true;
}

// --- what it shows ---

void CSonogram::WriteResult(const TextSink& sink) { m_found.WriteText(sink); }

std::vector<Result> CSonogram::Results() {
    if (m_found.columns == 0) return {};
    Result result{"spectrogram",
                  {{"columns", m_found.columns},
                   {"bins", static_cast<int64_t>(m_found.frequencies.size()) - 1},
                   {"resolution", m_found.frequencies[1]},
                   {"startTime", m_found.start},
                   {"columnTime", m_found.columnTime},
                   {"timeSpan", m_found.end - m_found.start},
                   {"endTime", m_found.end},
                   {"emptyColumns", m_found.CountEmpty()}},
                  {},
                  {}};
    m_found.AddTable(result);
    return {std::move(result)};
}

GraphPane CSonogram::ColourPane() const {
    GraphPane pane{"spectrogram"};
    pane.x = {"time", "ms"};
    pane.y = {"freq", "Hz"};
    if (m_found.columns == 0) return pane;
    // A bin reaches half its width to both sides.
    const double half = m_found.frequencies[1] / 2.0;
    pane.layers.push_back(m_found.Colours(m_nDisplay == 1, -half, m_found.frequencies.back() + half));
    return pane;
}

// Columns one behind the other, the first in front; those behind stand further up and to the right.
GraphPane CSonogram::SurfacePane() const {
    GraphPane pane{"surface", "3D Spectrogram Surface Graph"};
    pane.x = {"freq", "Hz, of the front"};
    pane.y = {m_nDisplay == 1 ? "log power" : "power", "of the front"};
    if (m_found.columns == 0) return pane;
    pane.title = fmt::format("3D Spectrogram Surface Graph: time {:g} ms in front, {:g} ms behind",
                             m_found.start, m_found.TimeOf(m_found.columns - 1));
    double low = INFINITY, high = -INFINITY;
    for (const float power : m_found.values) {
        if (std::isnan(power)) continue;
        low = std::min(low, Shown(power));
        high = std::max(high, Shown(power));
    }
    const size_t rows = m_found.frequencies.size();
    const int64_t lines = std::min(m_found.columns, mostSurfaceLines);
    const double shear = surfaceShear * static_cast<double>(rows) / static_cast<double>(mostSurfaceLines);
    const double lift = surfaceLift * (high - low) / static_cast<double>(mostSurfaceLines);
    // The highest that stands in front, by places of the width of a bin: lines behind run along it where they
    // are hidden.
    std::vector<double> horizon(2 * rows, -INFINITY);
    for (int64_t k = 0; k < lines; ++k) {
        const int64_t column = lines == 1 ? 0 : k * (m_found.columns - 1) / (lines - 1);
        const auto aside = static_cast<size_t>(shear * static_cast<double>(k));
        GraphLayer line{LayerKind::curve, "", GraphColour(0)};
        line.isSilent = true;
        for (size_t bin = 0; bin < rows; ++bin) {
            const double y = Shown(m_found.Column(column)[bin]) + static_cast<double>(k) * lift;
            double& before = horizon[bin + aside];
            line.x.push_back(m_found.frequencies[1] * static_cast<double>(bin + aside));
            if (y > before) before = y;
            line.y.push_back(std::isnan(y) ? NAN : before);
        }
        pane.layers.push_back(std::move(line));
    }
    return pane;
}

std::optional<Graph> CSonogram::GetGraph() {
    Graph graph{{ColourPane()}};
    if (m_bSurface) graph.panes.push_back(SurfacePane());
    return graph;
}

}  // namespace kymora
