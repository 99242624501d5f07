#include "transforms/data_transform.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/native_writer.h"
#include "kernels/run_reader.h"
#include "kernels/temporary_scratch.h"

namespace kymora {

namespace {

constexpr int64_t pollInterval = 1 << 16;  // samples

// The samples of some stretches of a trace, one behind the other.
class TraceSource : public FloatSource {
  public:
    TraceSource(CDataDoc& doc, int trace, const std::vector<TraceStretch>& stretches, const KernelPoll& goOn)
        : doc_(doc), trace_(trace), stretches_(stretches), goOn_(goOn) {}

    size_t Read(std::span<float> to) override {
        size_t filled = 0;
        while (filled < to.size() && next_ < stretches_.size()) {
            const TraceStretch& stretch = stretches_[next_];
            const int64_t left = stretch.end - stretch.start - done_;
            const auto part = to.subspan(filled, static_cast<size_t>(std::min<int64_t>(
                                                     left, static_cast<int64_t>(to.size() - filled))));
            if (!part.empty()) doc_.ReadBlock(trace_, stretch.start + done_, part);
            filled += part.size();
            done_ += static_cast<int64_t>(part.size());
            if (done_ == stretch.end - stretch.start) {
                ++next_;
                done_ = 0;
            }
        }
        goOn_(static_cast<int64_t>(filled));
        return filled;
    }

  private:
    CDataDoc& doc_;
    int trace_;
    const std::vector<TraceStretch>& stretches_;
    const KernelPoll& goOn_;
    size_t next_ = 0;   // the stretch that is being read
    int64_t done_ = 0;  // samples of it
};

class ArchiveSink : public FloatSink {
  public:
    explicit ArchiveSink(CArchive& archive) : archive_(archive) {}
    void Write(std::span<const float> values) override {
        archive_.WriteRaw(std::as_bytes(values));
        written_ += static_cast<int64_t>(values.size());
        notFinite_ += CountNotFinite(values);
    }
    int64_t Written() const { return written_; }
    int64_t NotFinite() const { return notFinite_; }

  private:
    CArchive& archive_;
    int64_t written_ = 0;
    int64_t notFinite_ = 0;
};

// Scratch files whose writing asks whether to go on.
class PolledRoom : public ScratchRoom {
  public:
    PolledRoom(ScratchRoom& room, const KernelPoll& goOn) : room_(room), goOn_(goOn) {}
    std::unique_ptr<ScratchRun> Make() override { return std::make_unique<Run>(room_.Make(), goOn_); }

  private:
    class Run : public ScratchRun, private FloatSink {
      public:
        Run(std::unique_ptr<ScratchRun> run, const KernelPoll& goOn) : run_(std::move(run)), goOn_(goOn) {}
        FloatSink& Sink() override { return *this; }
        std::unique_ptr<FloatSource> Rewind() override { return run_->Rewind(); }
        std::unique_ptr<FloatSource> Backwards() override { return run_->Backwards(); }

      private:
        void Write(std::span<const float> values) override {
            run_->Sink().Write(values);
            goOn_(0);
        }
        std::unique_ptr<ScratchRun> run_;
        const KernelPoll& goOn_;
    };

    ScratchRoom& room_;
    const KernelPoll& goOn_;
};

}  // namespace

// The progress over all samples that are written. It can step aside for a kernel's own.
class CDataTransform::Meter : public Progress {
  public:
    Meter(CDataDoc& doc, uint64_t total) : doc_(doc), total_(total) { Show(); }
    ~Meter() override { doc_.BeginCopy(nullptr); }

    void Show() {
        progress_ = doc_.GetHost().StartProgress("Transforming", total_);
        progress_->SetPart(part_);
    }
    void Hide() { progress_.reset(); }

    // The trace at hand; a kernel may yet ask for a progress of its own.
    void AtTrace(int trace) {
        part_ = PartText("trace", static_cast<size_t>(trace) + 1, static_cast<size_t>(doc_.traceCount));
        if (progress_) progress_->SetPart(part_);
    }

    // What is done from here on counts behind what is done now.
    void Begin() { start_ = done_; }
    // So many samples since Begin, whatever was counted.
    void End(int64_t samples) { done_ = start_ + static_cast<uint64_t>(samples); }
    // The same while they are copied.
    bool Update(uint64_t samples) override {
        done_ = start_ + samples;
        return !progress_ || progress_->Update(std::min(done_, total_));
    }
    // So many more. Throws Cancelled.
    bool GoOn(int64_t samples) {
        done_ += static_cast<uint64_t>(samples);
        unpolled_ += samples;
        return unpolled_ < pollInterval || Ask();
    }
    // At least so many since Begin.
    bool Reach(int64_t samples) {
        done_ = std::max(done_, start_ + static_cast<uint64_t>(samples));
        return Ask();
    }
    bool Ask() {
        unpolled_ = 0;
        if (progress_ && !progress_->Update(std::min(done_, total_))) throw Cancelled();
        return true;
    }

  private:
    CDataDoc& doc_;
    uint64_t total_;
    uint64_t start_ = 0, done_ = 0;
    int64_t unpolled_ = 0;
    std::string part_;
    std::unique_ptr<Progress> progress_;
};

CDataTransform::CDataTransform(CDataDoc& doc, std::filesystem::path scratchFolder)
    : doc_(doc), scratchFolder_(std::move(scratchFolder)) {}

CDataTransform::~CDataTransform() = default;

bool CDataTransform::ApplyTraceTransform(CArchive& archive, CTransformTraceDlg& dialog) {
    failureNote_.clear();
    notFinite_.clear();
    const DrawWatch draws(doc_.GetSession());
    const Flags flags = dialog.TraceFlags(doc_.traceCount);
    const bool adds = dialog.m_nAddMode == CTransformTraceDlg::addTraces;
    CFloatDoc result(doc_.GetSession());
    result.CopyHeader(doc_);
    if (adds) result.AddTraces(flags);

    WriteHead(archive, doc_, result.traceCount,
              adds ? std::span<const uint8_t>(flags) : std::span<const uint8_t>());
    if (!WriteTraces(archive, flags, dialog)) return false;

    NameResults(result, flags, dialog);
    std::string report;
    dialog.GetParamText(report);
    report += "\r\n";
    result.historyLog += report;
    history_ = result.historyLog;
    steps_ = doc_.Steps();
    steps_.push_back({report, dialog.Title(), dialog.StepSettings(), doc_.GetSession().seed, draws.Draws()});
    if (!adds && !dialog.KeepsMeasures()) {
        // What was measured of the old samples goes.
        for (CEventChan& channel : result.eventChannels)
            if (channel.parentTrace >= 0 && channel.parentTrace < doc_.traceCount &&
                flags[static_cast<size_t>(channel.parentTrace)] != 0 && channel.GetNumEvents() > 0)
                channel.DropEventExtra();
    }
    WriteTail(archive, result, dialog.CommentBehind(doc_.fileComment));
    return true;
}

bool CDataTransform::WriteTraces(CArchive& archive, const Flags& flags, CTransformTraceDlg& dialog) {
    const bool adds = dialog.m_nAddMode == CTransformTraceDlg::addTraces;
    uint64_t total = 0;
    for (int t = 0; t < doc_.traceCount; ++t)
        total +=
            static_cast<uint64_t>(doc_.GetStoredCount(t)) * (adds && flags[static_cast<size_t>(t)] ? 2 : 1);
    meter_ = std::make_unique<Meter>(doc_, total);
    bool done = true;
    for (int t = 0; t < doc_.traceCount && done; ++t) {
        const bool isChosen = flags[static_cast<size_t>(t)] != 0;
        meter_->AtTrace(t);
        if (!isChosen || adds) CopyTrace(archive, t);
        if (isChosen) done = TransformTrace(archive, t, dialog);
    }
    meter_.reset();
    if (done) dialog.TellNotFinite(notFinite_, [this](int trace) { return doc_.GetStoredCount(trace); });
    return done;
}

void CDataTransform::CopyTrace(CArchive& archive, int trace) {
    meter_->Begin();
    doc_.BeginCopy(meter_.get());
    doc_.WriteTraceData(archive, trace);
    doc_.BeginCopy(nullptr);
    meter_->End(doc_.GetStoredCount(trace));
}

// --- runs ---

bool CDataTransform::TransformTrace(CArchive& archive, int trace, CTransformTraceDlg& dialog) {
    std::vector<TraceStretch> stretches = StretchesOf(doc_, trace);
    if (!dialog.SplitsRuns()) {
        if (!doc_.hasGaps) stretches = {{0, doc_.GetTraceLength(trace)}};
        return TransformStretches(archive, trace, std::move(stretches), dialog);
    }
    for (const TraceStretch& stretch : stretches)
        if (!TransformStretches(archive, trace, {stretch}, dialog)) return false;
    return true;
}

bool CDataTransform::TransformStretches(CArchive& archive, int trace, std::vector<TraceStretch> stretches,
                                        CTransformTraceDlg& dialog) {
    int64_t count = 0;
    for (const TraceStretch& stretch : stretches) count += stretch.end - stretch.start;
    if (count == 0) return true;

    if (dialog.HasOwnProgress()) meter_->Hide();
    meter_->Begin();
    const KernelPoll goOn = [this](int64_t samples) { return meter_->GoOn(samples); };
    const KernelPoll ask = [this](int64_t done) { return meter_->Reach(done); };
    const SourceMaker source = [&] { return std::make_unique<TraceSource>(doc_, trace, stretches, goOn); };
    TemporaryScratch files(doc_.GetSession().files, doc_.GetHost(), scratchFolder_);
    PolledRoom scratch(files, ask);
    TransformRun run{doc_,           trace,   stretches.front().start,
                     count,          {},      doc_.GetSession().random,
                     doc_.GetHost(), scratch, ask};
    if (stretches.size() > 1 || !dialog.SplitsRuns()) {
        const auto runs = doc_.validRuns[static_cast<size_t>(trace)].Runs();
        run.validRuns.assign(runs.begin(), runs.end());
    }

    KernelOutcome outcome;
    ArchiveSink sink(archive);
    try {
        if (count <= longestRunInMemory) {
            std::vector<float> input(static_cast<size_t>(count)), output(input.size());
            const auto reader = source();
            for (std::span<float> left(input); !left.empty();)
                left = left.subspan(reader->Read(left.first(std::min(left.size(), size_t{pollInterval}))));
            outcome = dialog.TransformBlock(run, input, output);
            if (outcome) sink.Write(output);
        } else {
            outcome = dialog.TransformBlock(run, source, sink);
        }
    } catch (const std::bad_alloc&) {
        throw FileError("There is not enough memory for this window.", 0);
    }
    if (!IsAccepted(outcome, run, dialog)) return false;
    if (sink.NotFinite() > 0) notFinite_[trace] += sink.NotFinite();
    if (sink.Written() != count)
        throw FileError(fmt::format("Internal error: {} samples of {} were made. Please inform the author.",
                                    sink.Written(), count),
                        0);
    meter_->End(count);
    if (dialog.HasOwnProgress()) meter_->Show();
    return true;
}

// Tells and logs what a kernel has to say.
bool CDataTransform::IsAccepted(const KernelOutcome& outcome, const TransformRun& run,
                                CTransformTraceDlg& dialog) {
    std::string note = outcome.note;
    if (note == runShorterThanWindowText) {
        const auto* windowed = dynamic_cast<const CTransformTraceWindowDlg*>(&dialog);
        const int64_t window = windowed ? 2 * windowed->HalfWindowSamples(run.Interval()) + 1 : 0;
        note = fmt::format("Trace {}, run from {:.6g} ms: its {} samples are fewer than the window of {}.\n",
                           run.trace + 1, doc_.TimeOf(run.start), run.count, window);
    }
    if (!note.empty()) doc_.GetHost().Log(note);
    if (outcome) return true;
    if (*outcome.message != '\0')
        dialog.Refuse(outcome.message);
    else
        failureNote_ = note;
    return false;
}

// --- what the results are called ---

void CDataTransform::NameResults(CFloatDoc& result, const Flags& flags,
                                 const CTransformTraceDlg& dialog) const {
    const bool adds = dialog.m_nAddMode == CTransformTraceDlg::addTraces;
    size_t at = 0;  // of the result
    for (size_t t = 0; t < static_cast<size_t>(doc_.traceCount); ++t, ++at) {
        if (flags[t] == 0) continue;
        if (adds) ++at;
        TraceSettings& trace = result.traces[at];
        trace.traceLabel = dialog.ResultLabel(trace.traceLabel);
        trace.traceUnits = dialog.ResultUnits(trace.traceUnits);
        // The axis is the one that the trace is drawn on; an order that names none counts as the trace's own.
        const bool hasAxis = trace.traceOrder >= 0 && trace.traceOrder < result.traceCount;
        const size_t axis = hasAxis ? static_cast<size_t>(trace.traceOrder) : at;
        if (dialog.ChangesScale()) result.traces[axis].traceAutoscale = 1;
    }
}

}  // namespace kymora
