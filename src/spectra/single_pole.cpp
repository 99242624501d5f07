#include "spectra/single_pole.h"

#include <cmath>

namespace kymora {

SinglePoleHighPass::SinglePoleHighPass(double sampleInterval, double timeConstant)
    : decay_(std::exp(-sampleInterval / timeConstant)) {}

float SinglePoleHighPass::Next(float sample) {
    const double gain = (1.0 + decay_) / 2.0;
    auto output = static_cast<float>(gain * sample);
    output = static_cast<float>(output - gain * before_);
    output = static_cast<float>(output + decay_ * output_);
    before_ = sample;
    return output_ = output;
}

}  // namespace kymora
