#include "operations/job_worker.h"

#include "numerics/vector_state.h"

namespace kymora {

namespace {

std::span<const RunList> RunsOf(const CDataDoc& doc) {
    return std::span(doc.validRuns).first(static_cast<size_t>(doc.traceCount));
}

// Nobody but the document itself has written its file since it was opened.
bool IsFileOfDocument(const CDataDoc& doc) {
    const auto stamp = doc.GetSession().files.Stamp(doc.filePath);
    return stamp && doc.RememberedStamp(doc.filePath) == stamp;
}

}  // namespace

// --- what it counts on ---

JobBasis::JobBasis(const CDataDoc& doc, const OperationJob& job)
    : sampleInterval_(doc.sampleInterval),
      gains_(doc.Gains()),
      runs_(RunsOf(doc).begin(), RunsOf(doc).end()) {
    for (const auto* channels : {&job.writes, &job.reads})
        for (const int channel : *channels)
            channels_.emplace_back(channel, doc.eventChannels[static_cast<size_t>(channel)]);
}

bool JobBasis::Holds(const CDataDoc& doc) const {
    return doc.sampleInterval == sampleInterval_ && doc.Gains() == gains_ &&
           std::ranges::equal(RunsOf(doc), runs_) && std::ranges::all_of(channels_, [&](const auto& held) {
               const CEventChan& now = doc.eventChannels[static_cast<size_t>(held.first)];
               return now.Events() == held.second.Events() && now.parentTrace == held.second.parentTrace &&
                      now.channelLocked == held.second.channelLocked;
           });
}

// --- the other thread ---

// Shows what the job says of itself to the thread that asks.
class JobWorker::Context : public JobContext {
  public:
    explicit Context(JobWorker& worker) : worker_(worker) {}
    std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) override {
        return std::make_unique<Bar>(worker_, State{std::string(label), {}, 0, total});
    }
    void Warn(std::string_view words) override {
        if (worker_.stop_) throw Cancelled();
        const std::lock_guard lock(worker_.mutex_);
        worker_.warnings_.emplace_back(words);
    }
    void Log(std::string_view words) override {
        const std::lock_guard lock(worker_.mutex_);
        worker_.log_.emplace_back(words);
    }

  private:
    class Bar : public Progress {
      public:
        Bar(JobWorker& worker, State begin) : worker_(worker), state_(std::move(begin)) { Show(); }
        bool Update(uint64_t done) override {
            state_.done = done;
            Show();
            return !worker_.stop_;
        }
        void SetPart(std::string_view part) override {
            state_.part = part;
            Show();
        }

      private:
        // All of it: another bar may have been shown meanwhile.
        void Show() {
            const std::lock_guard lock(worker_.mutex_);
            worker_.state_ = state_;
        }

        JobWorker& worker_;
        State state_;
    };
    JobWorker& worker_;
};

void JobWorker::Work() {
    ClearVectorState();
    try {
        SecondLook look(files_, source_, stop_);
        Context context(*this);
        if (CDataDoc* own = look.Document())
            job_.Compute(*own, context);
        else
            isUnreadable_ = true;
    } catch (...) {
        failure_ = std::current_exception();
    }
    isDone_ = true;
}

// --- the thread that waits ---

std::optional<LookSource> JobWorker::SourceOf(const CDataDoc& doc) {
    if (!IsFileOfDocument(doc)) return {};
    return LookSource::Of(doc, doc.GetSession().files);
}

JobWorker::JobWorker(CDataDoc& doc, OperationJob& job, LookSource source, For purpose)
    : doc_(doc),
      files_(doc.GetSession().files),
      job_(job),
      source_(std::move(source)),
      basis_(doc, job),
      purpose_(purpose),
      thread_([this] { Work(); }) {
    if (purpose_ == For::showing) return;
    ++doc_.operationsAtWork;
    doc_.channelsAtWork.insert(job_.writes.begin(), job_.writes.end());
}

JobWorker::~JobWorker() {
    Cancel();
    if (thread_.joinable()) thread_.join();
    if (purpose_ == For::showing) return;
    --doc_.operationsAtWork;
    for (const int channel : job_.writes) doc_.channelsAtWork.erase(doc_.channelsAtWork.find(channel));
}

JobWorker::State JobWorker::Now() const {
    const std::lock_guard lock(mutex_);
    return state_;
}

void JobWorker::Take(JobContext& context) {
    if (thread_.joinable()) thread_.join();
    if (stop_ && (isDiscarded_ || !job_.isTruncated)) throw Cancelled();
    if (!basis_.Holds(doc_)) throw JobRefused(changedMeanwhileText);
    if (isUnreadable_) return job_.Compute(doc_, context);
    if (!IsFileOfDocument(doc_)) throw JobRefused(changedMeanwhileText);
    for (const std::string& words : log_) context.Log(words);
    for (const std::string& words : warnings_) context.Warn(words);
    if (failure_) std::rethrow_exception(failure_);
}

}  // namespace kymora
