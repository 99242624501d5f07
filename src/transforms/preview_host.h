#pragma once
// What a preview shows of a transform, and who gives it.

#include <cstdint>
#include <string>
#include <vector>

namespace kymora {

// A stretch of one trace before and after the transform. Gap samples are 0.
struct PreviewData {
    int trace = 0;      // from 0
    int64_t start = 0;  // position of the first sample
    int64_t count = 0;  // samples; no more than a run in memory may have
    std::vector<float> raw;
    // The raw data where the transform gives none. Not-a-number is where the result has nothing.
    std::vector<float> transformed;
    // Where transformed[0] lies and from one to the next, in samples of the recording.
    double firstResult = 0.0, resultStep = 1.0;
    bool isTransformed = false;
    bool isRefused = false;  // the settings cannot be used: nothing is transformed
    std::string message;     // why it is not, or what the transform notes; empty for nothing
};

class CPreviewHost {
  public:
    virtual ~CPreviewHost() = default;
    // Fills raw, transformed and what follows them for the trace, start and count that the preview has set.
    virtual void OnNeedData(PreviewData& data) = 0;
    // The trace that a preview of the present settings shows; everyTrace where the preview chooses one.
    virtual int PreviewTrace() const = 0;
    virtual std::string ResultUnits(const std::string& units) const { return units; }
};

inline constexpr int everyTrace = -1;

inline constexpr int64_t longestRunInMemory = 5'000'000;  // samples

}  // namespace kymora
