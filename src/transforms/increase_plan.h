#pragma once
// A recording with more samples at the same times: each one becomes as many as the multiplier says.

#include "kernels/sample_increase.h"
#include "transforms/rewrite_dlg.h"

namespace kymora {

// `Fill` as IncreasePass takes it. The last sample of a run, and of an episode, knows of no other one behind
// it.
template <typename Fill>
class IncreasePlan : public SameTimesPlan {
  public:
    IncreasePlan(CDataDoc& doc, int32_t multiplier, Fill fill)
        : SameTimesPlan(doc), multiplier_(multiplier), fill_(std::move(fill)) {}

    double SampleInterval() const override { return doc_.sampleInterval / multiplier_; }
    RunList Runs(int trace) const override {
        const auto old = doc_.validRuns[static_cast<size_t>(trace)].Runs();
        std::vector<uint32_t> runs(old.begin(), old.end());
        for (uint32_t& run : runs) run *= static_cast<uint32_t>(multiplier_);
        return RunList(std::move(runs));
    }
    bool Place(CEventKM& event) const override {
        event.onPosition = Multiplied(event.onPosition);
        event.offPosition = Multiplied(event.offPosition);
        return true;
    }
    void WriteSamples(int trace, RewriteSink& sink) override {
        if (multiplier_ == 1) return sink.CopyTrace(doc_, trace);
        PassStretches(trace, sink,
                      [this](const TraceStretch&) { return IncreasePass<Fill>(multiplier_, fill_); });
    }

  private:
    // An event without a position keeps none; one far behind the end stays a position.
    int32_t Multiplied(int32_t position) const {
        if (position < 0) return position;
        return static_cast<int32_t>(std::min<int64_t>(int64_t{position} * multiplier_, longestRecording));
    }

    int32_t multiplier_;
    Fill fill_;
};

}  // namespace kymora
