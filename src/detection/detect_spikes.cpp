#include "detection/detect_spikes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "detection/detected_events.h"
#include "detection/event_threshold.h"

namespace kymora {

namespace {

constexpr uint32_t outlierVersion = 1;
constexpr uint32_t noiseColour = 0x808080;
constexpr const char* directionNames[] = {"+/-", "+", "-"};

// Nothing when there is nothing to measure. Throws FileError.
std::optional<NoiseLevels> MeasureNoise(SampleReader& samples, int trace, SampleSpan noise, float multiplier,
                                        ProgressScope* progress = nullptr) {
    const MeanSd measured = GetMeanSd(samples, trace, noise.first, noise.Count(), progress);
    if (measured.count == 0) return {};
    return NoiseLevels{measured.mean, measured.sd,
                       static_cast<float>(measured.mean + multiplier * measured.sd),
                       static_cast<float>(measured.mean - multiplier * measured.sd)};
}

}  // namespace

// --- settings ---

void CDetectSpikes::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, outlierVersion, ClassName());
    Exchange(archive, m_dNoiseStart);
    Exchange(archive, m_dNoiseEnd);
    Exchange(archive, m_fMultiplier);
    Exchange(archive, m_nDirection);
}

void CDetectSpikes::Describe(ParamList& list) {
    const auto follows = [this] { UpdateLevels(); };
    DescribeSource(list);
    list.Group("Noise");
    list.Number("noiseStart", "T1", m_dNoiseStart)
        .Unit("ms")
        .Limits(0, std::numeric_limits<double>::max())
        .Tip("Start of the stretch whose mean and standard deviation are measured; the first vertical cursor")
        .OnChange(follows);
    list.Number("noiseEnd", "T2", m_dNoiseEnd)
        .Unit("ms")
        .Limits(0, std::numeric_limits<double>::max())
        .Tip("End of the stretch whose mean and standard deviation are measured; the second vertical cursor")
        .OnChange(follows);
    list.Note("noise", "Measured", [this] { return NoiseText(); });
    list.Group("Threshold");
    list.Number("multiplier", "S.D. multiplier", m_fMultiplier)
        .Limits(1e-5, 1e6)
        .Step(0.5)
        .Tip("Distance of the levels from the mean, in standard deviations")
        .OnChange(follows);
    list.Choice("direction", "Direction", m_nDirection, {"+/-", "+", "-"})
        .Buttons()
        .Tip("Outliers beyond either level, above the upper one, or below the lower one");
    DescribeRegion(list);
    DescribeDestination(list);
    if (Field* destination = list.Find("destination"))
        destination->Tip("Event channel that receives the result; it must be empty");
}

std::string CDetectSpikes::NoiseText() const {
    if (m_dNoiseSD < 0.0 && Document() && NoiseSpan().Count() > samplesAtOnce) return "long: by the run";
    return m_dNoiseSD < 0.0 ? std::string() : fmt::format("mean {:g}, s.d. {:g}", m_dNoiseMean, m_dNoiseSD);
}

std::string CDetectSpikes::CheckSettings() {
    const CDataDoc* doc = Document();
    if (doc && FirstEmptyChannel() < 0) return noEmptyChannelText;
    std::string fault = CEventWndBaseDlg::CheckSettings();
    if (!fault.empty() || !doc) return fault;
    if (!(m_dNoiseEnd > m_dNoiseStart)) return regionOrderText;
    return doc->GetNumEvents(m_nDestination) > 0 && m_isDestinationChosen ? channelNotEmptyText
                                                                          : std::string();
}

// --- what it follows ---

// Of the channels that the interface offers; -1 when all of them have events or are locked.
int CDetectSpikes::FirstEmptyChannel() const {
    const int offered = std::min<int>(Document()->GetSession().options.eventChannelMode, maxEventChannels);
    for (int channel = 0; channel < offered; ++channel)
        if (Document()->IsFreeChannel(channel)) return channel;
    return -1;
}

void CDetectSpikes::TakeEmptyChannel() {
    if (!Document() || m_isDestinationChosen) return;
    const bool canStay = Document()->HasChannel(m_nDestination) && Document()->IsFreeChannel(m_nDestination);
    if (canStay) return;
    if (const int channel = FirstEmptyChannel(); channel >= 0) m_nDestination = channel;
}

void CDetectSpikes::CheckChangeDoc(CDataDoc* doc) {
    const bool isOther = doc != Document();
    CEventWndBaseDlg::CheckChangeDoc(doc);
    if (!isOther) return;
    m_dNoiseMean = m_dNoiseSD = -1.0;
    m_found.reset();
    TakeEmptyChannel();
}

void CDetectSpikes::CheckChangeView(DocumentView* view) {
    CEventWndBaseDlg::CheckChangeView(view);
    TakeCursors();
    UpdateLevels();
}

void CDetectSpikes::OnUpdate(UpdateHint hint) {
    if (hint != UpdateHint::events) UpdateLevels();
}

void CDetectSpikes::OnCurChanged() {
    TakeCursors();
    UpdateLevels();
}

void CDetectSpikes::TakeCursors() {
    if (!View() || !IsAttended()) return;
    const std::vector<double> times = View()->GetCursorTimes();
    if (times.size() < 2 || !(times[1] > times[0])) return;
    m_dNoiseStart = times[0];
    m_dNoiseEnd = times[1];
}

void CDetectSpikes::UpdateLevels() {
    if (!Document() || !View() || !IsAttended() || m_nTrace >= Document()->traceCount) return;
    try {
        const bool isShort = NoiseSpan().Count() <= samplesAtOnce;
        const auto levels =
            isShort ? MeasureNoise(*Document(), m_nTrace, NoiseSpan(), m_fMultiplier) : std::nullopt;
        if (levels)
            TakeLevels(*levels);
        else
            m_dNoiseMean = m_dNoiseSD = -1.0;
    } catch (const FileError& error) {
        GetHost().Log(std::string(error.what()) + "\n");
    }
}

SampleSpan CDetectSpikes::NoiseSpan() const {
    const CDataDoc& doc = *Document();
    return HeldTo(doc, {doc.PositionOf(m_dNoiseStart), doc.PositionOf(m_dNoiseEnd)});
}

void CDetectSpikes::TakeLevels(const NoiseLevels& levels) {
    m_dNoiseMean = levels.mean;
    m_dNoiseSD = levels.sd;
    m_fUpper = levels.upper;
    m_fLower = levels.lower;
}

std::vector<ViewGuide> CDetectSpikes::Guides() {
    std::vector<ViewGuide> guides;
    if (!Document() || m_nTrace >= Document()->traceCount) return guides;
    if (m_dNoiseSD >= 0.0) {
        const auto level = [&](float at, uint32_t colour, const char* name) {
            if (std::isfinite(at)) guides.push_back({ViewGuide::Kind::level, m_nTrace, at, colour, name});
        };
        if (m_nDirection != 2) level(m_fUpper, upperColour, "upper");
        if (m_nDirection != 1) level(m_fLower, lowerColour, "lower");
    }
    // Where the view has cursors, they show the stretch.
    if (View() && View()->GetCursorTimes().size() >= 2) return guides;
    guides.push_back({ViewGuide::Kind::time, m_nTrace, m_dNoiseStart, noiseColour, "noise", "noiseStart"});
    guides.push_back({ViewGuide::Kind::time, m_nTrace, m_dNoiseEnd, noiseColour, {}, "noiseEnd"});
    return guides;
}

// --- the run ---

namespace {

struct OutlierJob : EventJob {
    SampleSpan noise;
    float multiplier = 0.0f;
    OutlierDirection direction = OutlierDirection::both;
    NoiseLevels levels;

    int64_t Samples() const override { return EventJob::Samples() + noise.Count(); }
    void Compute(SampleReader& samples, JobContext& context) override {
        Found& target = found.front();
        ProgressScope progress(context, title, static_cast<uint64_t>(Samples()), samplesAtOnce);
        const auto measured = MeasureNoise(samples, target.parentTrace, noise, multiplier, &progress);
        if (!measured) throw JobRefused(noStatisticsText);
        levels = *measured;
        Detect(samples, region, OutlierDetector(levels.upper, levels.lower, direction, region.first),
               progress, target);
    }
};

}  // namespace

std::unique_ptr<OperationJob> CDetectSpikes::MakeJob() {
    auto job = std::make_unique<OutlierJob>();
    if (!TakeRegion(*job)) return nullptr;
    TakeEmptyChannel();
    job->method = methodOutlier;
    job->noise = NoiseSpan();
    job->multiplier = m_fMultiplier;
    job->direction = static_cast<OutlierDirection>(m_nDirection);
    AddTarget(*job, m_nDestination, m_nTrace, m_strDescription);
    return job;
}

void CDetectSpikes::TakeFound(const EventJob& job) {
    const NoiseLevels& levels = static_cast<const OutlierJob&>(job).levels;
    TakeLevels(levels);
    m_isDestinationChosen = false;
    m_found = {levels, std::ssize(job.found.front().events)};
}

std::vector<Result> CDetectSpikes::Results() {
    if (!m_found) return {};
    Result result;
    result.name = Title();
    result.values = {{"mean", m_found->levels.mean},
                     {"sd", m_found->levels.sd},
                     {"upper", m_found->levels.upper},
                     {"lower", m_found->levels.lower},
                     {"Events", m_found->count}};
    return {std::move(result)};
}

void CDetectSpikes::GetParamText(std::string& text) {
    text += fmt::format("Detect outliers\r\nNoise cursor T1 {:f}, T2 {:f}, mean {:f}, sd {:f}\r\n",
                        m_dNoiseStart, m_dNoiseEnd, m_dNoiseMean, m_dNoiseSD);
    text += fmt::format("Thresh sd mult{:f}, type {}\r\n", m_fMultiplier,
                        directionNames[std::clamp(m_nDirection, 0, 2)]);
    if (m_nRegionMode == regionWholeFile) {
        text += "Analyse whole file\r\n";
        return;
    }
    const TimeSpan times =
        m_nRegionMode == regionVisible ? SeenTimes() : TimeSpan{m_dRegionStart, m_dRegionEnd};
    text += fmt::format("Analyse start {:f}, end {:f}\r\n", times.start, times.end);
}

}  // namespace kymora
