#include "templates/template_wave.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "document/trace_stretches.h"
#include "spectra/interpolate_fft.h"

namespace kymora {

namespace {

constexpr const char* damagedTemplateText = "The template that is stored with event chan {} is damaged.";

TraceStretch StretchAround(const CDataDoc& doc, const CaptureSpan& span) {
    const int64_t first = span.first, end = first + span.length;
    for (const TraceStretch& stretch : UnbrokenStretches(doc, span.trace))
        if (first >= stretch.start && end <= stretch.end) return stretch;
    throw TemplateFault(brokenCaptureText);
}

// With the values at the ends of the stretch, or of the finite samples, in the place of those behind.
std::vector<float> ReadWithSpare(CDataDoc& doc, const CaptureSpan& span, int spare) {
    const TraceStretch stretch = StretchAround(doc, span);
    const int64_t first = int64_t{span.first} - spare, count = int64_t{span.length} + 2 * int64_t{spare};
    std::vector<float> samples(static_cast<size_t>(count));
    const int64_t from = std::max(first, stretch.start), end = std::min(first + count, stretch.end);
    doc.ReadBlock(
        span.trace, from,
        std::span(samples).subspan(static_cast<size_t>(from - first), static_cast<size_t>(end - from)));
    const auto isFinite = [](float x) { return std::isfinite(x); };
    const auto begin = samples.begin() + spare, last = samples.end() - spare;
    if (!std::all_of(begin, last, isFinite)) throw TemplateFault(brokenCaptureText);
    // Behind a gap, or a sample that is no number, nothing is read on.
    bool isHeld = false;
    for (int64_t i = spare; i-- > 0;) {
        auto& value = samples[static_cast<size_t>(i)];
        isHeld |= first + i < from || !isFinite(value);
        if (isHeld) value = samples[static_cast<size_t>(i) + 1];
    }
    isHeld = false;
    for (int64_t i = count - spare; i < count; ++i) {
        auto& value = samples[static_cast<size_t>(i)];
        isHeld |= first + i >= end || !isFinite(value);
        if (isHeld) value = samples[static_cast<size_t>(i) - 1];
    }
    return samples;
}

// Reads the window of an event anew. Its onset is the nearest sample to where the window begins; of the
// windows that have this onset the one that fits best is that of the search.
class EventWindows {
  public:
    EventWindows(RaisedTrace& raised, const TemplateWave& like, TemplateType type)
        : raised_(raised),
          isScaled_(type == TemplateType::scaled),
          error_(like.values),
          scaled_(like.values) {
        row_.resize(like.values.size() + static_cast<size_t>(like.multiplier) - 1);
        measures_.resize(static_cast<size_t>(like.multiplier));
    }
    // False where none of them is whole.
    bool Read(int32_t onset, std::span<float> to) {
        const int64_t multiplier = std::ssize(measures_);
        if (multiplier == 1) return raised_.Read(onset, to);
        const int64_t first = onset * multiplier - multiplier / 2;
        const auto better = isScaled_ ? Better::larger : Better::smaller;
        if (raised_.Read(first, row_)) {
            Measure(row_, measures_);
            size_t best = 0;
            for (size_t i = 1; i < measures_.size(); ++i)
                if (IsBetter(measures_[i], measures_[best], better)) best = i;
            std::copy_n(row_.begin() + static_cast<std::ptrdiff_t>(best), to.size(), to.begin());
            return true;
        }
        // Some of them reach over an end.
        const auto window = std::span(row_).first(to.size());
        std::optional<float> best;
        for (int64_t bin = first; bin < first + multiplier; ++bin) {
            if (!raised_.Read(bin, window)) continue;
            Measure(window, std::span(measures_).first(1));
            if (best && !IsBetter(measures_[0], *best, better)) continue;
            best = measures_[0];
            std::ranges::copy(window, to.begin());
        }
        return best.has_value();
    }

  private:
    void Measure(std::span<const float> samples, std::span<float> to) {
        if (!isScaled_) return error_.Measure(samples, to);
        // So few windows are not worth a transform.
        const size_t bins = samples.size() - to.size() + 1;
        for (size_t k = 0; k < to.size(); ++k) to[k] = scaled_.FitOf(samples.subspan(k, bins)).criterion;
    }

    RaisedTrace& raised_;
    bool isScaled_;
    TemplateError error_;
    ScaledTemplate scaled_;
    std::vector<float> row_, measures_;  // of the windows with one onset
};

void CheckSize(int64_t length, int multiplier) {
    if (!IsRaise(multiplier)) throw TemplateFault(raiseFaultText);
    if (length * multiplier > mostTemplateValues)
        throw TemplateFault(fmt::format(longCaptureText, length * multiplier, mostTemplateValues));
}

}  // namespace

bool TemplateWave::IsOf(const CDataDoc& doc, int itsTrace) const {
    return start >= 0 && trace == itsTrace && IsFrom(doc);
}

bool TemplateWave::IsFrom(const CDataDoc& doc) const { return recording == doc.filePath.filename().string(); }

std::string TemplateWave::IntervalWarning(const CDataDoc& doc) const {
    constexpr double rounding = 1e-6;
    const double here = doc.sampleInterval;
    if (!(sampleInterval > 0.0) || std::abs(sampleInterval - here) <= rounding * here) return {};
    return fmt::format(otherIntervalText, sampleInterval, length, length * sampleInterval, here,
                       length * here);
}

void TemplateWave::Exchange(CArchive& archive) {
    if (archive.IsStoring()) {
        archive.Write<int32_t>(static_cast<int32_t>(values.size()));
    } else {
        values.resize(archive.ReadItemCount(sizeof(float), "template points"));
    }
    for (float& value : values) kymora::Exchange(archive, value);
    for (int32_t* number : {&multiplier, &spareBins, &length, &start, &trace})
        kymora::Exchange(archive, *number);
    kymora::Exchange(archive, startMs);
    kymora::Exchange(archive, endMs);
    kymora::Exchange(archive, recording);
}

double ShortTimeOf(const CDataDoc& doc, int32_t sample) {
    constexpr int mostDecimals = 9;
    const double time = doc.TimeOf(sample);
    double scale = 1.0;
    for (int decimals = 0; decimals <= mostDecimals; ++decimals, scale *= 10.0)
        if (const double rounded = std::round(time * scale) / scale; doc.PositionOf(rounded) == sample)
            return rounded;
    return time;
}

CaptureSpan SpanBetween(const CDataDoc& doc, int trace, double oneMs, double otherMs) {
    const int32_t one = doc.PositionOf(oneMs), other = doc.PositionOf(otherMs);
    // Two times beyond all positions are held to the last of them.
    if (one == other && one >= doc.GetTraceLength(trace) && oneMs != otherMs)
        throw TemplateFault(lateCaptureText);
    if (one == other) throw TemplateFault(coincidingCursorsText);
    const int32_t first = std::min(one, other), last = std::max(one, other);
    return {trace, first, static_cast<int32_t>(std::min<int64_t>(int64_t{last} - first + 1, INT32_MAX))};
}

TemplateWave CaptureTemplate(CDataDoc& doc, const CaptureSpan& span, int multiplier, int spareBins) {
    if (span.length < fewestTemplateSamples) throw TemplateFault(shortCaptureText);
    if (int64_t{span.first} + span.length > doc.GetTraceLength(span.trace))
        throw TemplateFault(lateCaptureText);
    CheckSize(span.length, multiplier);
    if (span.first < spareBins) throw TemplateFault(fmt::format(earlyCaptureText, doc.TimeOf(spareBins)));
    const std::vector<float> samples = ReadWithSpare(doc, span, spareBins);
    // What lies beside a stretch without variation rings into it when the rate is raised.
    const auto own =
        std::span(samples).subspan(static_cast<size_t>(spareBins), static_cast<size_t>(span.length));
    if (!(PeakToPeak(own) > 0.0)) throw TemplateFault(flatTemplateText);
    const std::vector<float> raised = InterpolateExtended(samples, multiplier);
    TemplateWave wave;
    const auto cut = static_cast<std::ptrdiff_t>(spareBins) * multiplier;
    wave.values.assign(raised.begin() + cut, raised.end() - cut);
    wave.multiplier = multiplier;
    wave.spareBins = spareBins;
    wave.length = span.length;
    wave.start = span.first;
    wave.trace = span.trace;
    wave.startMs = doc.TimeOf(span.first);
    wave.endMs = doc.TimeOf(int64_t{span.first} + span.length - 1);
    wave.recording = doc.filePath.filename().string();
    wave.sampleInterval = doc.sampleInterval;
    return wave;
}

std::string WaveFault(const TemplateWave& wave) {
    if (!wave.IsDefined()) return noTemplateText;
    if (!std::ranges::all_of(wave.values, [](float x) { return std::isfinite(x); })) return brokenCaptureText;
    if (!(PeakToPeak(wave.values) > 0.0)) return flatTemplateText;
    return {};
}

bool HoldsTemplate(const CEventChan& channel) {
    return channel.detectionMethod >= methodFixedTemplate && channel.detectionMethod <= methodScaledTemplate;
}

TemplateWave StoredTemplate(const CDataDoc& doc, const CEventChan& channel) {
    const DetectionParameters& kept = channel.detection;
    TemplateWave wave;
    wave.values = channel.templateData;
    wave.multiplier = kept.templateStart;
    wave.spareBins = kept.templateEnd;
    wave.length = kept.templateFirst;
    wave.start = kept.templateLast;
    wave.trace = kept.templateTrace;
    const bool isSound = IsRaise(wave.multiplier) && wave.spareBins >= 0 && wave.length >= 1 &&
                         wave.start >= TemplateWave::nowhere && wave.trace >= 0 &&
                         int64_t{wave.length} * wave.multiplier == std::ssize(wave.values) &&
                         std::ssize(wave.values) <= mostTemplateValues && WaveFault(wave).empty();
    if (!isSound) {
        const auto number = &channel - doc.eventChannels.data();
        throw TemplateFault(fmt::format(damagedTemplateText, ChannelName(static_cast<int>(number))));
    }
    if (wave.start != TemplateWave::nowhere) {
        wave.startMs = doc.TimeOf(wave.start);
        wave.endMs = doc.TimeOf(int64_t{wave.start} + wave.length - 1);
    }
    wave.recording = doc.filePath.filename().string();
    wave.sampleInterval = doc.sampleInterval;
    return wave;
}

TemplateWave AverageOfEvents(CDataDoc& doc, int trace, const CEventChan& channel, const TemplateWave& like) {
    RaisedTrace raised(doc, trace, UnbrokenStretches(doc, trace), like.multiplier, like.spareBins);
    EventWindows windows(raised, like,
                         static_cast<TemplateType>(channel.detectionMethod - methodFixedTemplate));
    std::vector<float> window(like.values.size());
    std::vector<double> sums(window.size());
    int64_t count = 0;
    TemplateWave wave = like;
    for (const CEventKM& event : channel.Events()) {
        if (!windows.Read(event.onPosition, window)) continue;
        ++count;
        for (size_t i = 0; i < window.size(); ++i) sums[i] += window[i];
    }
    if (count == 0) throw TemplateFault(brokenCaptureText);
    wave.values.resize(window.size());
    for (size_t i = 0; i < window.size(); ++i)
        wave.values[i] = static_cast<float>(sums[i] / static_cast<double>(count));
    wave.trace = trace;
    wave.start = TemplateWave::nowhere;
    wave.startMs = wave.endMs = 0.0;
    if (!(PeakToPeak(wave.values) > 0.0)) throw TemplateFault(flatTemplateText);
    return wave;
}

}  // namespace kymora
