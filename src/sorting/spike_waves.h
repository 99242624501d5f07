#pragma once
// The waveforms of candidate spikes, at a raised rate and aligned at their peaks.

#include <compare>
#include <cstdint>
#include <span>
#include <vector>

#include "document/sample_reader.h"
#include "document/trace_stretches.h"
#include "host/progress.h"
#include "sorting/spike_noise.h"
#include "sorting/spike_peak.h"

namespace kymora {

// A segment of the display window, in values of one trace at the raised rate.
struct WaveSegment {
    int32_t first = 0, count = 0;
    int32_t End() const { return first + count; }
    auto operator<=>(const WaveSegment&) const = default;
};

// How rows are laid out: of each trace `count` values, one trace after the other. The value `centre` of each
// lies on the alignment point.
struct WaveShape {
    int32_t count = 0;  // N, values of a trace
    int32_t centre = 0;
    int32_t traces = 1;
    int32_t multiplier = 1;  // values to a sample

    size_t RowLength() const { return static_cast<size_t>(count) * static_cast<size_t>(traces); }
    std::span<const float> OfTrace(std::span<const float> row, int trace) const {
        return row.subspan(static_cast<size_t>(trace) * static_cast<size_t>(count),
                           static_cast<size_t>(count));
    }
    WaveSegment Whole() const { return {0, count}; }
    bool operator==(const WaveShape&) const = default;
};

// The place of the peak in a row: of several traces that whose peak lies most s.d. from the mean of its
// noise, the first of equals. `centre` as in FindSpikePeak.
std::optional<size_t> FindRowPeak(std::span<const float> row, const WaveShape& shape,
                                  std::span<const SpikeNoise> noise, size_t centre, Polarity polarity);

struct ReadSettings {
    std::vector<int> traces;  // from 0
    int32_t start = 0;        // of the window, samples from the onset; 0 or less
    int32_t length = 0;       // of it, samples; the onset lies in it
    int32_t multiplier = 1;   // 1, 2, 4 .. 64
    bool alignPeaks = true;
    Polarity polarity = Polarity::up;

    WaveShape Shape() const {
        return {length * multiplier, -start * multiplier, static_cast<int32_t>(traces.size()), multiplier};
    }
    bool operator==(const ReadSettings&) const = default;
};

struct SpikeSource {
    std::vector<int32_t> onsets, offsets;              // of the events, in any order
    std::vector<std::vector<TraceStretch>> stretches;  // for each of the traces, ascending
    double sampleInterval = 1.0;                       // ms
};

struct SpikeWaves {
    WaveShape shape;
    std::vector<SpikeNoise> noise;  // of each trace
    // For each event: its row, 0 where it is refused; its alignment point, in values from the start of the
    // recording; and whether it is used. Refused is a spike whose window does not lie whole in neighbouring
    // finite samples, or which has no peak inside of it.
    std::vector<float> values;
    std::vector<int64_t> places;
    std::vector<int32_t> onsets;  // of the events
    std::vector<uint8_t> isUsed;
    int64_t withoutPeak = 0;  // refused for that, or for a peak at the edge of the window

    size_t Count() const { return places.size(); }
    size_t Used() const;
    std::span<const float> Row(size_t spike) const {
        return std::span(values).subspan(spike * shape.RowLength(), shape.RowLength());
    }
};

// The noise is measured first, beside the windows as they lie before the alignment. Where a trace has none,
// nothing is read: the noise that was found tells it. Throws FileError and Cancelled.
SpikeWaves ReadSpikeWaves(SampleReader& samples, const SpikeSource& source, const ReadSettings& settings,
                          ProgressSource& progress);

}  // namespace kymora
