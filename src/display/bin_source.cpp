#include "display/bin_source.h"

#include <chrono>

#include "summaries/coarse_bins.h"
#include "summaries/summary_bins.h"

namespace kymora {

namespace {

using Clock = std::chrono::steady_clock;

// Together they keep a window waiting for less than a tenth of a second.
constexpr auto quickRead = std::chrono::milliseconds(45);
// The other thread would have to begin once more, so what is nearly there is worth a little more time.
constexpr auto quickReadFromSummary = std::chrono::milliseconds(70);
constexpr auto coarseLook = std::chrono::milliseconds(30);
// Samples of all traces; more cannot be read in that time.
constexpr int64_t mostQuickSamples = 66'000'000;

// Stops a reading that takes too long to wait for.
class Deadline : public Progress {
  public:
    explicit Deadline(Clock::duration time) : end_(Clock::now() + time) {}
    bool Update(uint64_t) override { return Clock::now() < end_; }

  private:
    Clock::time_point end_;
};

}  // namespace

RecordingBins::~RecordingBins() {
    DropReload();
    if (attached_) doc_.GetSession().summaries->Detach(doc_);
}

void RecordingBins::Reset() {
    SummaryService* service = doc_.GetSession().summaries;
    if (service && !std::exchange(attached_, true)) service->Attach(doc_);
    cache_.Reset(doc_);
}

void RecordingBins::SamplesChanged() {
    DropReload();
    if (attached_) doc_.GetSession().summaries->SamplesChanged(doc_);
    cache_.Reset(doc_);
}

bool RecordingBins::Show(Viewport viewport, bool showProgress, bool somebodyWaits) {
    const int level = ChooseCacheLevel(viewport, doc_.TimeOf(binCount));
    if (!cache_.NeedsReload(viewport, level)) {
        cache_.m_nCacheLevel = level;
        return true;
    }
    const Wanted wanted{viewport.start, level, showProgress, somebodyWaits};
    try {
        const bool complete = Load(wanted);
        faultTold_ = false;
        return complete;
    } catch (const FileError& error) {
        Blank(wanted, error);
        return true;
    }
}

// Told once, not at every step of a scroll through a file that is gone.
void RecordingBins::Blank(const Wanted& wanted, const FileError& error) {
    cache_.Blank(doc_, wanted.start, wanted.level);
    if (!std::exchange(faultTold_, true)) doc_.GetHost().Message(error.what());
}

bool RecordingBins::Load(const Wanted& wanted) {
    SummaryService* service = attached_ ? doc_.GetSession().summaries : nullptr;
    if (!service || cache_.HoldsSameBins(doc_, wanted.start, wanted.level)) {
        DropReload();
        return cache_.ReadDisplayData(doc_, wanted.start, wanted.level, wanted.showProgress);
    }
    if (LoadQuickly(*service, wanted)) {
        DropReload();
        return true;
    }
    if (wanted.somebodyWaits && LoadLater(*service, wanted)) return true;
    DropReload();
    return cache_.ReadDisplayData(doc_, wanted.start, wanted.level, wanted.showProgress);
}

// Without a window there is nobody who waits.
bool RecordingBins::LoadQuickly(SummaryService& service, const Wanted& wanted) {
    const int64_t first = DisplayCache::FirstSample(doc_, wanted.start);
    Bins bins;
    try {
        Summary* summary = service.Find(doc_);
        if (summary && SummaryServes(summary->Shape(), first, wanted.level)) {
            Deadline deadline(quickReadFromSummary);
            if (!ReadBinsFromSummary(doc_, *summary, first, wanted.level,
                                     wanted.somebodyWaits ? &deadline : nullptr, bins))
                return false;
            cache_.Take(doc_, std::move(bins), wanted.start, wanted.level, false);
            return true;
        }
    } catch (const SummaryError&) {
        service.Damaged(doc_);
    }
    const int64_t samples = std::min(SamplesPerBin(wanted.level) * binCount, doc_.GetLength() - first);
    if (!wanted.somebodyWaits || samples * doc_.traceCount > mostQuickSamples) return false;
    Deadline deadline(quickRead);
    if (!ReadBins(doc_, first, wanted.level, &deadline, bins)) return false;
    cache_.Take(doc_, std::move(bins), wanted.start, wanted.level, false);
    return true;
}

bool RecordingBins::LoadLater(SummaryService& service, const Wanted& wanted) {
    const BinTicket ticket =
        service.Request(doc_, DisplayCache::FirstSample(doc_, wanted.start), wanted.level);
    if (ticket == noTicket) return false;
    auto reload = std::make_unique<Reload>();
    if (reload_) {
        service.Cancel(reload_->ticket);
        *reload = std::move(*reload_);
    } else if (!cache_.IsCoarse() && cache_.m_DatStartTime >= 0.0) {
        reload->before = cache_;
    }
    reload->ticket = ticket;
    reload->start = wanted.start;
    reload->level = wanted.level;
    reload->share = 0.0;
    reload_ = std::move(reload);
    cache_.Take(doc_,
                LookAtBins(doc_, DisplayCache::FirstSample(doc_, wanted.start), wanted.level,
                           Clock::now() + coarseLook),
                wanted.start, wanted.level, true);
    return true;
}

void RecordingBins::DropReload() {
    if (!reload_) return;
    if (attached_) doc_.GetSession().summaries->Cancel(reload_->ticket);
    reload_.reset();
}

RecordingBins::News RecordingBins::Poll() {
    if (!reload_) return News::none;
    BinAnswer answer = doc_.GetSession().summaries->Take(reload_->ticket);
    if (answer.state == BinAnswer::State::failed) return News::failed;
    if (answer.state == BinAnswer::State::working)
        return std::exchange(reload_->share, answer.share) != answer.share ? News::moved : News::none;
    cache_.Take(doc_, std::move(answer.bins), reload_->start, reload_->level, false);
    reload_.reset();
    faultTold_ = false;
    return News::exact;
}

bool RecordingBins::Cancel() {
    const bool isKept = reload_ && reload_->before;
    if (isKept)
        cache_ = std::move(*reload_->before);
    else
        cache_.Reset(doc_);
    DropReload();
    return isKept;
}

bool RecordingBins::ReadNow(Viewport viewport) {
    const Wanted wanted{viewport.start, ChooseCacheLevel(viewport, doc_.TimeOf(binCount)), true, false};
    try {
        Bins bins;
        const auto progress = doc_.GetHost().StartProgress("Reading data", binCount);
        const int64_t first = DisplayCache::FirstSample(doc_, wanted.start);
        if (!ReadBins(doc_, first, wanted.level, progress.get(), bins)) return false;
        cache_.Take(doc_, std::move(bins), wanted.start, wanted.level, false);
    } catch (const FileError& error) {
        Blank(wanted, error);
    }
    DropReload();
    return true;
}

}  // namespace kymora
