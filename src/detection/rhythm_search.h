#pragma once
// Rhythmic stretches of a trace: an autocorrelation slides along it, and where it shows a rhythm that is
// strong and slow enough, there is one. Lengths and positions are samples.

#include <functional>
#include <span>
#include <vector>

#include "operations/operation_job.h"
#include "spectra/autocorrelation.h"

namespace kymora {

struct RhythmSettings {
    int64_t window = 0, step = 1, mostLag = 1;
    double threshold = 0.3;  // of the index
    int64_t minimumPeriod = 0;
    RhythmPreprocess preprocess;
    bool refines = false;

    bool Accepts(const Rhythm& rhythm) const {
        return rhythm.IsFound() && rhythm.index >= threshold && rhythm.period >= minimumPeriod;
    }
};

// One place of the window.
struct RhythmStep {
    int32_t start = 0;
    int32_t period = -1;  // -1 where there is no rhythm
    double index = 0.0;
};

struct RhythmicSpan {
    SampleSpan span;
    double period = 0.0;  // the median of the windows in which it was found
};

// How often the window is set in a block: (block - window) / step, and once at least where it fits.
int64_t RhythmStepsIn(int64_t block, const RhythmSettings& settings);

// Goes through blocks of neighbouring finite samples.
class RhythmSearch {
  public:
    RhythmSearch(const RhythmSettings& settings, SampleReader& samples, int trace);

    // Appends the rhythmic spans of a block, those that overlap joined, and its steps. Throws FileError, and
    // whatever `step`, which is called before each one, throws.
    void Search(SampleSpan block, const std::function<void()>& step, std::vector<RhythmStep>& steps,
                std::vector<RhythmicSpan>& spans);

  private:
    Rhythm At(int64_t start);
    void Join(std::span<const RhythmStep> steps, SampleSpan block, std::vector<RhythmicSpan>& spans);
    RhythmicSpan SpanOf(std::span<const RhythmStep> good);
    int64_t Refined(int64_t start, int way, double period, SampleSpan block);

    RhythmSettings settings_;
    SampleReader& reader_;
    int trace_;
    Autocorrelator autocorrelator_;
    // The samples that are at hand.
    int64_t first_ = 0;
    std::vector<float> samples_;
    SampleSpan block_;
};

}  // namespace kymora
