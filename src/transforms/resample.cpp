#include "transforms/resample.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "kernels/resample_run.h"

namespace kymora {

namespace {

constexpr uint32_t resampleVersion = 1;
constexpr double msPerSecond = 1000.0;
constexpr double leastFrequency = 1e-4, greatestFrequency = 1e10;  // Hz
constexpr double passBand = 0.9;                                   // of the lower Nyquist frequency
constexpr double noticedMiss = 1e-9;                               // of the frequency that was wanted

class ResamplePlan : public SameTimesPlan {
  public:
    ResamplePlan(CDataDoc& doc, RateFactor factor) : SameTimesPlan(doc), filter_(factor) {}

    double SampleInterval() const override {
        return doc_.sampleInterval * filter_.Factor().down / filter_.Factor().up;
    }
    RunList Runs(int trace) const override {
        const RunList& source = doc_.validRuns[static_cast<size_t>(trace)];
        std::vector<uint32_t> runs{0};
        int64_t end = 0, start = 0;  // of the source, and of the result
        for (int i = 0; i < source.Size(); ++i) {
            end += source[i];
            const int64_t resampled = FirstResultFrom(end, filter_.Factor());
            AddRun(runs, i % 2 == 0, resampled - start);
            start = resampled;
        }
        return RunList(std::move(runs));
    }
    // The results whose times lie in the event; at least one, where it had samples.
    bool Place(CEventKM& event) const override {
        const bool hasSamples = event.offPosition > event.onPosition;
        event.onPosition = Placed(event.onPosition);
        event.offPosition = Placed(event.offPosition);
        if (!hasSamples || event.onPosition < 0 || event.offPosition > event.onPosition) return true;
        const int64_t length = FirstResultFrom(doc_.GetLength(), filter_.Factor());
        if (event.onPosition == length) event.onPosition = static_cast<int32_t>(length - 1);
        event.offPosition = event.onPosition + 1;
        return true;
    }
    void WriteSamples(int trace, RewriteSink& sink) override {
        if (filter_.Factor() == RateFactor{}) return sink.CopyTrace(doc_, trace);
        PassStretches(trace, sink,
                      [this](const TraceStretch& stretch) { return ResamplePass(filter_, stretch.start); });
    }

  private:
    int32_t Placed(int32_t position) const {
        constexpr int64_t last = longestRecording - 1;
        return position < 0
                   ? position
                   : static_cast<int32_t>(std::min(FirstResultFrom(position, filter_.Factor()), last));
    }

    RationalResampler filter_;
};

}  // namespace

void CResample::CheckChangeDoc(CDataDoc* doc) {
    CRewriteDlg::CheckChangeDoc(doc);
    Follow();
}

void CResample::Serialize(CArchive& archive) {
    CRewriteDlg::Serialize(archive);
    ExchangeVersion(archive, resampleVersion, ClassName());
    Exchange(archive, m_nBy);
    Exchange(archive, m_nUp);
    Exchange(archive, m_nDown);
    Exchange(archive, m_dSampleFrequency);
    if (!archive.IsStoring()) Follow();
}

RateFactor CResample::Factor() const {
    if (m_nBy == byFrequency && Document())
        return NearestFactor(m_dSampleFrequency * Document()->sampleInterval / msPerSecond);
    return RateFactor{std::max(m_nUp, 1), std::max(m_nDown, 1)}.InLowestTerms();
}

double CResample::ResultFrequency() const {
    return msPerSecond / Document()->sampleInterval * Factor().Value();
}

void CResample::Follow() {
    if (!Document()) return;
    if (m_nBy == byFrequency) {
        m_nUp = Factor().up;
        m_nDown = Factor().down;
    } else {
        m_dSampleFrequency = TidyNumber(ResultFrequency());
    }
}

void CResample::Describe(ParamList& list) {
    const auto counts = [this](int32_t by) {
        return [this, by] {
            m_nBy = by;
            Follow();
        };
    };
    list.Group("Sample rate");
    list.Choice("by", "Given by", m_nBy, {"Factors", "Sample frequency"})
        .Buttons()
        .Tip("The new rate is up / down times the old one, whatever the recording's; "
             "Each recording gets this sample frequency, by the nearest factor")
        .Linked({"up", "down", "sampleFrequency"})
        .OnChange([this] { Follow(); });
    list.Integer("up", "Up", m_nUp)
        .Limits(1, greatestResamplingFactor)
        .Spin()
        .Tip("The factor's numerator: 3 up and 2 down makes three samples of two")
        .Linked({"by", "sampleFrequency"})
        .OnChange(counts(byFactors));
    list.Integer("down", "Down", m_nDown)
        .Limits(1, greatestResamplingFactor)
        .Spin()
        .Tip("The factor's denominator: 1 up and 4 down leaves one sample of four")
        .Linked({"by", "sampleFrequency"})
        .OnChange(counts(byFactors));
    list.Number("sampleFrequency", "Sample frequency", m_dSampleFrequency)
        .Unit("Hz")
        .Limits(leastFrequency, greatestFrequency)
        .Tip("The desired sample frequency")
        .Linked({"by", "up", "down"})
        .OnChange(counts(byFrequency));
    list.Note("result", "Result", [this] { return ResultText(); });
    list.Note("band", "Keeps", [this] { return BandText(); });
    DescribeOutput(list);
}

std::string CResample::ResultText() const {
    if (!Document()) return {};
    return fmt::format("{} up, {} down: {:.10g} Hz", Factor().up, Factor().down, ResultFrequency());
}

std::string CResample::BandText() const {
    if (!Document()) return {};
    const double lower = std::min(ResultFrequency(), msPerSecond / Document()->sampleInterval) / 2.0;
    return fmt::format("up to {:.6g} Hz; nothing from {:.6g} Hz on", passBand * lower, lower);
}

std::string CResample::CheckSettings() {
    if (!Document()) return {};
    const double old = msPerSecond / Document()->sampleInterval;
    constexpr double most = greatestResamplingFactor;
    if (m_nBy == byFrequency && (m_dSampleFrequency > old * most || m_dSampleFrequency < old / most))
        return fmt::format(
            "Sample frequency: {:.6g} Hz is more than {} times above or below the {:.6g} Hz of "
            "the recording.",
            m_dSampleFrequency, greatestResamplingFactor, old);
    const int64_t length = FirstResultFrom(LongestTrace(*Document()), Factor());
    return length > longestRecording ? fmt::format(resultTooLongText, length) : std::string();
}

void CResample::GetParamText(std::string& text) {
    text += "Resample transform parameters:\r\n";
    CRewriteDlg::GetParamText(text);
    // The factor is each recording's own.
    if (!Document() && m_nBy == byFrequency) {
        text += fmt::format("New sample frequency:\t{:f}\r\n", m_dSampleFrequency);
        return;
    }
    const RateFactor factor = Factor();
    text += fmt::format("Up: {}\r\nDown: {}\r\n", factor.up, factor.down);
    if (Document()) text += fmt::format("New sample frequency:\t{:f}\r\n", ResultFrequency());
}

std::unique_ptr<RecordingPlan> CResample::MakePlan(CDataDoc& doc) {
    return std::make_unique<ResamplePlan>(doc, Factor());
}

// Result 0 lies at the first sample of every excerpt.
PreviewReach CResample::Reach() const { return {RationalResampler(Factor()).Reach() + 1, Factor().down}; }

void CResample::TellMore(CDataDoc&) {
    if (m_nBy != byFrequency) return;
    if (std::abs(ResultFrequency() - m_dSampleFrequency) > noticedMiss * m_dSampleFrequency)
        Tell(fmt::format("{:.10g} Hz is no fraction of the old sample frequency with numbers up to {}. The "
                         "result has {:.10g} Hz, by {} up and {} down.",
                         m_dSampleFrequency, greatestResamplingFactor, ResultFrequency(), Factor().up,
                         Factor().down));
}

}  // namespace kymora
