#pragma once
// More samples of a run: each one becomes as many as the multiplier says.

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "kernels/passes.h"

namespace kymora {

// Takes each sample of a run with the one behind it and hands room for its `multiplier` results to
// `fill(sample, next, room)`. The last sample stands behind itself.
template <typename Fill>
class IncreasePass {
  public:
    IncreasePass(int32_t multiplier, Fill fill)
        : multiplier_(static_cast<size_t>(multiplier)), fill_(std::move(fill)) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        if (samples.empty()) return;
        if (last_) Add(*last_, samples[0], results);
        const size_t atOnce = std::max<size_t>(1, passBlock / multiplier_);
        for (size_t at = 0; at + 1 < samples.size();) {
            const size_t count = std::min(atOnce, samples.size() - 1 - at);
            const std::span<float> room = results.Room(count * multiplier_);
            for (size_t i = 0; i < count; ++i, ++at)
                fill_(samples[at], samples[at + 1], room.subspan(i * multiplier_, multiplier_));
        }
        last_ = samples.back();
    }
    void Finish(ResultBuffer& results) {
        if (last_) Add(*last_, *last_, results);
    }

  private:
    void Add(float sample, float next, ResultBuffer& results) {
        fill_(sample, next, results.Room(multiplier_));
    }

    size_t multiplier_;
    Fill fill_;
    std::optional<float> last_;
};

// Straight steps from each sample towards the next, computed in double and rounded once; the sample itself
// comes first.
class LinearFill {
  public:
    explicit LinearFill(int32_t multiplier);
    void operator()(float sample, float next, std::span<float> to) const {
        // Two infinite ones have no difference.
        if (sample == next) {
            std::ranges::fill(to, sample);
            return;
        }
        const double from = static_cast<double>(sample), step = static_cast<double>(next) - from;
        to[0] = sample;
        for (size_t i = 1; i < to.size(); ++i) to[i] = static_cast<float>(from + step * parts_[i]);
    }

  private:
    std::vector<double> parts_;  // i / multiplier
};

// The sample times the multiplier, then zeros: a low-pass to the old Nyquist frequency, whose gain is 1,
// makes of them the wave that the samples were taken from, as high as it was.
struct ZeroFill {
    void operator()(float sample, float, std::span<float> to) const {
        std::ranges::fill(to, 0.0f);
        to[0] = sample * static_cast<float>(to.size());
    }
};

}  // namespace kymora
