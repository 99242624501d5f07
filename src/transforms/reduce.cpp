#include "transforms/reduce.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/trace_stretches.h"

namespace kymora {

namespace {

constexpr uint32_t reduceVersion = 1;
constexpr double greatestDivisor = 100000.0;
constexpr int64_t readAtOnce = 65536;  // samples, if a group is not longer
constexpr const char* modeNames[] = {"Average intervening", "Skip intervening (decimate)",
                                     "Keep max and min"};

constexpr const char* nothingLeftText =
    "Frequency divisor factor: every group of samples begins in a gap, and no sample would be left. "
    "Choose a smaller factor.";

// Read group by group from the valid ones alone.
class ReducePlan : public SameTimesPlan {
  public:
    ReducePlan(CDataDoc& doc, const ReduceSettings& settings) : SameTimesPlan(doc), settings_(settings) {}

    double SampleInterval() const override { return doc_.sampleInterval * settings_.factor; }
    RunList Runs(int trace) const override {
        const RunList& runs = doc_.validRuns[static_cast<size_t>(trace)];
        return settings_.factor == 1 ? runs : ReducedRuns(runs, settings_);
    }
    bool Place(CEventKM& event) const override {
        event.onPosition = Reduced(event.onPosition);
        event.offPosition = Reduced(event.offPosition);
        return true;
    }
    // Means have other extremes than what they are made of: all axes are fitted anew.
    void Complete(CFloatDoc& result) const override {
        if (settings_.factor == 1) return;
        for (int t = 0; t < result.traceCount; ++t) result.traces[static_cast<size_t>(t)].traceAutoscale = 1;
    }
    void WriteSamples(int trace, RewriteSink& sink) override {
        if (settings_.factor == 1) return sink.CopyTrace(doc_, trace);
        const RunList reduced = Runs(trace);
        int64_t start = 0;  // of the run, in results
        for (int i = 0; i < reduced.Size(); ++i) {
            const int64_t end = start + reduced[i];
            if (i % 2 == 0) WriteRun(trace, start / settings_.Results(), end / settings_.Results(), sink);
            start = end;
        }
    }

  private:
    // An event without a position keeps none.
    int32_t Reduced(int32_t position) const { return position < 0 ? position : position / settings_.factor; }
    void WriteRun(int trace, int64_t group, int64_t end, RewriteSink& sink) {
        const int64_t size = settings_.Group(), atOnce = std::max<int64_t>(1, readAtOnce / size);
        for (; group < end; group += atOnce) {
            const int64_t groups = std::min(atOnce, end - group);
            samples_.resize(static_cast<size_t>(groups * size));
            valid_.resize(doc_.hasGaps ? samples_.size() : 0);
            results_.resize(static_cast<size_t>(groups * settings_.Results()));
            doc_.ReadBlock(trace, group * size, samples_, valid_);
            sink.GoOn(groups * size);
            ReduceGroups(samples_, valid_, settings_, results_);
            sink.Write(results_);
        }
    }

    ReduceSettings settings_;
    std::vector<float> samples_, results_;
    std::vector<uint8_t> valid_;
};

}  // namespace

void CReduce::Serialize(CArchive& archive) {
    CRewriteDlg::Serialize(archive);
    ExchangeVersion(archive, reduceVersion, ClassName());
    Exchange(archive, m_nFrequencyDivisorFactor);
    Exchange(archive, m_nMode);
}

void CReduce::Describe(ParamList& list) {
    list.Group("Reduction");
    list.Integer("frequencyDivisorFactor", "Frequency divisor factor", m_nFrequencyDivisorFactor)
        .Alias("factor")
        .Limits(1, greatestDivisor)
        .Spin()
        .Tip("So many samples become one; the sample interval grows by this factor. 1 copies the recording")
        .Shows([this] { return Preview(); });
    list.Choice("mode", "Mode", m_nMode, {std::begin(modeNames), std::end(modeNames)})
        .Buttons()
        .Tip("The mean of each group of samples takes its place; "
             "The first sample of each group stays. What is faster than half the new sample frequency then "
             "comes back as slower waves: run the FIR filter (CDigitalFIR) as a low-pass before; "
             "Keep max and min of reduced data in adjacent samples.");
    DescribeOutput(list);
}

std::string CReduce::Preview() const {
    if (!Document()) return {};
    const double interval = Document()->sampleInterval * m_nFrequencyDivisorFactor;
    return fmt::format("{:.6g} ms, {:.6g} Hz", interval, 1000.0 / interval);
}

std::string CReduce::CheckSettings() {
    if (!Document() || m_nFrequencyDivisorFactor == 1) return {};
    const int64_t length = LongestTrace(*Document());
    if (KernelSettings().Groups(length) > 0) return LeavesSamples() ? "" : nothingLeftText;
    return fmt::format("Frequency divisor factor: the {} samples of a trace are fewer than a group of {}. "
                       "Choose a smaller factor.",
                       length, KernelSettings().Group());
}

bool CReduce::LeavesSamples() const {
    const CDataDoc& doc = *Document();
    int64_t before = 0, after = 0;
    for (const RunList& runs : std::span(doc.validRuns).first(static_cast<size_t>(doc.traceCount))) {
        before += runs.StoredCount();
        after += ReducedRuns(runs, KernelSettings()).StoredCount();
    }
    return before == 0 || after > 0;
}

void CReduce::GetParamText(std::string& text) {
    CRewriteDlg::GetParamText(text);
    text += fmt::format("Frequency divisor factor: {}\r\nMode: {}\r\n", m_nFrequencyDivisorFactor,
                        modeNames[std::clamp(m_nMode, 0, 2)]);
}

ReduceSettings CReduce::KernelSettings() const {
    return {m_nFrequencyDivisorFactor, static_cast<ReduceMode>(std::clamp(m_nMode, 0, 2))};
}

std::unique_ptr<RecordingPlan> CReduce::MakePlan(CDataDoc& doc) {
    return std::make_unique<ReducePlan>(doc, KernelSettings());
}

// Groups are counted from the start of the recording, whatever the episodes.
void CReduce::TellMore(CDataDoc& doc) {
    if (!doc.episodic || m_nFrequencyDivisorFactor == 1) return;
    const int64_t group = KernelSettings().Group();
    const auto episodes = Episodes(doc);
    const auto split = std::ranges::count_if(
        episodes, [&](const TraceStretch& episode) { return episode.start % group != 0; });
    if (split > 0)
        Tell(fmt::format("{} of {} episodes begin within a group of {} samples, which holds samples of two "
                         "episodes. A factor that divides their length keeps them apart.",
                         split, episodes.size(), group));
}

}  // namespace kymora
