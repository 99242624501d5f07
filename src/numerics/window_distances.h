#pragma once
// The distance of one row of values from every window of a stretch of samples, as the sum of the absolute
// differences: the inner loop of a search for a template. Many results are under way at once, in the widest
// vectors that the processor has; each is the sum of its terms from the first to the last, so the bits are
// those of the plain loop on every machine.

#include <cstddef>
#include <limits>
#include <span>

#include "numerics/instruction_set.h"

namespace kymora {

// to[k] = sum over i of |samples[k + i] - row[i]|. `samples` holds at least to.size() + row.size() - 1
// values. A window whose sum is above `limit` may answer infinity in its place: its sum need not be finished.
void WindowDistances(std::span<const double> row, std::span<const double> samples, std::span<double> to,
                     double limit = std::numeric_limits<double>::infinity(),
                     InstructionSet widest = WidestInstructionSet());

}  // namespace kymora
