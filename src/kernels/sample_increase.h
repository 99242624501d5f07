#pragma once
// More samples of a run: each one becomes as many as the multiplier says.

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <vector>

#include "kernels/passes.h"

namespace kymora {

// Hands the samples of a run, some at a time and with the one behind them, to `fill(samples, room)`, whose
// room has `multiplier` results for each sample but the one behind. The last sample of the run stands behind
// itself.
template <typename Fill>
class IncreasePass {
  public:
    IncreasePass(int32_t multiplier, Fill fill)
        : multiplier_(static_cast<size_t>(multiplier)), fill_(std::move(fill)) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        if (samples.empty()) return;
        if (last_) Add({*last_, samples[0]}, results);
        const size_t atOnce = std::max<size_t>(1, passBlock / multiplier_);
        for (size_t at = 0; at + 1 < samples.size();) {
            const size_t count = std::min(atOnce, samples.size() - 1 - at);
            fill_(samples.subspan(at, count + 1), results.Room(count * multiplier_));
            at += count;
        }
        last_ = samples.back();
    }
    void Finish(ResultBuffer& results) {
        if (last_) Add({*last_, *last_}, results);
    }

  private:
    void Add(std::array<float, 2> samples, ResultBuffer& results) {
        fill_(samples, results.Room(multiplier_));
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
    void operator()(std::span<const float> samples, std::span<float> to) const;

  private:
    std::vector<double> parts_;  // i / multiplier
};

// The sample times the multiplier, then zeros: a low-pass to the old Nyquist frequency, whose gain is 1,
// makes of them the wave that the samples were taken from, as high as it was.
struct ZeroFill {
    void operator()(std::span<const float> samples, std::span<float> to) const;
};

}  // namespace kymora
