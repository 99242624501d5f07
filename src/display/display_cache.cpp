#include "display/display_cache.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kymora {

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr int progressAboveLevel = 7;

}  // namespace

void DisplayCache::Reset(const CDataDoc& doc) {
    const auto traces = static_cast<size_t>(doc.traceCount);
    bins_.min.assign(traces, std::vector<float>(binCount, notANumber));
    bins_.max = bins_.min;
    bins_.active.clear();
    if (doc.hasGaps || doc.noData) bins_.active.assign(traces, std::vector<uint8_t>(binCount, 1));
    coarse_ = false;
    m_nCacheLevel = 0;
    Invalidate();
}

void DisplayCache::Invalidate() {
    m_DatStartTime = m_DatEndTime = -1.0;
    firstSample_ = -1;
}

int DisplayCache::BinOf(double timeMs) const {
    const double extent = m_DatEndTime - m_DatStartTime;
    if (!(extent > 0.0)) return 0;
    return std::clamp(RoundHalfAway((timeMs - m_DatStartTime) * binCount / extent), 0, binCount - 1);
}

DisplayCache::BinRange DisplayCache::BinsOf(Viewport viewport) const {
    const double binTime = BinTime();
    // First bin in [0, binCount] whose time does not satisfy the condition; times ascend with the bins.
    const auto partition = [&](auto&& condition) {
        int low = 0, high = binCount;
        while (low < high) {
            const int middle = (low + high) / 2;
            if (condition(TimeOfBin(middle)))
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    };
    BinRange range;
    range.first = partition([&](double t) { return t < viewport.start - binTime; });
    range.end = partition([&](double t) { return !(t > viewport.end + binTime); });
    return range;
}

bool DisplayCache::NeedsReload(Viewport viewport, int level) const {
    return viewport.start < m_DatStartTime || m_DatEndTime < viewport.end || m_DatStartTime < 0.0 ||
           (level != m_nCacheLevel && (level > 0 || m_nCacheLevel > 0));
}

int64_t DisplayCache::FirstSample(const CDataDoc& doc, double start) {
    const double position = start / doc.sampleInterval;
    if (!(position > 0.0)) return 0;
    return static_cast<int64_t>(std::min(position, 2.0 * static_cast<double>(longestRecording)));
}

bool DisplayCache::HoldsSameBins(const CDataDoc& doc, double start, int level) const {
    // A viewport may reach past its own bins by a fraction of a sample; the same bins would come again.
    return !coarse_ && FirstSample(doc, start) == firstSample_ &&
           SamplesPerBin(level) == SamplesPerBin(m_nCacheLevel);
}

bool DisplayCache::ReadDisplayData(CDataDoc& doc, double start, int level, bool showProgress) {
    const int64_t first = FirstSample(doc, start);
    if (HoldsSameBins(doc, start, level)) {
        Place(doc, first, level);
        return true;
    }
    std::unique_ptr<Progress> progress;
    if (showProgress && level > progressAboveLevel)
        progress = doc.GetHost().StartProgress("Reading data", binCount);
    Bins bins;
    if (!ReadBins(doc, first, level, progress.get(), bins)) return false;
    Take(doc, std::move(bins), start, level, false);
    return true;
}

void DisplayCache::Take(const CDataDoc& doc, Bins bins, double start, int level, bool coarse) {
    bins_ = std::move(bins);
    coarse_ = coarse;
    firstSample_ = FirstSample(doc, start);
    Place(doc, firstSample_, level);
}

void DisplayCache::Blank(const CDataDoc& doc, double start, int level) {
    Reset(doc);
    for (auto& flags : bins_.active) std::fill(flags.begin(), flags.end(), uint8_t{0});
    Place(doc, FirstSample(doc, start), level);
}

void DisplayCache::Place(const CDataDoc& doc, int64_t first, int level) {
    m_nCacheLevel = level;
    m_DatStartTime = doc.TimeOf(first);
    m_DatEndTime = m_DatStartTime + doc.TimeOf(binCount) * std::ldexp(1.0, std::max(0, level));
}

}  // namespace kymora
