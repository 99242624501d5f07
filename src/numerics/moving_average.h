#pragma once
// The moving average in memory, in single precision.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

// Averages over windows of 2 x halfWindow + 1 samples, `iterations` times over (1: boxcar, 2: triangular). At
// both ends the window shrinks to the samples that exist; nothing is padded. The running sum is a float, so a
// sample that is no finite number spoils all that follow. With fewer samples than a window every result is
// the mean of all samples; who calls logs notEnoughSamplesText then.
std::vector<float> GetMovingAverageIter(std::span<const float> input, int iterations, size_t halfWindow);
// The same into an array of the input's length, which must be another array.
void GetMovingAverageIter(std::span<const float> input, int iterations, size_t halfWindow,
                          std::span<float> output);

// One pass of the same, sample by sample, with the same results bit for bit.
class MovingAveragePass {
  public:
    // The number of samples that will come.
    MovingAveragePass(int64_t count, size_t halfWindow);
    // Append the results as they become known: those of a window come when its last sample does.
    void Take(std::span<const float> samples, std::vector<float>& to);
    void Finish(std::vector<float>& to);

  private:
    void TakeOne(float sample, std::vector<float>& to);

    size_t half_;
    int64_t count_;
    bool isShort_;  // fewer samples than a window
    std::vector<float> ring_;
    size_t oldest_ = 0;  // in the ring
    int64_t taken_ = 0;
    float sum_ = 0.0f;
    double total_ = 0.0;  // of a short series
};

inline constexpr const char* notEnoughSamplesText = "WARNING; not enough data for transform\n";

}  // namespace kymora
