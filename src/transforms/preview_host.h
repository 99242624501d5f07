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
    std::vector<float> transformed;  // the raw data where the transform gives none
    bool isTransformed = false;
    bool isRefused = false;  // the settings cannot be used: nothing is transformed
    std::string message;     // why it is not, or what the transform notes; empty for nothing
};

class CPreviewHost {
  public:
    virtual ~CPreviewHost() = default;
    // Fills raw, transformed and what follows them for the trace, start and count that the preview has set.
    virtual void OnNeedData(PreviewData& data) = 0;
    // The trace that a preview of the present settings shows.
    virtual int PreviewTrace() const = 0;
};

inline constexpr int64_t longestRunInMemory = 5'000'000;  // samples

}  // namespace kymora
