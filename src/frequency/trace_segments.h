#pragma once
// The overlapping segments of a stretch of a recording, read in one pass.

#include <functional>
#include <optional>
#include <vector>

#include "document/data_doc.h"
#include "document/trace_stretches.h"
#include "spectra/spectrum_estimator.h"

namespace kymora {

// By their index; each is half as long as the step before it.
const std::vector<std::string>& OverlapNames();
inline constexpr int greatestOverlapShift = 3;

// Where segments lie: `count` of `length` samples, each `step` behind the one before.
struct SegmentGrid {
    int64_t first = 0;
    int64_t length = 0, step = 0, count = 0;
    int64_t End() const { return count > 0 ? first + (count - 1) * step + length : first; }
};
// As many as lie in [first, first + samples), none where one does not fit.
SegmentGrid GridOver(int64_t first, int64_t samples, size_t bins, int overlapShift);

// Where all of these traces have samples side by side, ascending.
std::vector<TraceStretch> CommonStretches(const CDataDoc& doc, std::span<const int> traces);

// Reads segments of one or two traces.
class SegmentReader {
  public:
    // `stretches` ascend; what lies in none of them is no segment. Up to `end` it reads ahead.
    SegmentReader(SampleReader& samples, std::vector<int> traces, std::vector<TraceStretch> stretches,
                  int64_t length, int64_t end);

    // Adds the segment that begins there, behind those before, to the estimator, and answers true; false
    // where it meets a gap or the boundary of an episode. Throws JobRefused for a sample that is no number,
    // and FileError.
    bool Add(int64_t from, CSpectrumEstimator& estimator);

  private:
    // The samples of one trace in memory.
    struct Ahead {
        int trace = 0;
        std::vector<float> values;
        int64_t first = 0;
        int64_t faulty = -1;  // the first sample from the last segment's start on that is no number
        int64_t End() const { return first + static_cast<int64_t>(values.size()); }
    };
    bool IsUnbroken(int64_t from);
    std::span<const float> Read(Ahead& ahead, int64_t from);
    void FindFaulty(Ahead& ahead, int64_t from);

    SampleReader& samples_;
    std::vector<Ahead> ahead_;
    std::vector<TraceStretch> stretches_;
    size_t stretch_ = 0;
    int64_t length_, end_;
};

}  // namespace kymora
