#pragma once
// How much a stretch of samples resembles a template, for each place of a sliding window: the error of
// fixed and adaptive templates, and the criterion of an optimally scaled one (J. D. Clements and
// J. M. Bekkers, "Detection of spontaneous synaptic events with an optimally scaled template", Biophysical
// Journal 73, 1997). All sums are double; the results are single precision.

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "spectra/radix2_fft.h"

namespace kymora {

// Steps whose running sums have one beginning.
inline constexpr size_t stepsSummed = 32768;

// Greatest less smallest.
double PeakToPeak(std::span<const float> values);

// The error in percent: the sum of the absolute differences over the triangular area of the template, which
// is (bins x (max - min) / 2).
class TemplateError {
  public:
    // The values vary.
    explicit TemplateError(std::span<const float> values);

    // to[k] is the error of the window that begins at samples[k]; `samples` holds to.size() + bins - 1
    // values. Where it is not below `limit` (percent), infinity may stand in its place.
    void Measure(std::span<const float> samples, std::span<float> to,
                 float limit = std::numeric_limits<float>::infinity());
    // Of a window without any signal: the least error of any constant.
    float OfFlatWindow() const;

  private:
    std::vector<double> row_;
    double percent_;  // of the area
    std::vector<double> wide_, sums_;
};

// The template scaled and shifted onto a window.
struct TemplateFit {
    double scale = 0.0;   // of the template over its peak-to-peak value: in units of the data
    double offset = 0.0;  // units of the data
    float criterion = 0.0f;
};

class ScaledTemplate {
  public:
    // The values vary.
    explicit ScaledTemplate(std::span<const float> values);

    // Above so many bins the criteria come from Fourier transforms.
    static constexpr size_t mostDirectBins = 256;

    // to[k] is the criterion of the window that begins at samples[k]; `samples` holds to.size() + bins - 1
    // values. Those above `exactAbove` are summed in full, however long the template is: so many of them as
    // take no more time than the transforms, those first on which the best steps depend. The others are
    // right to a few units of their last digit. `poll` is called every few milliseconds and may throw.
    using Poll = std::function<void()>;
    void Measure(std::span<const float> samples, std::span<float> to, float exactAbove,
                 const Poll& poll = {});
    // So many steps are measured at once: fewer take as long.
    size_t StepsAtOnce() const;
    TemplateFit FitOf(std::span<const float> window) const;
    // The template as it is fitted: each value is scale x Unit()[i] + offset.
    std::span<const double> Unit() const { return unit_; }

    // Of the windows measured so far, those whose squared error was held to its least value.
    int64_t CountAtFloor() const { return atFloor_; }
    int64_t CountMeasured() const { return measured_; }

  private:
    // Of a window with this dot product with centred_.
    float CriterionOf(double dot, double squaredError) const;
    double SquaredError(double dot, double sum, double squares) const;
    void MeasureSome(std::span<const float> samples, std::span<float> to, float exactAbove, const Poll& poll);
    void SumInFull(std::span<const float> samples, std::span<float> to, float above, const Poll& poll);
    std::vector<size_t> StepsThatDecide(std::span<const float> to, float above) const;
    void FindSums(size_t count, const Poll& poll);
    void FindCriteria(std::span<float> to);
    void FindDots(size_t count, const Poll& poll);
    void TransformDots(size_t from, size_t end, const Poll& poll);
    double LoadForTransform(size_t from, double limit);
    void Convolve(const Poll& poll);

    std::vector<double> unit_;     // over peak-to-peak
    std::vector<double> centred_;  // the same less its mean
    double unitMean_;
    // 1 over the squares of centred_, over the bins, and over the bins less 1.
    double perSquares_, perBin_, perFreeBin_;
    std::vector<double> wide_, dots_, sums_, squares_;
    // Of the transforms of long templates, and the spectrum of centred_, from the first use on.
    size_t length_ = 0;
    std::shared_ptr<const Radix2Fft> plan_;
    std::vector<double> spectrumRe_, spectrumIm_, re_, im_;
    int64_t atFloor_ = 0, measured_ = 0;
};

}  // namespace kymora
