#include "display/display_cache.h"

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <limits>

#include "numerics/min_max.h"

namespace kymora {

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr int progressAboveLevel = 7;
constexpr int binsPerPoll = 40;

// Samples per trace of one block read: long enough for the reader, and all traces of it stay in a processor's
// cache.
int64_t PieceLength(int traces) { return std::clamp<int64_t>(262144 / std::max(1, traces), 16384, 65536); }

// Fills new bins from a document, block by block. The bins are handed over only when all of them are done.
class BinReader {
  public:
    BinReader(CDataDoc& doc, int64_t from, int level)
        : doc_(doc),
          from_(from),
          samplesPerBin_(SamplesPerBin(level)),
          traces_(static_cast<size_t>(doc.traceCount)),
          gaps_(doc.hasGaps || doc.noData) {
        min.assign(traces_, std::vector<float>(binCount, FLT_MAX));
        max.assign(traces_, std::vector<float>(binCount, -FLT_MAX));
        if (gaps_) active.assign(traces_, std::vector<uint8_t>(binCount, 0));
    }

    // False when the user stopped it.
    bool Read(Progress* progress);

    std::vector<std::vector<float>> min, max;
    std::vector<std::vector<uint8_t>> active;

  private:
    void MakeBuffers(size_t length);
    // Reads and joins `count` samples behind those done; false at the end of the data.
    bool ReadPiece(int64_t count);
    void Join(size_t trace, size_t count);
    void JoinValid(size_t trace, int64_t bin, size_t from, size_t count);
    void FinishFrom(int64_t samples);
    void CloseGapBins(int bins);

    CDataDoc& doc_;
    int64_t from_;
    int64_t samplesPerBin_;
    size_t traces_;
    bool gaps_;
    int64_t done_ = 0;  // samples of each trace that are in bins
    std::vector<std::vector<float>> values_;
    std::vector<std::vector<uint8_t>> valid_;
    std::vector<TraceBlock> blocks_;
};

bool BinReader::Read(Progress* progress) {
    if (doc_.noData) {  // reads 0.0 without validity at every position
        CloseGapBins(binCount);
        return true;
    }
    const int64_t total = samplesPerBin_ * binCount;
    const int64_t pollEvery = samplesPerBin_ * binsPerPoll;
    const int64_t piece = std::min(PieceLength(doc_.traceCount), total);
    MakeBuffers(static_cast<size_t>(piece));
    while (done_ < total) {
        if (progress && done_ % pollEvery == 0 &&
            !progress->Update(static_cast<uint64_t>(done_ / samplesPerBin_)))
            return false;
        const int64_t toPoll = progress ? pollEvery - done_ % pollEvery : total - done_;
        if (!ReadPiece(std::min({piece, toPoll, total - done_}))) break;
    }
    FinishFrom(done_);
    return true;
}

void BinReader::MakeBuffers(size_t length) {
    values_.assign(traces_, std::vector<float>(length));
    if (gaps_) valid_.assign(traces_, std::vector<uint8_t>(length));
    blocks_.resize(traces_);
}

bool BinReader::ReadPiece(int64_t count) {
    const int64_t left = doc_.GetLength() - from_ - done_;
    if (left <= 0) return false;
    auto length = static_cast<size_t>(std::min(count, left));
    for (size_t t = 0; t < traces_; ++t) {
        blocks_[t] = {static_cast<int>(t), std::span(values_[t]).first(length), {}};
        if (gaps_) blocks_[t].valid = std::span(valid_[t]).first(length);
    }
    doc_.ReadBlocks(from_ + done_, blocks_);

    // A not-a-number at the first trace ends the scan of all traces.
    const size_t ends = traces_ == 0 ? 0 : FindNotANumber(blocks_[0].values);
    for (size_t t = 0; t < traces_; ++t) Join(t, ends);
    done_ += static_cast<int64_t>(ends);
    return ends == static_cast<size_t>(count);
}

void BinReader::Join(size_t trace, size_t count) {
    for (size_t at = 0; at < count;) {
        const int64_t position = done_ + static_cast<int64_t>(at);
        const int64_t bin = position / samplesPerBin_;
        const int64_t binEnds = (bin + 1) * samplesPerBin_;
        const size_t n = std::min(count - at, static_cast<size_t>(binEnds - position));
        const auto b = static_cast<size_t>(bin);
        if (gaps_)
            JoinValid(trace, bin, at, n);
        else
            WidenRange(std::span(values_[trace]).subspan(at, n), min[trace][b], max[trace][b]);
        at += n;
    }
}

void BinReader::JoinValid(size_t trace, int64_t bin, size_t from, size_t count) {
    const auto b = static_cast<size_t>(bin);
    const uint8_t* flags = valid_[trace].data();
    const size_t end = from + count;
    for (size_t i = from; i < end;) {
        if (flags[i] == 0) {
            ++i;
            continue;
        }
        const auto* gap = static_cast<const uint8_t*>(std::memchr(flags + i, 0, end - i));
        const size_t stop = gap ? static_cast<size_t>(gap - flags) : end;
        WidenRange(std::span(values_[trace]).subspan(i, stop - i), min[trace][b], max[trace][b]);
        active[trace][b] = 1;
        i = stop;
    }
}

// The bins that begin at or behind `samples` lie past the end of the data.
void BinReader::FinishFrom(int64_t samples) {
    const auto firstPast = static_cast<int>((samples + samplesPerBin_ - 1) / samplesPerBin_);
    CloseGapBins(firstPast);
    for (size_t t = 0; t < traces_; ++t) {
        std::fill(min[t].begin() + firstPast, min[t].end(), notANumber);
        std::fill(max[t].begin() + firstPast, max[t].end(), notANumber);
    }
}

void BinReader::CloseGapBins(int bins) {
    if (!gaps_) return;
    for (size_t t = 0; t < traces_; ++t)
        for (size_t b = 0; b < static_cast<size_t>(bins); ++b)
            if (active[t][b] == 0) min[t][b] = max[t][b] = 0.0f;
}

int64_t FirstSample(const CDataDoc& doc, double start) {
    const double position = start / doc.sampleInterval;
    if (!(position > 0.0)) return 0;
    return static_cast<int64_t>(std::min(position, 2.0 * static_cast<double>(longestRecording)));
}

}  // namespace

void DisplayCache::Reset(const CDataDoc& doc) {
    const auto traces = static_cast<size_t>(doc.traceCount);
    min_.assign(traces, std::vector<float>(binCount, notANumber));
    max_ = min_;
    active_.clear();
    if (doc.hasGaps || doc.noData) active_.assign(traces, std::vector<uint8_t>(binCount, 1));
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

bool DisplayCache::ReadDisplayData(CDataDoc& doc, double start, int level, bool showProgress) {
    const int64_t first = FirstSample(doc, start);
    // A viewport may reach past its own bins by a fraction of a sample; the same bins would come again.
    const bool sameBins = first == firstSample_ && SamplesPerBin(level) == SamplesPerBin(m_nCacheLevel);
    if (!sameBins) {
        std::unique_ptr<Progress> progress;
        if (showProgress && level > progressAboveLevel)
            progress = doc.GetHost().StartProgress("Reading data", binCount);
        BinReader reader(doc, first, level);
        if (!reader.Read(progress.get())) return false;
        min_ = std::move(reader.min);
        max_ = std::move(reader.max);
        active_ = std::move(reader.active);
        firstSample_ = first;
    }
    Place(doc, first, level);
    return true;
}

void DisplayCache::Blank(const CDataDoc& doc, double start, int level) {
    Reset(doc);
    for (auto& flags : active_) std::fill(flags.begin(), flags.end(), uint8_t{0});
    Place(doc, FirstSample(doc, start), level);
}

void DisplayCache::Place(const CDataDoc& doc, int64_t first, int level) {
    m_nCacheLevel = level;
    m_DatStartTime = doc.TimeOf(first);
    m_DatEndTime = m_DatStartTime + doc.TimeOf(binCount) * std::ldexp(1.0, std::max(0, level));
}

}  // namespace kymora
