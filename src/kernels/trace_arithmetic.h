#pragma once
// A trace computed from the traces of a recording by an expression. Its variables are x1, x2, ... for the
// traces, xt for the time in ms, and et and ed, which hold 0 and 1 here.

#include <cstdint>
#include <functional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kernels/kernel_outcome.h"
#include "kernels/streams.h"
#include "numerics/expression.h"

namespace kymora {

// Fills to[n] with the samples of trace traces[n] (0-based) from position `from` of the recording on; gap
// samples and samples outside the recording are 0. All spans of `to` have one length. Throws FileError.
using TracesReader =
    std::function<void(int64_t from, std::span<const int> traces, std::span<const std::span<float>> to)>;

class TraceArithmetic {
  public:
    // `random`, from which the random functions draw, must outlive this. The sample interval is in ms.
    TraceArithmetic(std::mt19937& random, int traceCount, double sampleInterval);

    // Takes an expression. Empty when it can be used, else a sentence that says why not.
    std::string Parse(std::string_view text);
    // The traces that the expression names, 0-based and ascending.
    const std::vector<int>& UsedTraces() const { return usedTraces_; }

    // The values of the expression at the positions from `from` on; samples[n] are those of UsedTraces()[n].
    // Infinite and not-a-number values are written as such.
    void Evaluate(int64_t from, std::span<const std::span<float>> samples, std::span<float> output);

    // The run of `count` samples from position `from` on, in memory and to a sink. Both throw FileError.
    void Run(int64_t from, const TracesReader& read, std::span<float> output);
    void Run(int64_t from, int64_t count, const TracesReader& read, FloatSink& sink);

  private:
    std::string FaultOfNames(std::string_view text) const;

    double sampleInterval_;
    double time_ = 0.0, eventTime_ = 0.0, eventDuration_ = 1.0;
    std::vector<double> values_;  // of each trace
    std::vector<int> usedTraces_;
    Expression expression_;
};

}  // namespace kymora
