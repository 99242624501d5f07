#pragma once
// The general recursive filter, and the two that are made of it: the digital RC circuit and the narrow band.

#include <complex>
#include <span>
#include <vector>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"

namespace kymora {

struct RecursiveSettings {
    std::vector<double> forward = {1.0};   // b[0 ..]: of the sample and those before it, at most 202
    std::vector<double> feedback = {1.0};  // a[0 ..]: the divisor, then of the results before, at most 4
    bool isBidirectional = false;          // and again from the end, so that no phase is left
};

// For the log, where a run's last result is no finite number.
inline constexpr const char* spoiltToTheEndText =
    "A sample that is infinite or not a number stays in a recursive filter until its run ends.\n";

// y = b[0] x + sum of b[j] x before + sum of a[j] y before, in this order, then y / a[0]. Coefficients and
// products are double, y is a float: each addition is made in double and rounded when y takes it. What lies
// before the run counts as 0. `output` has the length of `input` and is another array. `goOn` is asked now
// and then; false ends it by Cancelled. Throws std::invalid_argument for rows that are empty or too long.
KernelOutcome FilterRecursive(std::span<const float> input, const RecursiveSettings& settings,
                              std::span<float> output, const KernelPoll& goOn = {});
// The same results. Both directions take two scratch runs.
KernelOutcome FilterRecursive(FloatSource& source, const RecursiveSettings& settings, FloatSink& sink,
                              ScratchRoom& room);

// What it does to a sine of `f` at a sampling rate of `fs` (both in Hz).
std::complex<double> RecursiveResponse(const RecursiveSettings& settings, double f, double fs);

// --- filters made of it; intervals and time constants in ms, frequencies in Hz ---
enum class RcType { highPass = 0, lowPass = 1 };
RecursiveSettings RcFilter(RcType type, double tau, double sampleInterval, bool isBidirectional);

enum class NarrowBandType { pass = 0, stop = 1 };
inline constexpr float narrowBandWidth = 0.0003f;  // of the sampling rate
RecursiveSettings NarrowBand(NarrowBandType type, double centre, float bandWidth, double sampleInterval);

}  // namespace kymora
