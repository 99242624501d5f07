#pragma once
// Transforms of whole recordings: all traces at once, to other samples at other places. A class describes
// what it needs, then DescribeOutput, and makes the plan that the engine follows. A preview has the plan of
// an excerpt, and shows the result in the stretch of time that the raw data fill.

#include "document/sample_scan.h"
#include "document/trace_stretches.h"
#include "kernels/passes.h"
#include "transforms/make_preview.h"
#include "transforms/recording_rewriter.h"
#include "transforms/transform_dlg.h"

namespace kymora {

inline constexpr const char* resultTooLongText =
    "The result would have {} samples per trace. A recording holds at most 2147483647.";

// What a preview of a stretch has to read around it.
struct PreviewReach {
    int64_t samples = 0;  // on each side, at which results of the stretch look
    int64_t grain = 1;    // the excerpt begins at a multiple of it
};

class CRewriteDlg : public CTransformDlg, public CPreviewHost {
  public:
    using CTransformDlg::CTransformDlg;

    void OnNeedData(PreviewData& data) override;
    int PreviewTrace() const override { return everyTrace; }

  protected:
    // The recording is there and the parameters are valid. Throws std::runtime_error with the reason why
    // there is none.
    virtual std::unique_ptr<RecordingPlan> MakePlan(CDataDoc& doc) = 0;
    // It is done: what there is to say of it beyond what the engine counts.
    virtual void TellMore(CDataDoc&) {}
    Written WriteRecording(CArchive& archive, const std::filesystem::path& target) override;

    // --- for a plan whose result has the times of the source ---
    virtual PreviewReach Reach() const { return {}; }
    // All results of trace 0 of an excerpt, which begins where Reach says.
    virtual std::vector<float> ExcerptResults(CDataDoc& excerpt, PreviewTalk& talk);
    // What the plan writes of trace 0.
    static std::vector<float> Collect(RecordingPlan& plan, CDataDoc& excerpt, PreviewTalk& talk);

  private:
    void TakeResults(PreviewData& data, PreviewTalk& talk);
};

// Samples of the longest trace.
int64_t LongestTrace(const CDataDoc& doc);

// --- plans whose result has the times of the source ---

// Samples become more or fewer at the same times.
class SameTimesPlan : public RecordingPlan {
  public:
    explicit SameTimesPlan(CDataDoc& doc) : doc_(doc) {}
    std::optional<double> TimeOf(double timeMs) const override { return timeMs; }

  protected:
    // Hands each unbroken stretch of a trace to a pass of its own, which makePass(stretch) answers.
    template <typename MakePass>
    void PassStretches(int trace, RewriteSink& sink, MakePass makePass) {
        for (const TraceStretch& stretch : UnbrokenStretches(doc_, trace)) {
            auto pass = makePass(stretch);
            ResultBuffer results(sink);
            ScanSamples(doc_, trace, stretch.start, stretch.Count(), [&](std::span<const float> samples) {
                sink.GoOn(static_cast<int64_t>(samples.size()));
                pass.Take(samples, results);
                return true;
            });
            pass.Finish(results);
            results.Flush();
        }
    }

    CDataDoc& doc_;
};

}  // namespace kymora
