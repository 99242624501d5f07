#pragma once
// Windows of samples as the rows of a matrix: the same stretch around each event, of one trace or of several
// end to end.

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "document/sample_reader.h"
#include "document/trace_stretches.h"

namespace kymora {

// As many values as are held in memory at once.
inline constexpr int64_t mostWaveformValues = 100'000'000;

// A trace that windows are read from, and where its samples neighbour each other, ascending.
struct WaveformTrace {
    int trace = 0;
    std::vector<TraceStretch> stretches;
};

struct WaveformRows {
    size_t columns = 0;         // samples of a window x traces
    std::vector<float> values;  // row by row; of a row the traces one after the other
    std::vector<size_t> read;   // which of the windows each row is, ascending

    size_t Count() const { return read.size(); }
};

// Reads the windows of `count` samples (at least 1) from each of the starts on. A window that does not lie
// within one stretch of each trace, or has a sample that is no finite number, is left out. `windowsDone` is
// told after every few how many were looked at; it ends the work by an exception. Throws FileError.
WaveformRows ReadWaveformRows(SampleReader& samples, std::span<const WaveformTrace> traces,
                              std::span<const int64_t> starts, int64_t count,
                              const std::function<void(uint64_t)>& windowsDone = {});

}  // namespace kymora
