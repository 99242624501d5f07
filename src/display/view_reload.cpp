// How a view gets its bins: at once from the samples or a summary, or by another thread, with a coarse
// picture until they are there.

#include "display/view_reload.h"

#include <chrono>
#include <thread>

#include "display/kymora_view.h"
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
constexpr auto askAgain = std::chrono::milliseconds(5);
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

void CKymoraView::AttachSummaries() {
    if (!GetSession().summaries || attached_) return;
    GetSession().summaries->Attach(doc_);
    attached_ = true;
}

void CKymoraView::DetachSummaries() {
    DropReload();
    if (attached_) GetSession().summaries->Detach(doc_);
    attached_ = false;
}

bool CKymoraView::LoadBins(int level, bool showProgress) {
    SummaryService* service = attached_ ? GetSession().summaries : nullptr;
    if (!service || cache_.HoldsSameBins(doc_, m_StartTime, level)) {
        DropReload();
        return cache_.ReadDisplayData(doc_, m_StartTime, level, showProgress);
    }
    if (LoadQuickly(*service, level)) {
        DropReload();
        return true;
    }
    if (window_ && LoadLater(*service, level)) return true;
    DropReload();
    return cache_.ReadDisplayData(doc_, m_StartTime, level, showProgress);
}

// Without a window there is nobody who waits.
bool CKymoraView::LoadQuickly(SummaryService& service, int level) {
    const int64_t first = DisplayCache::FirstSample(doc_, m_StartTime);
    Bins bins;
    try {
        Summary* summary = service.Find(doc_);
        if (summary && SummaryServes(summary->Shape(), first, level)) {
            Deadline deadline(quickReadFromSummary);
            if (!ReadBinsFromSummary(doc_, *summary, first, level, window_ ? &deadline : nullptr, bins))
                return false;
            cache_.Take(doc_, std::move(bins), m_StartTime, level, false);
            return true;
        }
    } catch (const SummaryError&) {
        service.Damaged(doc_);
    }
    const int64_t samples = std::min(SamplesPerBin(level) * binCount, doc_.GetLength() - first);
    if (!window_ || samples * doc_.traceCount > mostQuickSamples) return false;
    Deadline deadline(quickRead);
    if (!ReadBins(doc_, first, level, &deadline, bins)) return false;
    cache_.Take(doc_, std::move(bins), m_StartTime, level, false);
    return true;
}

bool CKymoraView::LoadLater(SummaryService& service, int level) {
    const BinTicket ticket = service.Request(doc_, DisplayCache::FirstSample(doc_, m_StartTime), level);
    if (ticket == noTicket) return false;
    auto reload = std::make_unique<ViewReload>();
    if (reload_) {
        service.Cancel(reload_->ticket);
        *reload = std::move(*reload_);
    } else if (!cache_.IsCoarse() && cache_.m_DatStartTime >= 0.0) {
        reload->before = exactViewport_;
        reload->cacheBefore = cache_;
        reload->historyBefore = history_;
    }
    reload->ticket = ticket;
    reload->start = m_StartTime;
    reload->level = level;
    reload->share = 0.0;
    reload_ = std::move(reload);
    cache_.Take(
        doc_,
        LookAtBins(doc_, DisplayCache::FirstSample(doc_, m_StartTime), level, Clock::now() + coarseLook),
        m_StartTime, level, true);
    return true;
}

void CKymoraView::DropReload() {
    if (!reload_) return;
    if (attached_) GetSession().summaries->Cancel(reload_->ticket);
    reload_.reset();
}

double CKymoraView::ReloadShare() const { return reload_ ? reload_->share : 1.0; }

bool CKymoraView::PollReload() {
    if (!reload_) return false;
    BinAnswer answer = GetSession().summaries->Take(reload_->ticket);
    if (answer.state == BinAnswer::State::working) {
        const bool moved = answer.share != reload_->share;
        reload_->share = answer.share;
        return moved;
    }
    if (answer.state == BinAnswer::State::failed) {
        ReadPlainly();
        return true;
    }
    cache_.Take(doc_, std::move(answer.bins), reload_->start, reload_->level, false);
    reload_.reset();
    exactViewport_ = GetViewport();
    readFaultTold_ = false;
    AutoscaleNewAxes();
    UpdateDependents();
    return true;
}

void CKymoraView::CancelReload() {
    if (!reload_) return;
    const std::unique_ptr<ViewReload> reload = std::move(reload_);
    GetSession().summaries->Cancel(reload->ticket);
    if (reload->before) {
        cache_ = std::move(reload->cacheBefore);
        history_ = std::move(reload->historyBefore);
        Place(*reload->before);
    } else {
        cache_.Reset(doc_);
        Place(DefaultViewport());
    }
    RefreshViewport(false);
    AutoscaleNewAxes();
}

bool CKymoraView::FinishReload() {
    if (reload_) {
        const auto progress = doc_.GetHost().StartProgress("Reading data", binCount);
        while (reload_) {
            if (!progress->Update(static_cast<uint64_t>(ReloadShare() * binCount))) {
                CancelReload();
                return false;
            }
            PollReload();
            std::this_thread::sleep_for(askAgain);
        }
    }
    return !cache_.IsCoarse() || ReadPlainly();
}

// When the other thread cannot. False when the user stopped it, and the view is what it was before.
bool CKymoraView::ReadPlainly() {
    const int level = ChooseCacheLevel(GetViewport(), doc_.TimeOf(binCount));
    const double start = m_StartTime;
    try {
        Bins bins;
        const auto progress = doc_.GetHost().StartProgress("Reading data", binCount);
        if (!ReadBins(doc_, DisplayCache::FirstSample(doc_, start), level, progress.get(), bins)) {
            CancelReload();
            return false;
        }
        cache_.Take(doc_, std::move(bins), start, level, false);
    } catch (const FileError& error) {
        cache_.Blank(doc_, start, level);
        if (!std::exchange(readFaultTold_, true)) GetSession().host.Message(error.what());
    }
    DropReload();
    exactViewport_ = GetViewport();
    AutoscaleNewAxes();
    UpdateDependents();
    return true;
}

}  // namespace kymora
