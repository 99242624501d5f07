#pragma once
// The 4,000 bins of each trace from which everything is painted. A bin holds the lowest and highest of one
// sample, or of a power of two of samples, so that painting costs the same for any length of recording.

#include <cstdint>
#include <span>
#include <vector>

#include "summaries/bins.h"

namespace kymora {

class DisplayCache {
  public:
    // Empty, for a document's traces. The next viewport reloads it.
    void Reset(const CDataDoc& doc);
    // The samples changed; the next viewport reloads.
    void Invalidate();

    // --- contents ---
    // From the end of the data on, both are not-a-number. Where no sample of a bin was a number, the minimum
    // is above the maximum: there is nothing to paint there, but the trace goes on.
    std::span<const float> Min(int trace) const { return At(bins_.min, trace); }
    std::span<const float> Max(int trace) const { return At(bins_.max, trace); }
    // 1 where the bin holds valid data; empty for documents without gaps, where every bin does.
    std::span<const uint8_t> Active(int trace) const { return At(bins_.active, trace); }
    int TraceCount() const { return static_cast<int>(bins_.min.size()); }
    bool HasActive() const { return !bins_.active.empty(); }
    // The bins come from a sparse look at the samples; exact ones are on their way.
    bool IsCoarse() const { return coarse_; }

    double m_DatStartTime = -1.0;  // ms; time of bin 0, -1 when the cache is empty
    double m_DatEndTime = -1.0;    // ms; time after the last bin
    int m_nCacheLevel = 0;

    double BinTime() const { return (m_DatEndTime - m_DatStartTime) / binCount; }
    double TimeOfBin(int bin) const { return bin * BinTime() + m_DatStartTime; }
    int BinOf(double timeMs) const;

    struct BinRange {
        int first = 0;
        int end = 0;  // exclusive
    };
    // The bins that a viewport paints: those within it and one more on each side.
    BinRange BinsOf(Viewport viewport) const;

    // --- reloading ---
    bool NeedsReload(Viewport viewport, int level) const;
    // Fills the bins from `start` on. False when the user stopped it; the cache is then as it was.
    // `showProgress` lets levels above 7 show a box. Throws FileError, which leaves the cache as it was too.
    bool ReadDisplayData(CDataDoc& doc, double start, int level, bool showProgress);

    // True when the bins of this viewport are those held, which then only need a new place.
    bool HoldsSameBins(const CDataDoc& doc, double start, int level) const;
    // Takes bins that were made elsewhere from sample FirstSample(doc, start) on.
    void Take(const CDataDoc& doc, Bins bins, double start, int level, bool coarse);
    static int64_t FirstSample(const CDataDoc& doc, double start);

    // A viewport whose samples could not be read: the bins are as behind the end of the data.
    void Blank(const CDataDoc& doc, double start, int level);

  private:
    void Place(const CDataDoc& doc, int64_t first, int level);
    template <typename T>
    using PerTrace = std::vector<std::vector<T>>;
    template <typename T>
    static std::span<const T> At(const PerTrace<T>& arrays, int trace) {
        if (trace < 0 || static_cast<size_t>(trace) >= arrays.size()) return {};
        return arrays[static_cast<size_t>(trace)];
    }

    Bins bins_;
    bool coarse_ = false;
    int64_t firstSample_ = -1;
};

}  // namespace kymora
