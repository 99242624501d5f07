#pragma once
// Where a view gets the bins that it paints. A recording's come from its samples or its summary, at once or
// by another thread, with a coarse picture until they are there.

#include <optional>

#include "display/display_cache.h"
#include "summaries/summary_service.h"

namespace kymora {

class BinSource {
  public:
    virtual ~BinSource() = default;

    virtual const DisplayCache& Cache() const = 0;
    // Begins, with nothing.
    virtual void Reset() = 0;
    virtual void SamplesChanged() = 0;
    // Makes the bins hold a viewport; where somebody waits, coarse ones may stand until Poll brings the exact
    // ones. False when the user stopped the reading; the bins are as they were then. What cannot be read the
    // user is told once.
    virtual bool Show(Viewport viewport, bool showProgress, bool somebodyWaits) = 0;

    // --- while coarse bins stand ---
    enum class News { none, moved, exact, failed };
    virtual bool IsReading() const { return false; }
    virtual double Share() const { return 1.0; }  // of the work that is done
    virtual News Poll() { return News::none; }
    // Puts the last exact bins back; false where there are none.
    virtual bool Cancel() { return false; }
    // Reads the exact bins of a viewport with a progress box. False when the user stopped it.
    virtual bool ReadNow(Viewport) { return true; }
};

class RecordingBins : public BinSource {
  public:
    explicit RecordingBins(CDataDoc& doc) : doc_(doc) {}
    ~RecordingBins() override;
    RecordingBins(const RecordingBins&) = delete;
    RecordingBins& operator=(const RecordingBins&) = delete;

    const DisplayCache& Cache() const override { return cache_; }
    void Reset() override;
    void SamplesChanged() override;
    bool Show(Viewport viewport, bool showProgress, bool somebodyWaits) override;
    bool IsReading() const override { return reload_ != nullptr; }
    double Share() const override { return reload_ ? reload_->share : 1.0; }
    News Poll() override;
    bool Cancel() override;
    bool ReadNow(Viewport viewport) override;

  private:
    // What another thread reads.
    struct Reload {
        BinTicket ticket = noTicket;
        double start = 0.0;  // ms; of the bins
        int level = 0;
        double share = 0.0;
        std::optional<DisplayCache> before;  // what a cancel puts back
    };
    struct Wanted {
        double start;  // ms
        int level;
        bool showProgress, somebodyWaits;
    };

    bool Load(const Wanted& wanted);
    bool LoadQuickly(SummaryService& service, const Wanted& wanted);
    bool LoadLater(SummaryService& service, const Wanted& wanted);
    void DropReload();
    void Blank(const Wanted& wanted, const FileError& error);

    CDataDoc& doc_;
    DisplayCache cache_;
    std::unique_ptr<Reload> reload_;
    bool attached_ = false;   // to the session's summaries
    bool faultTold_ = false;  // the samples in view cannot be read, and the user knows
};

}  // namespace kymora
