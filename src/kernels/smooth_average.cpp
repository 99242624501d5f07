#include "kernels/smooth_average.h"

#include "kernels/run_reader.h"
#include "numerics/moving_average.h"

namespace kymora {

namespace {

bool IsShort(int64_t count, int64_t halfWindow) { return halfWindow > (count - 1) / 2; }

// The last window of samples and their running sum.
class AverageRing {
  public:
    explicit AverageRing(size_t window) : ring_(window) {}

    float Sum() const { return sum_; }
    void Take(float sample) {
        sum_ += sample;
        ring_[oldest_] = sample;
        oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1;
    }
    void Drop() {
        sum_ -= ring_[oldest_];
        oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1;
    }
    // Writes the average of the whole window before each sample, which then takes the place of the oldest.
    void Slide(std::span<const float> samples, std::span<float> to) {
        const auto divisor = static_cast<float>(ring_.size());
        for (size_t i = 0; i < samples.size();) {
            const size_t part = std::min(samples.size() - i, ring_.size() - oldest_);
            float* const slot = ring_.data() + oldest_;
            float sum = sum_;
            for (size_t j = 0; j < part; ++j) {
                to[i + j] = sum / divisor;
                sum -= slot[j];
                sum += samples[i + j];
                slot[j] = samples[i + j];
            }
            sum_ = sum;
            i += part;
            oldest_ = oldest_ + part == ring_.size() ? 0 : oldest_ + part;
        }
    }

  private:
    std::vector<float> ring_;
    size_t oldest_ = 0;
    float sum_ = 0.0f;
};

void AveragePass(FloatSource& source, int64_t count, int64_t half, FloatSink& sink) {
    RunReader reader(source, count);
    ResultBuffer results(sink);
    AverageRing ring(static_cast<size_t>(2 * half + 1));
    int64_t taken = 0;
    while (reader.Left() > 0) {
        std::span<const float> block = reader.NextBlock();
        for (; !block.empty() && taken <= 2 * half; block = block.subspan(1), ++taken) {
            if (taken > half) results.Add(ring.Sum() / static_cast<float>(taken - half + 1));
            ring.Take(block[0]);
        }
        ring.Slide(block, results.Room(block.size()));
    }
    results.Add(ring.Sum() / static_cast<float>(2 * half + 1));
    for (int64_t left = 2 * half; left > half; --left) {
        ring.Drop();
        results.Add(ring.Sum() / static_cast<float>(left));
    }
    results.Flush();
}

}  // namespace

KernelOutcome SmoothAverage(std::span<const float> input, const AverageSettings& settings,
                            std::span<float> output) {
    KernelOutcome outcome;
    const auto count = static_cast<int64_t>(input.size());
    const int64_t half = std::max<int64_t>(0, settings.halfWindow);
    if (count == 0) return outcome;
    if (half == 0) {
        std::copy(input.begin(), input.end(), output.begin());
        return outcome;
    }
    if (IsShort(count, half)) outcome.note = notEnoughSamplesText;
    GetMovingAverageIter(input, std::max(1, settings.iterations), static_cast<size_t>(half), output);
    return outcome;
}

KernelOutcome SmoothAverage(FloatSource& source, int64_t count, const AverageSettings& settings,
                            FloatSink& sink, ScratchRoom& room) {
    KernelOutcome outcome;
    const int64_t half = std::max<int64_t>(0, settings.halfWindow);
    if (count == 0) return outcome;
    if (half == 0) {
        CopyRun(source, count, sink);
    } else if (IsShort(count, half)) {
        outcome.note = notEnoughSamplesText;
        FillWithMean(source, count, sink);
    } else {
        RepeatPass(source, sink, room, settings.iterations,
                   [&](FloatSource& from, FloatSink& to) { AveragePass(from, count, half, to); });
    }
    return outcome;
}

}  // namespace kymora
