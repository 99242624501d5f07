#include "transforms/recording_rewriter.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/native_writer.h"
#include "transforms/transform_dlg.h"

namespace kymora {

namespace {

constexpr uint64_t askInterval = 1 << 16;  // samples

template <typename Item>
std::vector<Item> Retimed(const std::vector<Item>& items, const RecordingPlan& plan) {
    std::vector<Item> kept;
    for (const Item& item : items) {
        const auto time = plan.TimeOf(item.m_dTime);
        if (!time) continue;
        kept.push_back(item);
        kept.back().m_dTime = *time;
    }
    return kept;
}

}  // namespace

int64_t RecordingPlan::Work(const CDataDoc& source, const CFloatDoc& result) const {
    int64_t samples = 0;
    for (int t = 0; t < source.traceCount; ++t) samples += source.GetStoredCount(t);
    for (int t = 0; t < result.traceCount; ++t) samples += result.GetStoredCount(t);
    return samples;
}

class RecordingRewriter::Sink : public RewriteSink, private Progress {
  public:
    Sink(CArchive& archive, CDataDoc& doc, int64_t work)
        : archive_(archive),
          total_(static_cast<uint64_t>(std::max<int64_t>(work, 1))),
          progress_(doc.GetHost().StartProgress("Transforming", total_)) {}

    void AtTrace(int trace, int traces) {
        progress_->SetPart(PartText("trace", static_cast<size_t>(trace) + 1, static_cast<size_t>(traces)));
        written_ = notFinite_ = 0;
    }
    int64_t Written() const { return written_; }
    int64_t NotFinite() const { return notFinite_; }

    void Write(std::span<const float> values) override {
        archive_.WriteRaw(std::as_bytes(values));
        written_ += static_cast<int64_t>(values.size());
        notFinite_ += CountNotFinite(values);
        GoOn(static_cast<int64_t>(values.size()));
    }
    void CopyTrace(CDataDoc& from, int trace) override {
        const int64_t count = from.GetStoredCount(trace);
        start_ = done_;
        from.BeginCopy(this);
        try {
            from.WriteTraceData(archive_, trace);
        } catch (...) {
            from.BeginCopy(nullptr);
            throw;
        }
        from.BeginCopy(nullptr);
        written_ += count;
        done_ = start_;
        GoOn(2 * count);
    }
    void GoOn(int64_t samples) override {
        done_ += static_cast<uint64_t>(samples);
        unasked_ += static_cast<uint64_t>(samples);
        if (unasked_ < askInterval) return;
        unasked_ = 0;
        if (!progress_->Update(std::min(done_, total_))) throw Cancelled();
    }

  private:
    // Samples that are copied are read and written.
    bool Update(uint64_t copied) override {
        done_ = start_ + 2 * copied;
        return progress_->Update(std::min(done_, total_));
    }

    CArchive& archive_;
    uint64_t total_;
    std::unique_ptr<Progress> progress_;
    uint64_t done_ = 0, start_ = 0, unasked_ = 0;
    int64_t written_ = 0, notFinite_ = 0;
};

void RecordingRewriter::Write(CArchive& archive, RecordingPlan& plan, const std::string& comment,
                              std::optional<HistoryStep> step) {
    CFloatDoc result(doc_.GetSession());
    result.CopyHeader(doc_);
    Carry(plan, result);
    steps_ = doc_.Steps();
    if (step) {
        result.historyLog += step->entry;
        steps_.push_back(std::move(*step));
    }
    history_ = result.historyLog;

    WriteHead(archive, result);
    WriteTraces(archive, plan, result);
    WriteTail(archive, result, comment);
}

void RecordingRewriter::Carry(const RecordingPlan& plan, CFloatDoc& result) {
    result.sampleInterval = plan.SampleInterval();
    for (int t = 0; t < result.traceCount; ++t) {
        const auto slot = static_cast<size_t>(t);
        result.validRuns[slot] = plan.Runs(t);
        result.traceAnnotations[slot] = Retimed(result.traceAnnotations[slot], plan);
    }
    result.UpdateGapFlags();
    result.markers = Retimed(result.markers, plan);
    result.view.viewStart = plan.ViewTimeOf(result.view.viewStart);
    result.view.viewEnd = plan.ViewTimeOf(result.view.viewEnd);
    eventsBehindEnd_ = 0;
    for (size_t c = 0; c < result.eventChannels.size(); ++c)
        if (doc_.eventChannels[c].GetNumEvents() > 0)
            result.eventChannels[c] = Placed(doc_.eventChannels[c], plan, result);
    plan.Complete(result);
}

CEventChan RecordingRewriter::Placed(const CEventChan& channel, const RecordingPlan& plan,
                                     CFloatDoc& result) {
    CEventChan placed = channel.WithoutEvents();
    placed.ownerDoc = &result;
    const auto& measures = channel.EventExtra();
    std::vector<std::array<float, 3>> kept;
    for (size_t i = 0; i < channel.Events().size(); ++i) {
        CEventKM event = channel.Events()[i];
        const bool wasBehindEnd = event.onPosition >= doc_.GetLength();
        if (!plan.Place(event)) continue;
        if (!wasBehindEnd && event.onPosition >= result.GetLength()) ++eventsBehindEnd_;
        placed.AppendLoaded(std::move(event));
        if (!measures.empty()) kept.push_back(measures[i]);
    }
    if (!kept.empty()) placed.SetEventExtra(std::move(kept));
    return placed;
}

void RecordingRewriter::WriteTraces(CArchive& archive, RecordingPlan& plan, const CFloatDoc& result) {
    Sink sink(archive, doc_, plan.Work(doc_, result));
    for (int t = 0; t < result.traceCount; ++t) {
        sink.AtTrace(t, result.traceCount);
        plan.WriteSamples(t, sink);
        stored_[t] = result.GetStoredCount(t);
        if (sink.Written() != stored_[t])
            throw FileError(
                fmt::format("Internal error: {} samples of {} were made. Please inform the author.",
                            sink.Written(), stored_[t]),
                0);
        if (sink.NotFinite() > 0) notFinite_[t] = sink.NotFinite();
    }
}

}  // namespace kymora
