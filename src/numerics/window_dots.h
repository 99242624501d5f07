#pragma once
// Dot products of one row of coefficients with every window of a stretch of samples: the inner loop of
// convolutions. Many results are under way at once, in the widest vectors that the processor has, but each is
// the sum of its products in the order that is told, without fused multiplications and additions, so the bits
// are those of the plain loop on every machine.

#include <cstddef>
#include <span>

#include "numerics/instruction_set.h"

namespace kymora {

// The order in which a result's products are added.
enum class DotOrder { oldestFirst, newestFirst };

// to[i] = sum over j of coefficients[j] x samples[i + j], in single precision, from the oldest sample on.
// `samples` holds at least to.size() + coefficients.size() - 1 values.
void WindowDots(std::span<const float> coefficients, std::span<const float> samples, std::span<float> to,
                InstructionSet widest = WidestInstructionSet());

// The same in double precision; each sum is multiplied by `scale` and then rounded to single precision.
void WindowDots(std::span<const double> coefficients, std::span<const float> samples, double scale,
                std::span<float> to, DotOrder order = DotOrder::oldestFirst,
                InstructionSet widest = WidestInstructionSet());

// The same with samples and results in double precision.
void WindowDots(std::span<const double> coefficients, std::span<const double> samples, std::span<double> to,
                InstructionSet widest = WidestInstructionSet());

}  // namespace kymora
