#include "detection/spike_detect_thresh.h"

#include <fmt/format.h>

#include <algorithm>

#include "detection/detected_events.h"
#include "detection/event_threshold.h"

namespace kymora {

namespace {

constexpr uint32_t spikeVersion = 2;
constexpr float displayViews = 8.0f;                           // widths of the view that are shown
constexpr int64_t mostPreviewSamples = mostStatisticsSamples;  // a longer stretch is cut

void ExchangeFlagAsInt(CArchive& archive, bool& flag) {
    int32_t number = flag ? 1 : 0;
    Exchange(archive, number);
    flag = number != 0;
}

}  // namespace

// --- settings ---

// The record has no part of the event bases: the fields of theirs that it holds stand at its end.
void CSpikeDetectThresh::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, spikeVersion, ClassName());
    for (float* value : {&m_statistics.robustSd, &m_statistics.median, &m_statistics.sd, &m_statistics.mean,
                         &m_statistics.lowerPercentile, &m_statistics.upperPercentile, &m_levels.upper,
                         &m_levels.lower, &m_fRefractory, &m_fSpikeWindow})
        Exchange(archive, *value);
    for (int32_t* value : {&m_nType, &m_nSource, &m_nDirection}) Exchange(archive, *value);
    Exchange(archive, m_fMultiplier);
    Exchange(archive, m_fAlpha);
    ExchangeFlagAsInt(archive, m_bPostFilter);
    Exchange(archive, m_fCutoff);
    Exchange(archive, m_nTransform);
    Exchange(archive, m_fDisplayStart);
    Exchange(archive, m_fDisplayDuration);
    Exchange(archive, m_strDescription);
    Exchange(archive, m_strLabel);
    Exchange(archive, m_nDestination);
    Exchange(archive, m_nTrace);
    m_isStale = true;
    if (!archive.IsStoring()) {
        m_hasOwnStart = true;
        m_isUsual = false;
    }
    // Version 1 ends here: it knows nothing of a run over a region.
    if (version < 2) return;
    Exchange(archive, m_dHalfWindowTime);
    Exchange(archive, m_nIterations);
    Exchange(archive, m_bAppendParams);
    Exchange(archive, m_nRegionMode);
    Exchange(archive, m_dRegionStart);
    Exchange(archive, m_dRegionEnd);
    TakeHalfWindow();
}

// Held to the range of a position: the rules add to it.
int64_t CSpikeDetectThresh::Samples(double ms) const { return Document()->PositionOf(ms); }

// --- what it follows ---

void CSpikeDetectThresh::CheckChangeDoc(CDataDoc* doc) {
    const bool isOther = doc != Document();
    CEventWndBaseDlg::CheckChangeDoc(doc);
    if (!isOther) return;
    m_isStale = true;
    // Each recording begins with what is seen of it, until the user has said something else.
    if (m_isUsual) m_fDisplayDuration = 0.0f;
    m_isUsual = false;
    m_found.reset();
    m_previewSpikes.clear();
    TakeHalfWindow();
}

void CSpikeDetectThresh::TakeHalfWindow() {
    if (Document()) m_nHalfWindow = static_cast<int32_t>(Samples(m_dHalfWindowTime));
}

void CSpikeDetectThresh::CheckChangeView(DocumentView* view) {
    CEventWndBaseDlg::CheckChangeView(view);
    if (Document()) TakeDisplayDefaults();
}

void CSpikeDetectThresh::OnUpdate(UpdateHint hint) {
    if (hint == UpdateHint::samples) m_isStale = true;
}

void CSpikeDetectThresh::TakeDisplayDefaults() {
    if (m_fDisplayDuration > 0.0f) return;
    const TimeSpan times = VisibleTimes(*Document(), View());
    if (!m_hasOwnStart) m_fDisplayStart = static_cast<float>(times.start);
    m_isUsual = true;
    m_fDisplayDuration = displayViews * static_cast<float>(times.end - times.start);
    m_isStale = true;
}

SampleSpan CSpikeDetectThresh::DisplaySpan() const {
    const CDataDoc& doc = *Document();
    const double start = m_fDisplayStart;
    SampleSpan span = HeldTo(doc, {doc.PositionOf(start), doc.PositionOf(start + m_fDisplayDuration)});
    span.end = static_cast<int32_t>(std::min<int64_t>(span.end, span.first + mostPreviewSamples));
    return span;
}

// --- the preview ---

SpikeSeriesSettings CSpikeDetectThresh::SeriesSettings() const {
    SpikeSeriesSettings settings;
    settings.rectifies = m_nShownTransform == 1;
    settings.halfWindow = static_cast<size_t>(std::max<int64_t>(0, Samples(m_dHalfWindowTime)));
    settings.iterations = m_nIterations;
    settings.filters = m_bPostFilter;
    settings.cutoff = m_fCutoff;
    settings.sampleInterval = Document()->sampleInterval;
    return settings;
}

namespace {

// Sends a stretch through the series into a rule.
template <typename Rule>
std::vector<int64_t> RunRule(SampleReader& samples, int trace, SampleSpan span, SpikeSeries& series,
                             ProgressScope* progress, Rule rule) {
    std::vector<float> made;
    ScanSamples(samples, trace, span.first, span.Count(), [&](std::span<const float> block) {
        made.clear();
        series.Take(block, made);
        rule.Take(made);
        if (progress) progress->Step(block.size());
        return true;
    });
    made.clear();
    series.Finish(made);
    rule.Take(made);
    return rule.Finish();
}

// Throws FileError, or Cancelled.
std::vector<int64_t> FindSpikes(SampleReader& samples, int trace, SampleSpan span, const SpikeRule& rule,
                                ProgressScope* progress) {
    const double mean =
        rule.series.rectifies ? GetMeanSd(samples, trace, span.first, span.Count(), progress).mean : 0.0;
    SpikeSeries series(rule.series, span.Count(), mean);
    std::vector<int64_t> spikes =
        rule.type == SpikeType::abs ? RunRule(samples, trace, span, series, progress,
                                              AbsSpikeRule(rule.levels, rule.direction, rule.refractory))
                                    : RunRule(samples, trace, span, series, progress,
                                              PeakToPeakSpikeRule(rule.levels, rule.window, rule.refractory));
    for (int64_t& spike : spikes) spike += span.first;
    return spikes;
}

}  // namespace

SpikeRule CSpikeDetectThresh::Rule() const {
    return {SeriesSettings(),
            static_cast<SpikeType>(m_nType),
            m_levels,
            static_cast<OutlierDirection>(m_nDirection),
            Samples(m_fRefractory),
            Samples(m_fSpikeWindow)};
}

bool CSpikeDetectThresh::UpdatePreview() {
    TakeDisplayDefaults();
    const SampleSpan span = DisplaySpan();
    if (!m_isStale && span == m_shown) return span.first < span.end;
    m_previewSpikes.clear();
    m_transformed.clear();
    m_filtered.clear();
    m_shown = span;
    if (m_nTransform <= 1) m_nShownTransform = m_nTransform;
    if (span.first >= span.end) return false;
    std::vector<float> samples(static_cast<size_t>(span.end - span.first));
    std::vector<uint8_t> valid(samples.size());
    Document()->ReadBlock(m_nTrace, span.first, samples, valid);
    MakePreviewSeries(samples);
    // Gaps are part of the series and do not count in its statistics.
    std::vector<float> counted = m_bPostFilter ? m_filtered : m_transformed;
    size_t kept = 0;
    for (size_t i = 0; i < counted.size(); ++i)
        if (valid[i] != 0) counted[kept++] = counted[i];
    counted.resize(kept);
    m_statistics = GetSpikeStatistics(counted, m_fAlpha);
    const auto source = static_cast<SpikeLevelSource>(m_nSource);
    if (source != SpikeLevelSource::user && kept == 0) return false;
    m_levels = GetSpikeLevels(source, m_statistics, m_fMultiplier, m_levels);
    m_previewSpikes = FindSpikes(*Document(), m_nTrace, span, Rule(), nullptr);
    m_isStale = false;
    return true;
}

void CSpikeDetectThresh::MakePreviewSeries(const std::vector<float>& samples) {
    const auto make = [&](const SpikeSeriesSettings& settings, std::vector<float>& to) {
        const double mean =
            settings.rectifies
                ? GetMeanSd(*Document(), m_nTrace, m_shown.first, int64_t{m_shown.end} - m_shown.first).mean
                : 0.0;
        SpikeSeries series(settings, static_cast<int64_t>(samples.size()), mean);
        series.Take(samples, to);
        series.Finish(to);
    };
    SpikeSeriesSettings settings = SeriesSettings();
    if (settings.filters) make(settings, m_filtered);
    settings.filters = false;
    make(settings, m_transformed);
}

const std::vector<int64_t>& CSpikeDetectThresh::PreviewSpikes() {
    ShowPreview();
    return m_previewSpikes;
}

bool CSpikeDetectThresh::ShowPreview() {
    if (!Document() || m_nTrace >= Document()->traceCount) return false;
    try {
        return UpdatePreview();
    } catch (const FileError& error) {
        GetHost().Log(std::string(error.what()) + "\n");
        return false;
    }
}

// --- the run ---

namespace {

struct SpikeJob : EventJob {
    SpikeRule rule;

    // A rectified series begins with the mean of all of it.
    int64_t Samples() const override { return EventJob::Samples() * (rule.series.rectifies ? 2 : 1); }
    void Compute(SampleReader& samples, JobContext& context) override {
        ProgressScope progress(context, title, static_cast<uint64_t>(Samples()), samplesAtOnce);
        std::vector<DetectedSpan> spans;
        for (const int64_t spike : FindSpikes(samples, found.front().parentTrace, region, rule, &progress))
            spans.push_back({spike, spike + 1});
        found.front().events = EventsOf(spans);
    }
};

}  // namespace

std::unique_ptr<OperationJob> CSpikeDetectThresh::MakeJob() {
    auto job = std::make_unique<SpikeJob>();
    if (!TakeRegion(*job)) return nullptr;
    if (!IsLookingAhead()) m_isStale = true;
    if (!UpdatePreview() && !Is(SpikeLevelSource::user)) throw JobRefused(noStatisticsText);
    job->method = methodThreshold;
    job->rule = Rule();
    AddTarget(*job, m_nDestination, m_nTrace, m_strDescription);
    return job;
}

// Some transforms leave the data as the one before them did, which the record does not tell.
std::vector<std::byte> CSpikeDetectThresh::RerunSettings(const OperationJob& job) {
    const bool isStale = m_isStale;
    const int32_t transform = std::exchange(m_nTransform, m_nShownTransform);
    std::vector<std::byte> record = CEventWndBaseDlg::RerunSettings(job);
    m_nTransform = transform;
    m_isStale = isStale;
    return record;
}

bool CSpikeDetectThresh::FinishFound(CEventChan& chan, const EventJob&, size_t) {
    KeepDetectionSettings(chan);
    return true;
}

void CSpikeDetectThresh::TakeFound(const EventJob& job) {
    m_levels = static_cast<const SpikeJob&>(job).rule.levels;
    m_found = {m_levels, std::ssize(job.found.front().events)};
}

void CSpikeDetectThresh::AppendReport(std::string& text, const EventJob&) {
    GetParamText(text);
    text += fmt::format("Spike count: {}\r\n", m_found->count);
}

std::vector<Result> CSpikeDetectThresh::Results() {
    if (!m_found) return {};
    Result result;
    result.name = Title();
    result.values = {{"Upper threshold", m_found->levels.upper},
                     {"Lower threshold", m_found->levels.lower},
                     {"Spike count", m_found->count}};
    return {std::move(result)};
}

// What the channel's record keeps of the detection: nothing of an earlier one stays.
void CSpikeDetectThresh::KeepDetectionSettings(CEventChan& chan) const {
    DetectionParameters kept;
    kept.templateTrace = m_nTrace;
    kept.analysisRegion = m_nRegionMode;
    kept.analysisStart = static_cast<float>(m_dRegionStart);
    kept.analysisEnd = static_cast<float>(m_dRegionEnd);
    kept.thresholdLevel = m_nDirection == 2 ? m_levels.lower : m_levels.upper;
    // The numbers of the threshold detector for the two sides.
    constexpr int32_t modes[] = {2, 0, 1};
    kept.thresholdMode = modes[std::clamp(m_nDirection, 0, 2)];
    kept.thresholdOnsetA = m_levels.upper;
    kept.thresholdOnsetB = m_levels.lower;
    chan.detection = kept;
}

void CSpikeDetectThresh::WriteResult(const TextSink& sink) {
    if (m_found) sink(fmt::format("Spike count: {}\r\n", m_found->count));
}

// --- the report ---

void CSpikeDetectThresh::GetParamText(std::string& text) {
    static constexpr const char* types[] = {"Abs", "Pk-to-pk"};
    static constexpr const char* sources[] = {"User", "S.D. x Mult", "Robust S.D. x Mult", "Percentile"};
    static constexpr const char* directions[] = {"+/-", "+ve", "-ve"};
    AppendRegionText(text);
    text += fmt::format("Analysed trace: {}\r\nDestination event channel: {}\r\n", m_nTrace + 1,
                        ChannelName(m_nDestination));
    text += m_nShownTransform == 1 ? fmt::format("Transform: Rectify, smooth\r\n\tHalf window time {:f}\r\n"
                                                 "\tIterations {}\r\n",
                                                 m_dHalfWindowTime, m_nIterations)
                                   : "Transform: None\r\n";
    if (m_bPostFilter) text += fmt::format("Post filter (hi-pass): cutoff {:f}\r\n", m_fCutoff);
    text += fmt::format("Threshold source: {}\r\n", sources[std::clamp(m_nSource, 0, 3)]);
    if (Is(SpikeLevelSource::meanSd) || Is(SpikeLevelSource::medianRobustSd))
        text += fmt::format("\tmult: {:f}\r\n", m_fMultiplier);
    if (Is(SpikeLevelSource::percentile)) text += fmt::format("\talpha: {:f}\r\n", m_fAlpha);
    if (!Is(SpikeLevelSource::user))
        text += fmt::format("\tstart time = {:f}, duration = {:f}\r\n", m_fDisplayStart, m_fDisplayDuration);
    text += fmt::format("Upper threshold {:f}, lower threshold {:f}\r\n", m_levels.upper, m_levels.lower);
    text += fmt::format("Type: {}\r\n", types[m_nType == 1]);
    if (Is(SpikeType::abs))
        text += fmt::format("Direction: {}\r\n", directions[std::clamp(m_nDirection, 0, 2)]);
    else
        text += fmt::format("Spike window: {:f}\r\n", m_fSpikeWindow);
    text += fmt::format("Refractory time: {:f}\r\n", m_fRefractory);
}

}  // namespace kymora
