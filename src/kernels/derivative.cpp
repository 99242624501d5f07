#include "kernels/derivative.h"

#include "kernels/passes.h"
#include "numerics/moving_average.h"

namespace kymora {

namespace {

// Stencils: `points` samples make one result, which is written `lead` times more at the start and `trail`
// times more at the end.

struct AdjacentDifference {
    static constexpr size_t points = 2;
    explicit AdjacentDifference(double dt, bool isPre) : lead(isPre), trail(!isPre), dt_(dt) {}
    double operator()(const float* x) const { return (double{x[1]} - x[0]) / dt_; }
    int64_t lead, trail;

  private:
    double dt_;
};

struct FirstOrder4 {
    static constexpr size_t points = 5;
    static constexpr int64_t lead = 2, trail = 2;
    explicit FirstOrder4(double dt) : divisor_(12.0 * dt) {}
    double operator()(const float* x) const { return (x[0] - 8.0 * x[1] + 8.0 * x[3] - x[4]) / divisor_; }

  private:
    double divisor_;
};

struct SecondOrder4 {
    static constexpr size_t points = 5;
    static constexpr int64_t lead = 2, trail = 2;
    explicit SecondOrder4(double dt) : divisor_(12.0 * dt * dt) {}
    double operator()(const float* x) const {
        return (-double{x[0]} + 16.0 * x[1] - 30.0 * x[2] + 16.0 * x[3] - x[4]) / divisor_;
    }

  private:
    double divisor_;
};

struct ThirdOrder4 {
    static constexpr size_t points = 7;
    static constexpr int64_t lead = 3, trail = 3;
    explicit ThirdOrder4(double dt) : divisor_(8.0 * dt * dt * dt) {}
    double operator()(const float* x) const {
        return (x[0] - 8.0 * x[1] + 13.0 * x[2] - 13.0 * x[4] + 8.0 * x[5] - x[6]) / divisor_;
    }

  private:
    double divisor_;
};

template <typename Stencil>
class StencilPass {
  public:
    explicit StencilPass(const Stencil& stencil) : stencil_(stencil) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        kept_.insert(kept_.end(), samples.begin(), samples.end());
        if (kept_.size() < Stencil::points) return;
        const size_t count = kept_.size() - (Stencil::points - 1);
        if (!hasResult_) results.Fill(static_cast<float>(stencil_(kept_.data())), stencil_.lead);
        hasResult_ = true;
        for (size_t at = 0; at < count; at += passBlock) {
            const std::span<float> to = results.Room(std::min(passBlock, count - at));
            for (size_t i = 0; i < to.size(); ++i) to[i] = static_cast<float>(stencil_(&kept_[at + i]));
            last_ = to.back();
        }
        kept_.erase(kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(count));
    }
    void Finish(ResultBuffer& results) const {
        if (hasResult_)
            results.Fill(last_, stencil_.trail);
        else
            results.Fill(0.0f, static_cast<int64_t>(kept_.size()));
    }

  private:
    Stencil stencil_;
    std::vector<float> kept_;  // the latest points - 1 samples
    bool hasResult_ = false;
    float last_ = 0.0f;
};

template <typename Input, typename Output>
void Run(Input&& input, const DerivativeSettings& settings, Output&& output) {
    const double dt = settings.sampleInterval;
    switch (settings.type) {
    case DerivativeType::firstOrder4:
        return RunPass(input, output, StencilPass(FirstOrder4(dt)));
    case DerivativeType::secondOrder4:
        return RunPass(input, output, StencilPass(SecondOrder4(dt)));
    case DerivativeType::thirdOrder4:
        return RunPass(input, output, StencilPass(ThirdOrder4(dt)));
    default:
        break;
    }
    const bool isPre = settings.type == DerivativeType::adjacentPre;
    RunPass(input, output, StencilPass(AdjacentDifference(dt, isPre)));
}

KernelOutcome OutcomeOf(int64_t count, DerivativeType type) {
    KernelOutcome outcome;
    if (count < StencilSamples(type)) outcome.note = notEnoughSamplesText;
    return outcome;
}

}  // namespace

bool UsesSavitzkyGolay(const DerivativeSettings& settings) {
    return settings.isSavitzkyGolay && settings.type != DerivativeType::adjacentPre &&
           settings.type != DerivativeType::adjacentPost;
}

SavgolSettings SavgolOf(const DerivativeSettings& settings) {
    const int order = static_cast<int>(settings.type) - static_cast<int>(DerivativeType::adjacentPost);
    return {settings.halfWindow, settings.polyDegree, order, settings.sampleInterval};
}

int64_t StencilSamples(DerivativeType type) {
    switch (type) {
    case DerivativeType::firstOrder4:
    case DerivativeType::secondOrder4:
        return 5;
    case DerivativeType::thirdOrder4:
        return 7;
    default:
        return 2;
    }
}

KernelOutcome Derivative(std::span<const float> input, const DerivativeSettings& settings,
                         std::span<float> output, const KernelPoll& goOn) {
    if (UsesSavitzkyGolay(settings)) return SmoothSavgol(input, SavgolOf(settings), output, goOn);
    Run(input, settings, output);
    return OutcomeOf(static_cast<int64_t>(input.size()), settings.type);
}

KernelOutcome Derivative(FloatSource& source, int64_t count, const DerivativeSettings& settings,
                         FloatSink& sink) {
    if (UsesSavitzkyGolay(settings)) return SmoothSavgol(source, count, SavgolOf(settings), sink);
    Run(source, settings, sink);
    return OutcomeOf(count, settings.type);
}

}  // namespace kymora
