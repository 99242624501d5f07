#include "transforms/rewrite_dlg.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/generated_doc.h"

namespace kymora {

CTransformDlg::Written CRewriteDlg::WriteRecording(CArchive& archive, const std::filesystem::path&) {
    CDataDoc& doc = *Document();
    const DrawWatch draws(doc.GetSession());
    const auto plan = MakePlan(doc);
    std::string report;
    GetParamText(report);
    report += "\r\n";
    RecordingRewriter engine(doc);
    engine.Write(archive, *plan, CommentBehind(doc.fileComment),
                 HistoryStep{report, Title(), Settings(), doc.GetSession().seed, draws.Draws()});
    TellNotFinite(engine.NotFinite(), [&](int trace) { return engine.StoredCount(trace); });
    if (engine.EventsBehindEnd() > 0)
        Tell(fmt::format("{} events began among the last samples, which are too few to leave one. They are "
                         "kept behind the end of the result.",
                         engine.EventsBehindEnd()));
    TellMore(doc);
    return {true, {}, engine.History(), engine.Steps()};
}

// --- the preview ---

namespace {

// The results of one trace, in memory.
class PreviewSink : public RewriteSink {
  public:
    PreviewSink(PreviewTalk& talk, int64_t samples)
        : progress_(talk.StartProgress({}, static_cast<uint64_t>(samples))) {}

    void Write(std::span<const float> values) override {
        results.insert(results.end(), values.begin(), values.end());
    }
    void CopyTrace(CDataDoc& from, int trace) override {
        std::vector<float> samples(static_cast<size_t>(from.GetTraceLength(trace)));
        from.ReadBlock(trace, 0, samples);
        Write(samples);
    }
    void GoOn(int64_t samples) override {
        done_ += static_cast<uint64_t>(samples);
        if (!progress_->Update(done_)) throw Cancelled();
    }

    std::vector<float> results;

  private:
    std::unique_ptr<Progress> progress_;
    uint64_t done_ = 0;
};

}  // namespace

std::vector<float> CRewriteDlg::Collect(RecordingPlan& plan, CDataDoc& excerpt, PreviewTalk& talk) {
    PreviewSink sink(talk, excerpt.GetLength());
    plan.WriteSamples(0, sink);
    return std::move(sink.results);
}

std::vector<float> CRewriteDlg::ExcerptResults(CDataDoc& excerpt, PreviewTalk& talk) {
    return Collect(*MakePlan(excerpt), excerpt, talk);
}

void CRewriteDlg::OnNeedData(PreviewData& data) {
    MakePreview(*Document(), data, [&](PreviewTalk& talk) { TakeResults(data, talk); });
}

void CRewriteDlg::TakeResults(PreviewData& data, PreviewTalk& talk) {
    CDataDoc& doc = *Document();
    const double step = MakePlan(doc)->SampleInterval() / doc.sampleInterval;
    if (RefuseLongPreview(data, static_cast<double>(data.count) / step)) return;
    const PreviewReach reach = Reach();
    const auto atGrain = [&](int64_t position) { return position / reach.grain * reach.grain; };
    const int64_t from = atGrain(std::max<int64_t>(0, data.start - reach.samples));
    const int64_t end =
        std::min(doc.GetLength(), atGrain(data.start + data.count + reach.samples + reach.grain - 1));
    std::vector<float> samples(static_cast<size_t>(end - from));
    doc.ReadBlock(data.trace, from, samples);
    GeneratedDoc excerpt(doc.GetSession(), doc.sampleInterval, {std::move(samples)},
                         {{static_cast<uint32_t>(end - from)}});
    const std::vector<float> results = ExcerptResults(excerpt, talk);
    // Of the results those that lie in the stretch.
    const auto resultAt = [&](int64_t position) {
        const double index = static_cast<double>(position - from) / step - positionTolerance;
        return std::clamp<int64_t>(static_cast<int64_t>(std::ceil(index)), 0, std::ssize(results));
    };
    const int64_t first = resultAt(data.start), last = resultAt(data.start + data.count);
    data.transformed.assign(results.begin() + first, results.begin() + last);
    data.firstResult = static_cast<double>(from) + static_cast<double>(first) * step;
    data.resultStep = step;
    data.isTransformed = true;
    if (first == last) data.message = noResultHereText;
}

// --- plans ---

int64_t LongestTrace(const CDataDoc& doc) {
    int64_t longest = 0;
    for (int t = 0; t < doc.traceCount; ++t) longest = std::max(longest, doc.GetTraceLength(t));
    return longest;
}

}  // namespace kymora
