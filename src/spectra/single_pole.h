#pragma once
// The single-pole high-pass filter, as a digital RC circuit.

namespace kymora {

// Takes a series sample by sample. With x = exp(-interval / time constant), each output is
// (1 + x) / 2 x (sample - sample before) + x (output before). Coefficients are double; samples, outputs and
// every sum are rounded to single precision. What lies before the first sample counts as 0.
class SinglePoleHighPass {
  public:
    // Both in ms.
    SinglePoleHighPass(double sampleInterval, double timeConstant);

    float Next(float sample);
    // The state of a new filter.
    void Reset() { before_ = output_ = 0.0f; }

  private:
    double decay_;
    float before_ = 0.0f;
    float output_ = 0.0f;
};

// Time constant (ms) of a cut-off frequency (Hz), with 2 pi in single precision.
inline float TimeConstantOf(float cutoff) { return 1000.0f / (6.2831855f * cutoff); }

}  // namespace kymora
