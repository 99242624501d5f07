#include "catalogue/windows/live_run.h"

#include "operations/job_worker.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int runAfterMs = 15, liveEveryMs = 40;
// A job of no more is done at once: it takes some 50 ms.
constexpr int64_t shortRun = 1'000'000;

}  // namespace

LiveRun::LiveRun(CBatchBaseDlg& block, std::function<bool()> mayRun, QObject* parent)
    : QObject(parent), block_(block), mayRun_(std::move(mayRun)) {
    start_.setSingleShot(true);
    start_.setInterval(runAfterMs);
    connect(&start_, &QTimer::timeout, this, [this] { Run(true); });
    watch_.setInterval(liveEveryMs);
    connect(&watch_, &QTimer::timeout, this, &LiveRun::Watch);
}

LiveRun::~LiveRun() = default;

void LiveRun::Restart() {
    if (isOutdated_ || settings_ != block_.Settings()) start_.start();
}

void LiveRun::RunNow() {
    // What a run has put right, and told, the same run again has not to put right.
    if (!isOutdated_ && settings_ == block_.Settings()) toldBefore_ = words_;
    isOutdated_ = true;
    Run(false);
    toldBefore_.clear();
}

void LiveRun::Stop() {
    start_.stop();
    watch_.stop();
    worker_.reset();  // before its job
    job_.reset();
    isOutdated_ = true;
}

void LiveRun::Run(bool mayWait) {
    start_.stop();
    watch_.stop();
    worker_.reset();
    job_.reset();
    emit Progressed();
    if (!block_.Document() || !mayRun_()) return;
    // What changes the recording is asked for.
    if (mayWait && block_.WhatItAffects() != Affects::nothing) return;
    isOutdated_ = false;
    messages_.clear();
    settings_ = block_.Settings();
    block_.SendMessagesTo(&messages_);
    job_ = block_.Prepare();
    block_.SendMessagesTo(nullptr);
    if (!job_) {
        Say(messages_);
        settings_ = block_.Settings();
        hasFailed_ = true;
        emit Ran();
        return;
    }
    CDataDoc& doc = *block_.Document();
    auto source = mayWait && job_->Samples() > shortRun ? JobWorker::SourceOf(doc) : std::nullopt;
    if (!source) return Finish();
    worker_ = std::make_unique<JobWorker>(doc, *job_, std::move(*source), JobWorker::For::showing);
    watch_.start();
    emit Progressed();
}

void LiveRun::Watch() {
    if (!worker_->IsDone()) {
        emit Progressed();
        return;
    }
    // What was set meanwhile would be put back by the settings of the run.
    if (settings_ != block_.Settings()) return Run(true);
    watch_.stop();
    Finish();
}

void LiveRun::Finish() {
    const auto worker = std::move(worker_);
    const auto job = std::move(job_);
    block_.SendMessagesTo(&messages_);
    hasFailed_ = !block_.Conclude(*job, [&](JobContext& context) {
        worker ? worker->Take(context) : job->Compute(*block_.Document(), context);
    });
    block_.SendMessagesTo(nullptr);
    // Those that the run has put right are its own.
    settings_ = block_.Settings();
    Say(messages_);
    emit Progressed();
    emit Ran();
}

void LiveRun::Say(const RunMessages& messages) {
    words_ = messages.empty() ? toldBefore_ : QString();
    for (const RunMessage& message : messages) {
        if (!words_.isEmpty()) words_ += "\n";
        words_ += ToQString(message.text);
    }
}

std::optional<LiveRun::Progress> LiveRun::Now() {
    if (!worker_) return std::nullopt;
    const JobWorker::State state = worker_->Now();
    const double share =
        static_cast<double>(state.done) / static_cast<double>(std::max<uint64_t>(1, state.total));
    return Progress{std::min(share, 1.0), ToQString(LabelWithPart(state.label, state.part))};
}

}  // namespace kymora
