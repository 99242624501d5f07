#pragma once
// De-noising by wavelets: small details are taken for noise (D. L. Donoho and I. M. Johnstone, "Ideal spatial
// adaptation by wavelet shrinkage", Biometrika 81, 1994, 425-455; the rule SCAD: A. Antoniadis and J. Fan,
// "Regularization of wavelet approximations", J. Am. Stat. Assoc. 96, 2001, 939-967).

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "spectra/wavelet_transform.h"

namespace kymora {

enum class ThresholdMethod : int32_t { hard = 0, soft = 1, scad = 2 };
enum class ThresholdOrigin : int32_t { quantile = 0, universalGiven = 1, universalInternal = 2 };

struct ThresholdSettings {
    ThresholdMethod method = ThresholdMethod::soft;
    ThresholdOrigin origin = ThresholdOrigin::universalInternal;
    int percent = 50;    // of the quantile, 0 to 100
    double noise = 1.0;  // s.d. of the universal threshold, where it is given
};

struct ThresholdOutcome {
    double lambda = 0.0;
    std::optional<double> noise;  // as it was estimated
    int64_t zeroed = 0;           // details that were not 0 before
};

// One value under the rule. Lambda is 0 or above.
double Thresholded(double value, double lambda, ThresholdMethod method);

// The smallest of the absolute values that `percent` of them do not exceed: that with the index
// ceil(percent x count / 100) - 1 in ascending order; 0 where that is below 0. A not-a-number is none of
// them.
double AbsoluteQuantile(std::span<const float> values, int percent,
                        const CWaveletTransform::Between& between = {});
// Of the absolute values that are numbers; of an even count the mean of both in the middle. 0 of none.
double AbsoluteMedian(std::span<const float> values, const CWaveletTransform::Between& between = {});

// Thresholds all details of a run's coefficients by one lambda; the smooth values and not-a-numbers stay. The
// universal threshold is noise x sqrt(2 ln `samples`), where the estimate of the noise is the median of the
// absolute details of level 1 / 0.6745. `between` is that of the transform. `samples` is the length of the
// run before it was extended.
ThresholdOutcome ThresholdDetails(const CWaveletTransform& transform, std::span<float> coefficients,
                                  size_t samples, const ThresholdSettings& settings,
                                  const CWaveletTransform::Between& between = {});

}  // namespace kymora
