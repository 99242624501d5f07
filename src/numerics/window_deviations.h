#pragma once
// The sum of squared deviations of a window of neighbouring samples from their mean, as running sums have it,
// and how far rounding may have taken it from the true one: to tell apart, at little cost, the few windows
// that are worth a closer look.

#include <cfloat>
#include <cstddef>
#include <span>

namespace kymora {

class WindowDeviations {
  public:
    // Sums a window anew, as deviations from a level near its mean.
    void Anchor(std::span<const float> window, double level) {
        level_ = level;
        count_ = static_cast<double>(window.size());
        deviations_ = squares_ = 0.0;
        for (const float value : window) {
            const double deviation = value - level_;
            deviations_ += deviation;
            squares_ += deviation * deviation;
        }
        squaresSeen_ = squares_;
        steps_ = 0;
    }
    // The window moves by a sample. After as many steps as it has samples it is to be summed anew.
    void Step(double oldest, double newest) {
        const double out = oldest - level_, in = newest - level_;
        deviations_ += in - out;
        squares_ -= out * out;
        squares_ += in * in;
        squaresSeen_ += in * in;
        ++steps_;
    }
    size_t Steps() const { return steps_; }

    // With exact sums S of the deviations and Q of their squares it is Q - S * S / n. Every addition rounds
    // by at most a half epsilon of its result. S and Q see at most 3 n additions, none of a greater result
    // than sqrt(2 n squaresSeen) and squaresSeen; the factor of 16 has room for their product and for what
    // is added here.
    double Value() const { return squares_ - deviations_ * deviations_ / count_; }
    double Error() const { return 16.0 * DBL_EPSILON * (3.0 * count_ + 8.0) * squaresSeen_; }
    // Sums that an artefact has passed through say little; new ones would say more.
    bool IsBlurred() const { return steps_ != 0 && Error() > 1e-3 * Value(); }

  private:
    double level_ = 0.0, count_ = 1.0, deviations_ = 0.0, squares_ = 0.0;
    double squaresSeen_ = 0.0;  // all squares that went into the sums
    size_t steps_ = 0;
};

}  // namespace kymora
