#include "kernels/integral.h"

#include <cmath>
#include <limits>

#include "kernels/passes.h"

namespace kymora {

namespace {

double ScaleOf(const IntegralSettings& settings) {
    switch (settings.scaling) {
    case IntegralScaling::milliseconds:
        return settings.sampleInterval;
    case IntegralScaling::seconds:
        return settings.sampleInterval / 1000.0;
    default:
        return 1.0;
    }
}

class CumulativePass {
  public:
    explicit CumulativePass(const IntegralSettings& settings)
        : settings_(settings), scale_(ScaleOf(settings)), resetLevel_(std::fabs(settings.resetValue)) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        const std::span<float> to = results.Room(samples.size());
        switch (settings_.reset) {
        case IntegralReset::never:
            return Sum(samples, to, [] { return false; });
        case IntegralReset::afterTime:
            return Sum(samples, to, [this] {
                elapsed_ += settings_.sampleInterval;
                if (!(elapsed_ > settings_.resetTime)) return false;
                elapsed_ = 0.0;
                return true;
            });
        case IntegralReset::afterValue:
            return Sum(samples, to, [this] { return std::fabs(sum_) > resetLevel_; });
        }
    }
    void Finish(ResultBuffer&) const {}

  private:
    template <typename Resets>
    void Sum(std::span<const float> samples, std::span<float> to, Resets resets) {
        for (size_t i = 0; i < samples.size(); ++i) {
            const double value = samples[i];
            sum_ += value;
            if (resets()) sum_ = value;
            to[i] = static_cast<float>(sum_ * scale_);
        }
    }

    const IntegralSettings& settings_;
    double scale_, resetLevel_;
    double sum_ = 0.0;
    double elapsed_ = 0.0;  // ms
};

class BinnedPass {
  public:
    explicit BinnedPass(const IntegralSettings& settings)
        : binSamples_(BinSamples(settings.binWidth, settings.sampleInterval)), scale_(ScaleOf(settings)) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        for (const float sample : samples) {
            sum_ += sample;
            if (++taken_ == binSamples_) Finish(results);
        }
    }
    // Writes the bin at work, whole or not.
    void Finish(ResultBuffer& results) {
        results.Fill(static_cast<float>(sum_ * scale_), taken_);
        sum_ = 0.0;
        taken_ = 0;
    }

  private:
    int64_t binSamples_;
    double scale_;
    double sum_ = 0.0;
    int64_t taken_ = 0;  // samples of the bin at work
};

template <typename Input, typename Output>
KernelOutcome Run(Input&& input, const IntegralSettings& settings, Output&& output) {
    if (settings.mode == IntegralMode::binned)
        RunPass(input, output, BinnedPass(settings));
    else
        RunPass(input, output, CumulativePass(settings));
    return {};
}

}  // namespace

int64_t BinSamples(double binWidth, double sampleInterval) {
    const double samples = binWidth / sampleInterval;
    if (!(samples >= 1.0)) return 1;
    constexpr double most = std::numeric_limits<int32_t>::max();
    return static_cast<int64_t>(std::fmin(samples, most));
}

KernelOutcome Integrate(std::span<const float> input, const IntegralSettings& settings,
                        std::span<float> output) {
    return Run(input, settings, output);
}

KernelOutcome Integrate(FloatSource& source, const IntegralSettings& settings, FloatSink& sink) {
    return Run(source, settings, sink);
}

}  // namespace kymora
