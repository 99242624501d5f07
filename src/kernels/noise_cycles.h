#pragma once
// Takes a periodic interference out of a run: a template of its cycles, averaged over those around, is
// subtracted from each of them.

#include <optional>
#include <span>
#include <vector>

#include "kernels/kernel_outcome.h"
#include "kernels/passes.h"
#include "kernels/run_reader.h"

namespace kymora {

struct NoiseCycleSettings {
    double interval = 20.0;       // of a cycle, ms
    double sampleInterval = 1.0;  // ms
    int cycles = 50;              // in the average
    // The greatest peak-to-peak of a cycle that may join the average; nothing: any.
    std::optional<float> greatest;

    // Samples of a cycle.
    int64_t Length() const;
    // Sample at which a cycle begins. A period that is no whole number of samples does not drift: cycles
    // begin at the samples of their times, and may share one.
    int64_t StartOf(int64_t cycle) const;
    // Peak-to-peak of the limits; 0.001 where they are the same.
    static float Range(float upper, float lower) { return upper == lower ? 0.001f : upper - lower; }
};

struct CycleExtremes {
    float low = 0.0f, high = 0.0f;
    bool isFinite = true;  // none of its samples is a not-a-number or an infinity
};
CycleExtremes ExtremesOf(std::span<const float> cycle);
// A sample that is no finite number would spoil the average for good.
bool IsAccepted(const CycleExtremes& extremes, const NoiseCycleSettings& settings);

// The whole cycles of a run, one after the other.
class CycleReader {
  public:
    // `count` is the number of samples of the run.
    CycleReader(FloatSource& source, int64_t count, const NoiseCycleSettings& settings)
        : settings_(settings),
          length_(settings.Length()),
          count_(count),
          reader_(source, count),
          windows_(static_cast<size_t>(length_)) {}

    // The next one, which holds until the next call; nothing at the end of the run. Throws FileError.
    std::span<const float> Next();
    // How many were read.
    int64_t Read() const { return read_; }

  private:
    const NoiseCycleSettings& settings_;
    int64_t length_, count_;
    RunReader reader_;
    SlidingWindows windows_;
    int64_t at_ = 0;  // of the window's first sample
    int64_t read_ = 0;
};

inline constexpr const char* noAcceptableCycleText = "No noise cycle lies within the limits.";
inline constexpr const char* noFiniteCycleText =
    "No noise cycle is free of samples that are infinite or not a number.";
inline constexpr const char* tooFewCyclesText =
    "File or episode too short to acquire requisite number of noise cycles in average noise template. Reduce "
    "number to average.";
// Takes the number found and the number asked for.
inline constexpr const char* fewCyclesText =
    "Only enough data to average {} of {} requested noise cycles.\nReduce number to average (or if in "
    "Preview, extend viewport).";

struct NoiseCycleOutcome : KernelOutcome {
    int found = 0;          // cycles in the first average
    bool isCopied = false;  // the run is shorter than a cycle
};

// Each result is the sample less the template, plus the template's mean. The template is the average of the
// first cycles that are accepted; it moves on with the cycles that are cleaned, and stays centred on them.
// Sums and averages are double, results rounded once. With fewer cycles than asked for, the template has
// those that there are; with none the run is refused. A run shorter than a cycle is copied. `goOn` is asked
// now and then; false ends it by Cancelled.
NoiseCycleOutcome SubtractNoiseCycles(std::span<const float> input, const NoiseCycleSettings& settings,
                                      std::span<float> output, const KernelPoll& goOn = {});
// The same bit by bit, but with fewer cycles than asked for it is refused. Reads the run twice at once.
// `count` is the number of its samples.
NoiseCycleOutcome SubtractNoiseCycles(const SourceMaker& makeSource, int64_t count,
                                      const NoiseCycleSettings& settings, FloatSink& sink);

}  // namespace kymora
