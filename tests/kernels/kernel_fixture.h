#pragma once
// Streams in memory for tests of kernels, and runs of samples.

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "kernels/passes.h"

namespace kymora {

inline const float notANumber = std::numeric_limits<float>::quiet_NaN();

class VectorSource : public FloatSource {
  public:
    explicit VectorSource(std::vector<float> samples) : samples_(std::move(samples)) {}
    size_t Read(std::span<float> to) override {
        const size_t count = std::min(to.size(), samples_.size() - at_);
        std::copy_n(samples_.begin() + static_cast<std::ptrdiff_t>(at_), count, to.begin());
        at_ += count;
        return count;
    }

  private:
    std::vector<float> samples_;
    size_t at_ = 0;
};

class VectorSink : public FloatSink {
  public:
    void Write(std::span<const float> values) override {
        samples.insert(samples.end(), values.begin(), values.end());
    }
    std::vector<float> samples;
};

// Noise of one seed around 5, so that sums and ranges are no special cases.
inline std::vector<float> NoiseRun(size_t count) {
    std::mt19937 random(static_cast<unsigned>(count) + 1);
    std::normal_distribution<float> normal(5.0f, 2.0f);
    std::vector<float> samples(count);
    for (float& value : samples) value = normal(random);
    return samples;
}

// Equal bit by bit, not-a-numbers being equal to each other.
inline bool AreSame(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && !(std::isnan(a[i]) && std::isnan(b[i]))) return false;
    return true;
}

// Lengths around the edges of blocks and windows.
inline const std::vector<size_t> runLengths = {0, 1, 2, 3, 4, 5, 6, 7, 8, 100, 8191, 8192, 8193, 20000};

}  // namespace kymora
