#pragma once
// What is done to the coefficients of a wavelet transform, the same for the view of them and for the
// transform that writes a trace: bands are set to 0, then details are thresholded.

#include <set>

#include "archive/archive.h"
#include "numerics/unfilled.h"
#include "operations/param.h"
#include "spectra/wavelet_threshold.h"

namespace kymora {

// A run, extended to a power of two, as values or as coefficients.
struct WaveletRun {
    CWaveletTransform transform;
    size_t samples = 0;  // of the run
    UnfilledVector<float> values;

    // Room for a run, whose samples are to be put in front, and extended. Throws std::bad_alloc.
    WaveletRun(int wavelet, size_t run)
        : transform(wavelet, WaveletLength(std::max<size_t>(run, 1))),
          samples(run),
          values(transform.Length()) {
        if (run == 0) values[0] = 0.0f;
    }
    std::span<float> Run() { return std::span(values).first(samples); }
    // In their place. All three throw what `between` throws.
    void Extend(const CWaveletTransform::Between& between) {
        if (samples > 0) ExtendByMirroring(values, samples, between);
    }
    void Forward(const CWaveletTransform::Between& between) {
        transform.Forward(std::span<float>(values), between);
    }
    void Inverse(const CWaveletTransform::Between& between) {
        transform.Inverse(std::span<float>(values), between);
    }
};

class CMassEditDWT {
  public:
    std::string m_strZeroBands;  // "1 2 r": levels of details, and r for the smooth values
    bool m_bThreshold = false;
    int32_t m_nThresholdMethod = 1;  // ThresholdMethod
    int32_t m_nThresholdOrigin = 2;  // ThresholdOrigin
    int32_t m_nQuantile = 50;        // %
    double m_dNoise = 1.0;           // s.d.

    // The bands to be set to 0; the smooth values are level 0. Throws std::invalid_argument with words for
    // the user where the text is no list of bands.
    std::set<int> ZeroBands() const;
    // The same as a fault; empty where there is none.
    std::string Fault() const;
    bool ChangesSomething() const { return m_bThreshold || !m_strZeroBands.empty(); }
    // Of a run as coefficients.
    ThresholdOutcome Apply(WaveletRun& run, const CWaveletTransform::Between& between = {}) const;

    void DescribeZeroBands(ParamList& list);
    void DescribeThreshold(ParamList& list, const std::function<bool()>& isUsed = {});
    // "Threshold method: .." and what follows, in the words of reports.
    void AppendText(std::string& text) const;
    void Exchange(CArchive& archive);
};

// What the log says of a run.
std::string ThresholdLog(const ThresholdOutcome& outcome);

inline constexpr const char* noMemoryForWaveletsText =
    "Unable to allocate enough memory to perform DWT on these data. Reduce duration of main view.";

}  // namespace kymora
