#pragma once
// The continuous wavelet transform with the wavelet of Morlet, a sine under a bell (C. Torrence and G. P.
// Compo, "A practical guide to wavelet analysis", Bull. Am. Meteorol. Soc. 79, 1998, 61-78), scaled so that a
// sine has the same power at every frequency: its mean square. Frequencies are shares of the sample rate.

#include <functional>
#include <span>
#include <vector>

#include "spectra/radix2_fft.h"

namespace kymora {

// From `lowest`, `voices` to an octave, up to `highest`. 0 < lowest <= highest.
std::vector<double> MorletFrequencies(double lowest, double highest, int voices);

// Samples from an end within which what lies beyond it has an effect (the e-folding time of a peak's power).
double MorletEdge(double frequency, double omega);

class MorletTransform {
  public:
    // Of a run of at least 2 samples, which is mirrored at both ends. `omega` is the number of radians under
    // the bell, 6 usually: a larger one parts frequencies better, a smaller one moments. `between` is called
    // between steps, and may throw.
    MorletTransform(std::span<const float> run, double omega, const std::function<void()>& between = {});

    // The power at each sample of the run, which stays until the next call.
    std::span<const double> Powers(double frequency, const std::function<void()>& between = {});

  private:
    size_t samples_;
    double omega_;
    std::vector<double> re_, im_;            // of the run's transform
    std::vector<double> shownRe_, shownIm_;  // of one frequency
    std::shared_ptr<const Radix2Fft> fft_;
};

}  // namespace kymora
