#include "transforms/multi_process.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "document/sample_scan.h"
#include "kernels/run_reader.h"
#include "numerics/rounding.h"
#include "operations/event_base_dlg.h"

namespace kymora {

namespace {

constexpr uint32_t multiProcessVersion = 2;
constexpr double greatestRegionMs = 1e10;
constexpr const char* regionNames[] = {"whole file", "visible screen", "user time", "event"};
constexpr const char* noSamplesText =
    "There are no samples in the region whose mean or median is to be taken away. Choose another region.";

}  // namespace

// --- settings ---

void CMultiProcess::Serialize(CArchive& archive) {
    CTransformTraceWindowDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, multiProcessVersion, ClassName());
    const auto exchangeFlag = [&](bool& flag) {
        auto word = static_cast<uint32_t>(flag);
        Exchange(archive, word);
        flag = word != 0;
    };
    exchangeFlag(m_bRemoveCentre);
    Exchange(archive, m_nCentreType);
    Exchange(archive, m_nRectifyType);
    exchangeFlag(m_bRectify);
    exchangeFlag(m_bSmooth);
    if (version < 2) return;
    Exchange(archive, m_nRegion);
    Exchange(archive, m_dUserStart);
    Exchange(archive, m_dUserEnd);
    Exchange(archive, m_nEventChannel);
    Exchange(archive, m_nEventNumber);
}

// Where nobody attends, the run refuses an event that the recording does not have.
void CMultiProcess::CheckChangeDoc(CDataDoc* doc) {
    CTransformTraceWindowDlg::CheckChangeDoc(doc);
    if (!doc || !std::exchange(m_wereLoaded, false) || !IsAttended()) return;
    if (m_nRegion != inEvent || HasEvent()) return;
    Tell(noSuchEventText);
    m_nRegion = visible;
}

// What was seen when the transform was made is nothing that a view shows later.
std::vector<std::byte> CMultiProcess::StepSettings() {
    if (m_nRegion != visible || !Document()) return Settings();
    const TimeSpan seen = VisibleTimes(*Document(), View());
    const auto [start, end] = std::pair(m_dUserStart, m_dUserEnd);
    m_nRegion = userTimes;
    m_dUserStart = std::max(seen.start, 0.0);
    m_dUserEnd = std::min(seen.end, Document()->TimeOf(Document()->GetLength()));
    std::vector<std::byte> settings = Settings();
    m_nRegion = visible;
    m_dUserStart = start;
    m_dUserEnd = end;
    return settings;
}

void CMultiProcess::Describe(ParamList& list) {
    DescribeTraces(list);
    DescribeCentre(list);
    list.Group("Rectify");
    list.Flag("rectify", "Rectify about 0 mV", m_bRectify).Tip("Take the sign of negative values away");
    list.Choice("rectifyType", "Rectify type", m_nRectifyType, {"full wave", "half wave"})
        .Buttons()
        .Tip("Negative values become positive; Negative values become 0")
        .EnabledIf([this] { return m_bRectify; });
    list.Group("Smooth");
    list.Flag("smooth", "Smooth (moving average)", m_bSmooth)
        .Tip("Replace each value by the mean of those around it");
    const auto smooths = [this] { return m_bSmooth; };
    DescribeHalfWindow(list, smooths);
    DescribeIterations(list, 1)
        .Tip("Number of smoothing iterations: 1 = boxcar, 2 = triangular, 4+ = ~Gaussian")
        .EnabledIf(smooths);
    DescribeOutput(list);
}

void CMultiProcess::DescribeCentre(ParamList& list) {
    const auto removes = [this] { return m_bRemoveCentre; };
    list.Group("De-mean/median");
    list.Flag("removeCentre", "De-mean/median data", m_bRemoveCentre)
        .Tip("Subtract the mean or median from the samples");
    list.Choice("centreType", "Centre", m_nCentreType, {"mean", "median"})
        .Buttons()
        .Tip("The mean of the samples; Their median, which outliers do not move")
        .EnabledIf(removes);
    list.Choice("region", "Of", m_nRegion, {std::begin(regionNames), std::end(regionNames)})
        .Buttons()
        .Tip(
            "Each run of samples by itself; The data visible in the active view; The data between the user's "
            "times; The data within an event")
        .EnabledIf(removes);
    const auto hasTimes = [this] { return m_bRemoveCentre && m_nRegion == userTimes; };
    list.Number("regionStart", "Start", m_dUserStart)
        .Unit("ms")
        .Limits(0, greatestRegionMs)
        .Step(10)
        .Tip("Start of the region from which the mean or median is taken")
        .EnabledIf(hasTimes);
    list.Number("regionEnd", "End", m_dUserEnd)
        .Unit("ms")
        .Limits(0, greatestRegionMs)
        .Step(10)
        .Tip("End of that region; the sample at this time is no part of it")
        .EnabledIf(hasTimes);
    const auto hasEvent = [this] { return m_bRemoveCentre && m_nRegion == inEvent; };
    list.Channel("eventChannel", "Event channel", m_nEventChannel)
        .Tip("The channel of the event within which the mean or median is taken")
        .Shows([this] { return EventCountText(Document(), m_nEventChannel); })
        .EnabledIf(hasEvent);
    list.Integer("eventNumber", "Event number", m_nEventNumber)
        .Limits(1, std::numeric_limits<int32_t>::max())
        .Spin()
        .Tip("Which event of the channel, from 1")
        .EnabledIf(hasEvent);
}

bool CMultiProcess::HasEvent() const {
    return Document()->HasChannel(m_nEventChannel) && m_nEventNumber >= 1 &&
           m_nEventNumber <= Document()->GetNumEvents(m_nEventChannel);
}

std::string CMultiProcess::CheckSettings() {
    if (std::string fault = CTransformTraceWindowDlg::CheckSettings(); !fault.empty()) return fault;
    if (!m_bRemoveCentre && !m_bRectify && !m_bSmooth) return nothingToDoText;
    if (m_bSmooth)
        if (std::string fault = EmptyWindowFault(); !fault.empty()) return fault;
    return m_bRemoveCentre && Document() ? RegionFault() : std::string();
}

std::string CMultiProcess::RegionFault() const {
    const CDataDoc& doc = *Document();
    if (m_nRegion == userTimes) {
        if (!(m_dUserStart < m_dUserEnd)) return regionOrderText;
        // A time that is written with some digits stands for the nearest sample.
        if (RoundHalfAway64(m_dUserEnd / doc.sampleInterval) > doc.GetLength()) return endPastFileText;
    }
    if (m_nRegion == inEvent) {
        const int64_t count = doc.HasChannel(m_nEventChannel) ? doc.GetNumEvents(m_nEventChannel) : 0;
        if (count == 0) return emptyEventChannelText;
        if (!HasEvent())
            return fmt::format("Event channel {} has no event number {}. Choose one from 1 to {}.",
                               ChannelDisplayName(m_nEventChannel), m_nEventNumber, count);
    }
    if (m_nRegion == wholeFile) return {};
    const SampleSpan span = RegionSpan();
    if (span.first >= span.end) return noSamplesText;
    // A notice before the run is worth more than one after it.
    return m_nCentreType == median && span.Count() > longestRunInMemory ? medianTooLongText : std::string();
}

SampleSpan CMultiProcess::RegionSpan() const {
    const CDataDoc& doc = *Document();
    if (m_nRegion == visible) return HeldTo(doc, VisibleSpan(doc, View()));
    if (m_nRegion == userTimes)
        return HeldTo(doc, {doc.PositionOf(m_dUserStart), doc.PositionOf(m_dUserEnd)});
    const CEventKM& event = doc.eventChannels[static_cast<size_t>(m_nEventChannel)]
                                .Events()[static_cast<size_t>(m_nEventNumber - 1)];
    // An event of no length is one sample.
    return HeldTo(doc, {event.onPosition, std::max(event.offPosition, event.onPosition + 1)});
}

void CMultiProcess::GetParamText(std::string& text) {
    text += "Multi-Process transform parameters:\r\n";
    CTransformTraceWindowDlg::GetParamText(text);
    if (m_bRemoveCentre) {
        text += m_nCentreType == median ? "De-median\r\n" : "De-mean\r\n";
        text += fmt::format("Datum source: {}\r\n", regionNames[std::clamp(m_nRegion, 0, 3)]);
        const bool hasSpan = Document() && RegionFault().empty();
        if (m_nRegion == inEvent)
            text += fmt::format("Event channel: {}, event {}\r\n", ChannelDisplayName(m_nEventChannel),
                                m_nEventNumber);
        if (m_nRegion == userTimes) {
            text +=
                fmt::format("Start time: {:f}\tDuration: {:f}\r\n", m_dUserStart, m_dUserEnd - m_dUserStart);
        } else if (m_nRegion != wholeFile && hasSpan) {
            const SampleSpan span = RegionSpan();
            text += fmt::format("Start time: {:f}\tDuration: {:f}\r\n", Document()->TimeOf(span.first),
                                Document()->TimeOf(span.Count()));
        }
    }
    if (m_bRectify) text += m_nRectifyType == 1 ? "Half-wave rectify\r\n" : "Full-wave rectify\r\n";
    if (m_bSmooth)
        text += fmt::format("Smoothing parameters:\r\n\tHalf window time {}\r\n\tIterations {}\r\n",
                            HalfWindowText(), m_nIterations);
}

// --- the level ---

template <typename Input>
CMultiProcess::Level CMultiProcess::MeanOf(Input&& input) const {
    LevelMean mean;
    input([&](std::span<const float> samples) { mean.Add(samples); });
    if (mean.Count() == 0) return {0.0f, noSamplesText, {}};
    Level level{mean.Mean(), "", {}};
    if (mean.IsOff())
        level.note = fmt::format(
            "The mean is added up in single precision and comes to {}; the exact mean of these {} samples "
            "is {:.9g}. To take that away, subtract it with \"Offset, scale, rectify\".",
            level.value, mean.Count(), mean.Exact());
    return level;
}

CMultiProcess::Level CMultiProcess::LevelOfRegion(int trace) const {
    const SampleSpan span = RegionSpan();
    const auto scan = [&](auto take) {
        ScanValidSamples(*Document(), trace, span.first, span.Count(), [&](std::span<float> samples) {
            take(std::span<const float>(samples));
            return true;
        });
    };
    if (m_nCentreType == mean) return MeanOf(scan);
    if (span.Count() > longestRunInMemory) return {0.0f, medianTooLongText, {}};
    std::vector<float> finite;
    scan([&](std::span<const float> samples) { AppendFinite(samples, finite); });
    if (finite.empty()) return {0.0f, noSamplesText, {}};
    return {static_cast<float>(GetMedian(finite)), "", {}};
}

template <typename Input>
CMultiProcess::Level CMultiProcess::LevelFor(const TransformRun& run, Input&& input) {
    if (!m_bRemoveCentre) return {};
    if (m_nRegion == wholeFile) {
        const auto scan = [&](auto take) { ForEachBlock(input, take); };
        if (m_nCentreType == mean) {
            // A run without a number stays without one.
            const Level level = MeanOf(scan);
            return level.fault == noSamplesText ? Level{} : level;
        }
        if (run.count > longestRunInMemory) return {0.0f, medianTooLongText, {}};
        std::vector<float> finite;
        scan([&](std::span<const float> samples) { AppendFinite(samples, finite); });
        return {finite.empty() ? 0.0f : static_cast<float>(GetMedian(finite)), "", {}};
    }
    const auto known = m_levels.find(run.trace);
    if (m_isWriting && known != m_levels.end()) return known->second;
    return m_levels[run.trace] = LevelOfRegion(run.trace);
}

// --- kernels ---

WrittenFile CMultiProcess::WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) {
    struct Writing {
        CMultiProcess& dialog;
        explicit Writing(CMultiProcess& of) : dialog(of) { Begin(true); }
        ~Writing() { Begin(false); }
        void Begin(bool isWriting) {
            dialog.m_levels.clear();
            dialog.m_isWriting = isWriting;
            dialog.m_wasTold = false;
        }
    };
    const Writing writing(*this);
    return CTransformTraceWindowDlg::WriteFile(session, path, keepsSource);
}

ConditioningSettings CMultiProcess::KernelSettings(const TransformRun& run, const Level& level) const {
    ConditioningSettings settings;
    settings.level = level.value;
    if (m_bRectify) settings.rectify = m_nRectifyType == 1 ? RectifyType::halfWave : RectifyType::fullWave;
    settings.smooths = m_bSmooth;
    settings.halfWindow = HalfWindowSamples(run.Interval());
    settings.iterations = m_nIterations;
    return settings;
}

// The first of them is told, the others are logged: there may be thousands of episodes.
void CMultiProcess::TellNote(const TransformRun& run, const Level& level) {
    if (level.note.empty() || m_bInPreview) return;
    const std::string text = fmt::format("Trace {}, run from {:.10g} ms: {}", run.trace + 1,
                                         run.doc.TimeOf(run.start), level.note);
    if (std::exchange(m_wasTold, true))
        run.host.Log(text + "\n");
    else
        Tell(text);
}

KernelOutcome CMultiProcess::TransformBlock(const TransformRun& run, std::span<const float> input,
                                            std::span<float> output) {
    const Level level = LevelFor(run, input);
    if (*level.fault != '\0') return KernelOutcome::Failure(level.fault);
    TellNote(run, level);
    KernelOutcome outcome = Condition(input, KernelSettings(run, level), output, run.goOn);
    m_strNote = level.note;
    if (m_bInPreview && !m_strNote.empty()) outcome.note = m_strNote.c_str();
    return outcome;
}

KernelOutcome CMultiProcess::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                            FloatSink& output) {
    const Level level = LevelFor(run, RepeatedSource{source});
    if (*level.fault != '\0') return KernelOutcome::Failure(level.fault);
    TellNote(run, level);
    return Condition(*source(), run.count, KernelSettings(run, level), output, run.scratch);
}

}  // namespace kymora
