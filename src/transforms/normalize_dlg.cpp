#include "transforms/normalize_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/native_writer.h"

namespace kymora {

namespace {

constexpr uint32_t normalizeVersion = 1;
constexpr double greatestBaselineMs = 1e10, leastDuration = 1.0;
constexpr const char* normalizationNames[] = {"min : max -> 0 : 1", "min : max -> -1 : 1", "0 : max -> 0 : 1",
                                              "delta F/F0"};
constexpr const char* methodNames[] = {"average of the whole recording or episode", "average over user times",
                                       "explicit value", "percentile filter", "region of lowest average"};
constexpr const char* writingText = "Transforming";

// Shows how far each reading of a long run is: the first one looks for the region of the lowest average.
class ReadingProgress {
  public:
    ReadingProgress(const TransformRun& run, const SourceMaker& source) : run_(run), source_(source) {}

    std::unique_ptr<FloatSource> Begin() {
        bar_.reset();
        bar_ = run_.host.StartProgress(isSearched_ ? writingText : lowestAverageProgressText,
                                       static_cast<uint64_t>(run_.count));
        isSearched_ = true;
        return std::make_unique<Source>(source_(), *bar_);
    }

  private:
    class Source : public FloatSource {
      public:
        Source(std::unique_ptr<FloatSource> from, Progress& bar) : from_(std::move(from)), bar_(bar) {}
        size_t Read(std::span<float> to) override {
            const size_t count = from_->Read(to);
            done_ += count;
            if (!bar_.Update(done_)) throw Cancelled();
            return count;
        }

      private:
        std::unique_ptr<FloatSource> from_;
        Progress& bar_;
        uint64_t done_ = 0;
    };

    const TransformRun& run_;
    const SourceMaker& source_;
    std::unique_ptr<Progress> bar_;
    bool isSearched_ = false;
};

}  // namespace

void CNormalize::Serialize(CArchive& archive) {
    CTransformTraceWindowDlg::Serialize(archive);
    ExchangeVersion(archive, normalizeVersion, ClassName());
    Exchange(archive, m_nNormType);
    Exchange(archive, m_bPerSection);
    Exchange(archive, m_nF0Method);
    for (float* value : {&m_fF0Start, &m_fF0Duration, &m_fF0Value, &m_fBackground, &m_fF0Offset})
        Exchange(archive, *value);
    Exchange(archive, m_nPercentile);
}

void CNormalize::Describe(ParamList& list) {
    DescribeTraces(list);
    list.Group("Normalization");
    list.Choice("normType", "Type", m_nNormType,
                {std::begin(normalizationNames), std::end(normalizationNames)})
        .Buttons()
        .Tip("The range that the data get, or their change relative to a resting value");
    list.Flag("perSection", "Per section", m_bPerSection)
        .Tip("Check to treat each episode or gap-separated section separately, else normalization crosses "
             "episodes/gaps");
    DescribeF0(list);
    DescribeOutput(list);
}

void CNormalize::DescribeF0(ParamList& list) {
    list.Group("F0");
    list.Choice("f0Method", "F0 from", m_nF0Method, {std::begin(methodNames), std::end(methodNames)})
        .Tip("Where the resting value comes from")
        .EnabledIf([this] { return IsDeltaF(); });
    const auto hasTimes = [this] { return Uses(F0Method::userTimes); };
    list.Number("f0Start", "F0 start", m_fF0Start)
        .Unit("ms")
        .Limits(0, greatestBaselineMs)
        .Step(10)
        .Tip("Start of the average, from the start of the recording or section")
        .EnabledIf(hasTimes);
    list.Number("f0Duration", "F0 duration", m_fF0Duration)
        .Unit("ms")
        .Limits(leastDuration, greatestBaselineMs)
        .Step(10)
        .Tip("Duration of the average")
        .EnabledIf(hasTimes);
    list.Number("f0Value", "F0 value", m_fF0Value).Tip("The resting value").EnabledIf([this] {
        return Uses(F0Method::explicitValue);
    });
    DescribeHalfWindow(list, [this] { return UsesHalfWindow(); });
    list.Integer("percentile", "Percentile", m_nPercentile)
        .Unit("%")
        .Limits(0, 100)
        .Step(5)
        .Tip("Share of the samples of the window that lie below the resting value of its middle")
        .EnabledIf([this] { return Uses(F0Method::percentile); });
    list.Number("background", "Background", m_fBackground)
        .Limits(0, mostFloat)
        .Tip("Value without a signal, which is subtracted before F0 is used")
        .EnabledIf([this] { return UsesCorrections(); });
    list.Number("f0Offset", "F0 offset", m_fF0Offset)
        .Limits(0, mostFloat)
        .Tip("Added to F0 in the denominator, so that a small F0 does no harm")
        .EnabledIf([this] { return UsesCorrections(); });
    list.Note("f0Used", "F0 used",
              [this] { return std::isnan(m_fF0Used) ? std::string() : fmt::format("{:g}", m_fF0Used); });
}

void CNormalize::GetParamText(std::string& text) {
    text += "Normalize transform parameters:\r\n";
    CTransformTraceWindowDlg::GetParamText(text);
    text += fmt::format("Type: {}\r\n", normalizationNames[std::clamp(m_nNormType, 0, 3)]);
    text += m_bPerSection ? "Each section separately\r\n" : "All sections together\r\n";
    if (!IsDeltaF()) return;
    text += fmt::format("F0 method: {}\r\n", methodNames[std::clamp(m_nF0Method, 0, 4)]);
    if (Uses(F0Method::userTimes))
        text += fmt::format("F0 start {:f}\r\nF0 duration {:f}\r\n", m_fF0Start, m_fF0Duration);
    if (Uses(F0Method::explicitValue)) text += fmt::format("F0 value {:f}\r\n", m_fF0Value);
    if (UsesHalfWindow()) text += fmt::format("Half window time {}\r\n", HalfWindowText());
    if (Uses(F0Method::percentile)) text += fmt::format("Percentile {}\r\n", m_nPercentile);
    if (UsesCorrections())
        text += fmt::format("Background {:f}\r\nF0 offset {:f}\r\n", m_fBackground, m_fF0Offset);
}

NormalizeSettings CNormalize::KernelSettings(const TransformRun& run) const {
    constexpr int64_t longest = std::numeric_limits<int>::max();
    const auto half = static_cast<int>(std::clamp<int64_t>(HalfWindowSamples(run.Interval()), 0, longest));
    NormalizeSettings settings{static_cast<NormType>(m_nNormType),
                               static_cast<F0Method>(m_nF0Method),
                               m_fF0Start,
                               m_fF0Duration,
                               m_fF0Value,
                               m_fBackground,
                               m_fF0Offset,
                               half,
                               m_nPercentile,
                               run.Interval(),
                               run.validRuns};
    return settings;
}

KernelOutcome CNormalize::Keep(const NormalizeOutcome& outcome) {
    m_fF0Used = outcome.f0.value_or(std::numeric_limits<float>::quiet_NaN());
    return outcome;
}

KernelOutcome CNormalize::TransformBlock(const TransformRun& run, std::span<const float> input,
                                         std::span<float> output) {
    return Keep(Normalize(input, KernelSettings(run), output));
}

KernelOutcome CNormalize::TransformBlock(const TransformRun& run, const SourceMaker& source,
                                         FloatSink& output) {
    if (!HasOwnProgress()) return Keep(Normalize(source, run.count, KernelSettings(run), output));
    ReadingProgress progress(run, source);
    const SourceMaker shown = [&] { return progress.Begin(); };
    return Keep(Normalize(shown, run.count, KernelSettings(run), output));
}

}  // namespace kymora
