#pragma once
// The inner loops of spectra, in the widest vectors that the processor has. Each value is made by the same
// steps everywhere, so the bits are those of the plain loop on every machine.

#include <complex>
#include <span>

#include "numerics/instruction_set.h"

namespace kymora {

// All spans of a call have one length. to[i] = samples[i] x window[i]
void WindowSegment(std::span<const float> samples, std::span<const double> window, std::span<double> to,
                   InstructionSet widest = WidestInstructionSet());
// sums[k] += factor x |bins[k]|^2
void AddPowers(std::span<const std::complex<double>> bins, double factor, std::span<double> sums,
               InstructionSet widest = WidestInstructionSet());
// re[k] + i im[k] += factor x a[k] x the conjugate of b[k]
void AddProducts(std::span<const std::complex<double>> a, std::span<const std::complex<double>> b,
                 double factor, std::span<double> re, std::span<double> im,
                 InstructionSet widest = WidestInstructionSet());

}  // namespace kymora
